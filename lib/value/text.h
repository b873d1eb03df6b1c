#pragma once

// Leaves from texts, as rows of the table of types take them.

#include "vesk/value/text.h"

namespace vesk {

[[nodiscard]] vk_error parse_base64(vk_value& value, const char* text);
[[nodiscard]] vk_error parse_boolean(vk_value& value, const char* text);
[[nodiscard]] vk_error parse_datetime(vk_value& value, const char* text);
[[nodiscard]] vk_error parse_hex(vk_value& value, const char* text);
[[nodiscard]] vk_error parse_int(vk_value& value, const char* text);
[[nodiscard]] vk_error parse_long(vk_value& value, const char* text);
[[nodiscard]] vk_error parse_string(vk_value& value, const char* text);
[[nodiscard]] vk_error parse_uint(vk_value& value, const char* text);
[[nodiscard]] vk_error parse_ulong(vk_value& value, const char* text);

}  // namespace vesk
