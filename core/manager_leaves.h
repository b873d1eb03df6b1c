#pragma once

#include "core/manager_path.h"
#include "core/manager_tree.h"

namespace vesk::core::dm {

/// Calls a function with the path and the value of each parameter at or below a node.
/// @param path of the node
template <typename Function>
void for_each_leaf(const vk_value& node, const Path& path, const Function& function) {
  if (is_leaf(node)) function(path, node);
  if (node.type != VK_TYPE_OBJECT) return;
  for (const vk_value& child : each_item(node)) {
    for_each_leaf(child, child_of(path, child.id), function);
  }
}

}  // namespace vesk::core::dm
