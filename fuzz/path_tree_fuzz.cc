// Trees of paths: what was added is found, there and in a tree that was merged with it, until it or
// what it lies below is freed. Each line is a path to add, or to free if it begins with "-".

#include <algorithm>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/fuzz.h"
#include "vesk/path.h"
#include "vesk/path_tree.h"

namespace vesk::fuzz {
namespace {

struct FreeTree {
  void operator()(vk_path_tree* tree) const { vk_path_tree_free(tree); }
};
using PathTree = std::unique_ptr<vk_path_tree, FreeTree>;

PathTree new_tree() { return PathTree(vk_path_tree_new(vk_default_allocator())); }

using Components = std::vector<std::string>;

Components components(const char* text) {
  Components all;
  vk_path_roam roam;
  for (vk_path_roam_init(&roam, text); !vk_path_roam_end(&roam); vk_path_roam_next(&roam)) {
    all.emplace_back(vk_path_roam_current_node(&roam));
    require(roam.index == vk_path_str_to_index(all.back().c_str()));
  }
  return all;
}

bool begins_with(const Components& path, const Components& beginning) {
  return path.size() >= beginning.size() &&
         std::equal(beginning.begin(), beginning.end(), path.begin());
}

class Model {
 public:
  void add(const std::string& text) {
    require(vk_path_tree_add_path(tree_.get(), text.c_str()) != nullptr);
    added_.insert(text);
  }

  void free(const std::string& text) {
    const Components gone = components(text.c_str());
    vk_path_tree_free_path(tree_.get(), text.c_str(), 0);
    std::erase_if(added_, [&](const std::string& each) {
      return begins_with(components(each.c_str()), gone);
    });
  }

  void check() const {
    for (const std::string& each : added_) {
      require(vk_path_tree_find_path(tree_.get(), each.c_str()) != nullptr);
    }
    const PathTree copy = new_tree();
    require(vk_path_tree_merge(copy.get(), tree_.get()) == VK_EOK);
    for (const std::string& each : added_) {
      require(vk_path_tree_find_path(copy.get(), each.c_str()) != nullptr);
    }
  }

 private:
  const PathTree tree_ = new_tree();
  std::set<std::string> added_;
};

void run(std::string_view lines) {
  Model model;
  while (!lines.empty()) {
    const std::string line(lines.substr(0, lines.find('\n')));
    lines.remove_prefix(std::min(lines.size(), line.size() + 1));
    line.starts_with('-') ? model.free(line.substr(1)) : model.add(line);
  }
  model.check();
}

}  // namespace
}  // namespace vesk::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  vesk::fuzz::run({reinterpret_cast<const char*>(data), size});
  return 0;
}
