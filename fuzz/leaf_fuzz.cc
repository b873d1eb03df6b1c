// Texts of leaves: what is read can be written, and what was written reads as the same value. The
// first byte is the type.

#include <string>

#include "fuzz/fuzz.h"
#include "vesk/value/compare.h"
#include "vesk/value/text.h"
#include "vesk/value/writer.h"

namespace vesk::fuzz {
namespace {

struct Text {
  vk_stream stream;  // first, so that the writer finds the text from the stream's address
  std::string written;
};

vk_error append(vk_stream* stream, const void* bytes, uint32_t count) {
  reinterpret_cast<Text*>(stream)->written.append(static_cast<const char*>(bytes), count);
  return VK_EOK;
}

std::string text_of(const vk_value& value) {
  Text text = {};
  vk_stream_init(&text.stream, append, nullptr);
  vk_value_write(&text.stream, &value);
  require(text.stream.error == VK_EOK);
  return text.written;
}

void read_back(vk_type type, const std::string& text) {
  const Value first = new_value();
  if (vk_value_set_from_string(first.get(), type, text.c_str()) != VK_EOK) return;
  const std::string written = text_of(*first);
  const Value second = new_value();
  require(vk_value_set_from_string(second.get(), type, written.c_str()) == VK_EOK);
  require(vk_value_equal(first.get(), second.get()));
}

}  // namespace
}  // namespace vesk::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const std::string text(reinterpret_cast<const char*>(data) + 1, size - 1);
  vesk::fuzz::read_back(data[0] % (VK_TYPE_UNSIGNEDLONG + 2), text);
  return 0;
}
