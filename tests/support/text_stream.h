#pragma once

// A stream that collects what is written to it.

#include <cstddef>
#include <string>
#include <vector>

#include "vesk/stream.h"

namespace vesk::test {

class TextStream {
 public:
  TextStream() { vk_stream_init(&sink_.stream, &write, nullptr); }
  TextStream(const TextStream&) = delete;
  TextStream& operator=(const TextStream&) = delete;

  /// Makes every write from now on fail with a code, keeping its bytes out of `text`.
  void fail_with(vk_error error) { fail_after(sink_.writes.size(), error); }

  /// Makes every write but the first `count` fail with a code.
  void fail_after(std::size_t count, vk_error error) {
    sink_.good = count;
    sink_.result = error;
  }

  /// All that was written.
  std::string text() const;

  /// What each call of the stream's write was given, failed ones included.
  const std::vector<std::string>& writes() const { return sink_.writes; }

  vk_error error() const { return sink_.stream.error; }
  void set_error(vk_error error) { sink_.stream.error = error; }

  vk_stream* get() { return &sink_.stream; }

 private:
  struct Sink {
    vk_stream stream;      // first, so that the writer finds the sink from the stream's address
    std::size_t good = 0;  // how many writes come before those that give `result`
    vk_error result = VK_EOK;
    std::string written;
    std::vector<std::string> writes;
  };

  static vk_error write(vk_stream* stream, const void* bytes, uint32_t count);

  Sink sink_;
};

}  // namespace vesk::test
