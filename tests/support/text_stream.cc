#include "tests/support/text_stream.h"

namespace vesk::test {

std::string TextStream::text() const { return sink_.written; }

vk_error TextStream::write(vk_stream* stream, const void* bytes, uint32_t count) {
  Sink& sink = *reinterpret_cast<Sink*>(stream);
  const vk_error result = sink.writes.size() < sink.good ? vk_error{VK_EOK} : sink.result;
  sink.writes.emplace_back(static_cast<const char*>(bytes), count);
  if (result == VK_EOK) sink.written += sink.writes.back();
  return result;
}

}  // namespace vesk::test
