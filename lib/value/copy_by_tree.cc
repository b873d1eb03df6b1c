#include "vesk/value/copy_by_tree.h"

#include "lib/path_tree.h"
#include "lib/value/node.h"
#include "vesk/value/copy.h"
#include "vesk/value/object.h"

namespace vesk {
namespace {

[[nodiscard]] vk_error copy_whole(vk_allocator* heap, OwnedValue& copy, const vk_value& src) {
  copy.reset(vk_value_new(heap));
  return copy == nullptr ? VK_ENOMEM : vk_value_copy(copy.get(), &src);
}

// Adds the copy of what a path tree names below one member, if there is any, to an object that is
// made when it is first needed.
[[nodiscard]] vk_error add_branch(vk_allocator* heap, OwnedValue& object, const vk_value& member,
                                  const vk_path_tree& node) {
  vk_value* found = nullptr;
  const vk_error error = vk_value_copy_by_tree(heap, &found, &member, &node);
  if (found == nullptr) return error;
  OwnedValue branch(found);
  if (object == nullptr) object.reset(vk_object_new_with_policy(heap, VK_POLICY_ORDERED));
  if (object == nullptr) return VK_ENOMEM;
  const vk_error inserted = vk_object_insert(object.get(), node.path_node.name, branch.get());
  if (inserted == VK_EOK) static_cast<void>(branch.release());
  return inserted;
}

[[nodiscard]] vk_error copy_branches(vk_allocator* heap, OwnedValue& object, const vk_value& src,
                                     const vk_path_tree& node) {
  if (src.type != VK_TYPE_OBJECT) return VK_EINVAL;
  for (const vk_path_tree& child : children(node)) {
    const vk_value* const member = vk_object_find_item(&src, child.path_node.name);
    if (member == nullptr) continue;
    const vk_error error = add_branch(heap, object, *member, child);
    if (error != VK_EOK) return error;
  }
  return VK_EOK;
}

}  // namespace
}  // namespace vesk

vk_error vk_value_copy_by_tree(vk_allocator* heap, vk_value** out, const vk_value* src,
                               const vk_path_tree* node) {
  *out = nullptr;
  vesk::OwnedValue copy;
  const vk_error error = node->first_child == nullptr
                             ? vesk::copy_whole(heap, copy, *src)
                             : vesk::copy_branches(heap, copy, *src, *node);
  if (error == VK_EOK) *out = copy.release();
  return error;
}
