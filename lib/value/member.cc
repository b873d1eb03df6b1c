#include "vesk/value/member.h"

namespace {

// Makes a member ready and sets it with the setter of its type.
template <auto Set, typename Value>
vk_error set_member(vk_value* object, const char* name, Value value) {
  vk_value* const member = vk_object_init_item(object, name);
  return member == nullptr ? VK_ENOMEM : Set(member, value);
}

}  // namespace

vk_error vk_object_set_int(vk_value* object, const char* name, int32_t number) {
  return set_member<vk_value_set_int>(object, name, number);
}

vk_error vk_object_set_uint(vk_value* object, const char* name, uint32_t number) {
  return set_member<vk_value_set_uint>(object, name, number);
}

vk_error vk_object_set_long(vk_value* object, const char* name, int64_t number) {
  return set_member<vk_value_set_long>(object, name, number);
}

vk_error vk_object_set_ulong(vk_value* object, const char* name, uint64_t number) {
  return set_member<vk_value_set_ulong>(object, name, number);
}

vk_error vk_object_set_bool(vk_value* object, const char* name, uint32_t flag) {
  return set_member<vk_value_set_bool>(object, name, static_cast<uint8_t>(flag));
}

vk_error vk_object_set_datetime(vk_value* object, const char* name, const vk_datetime* datetime) {
  return set_member<vk_value_set_datetime>(object, name, datetime);
}

vk_error vk_object_set_string(vk_value* object, const char* name, const char* text) {
  return set_member<vk_value_set_string>(object, name, text);
}

vk_error vk_object_set_hex(vk_value* object, const char* name, const vk_binary* binary) {
  return set_member<vk_value_set_hex>(object, name, binary);
}

vk_error vk_object_set_base64(vk_value* object, const char* name, const vk_binary* binary) {
  return set_member<vk_value_set_base64>(object, name, binary);
}
