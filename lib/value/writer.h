#pragma once

// Payloads as texts, as rows of the table of types take them.

#include "vesk/value/writer.h"

namespace vesk {

void write_any(vk_stream& stream, const vk_value_payload& payload);
void write_base64(vk_stream& stream, const vk_value_payload& payload);
void write_boolean(vk_stream& stream, const vk_value_payload& payload);
void write_datetime(vk_stream& stream, const vk_value_payload& payload);
void write_hex(vk_stream& stream, const vk_value_payload& payload);
void write_int(vk_stream& stream, const vk_value_payload& payload);
void write_long(vk_stream& stream, const vk_value_payload& payload);
void write_string(vk_stream& stream, const vk_value_payload& payload);
void write_uint(vk_stream& stream, const vk_value_payload& payload);
void write_ulong(vk_stream& stream, const vk_value_payload& payload);

}  // namespace vesk
