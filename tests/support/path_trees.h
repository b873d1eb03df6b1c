#pragma once

// Path trees in the words of the tests.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/heaps.h"
#include "vesk/path_tree.h"

namespace vesk::test {

struct PathTreeFree {
  void operator()(vk_path_tree* tree) const { vk_path_tree_free(tree); }
};
using PathTree = std::unique_ptr<vk_path_tree, PathTreeFree>;

inline PathTree new_path_tree(vk_allocator* heap = vk_default_allocator()) {
  return PathTree(vk_path_tree_new(heap));
}

/// A tree of some paths, added in that order.
inline PathTree path_tree(const std::vector<const char*>& paths,
                          vk_allocator* heap = vk_default_allocator()) {
  PathTree tree = new_path_tree(heap);
  for (const char* const path : paths) vk_path_tree_add_path(tree.get(), path);
  return tree;
}

/// A node's record and its name; a root has a record only.
inline constexpr std::size_t kBlocksOfNode = 2;

/// Finds or makes a node.
inline vk_path_tree* node_at(const PathTree& tree, const char* path) {
  return vk_path_tree_add_path(tree.get(), path);
}

/// A path in its two forms, as a text and as a list.
class Path {
 public:
  /// Made of a text, which ends at its first empty component.
  explicit Path(const std::string& text) : Path(text, split(text)) {}

  /// Made of components, which may be any texts.
  explicit Path(const std::vector<std::string>& names) : Path(joined(names), names) {}

  Path(const Path&) = delete;
  Path& operator=(const Path&) = delete;

  const char* text() const { return text_.c_str(); }
  const vk_path_node* list() const { return nodes_.empty() ? nullptr : nodes_.data(); }

 private:
  Path(std::string text, const std::vector<std::string>& names)
      : text_(std::move(text)), names_(names), nodes_(names.size()) {
    for (std::size_t i = 0; i < nodes_.size(); ++i) {
      vk_path_node* const next = i + 1 < nodes_.size() ? &nodes_[i + 1] : nullptr;
      nodes_[i] = {next, vk_path_str_to_index(names_[i].c_str()), names_[i].data()};
    }
  }

  static std::vector<std::string> split(const std::string& text) {
    std::vector<std::string> names;
    for (std::size_t begin = 0; begin < text.size();) {
      const std::size_t end = std::min(text.find('.', begin), text.size());
      if (end == begin) break;
      names.push_back(text.substr(begin, end - begin));
      begin = end + 1;
    }
    return names;
  }

  static std::string joined(const std::vector<std::string>& names) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : ".") + name;
    return text;
  }

  std::string text_;
  std::vector<std::string> names_;
  std::vector<vk_path_node> nodes_;
};

/// The functions that take a path in one of its forms.
struct PathForm {
  const char* name;
  vk_path_tree* (*add)(vk_path_tree* tree, const Path& path);
  vk_path_tree* (*find)(vk_path_tree* tree, const Path& path);
};

inline std::ostream& operator<<(std::ostream& out, const PathForm& form) {
  return out << form.name;
}

inline constexpr PathForm kPathForms[] = {
    {"Text",
     [](vk_path_tree* tree, const Path& path) { return vk_path_tree_add_path(tree, path.text()); },
     [](vk_path_tree* tree, const Path& path) {
       return vk_path_tree_find_path(tree, path.text());
     }},
    {"List",
     [](vk_path_tree* tree, const Path& path) { return vk_path_tree_add(tree, path.list()); },
     [](vk_path_tree* tree, const Path& path) { return vk_path_tree_find(tree, path.list()); }},
};

/// Expects what is true of every node but a root: `link` is the pointer that leads to it.
inline void expect_sound(const vk_path_tree& parent, vk_path_tree* const& link) {
  vk_path_tree& node = *link;
  EXPECT_EQ(node.prev_link, &link);
  EXPECT_EQ(node.parent, &parent);
  EXPECT_EQ(node.allocator, parent.allocator);
  EXPECT_EQ(owner_of(&node), node.allocator);
  EXPECT_EQ(owner_of(node.path_node.name), node.allocator);
  EXPECT_EQ(node.path_node.index, vk_path_str_to_index(node.path_node.name));
  EXPECT_EQ(node.name_magic, 0x37E9B121U);
  EXPECT_EQ(node.node_magic, 0x37E9B1E1U);
}

/// What is below a node, children in their order, as in "A(C B) X"; every node is sound.
inline std::string shape(const vk_path_tree* tree) {
  std::string text;
  for (vk_path_tree* const* link = &tree->first_child; *link != nullptr; link = &(*link)->next) {
    const vk_path_tree& node = **link;
    expect_sound(*tree, *link);
    if (!text.empty()) text += ' ';
    text += node.path_node.name;
    if (node.first_child != nullptr) text += '(' + shape(&node) + ')';
  }
  return text;
}

inline std::string shape(const PathTree& tree) { return shape(tree.get()); }

/// The list that begins after a root, as "A.B".
inline std::string threaded(const vk_path_tree* root) {
  char text[256];
  EXPECT_EQ(vk_path_node2str(root->path_node.next, text, sizeof text, '.'), VK_EOK);
  return text;
}

inline std::string threaded(const PathTree& tree) { return threaded(tree.get()); }

}  // namespace vesk::test
