#include "vesk/path_tree_diff.h"

#include "lib/path_tree.h"
#include "lib/value/node.h"
#include "vesk/value/compare.h"
#include "vesk/value/object.h"

namespace vesk {
namespace {

// Adds what differs between two members of one name as a child of that name.
[[nodiscard]] vk_error add_member_diff(vk_path_tree& tree, const vk_value& a, const vk_value& b) {
  vk_path_tree* below = nullptr;
  const vk_error error = vk_path_tree_by_diff_value(tree.allocator, &below, &a, &b);
  if (error != VK_EOK || below == nullptr) return error;
  OwnedPathTree child(below);
  if (rename(*child, a.id) != VK_EOK) return VK_ENOMEM;
  attach(tree, *child.release());
  return VK_EOK;
}

// Of two objects; null in `tree` where nothing differs.
[[nodiscard]] vk_error diff_objects(OwnedPathTree& tree, const vk_value& a, const vk_value& b) {
  for (const vk_value& member : each_item(a)) {
    const vk_value* const other = vk_object_find_item(&b, member.id);
    if (other == nullptr) continue;
    const vk_error error = add_member_diff(*tree, member, *other);
    if (error != VK_EOK) return error;
  }
  if (tree->first_child == nullptr) tree = nullptr;
  return VK_EOK;
}

}  // namespace
}  // namespace vesk

vk_error vk_path_tree_by_diff_value(vk_allocator* allocator, vk_path_tree** result,
                                    const vk_value* a, const vk_value* b) {
  *result = nullptr;
  if (a->type != b->type) return VK_EOK;
  const bool objects = a->type == VK_TYPE_OBJECT;
  if (!objects && vk_value_equal(a, b)) return VK_EOK;
  vesk::OwnedPathTree tree(vk_path_tree_new(allocator));
  if (tree == nullptr) return VK_ENOMEM;
  const vk_error error = objects ? vesk::diff_objects(tree, *a, *b) : VK_EOK;
  if (error == VK_EOK) *result = tree.release();
  return error;
}
