#include "vesk/value/merge.h"

#include "lib/value/node.h"
#include "lib/value/type.h"
#include "vesk/value/object.h"

namespace vesk {
namespace {

enum class Missing { kPassOver, kMake };

[[nodiscard]] vk_error apply(vk_value& dst, const vk_value& src, Missing missing);

[[nodiscard]] vk_error apply_member(vk_value& dst, const vk_value& member, Missing missing) {
  vk_value* const existing = vk_object_find_item(&dst, member.id);
  if (existing != nullptr) return apply(*existing, member, missing);
  if (missing == Missing::kPassOver) return VK_EOK;
  vk_value* const made = vk_object_init_item(&dst, member.id);
  return made == nullptr ? VK_ENOMEM : apply(*made, member, missing);
}

[[nodiscard]] vk_error apply_object(vk_value& dst, const vk_value& src, Missing missing) {
  if (dst.type != VK_TYPE_OBJECT) {
    vk_value_clear(&dst);
    vk_object_init_with_policy(&dst, VK_POLICY_ORDERED);
  }
  if (dst.policy != src.policy || dst.policy != VK_POLICY_ORDERED) return VK_EINVAL;
  for (const vk_value& member : each_item(src)) {
    const vk_error error = apply_member(dst, member, missing);
    if (error != VK_EOK) return error;
  }
  return VK_EOK;
}

vk_error apply(vk_value& dst, const vk_value& src, Missing missing) {
  const Type* const row = find_type(src.type);
  if (row != nullptr && row->is_leaf()) return row->set(dst, src.payload);
  if (src.type == VK_TYPE_OBJECT) return apply_object(dst, src, missing);
  return src.type == VK_TYPE_ARRAY ? VK_ENOENT : VK_EOK;
}

}  // namespace
}  // namespace vesk

vk_error vk_value_update(vk_value* dst, const vk_value* src) {
  return vesk::apply(*dst, *src, vesk::Missing::kPassOver);
}

vk_error vk_value_merge(vk_value* dst, const vk_value* src) {
  return vesk::apply(*dst, *src, vesk::Missing::kMake);
}
