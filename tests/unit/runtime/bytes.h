#pragma once

// Messages as bytes: written by hand, field by field, or encoded from trees.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "lib/wire.h"
#include "lib/wire_memory.h"
#include "tests/support/trees.h"
#include "tests/support/values.h"

namespace vesk::test {

using ByteString = std::vector<std::byte>;

/// Bytes that are written field by field.
class Fields {
 public:
  Fields& number(uint32_t number) { return raw(&number, sizeof number); }
  Fields& text(std::string_view text) {
    return number(static_cast<uint32_t>(text.size())).raw(text.data(), text.size());
  }
  Fields& raw(const void* bytes, std::size_t size) {
    const auto* const begin = static_cast<const std::byte*>(bytes);
    bytes_.insert(bytes_.end(), begin, begin + size);
    return *this;
  }
  Fields& zeros(std::size_t count) {
    bytes_.resize(bytes_.size() + count);
    return *this;
  }
  /// The same fields so many times.
  Fields& times(uint32_t count, const Fields& fields) {
    for (; count != 0; --count) raw(fields.bytes_.data(), fields.bytes_.size());
    return *this;
  }
  operator ByteString() const { return bytes_; }

 private:
  ByteString bytes_;
};

/// The beginning of a request or response, up to its value.
inline Fields request_head(std::string_view path = "a") {
  return Fields().number(0).text(path).number(0);
}
inline Fields response_head() { return Fields().number(0); }

/// What the library's encoder makes of a tree.
inline ByteString encoded(const vk_value& value) {
  wire::Buffer buffer;
  EXPECT_EQ(VK_EOK, wire::Encoder(buffer).put(value));
  return {buffer.bytes().begin(), buffer.bytes().end()};
}
inline ByteString encoded(const Tree& tree) { return encoded(*planted(tree)); }

inline ByteString operator+(ByteString left, const ByteString& right) {
  left.insert(left.end(), right.begin(), right.end());
  return left;
}

}  // namespace vesk::test
