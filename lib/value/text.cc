#include "lib/value/text.h"

#include <cerrno>
#include <cstring>
#include <string_view>

#include "lib/support/number.h"
#include "lib/value/type.h"
#include "vesk/value/leaf.h"

namespace vesk {
namespace {

template <auto Read, auto Set>
vk_error parse_number(vk_value& value, const char* text) {
  const char* end = nullptr;
  const auto number = Read(text, &end);
  return errno == 0 && *end == '\0' ? Set(&value, number) : VK_EINVAL;
}

template <auto Read, auto Set>
vk_error parse_unsigned(vk_value& value, const char* text) {
  return std::strchr(text, '-') != nullptr ? VK_EINVAL : parse_number<Read, Set>(value, text);
}

// The node takes the bytes over as it is, without being cleared.
template <auto Decode>
vk_error parse_binary(vk_value& value, vk_type type, const char* text) {
  vk_binary decoded;
  const vk_error error = Decode(&decoded, text, value.heap);
  if (error != VK_EOK) return error;
  value.type = type;
  vk_binary_init(&value.payload.binary, decoded.data, decoded.len);
  return VK_EOK;
}

}  // namespace

vk_error parse_base64(vk_value& value, const char* text) {
  return parse_binary<vk_binary_from_base64>(value, VK_TYPE_BASE64, text);
}

vk_error parse_boolean(vk_value& value, const char* text) {
  const std::string_view word = text;
  if (word == "true" || word == "1") return vk_value_set_bool(&value, 1);
  if (word == "false" || word == "0") return vk_value_set_bool(&value, 0);
  return VK_EINVAL;
}

vk_error parse_datetime(vk_value& value, const char* text) {
  vk_datetime datetime;
  const vk_error error = vk_datetime_from_string(&datetime, text);
  return error == VK_EOK ? vk_value_set_datetime(&value, &datetime) : error;
}

vk_error parse_hex(vk_value& value, const char* text) {
  return parse_binary<vk_binary_from_base16>(value, VK_TYPE_HEXBINARY, text);
}

vk_error parse_int(vk_value& value, const char* text) {
  return parse_number<text_to_int32, vk_value_set_int>(value, text);
}

vk_error parse_long(vk_value& value, const char* text) {
  return parse_number<text_to_int64, vk_value_set_long>(value, text);
}

vk_error parse_string(vk_value& value, const char* text) {
  return vk_value_set_string(&value, text);
}

vk_error parse_uint(vk_value& value, const char* text) {
  return parse_unsigned<text_to_uint32, vk_value_set_uint>(value, text);
}

vk_error parse_ulong(vk_value& value, const char* text) {
  return parse_unsigned<text_to_uint64, vk_value_set_ulong>(value, text);
}

}  // namespace vesk

vk_error vk_value_set_from_string(vk_value* value, vk_type type, const char* text) {
  errno = 0;
  const vesk::Type* const row = vesk::find_type(type);
  return row != nullptr && row->is_leaf() ? row->parse(*value, text) : VK_EINVAL;
}
