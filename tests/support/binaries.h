#pragma once

// Binaries, their two text forms and their decoders, in the words of the tests.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/text_stream.h"
#include "vesk/binary.h"

namespace vesk::test {

/// What a record holds that nothing has touched.
inline uint8_t stray_byte = 0;
inline const vk_binary kStrayBinary = {77, &stray_byte, 0x55555555};

inline testing::Matcher<const vk_binary&> IsStray() {
  return testing::AllOf(testing::Field("len", &vk_binary::len, kStrayBinary.len),
                        testing::Field("data", &vk_binary::data, kStrayBinary.data),
                        testing::Field("magic", &vk_binary::magic, kStrayBinary.magic));
}

inline std::string content(const vk_binary& binary) {
  return {reinterpret_cast<const char*>(binary.data), binary.len};
}

/// A binary that holds a copy of some bytes, on a heap; to be destroyed.
inline vk_binary binary_of(std::string_view bytes, vk_allocator* heap = vk_default_allocator()) {
  auto* const data = static_cast<uint8_t*>(vk_alloc(heap, bytes.size()));
  std::memcpy(data, bytes.data(), bytes.size());
  vk_binary binary;
  vk_binary_init(&binary, data, static_cast<uint32_t>(bytes.size()));
  return binary;
}

/// The same, destroyed with its scope.
class Binary {
 public:
  explicit Binary(std::string_view bytes) : binary_(binary_of(bytes)) {}
  ~Binary() { vk_binary_destroy(&binary_); }
  Binary(const Binary&) = delete;
  Binary& operator=(const Binary&) = delete;

  const vk_binary* get() const { return &binary_; }

 private:
  vk_binary binary_;
};

inline std::string every_byte() {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) bytes += static_cast<char>(byte);
  return bytes;
}

using BinaryReader = vk_error (*)(vk_binary*, const char*, vk_allocator*);
using BinaryWriter = void (*)(vk_stream*, const vk_binary*);

/// The bytes that a reader makes of a text; nothing if it refuses the text, and then the record
/// must be untouched and no block left over.
inline std::optional<std::string> read_binary(BinaryReader read, const std::string& text) {
  const std::size_t blocks = live_blocks();
  vk_binary binary = kStrayBinary;
  const vk_error result = read(&binary, text.c_str(), vk_default_allocator());
  if (result != VK_EOK) {
    EXPECT_EQ(result, VK_EINVAL);
    EXPECT_THAT(binary, IsStray());
    EXPECT_EQ(live_blocks(), blocks);
    return std::nullopt;
  }
  EXPECT_EQ(binary.magic, VK_MAGIC_BINARY);
  std::string bytes = content(binary);
  vk_binary_destroy(&binary);
  return bytes;
}

/// What a writer writes of some bytes, write by write.
inline std::vector<std::string> binary_writes(BinaryWriter write, std::string_view bytes) {
  const Binary binary{bytes};
  TextStream stream;
  write(stream.get(), binary.get());
  EXPECT_EQ(stream.error(), VK_EOK);
  return stream.writes();
}

/// The same in one piece.
inline std::string written_binary(BinaryWriter write, std::string_view bytes) {
  std::string text;
  for (const std::string& part : binary_writes(write, bytes)) text += part;
  return text;
}

}  // namespace vesk::test
