#include "lib/value/leaf.h"

#include <cstring>

#include "lib/value/node.h"
#include "lib/value/type.h"

namespace vesk {
namespace {

// Empties a node and gives it a type, for the payload that is set next.
vk_value_payload& cleared(vk_value* value, vk_type type) {
  vk_value_clear(value);
  value->type = type;
  return value->payload;
}

// Clears before it allocates, so that a heap with room for one of two buffers suffices; the type is
// set last.
[[nodiscard]] vk_error set_binary(vk_value& value, vk_type type, const vk_binary& binary) {
  const uint32_t len = vk_binary_len(&binary);
  vk_value_clear(&value);
  auto* const copy = static_cast<uint8_t*>(vk_alloc(value.heap, len));
  if (copy == nullptr) return VK_ENOMEM;
  if (len != 0) std::memcpy(copy, vk_binary_data(&binary), len);
  vk_binary_init(&value.payload.binary, copy, len);
  value.type = type;
  return VK_EOK;
}

uint32_t count_leaves(const vk_value& value, bool count_any) {
  if (value.type == VK_TYPE_ANY) return count_any ? 1 : 0;
  if (!is_container(value)) return find_type(value.type) == nullptr ? 0 : 1;
  uint32_t count = 0;
  for (const vk_value& item : each_item(value)) count += count_leaves(item, count_any);
  return count;
}

}  // namespace

vk_error set_base64(vk_value& value, const vk_value_payload& payload) {
  return vk_value_set_base64(&value, &payload.binary);
}

vk_error set_bool(vk_value& value, const vk_value_payload& payload) {
  return vk_value_set_bool(&value, payload.flag);
}

vk_error set_datetime(vk_value& value, const vk_value_payload& payload) {
  return vk_value_set_datetime(&value, &payload.datetime);
}

vk_error set_hex(vk_value& value, const vk_value_payload& payload) {
  return vk_value_set_hex(&value, &payload.binary);
}

vk_error set_int(vk_value& value, const vk_value_payload& payload) {
  return vk_value_set_int(&value, payload.s32);
}

vk_error set_long(vk_value& value, const vk_value_payload& payload) {
  return vk_value_set_long(&value, payload.s64);
}

vk_error set_string(vk_value& value, const vk_value_payload& payload) {
  return vk_value_set_string(&value, payload.text);
}

vk_error set_uint(vk_value& value, const vk_value_payload& payload) {
  return vk_value_set_uint(&value, payload.u32);
}

vk_error set_ulong(vk_value& value, const vk_value_payload& payload) {
  return vk_value_set_ulong(&value, payload.u64);
}

}  // namespace vesk

vk_error vk_value_set_int(vk_value* value, int32_t number) {
  vesk::cleared(value, VK_TYPE_INT).s32 = number;
  return VK_EOK;
}

vk_error vk_value_set_uint(vk_value* value, uint32_t number) {
  vesk::cleared(value, VK_TYPE_UNSIGNEDINT).u32 = number;
  return VK_EOK;
}

vk_error vk_value_set_long(vk_value* value, int64_t number) {
  vesk::cleared(value, VK_TYPE_LONG).s64 = number;
  return VK_EOK;
}

vk_error vk_value_set_ulong(vk_value* value, uint64_t number) {
  vesk::cleared(value, VK_TYPE_UNSIGNEDLONG).u64 = number;
  return VK_EOK;
}

vk_error vk_value_set_bool(vk_value* value, uint8_t flag) {
  vesk::cleared(value, VK_TYPE_BOOLEAN).flag = flag;
  return VK_EOK;
}

vk_error vk_value_set_datetime(vk_value* value, const vk_datetime* datetime) {
  const vk_datetime copy = *datetime;
  vesk::cleared(value, VK_TYPE_DATETIME).datetime = copy;
  return VK_EOK;
}

vk_error vk_value_set_string(vk_value* value, const char* text) {
  char* const copy = vk_strdup(value->heap, text);
  if (copy == nullptr) return VK_ENOMEM;
  vesk::cleared(value, VK_TYPE_STRING).text = copy;
  return VK_EOK;
}

vk_error vk_value_set_hex(vk_value* value, const vk_binary* binary) {
  return vesk::set_binary(*value, VK_TYPE_HEXBINARY, *binary);
}

vk_error vk_value_set_base64(vk_value* value, const vk_binary* binary) {
  return vesk::set_binary(*value, VK_TYPE_BASE64, *binary);
}

uint32_t vk_value_get_leaf_number(const vk_value* value, uint32_t count_any) {
  return vesk::count_leaves(*value, (count_any & 0xFF) != 0);
}
