#pragma once

// The setters of leaves, as rows of the table of types take them.

#include "vesk/value/leaf.h"

namespace vesk {

[[nodiscard]] vk_error set_base64(vk_value& value, const vk_value_payload& payload);
[[nodiscard]] vk_error set_bool(vk_value& value, const vk_value_payload& payload);
[[nodiscard]] vk_error set_datetime(vk_value& value, const vk_value_payload& payload);
[[nodiscard]] vk_error set_hex(vk_value& value, const vk_value_payload& payload);
[[nodiscard]] vk_error set_int(vk_value& value, const vk_value_payload& payload);
[[nodiscard]] vk_error set_long(vk_value& value, const vk_value_payload& payload);
[[nodiscard]] vk_error set_string(vk_value& value, const vk_value_payload& payload);
[[nodiscard]] vk_error set_uint(vk_value& value, const vk_value_payload& payload);
[[nodiscard]] vk_error set_ulong(vk_value& value, const vk_value_payload& payload);

}  // namespace vesk
