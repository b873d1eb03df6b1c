#include "lib/stream.h"

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>

namespace {

vk_error put_by_writing(vk_stream* stream, const char* text) {
  const std::size_t length = std::strlen(text);
  if (!std::in_range<uint32_t>(length)) return VK_EINVAL;
  return stream->write(stream, text, static_cast<uint32_t>(length));
}

}  // namespace

void vk_stream_init(vk_stream* stream, vk_stream_write_fn write, vk_stream_puts_fn puts) {
  *stream = {.write = write,
             .puts = puts == nullptr ? put_by_writing : puts,
             .error = VK_EOK,
             .magic = VK_MAGIC_STREAM};
}

void vk_stream_printf(vk_stream* stream, const char* format, ...) {
  std::array<char, 512> text;
  va_list arguments;
  va_start(arguments, format);
  const int length = std::vsnprintf(text.data(), text.size(), format, arguments);
  va_end(arguments);

  if (length < 0) {
    stream->error = static_cast<vk_error>(errno);
  } else if (static_cast<std::size_t>(length) >= text.size()) {
    stream->error = VK_EINVAL;
  } else {
    vesk::stream_write(*stream, {text.data(), static_cast<std::size_t>(length)});
  }
}

void vk_stream_destroy(vk_stream* stream) {
  stream->magic = VK_MAGIC_DEAD;
  stream->write = nullptr;
}
