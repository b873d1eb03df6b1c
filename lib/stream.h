#pragma once

// The one rule of direct writes to a stream: call only while `error` is 0, and store the result.

#include <string_view>

#include "vesk/stream.h"

namespace vesk {

inline void stream_write(vk_stream& stream, std::string_view text) {
  if (stream.error != VK_EOK) return;
  stream.error = stream.write(&stream, text.data(), static_cast<uint32_t>(text.size()));
}

inline void stream_puts(vk_stream& stream, const char* text) {
  if (stream.error == VK_EOK) stream.error = stream.puts(&stream, text);
}

}  // namespace vesk
