#pragma once

#include "lib/support/owned.h"
#include "lib/support/tail_list.h"
#include "vesk/path_tree.h"

namespace vesk {

using OwnedPathTree = Owned<vk_path_tree, vk_path_tree_free>;

/// A node's children, newest first, for range-for.
inline Nodes<vk_path_tree> children(const vk_path_tree& node) {
  return Nodes<vk_path_tree>(node.first_child);
}

/// Makes a node that has no parent its parent's newest child.
void attach(vk_path_tree& parent, vk_path_tree& child);

/// Gives a node a name, or none for null; `VK_ENOMEM`, with the old name kept, if it could not be
/// copied.
[[nodiscard]] vk_error rename(vk_path_tree& node, const char* name);

}  // namespace vesk
