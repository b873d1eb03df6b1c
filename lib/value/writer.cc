#include "lib/value/writer.h"

#include <cinttypes>

#include "lib/stream.h"
#include "lib/value/type.h"

namespace vesk {

void write_any(vk_stream& stream, const vk_value_payload&) { stream_puts(stream, "NIL"); }

void write_base64(vk_stream& stream, const vk_value_payload& payload) {
  vk_binary_write_base64(&stream, &payload.binary);
}

void write_boolean(vk_stream& stream, const vk_value_payload& payload) {
  stream_write(stream, payload.flag != 0 ? "true" : "false");
}

void write_datetime(vk_stream& stream, const vk_value_payload& payload) {
  vk_datetime_write(&stream, &payload.datetime);
}

void write_hex(vk_stream& stream, const vk_value_payload& payload) {
  vk_binary_write_base16(&stream, &payload.binary);
}

void write_int(vk_stream& stream, const vk_value_payload& payload) {
  vk_stream_printf(&stream, "%" PRId32, payload.s32);
}

void write_long(vk_stream& stream, const vk_value_payload& payload) {
  vk_stream_printf(&stream, "%" PRId64, int64_t{payload.s64});
}

void write_string(vk_stream& stream, const vk_value_payload& payload) {
  stream_puts(stream, payload.text);
}

void write_uint(vk_stream& stream, const vk_value_payload& payload) {
  vk_stream_printf(&stream, "%" PRIu32, payload.u32);
}

void write_ulong(vk_stream& stream, const vk_value_payload& payload) {
  vk_stream_printf(&stream, "%" PRIu64, uint64_t{payload.u64});
}

}  // namespace vesk

void vk_value_write(vk_stream* stream, const vk_value* value) {
  const vesk::Type* const row = vesk::find_type(value->type);
  if (row != nullptr && row->write != nullptr) row->write(*stream, value->payload);
}
