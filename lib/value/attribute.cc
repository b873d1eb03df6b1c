#include "vesk/value/attribute.h"

#include "lib/value/node.h"
#include "vesk/value/leaf.h"

namespace {

constexpr const char kError[] = "Error";
constexpr const char kTypename[] = "type";

}  // namespace

vk_item* vk_value_attribute_first(const vk_value* value) { return value->attributes; }

vk_value* vk_value_find_attribute(const vk_value* value, const char* name) {
  return vesk::find_named(value->attributes, name);
}

vk_value* vk_value_add_attribute(vk_value* value, const char* name) {
  vk_value* const existing = vk_value_find_attribute(value, name);
  if (existing != nullptr) {
    vk_value_clear(existing);
    return existing;
  }
  vesk::OwnedValue attribute(vk_value_new(value->heap));
  if (attribute == nullptr || vk_value_set_id(attribute.get(), name) != VK_EOK) return nullptr;
  vesk::attributes(*value).append(*attribute);
  return attribute.release();
}

void vk_value_del_attribute(vk_value* value, const char* name) {
  vk_value* const attribute = vk_value_find_attribute(value, name);
  if (attribute == nullptr) return;
  vesk::attributes(*value).unlink(*attribute);
  vk_value_delete(attribute);
}

void vk_value_clean_attribute(vk_value* value) {
  while (vk_value* const attribute = vesk::attributes(*value).take_first()) {
    vk_value_delete(attribute);
  }
}

vk_error vk_value_set_error(vk_value* value, int32_t code) {
  vk_value* const attribute = vk_value_add_attribute(value, kError);
  return attribute == nullptr ? VK_ENOMEM : vk_value_set_int(attribute, code);
}

int32_t vk_value_get_error(const vk_value* value) {
  const vk_value* const attribute = vk_value_find_attribute(value, kError);
  return attribute != nullptr && attribute->type == VK_TYPE_INT ? attribute->payload.s32 : 0;
}

vk_error vk_value_set_typename(vk_value* value, const char* name) {
  const bool existed = vk_value_find_attribute(value, kTypename) != nullptr;
  vk_value* const attribute = vk_value_add_attribute(value, kTypename);
  if (attribute == nullptr) return VK_ENOMEM;
  const vk_error error = vk_value_set_string(attribute, name);
  if (error != VK_EOK && !existed) vk_value_del_attribute(value, kTypename);
  return error;
}

char* vk_value_get_typename(const vk_value* value) {
  const vk_value* const attribute = vk_value_find_attribute(value, kTypename);
  return attribute != nullptr && attribute->type == VK_TYPE_STRING ? attribute->payload.text
                                                                   : nullptr;
}
