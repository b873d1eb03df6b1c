#include "core/patterns.h"

#include <algorithm>

#include "vesk/path.h"

namespace vesk::core {
namespace {

constexpr const char* kAnyInstance = "$";

}  // namespace

void Patterns::add(const Path& pattern, uint64_t id) {
  Node* node = &root_;
  for (const std::string& component : pattern) {
    auto child = node->children.find(component);
    if (child == node->children.end()) {
      child = node->children.emplace(component, std::make_unique<Node>()).first;
    }
    node = child->second.get();
  }
  node->ids.push_back(id);
}

void Patterns::remove(const Path& pattern, uint64_t id) { remove_below(root_, pattern, 0, id); }

// Whether the node has become of no use.
bool Patterns::remove_below(Node& node, const Path& pattern, std::size_t depth, uint64_t id) {
  if (depth == pattern.size()) {
    std::erase(node.ids, id);
  } else if (const auto child = node.children.find(pattern[depth]); child != node.children.end()) {
    if (remove_below(*child->second, pattern, depth + 1, id)) node.children.erase(child);
  }
  return node.ids.empty() && node.children.empty();
}

std::vector<uint64_t> Patterns::match(const Path& path) const {
  // The nodes of each level are in the order of their patterns, so those below them are too.
  std::vector<const Node*> level = {&root_};
  std::vector<std::vector<uint64_t>> found;
  for (const std::string& component : path) {
    std::vector<const Node*> below;
    for (const Node* const node : level) {
      const auto follow = [&](const std::string& name) {
        const auto child = node->children.find(name);
        if (child != node->children.end()) below.push_back(child->second.get());
      };
      follow(component);
      if (vk_path_str_to_index(component.c_str()) != 0) follow(kAnyInstance);
    }
    level = std::move(below);
    std::vector<uint64_t>& ids = found.emplace_back();
    for (const Node* const node : level) ids.insert(ids.end(), node->ids.begin(), node->ids.end());
  }
  std::vector<uint64_t> ids;
  for (auto longest = found.rbegin(); longest != found.rend(); ++longest) {
    ids.insert(ids.end(), longest->begin(), longest->end());
  }
  return ids;
}

bool tried_before(const Path& left, const Path& right) {
  if (left.size() != right.size()) return left.size() > right.size();
  const auto is_any = [](const std::string& component) { return component == kAnyInstance; };
  for (std::size_t i = 0; i != left.size(); ++i) {
    if (is_any(left[i]) != is_any(right[i])) return is_any(right[i]);
  }
  return false;
}

bool is_at_or_below(const Path& path, const Path& prefix) {
  return path.size() >= prefix.size() && std::equal(prefix.begin(), prefix.end(), path.begin());
}

}  // namespace vesk::core
