#include "vesk/value/prototype.h"

#include "lib/value/type.h"
#include "vesk/value/array.h"
#include "vesk/value/object.h"

vk_error vk_value_set_prototype(vk_value* value, vk_type type) {
  const vesk::Type* const row = vesk::find_type(type);
  if (row == nullptr) return VK_EINVAL;
  if (row->is_leaf()) return row->set(*value, row->prototype);
  if (type == VK_TYPE_OBJECT) vk_object_init_with_policy(value, VK_POLICY_ORDERED);
  if (type == VK_TYPE_ARRAY) vk_array_init(value);
  if (type == VK_TYPE_ANY) vk_value_clear(value);
  return VK_EOK;
}
