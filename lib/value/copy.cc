#include "vesk/value/copy.h"

#include "lib/value/node.h"
#include "lib/value/type.h"
#include "vesk/value/array.h"
#include "vesk/value/object.h"

namespace vesk {
namespace {

// Copies into a node that was just made; null if it could not be made.
[[nodiscard]] vk_error copy_into(vk_value* made, const vk_value& src) {
  return made == nullptr ? VK_ENOMEM : vk_value_copy(made, &src);
}

[[nodiscard]] vk_error copy_elements(vk_value& dst, const vk_value& src) {
  vk_array_init(&dst);
  for (const vk_value& element : each_item(src)) {
    const vk_error error = copy_into(vk_array_add_item(&dst), element);
    if (error != VK_EOK) return error;
  }
  return VK_EOK;
}

[[nodiscard]] vk_error copy_members(vk_value& dst, const vk_value& src) {
  vk_object_init_with_policy(&dst, src.policy);
  for (const vk_value& member : each_item(src)) {
    const vk_error error = copy_into(vk_object_init_item(&dst, member.id), member);
    if (error != VK_EOK) return error;
  }
  return VK_EOK;
}

}  // namespace
}  // namespace vesk

vk_error vk_value_copy(vk_value* dst, const vk_value* src) {
  const vesk::Type* const row = vesk::find_type(src->type);
  if (row == nullptr) return VK_EOK;
  if (row->is_leaf()) return row->set(*dst, src->payload);
  vk_value_clear(dst);
  if (src->type == VK_TYPE_ARRAY) return vesk::copy_elements(*dst, *src);
  if (src->type == VK_TYPE_OBJECT) return vesk::copy_members(*dst, *src);
  return VK_EOK;
}
