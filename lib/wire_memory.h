#pragma once

// Messages in memory: the transports of lib/wire.h that write to a growing buffer and read from
// bytes that are there.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "lib/support/byte_buffer.h"
#include "vesk/error.h"

namespace vesk::wire {

/// Appends fields to bytes. After one that found no room no other is taken, so that a message with
/// a hole is never held for whole.
class Appender {
 public:
  explicit Appender(ByteBuffer& bytes) : bytes_(&bytes) {}

  bool takes_texts() const { return true; }

  /// `VK_ENOMEM` if there is no room for this field or was none for an earlier one.
  [[nodiscard]] uint32_t write(const void* bytes, std::size_t size) {
    whole_ = whole_ && bytes_->append(bytes, size);
    return whole_ ? VK_EOK : VK_ENOMEM;
  }

 private:
  ByteBuffer* bytes_;
  bool whole_ = true;
};

/// Fields behind each other, in bytes of its own.
class Buffer {
 public:
  Buffer() = default;
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;

  bool takes_texts() const { return fields_.takes_texts(); }
  [[nodiscard]] uint32_t write(const void* bytes, std::size_t size) {
    return fields_.write(bytes, size);
  }
  std::span<const std::byte> bytes() const { return bytes_.bytes(); }

  /// Begins anew and keeps the memory.
  void clear() {
    bytes_.clear();
    fields_ = Appender(bytes_);
  }

 private:
  ByteBuffer bytes_;
  Appender fields_{bytes_};
};

/// Bytes that are read from the first to the last. They are borrowed.
class Bytes {
 public:
  explicit Bytes(std::span<const std::byte> bytes) : rest_(bytes) {}

  /// `VK_EIO` if there are not so many left; then none are left.
  [[nodiscard]] uint32_t read(void* bytes, std::size_t size) {
    if (size > rest_.size()) {
      rest_ = {};
      return VK_EIO;
    }
    if (size != 0) std::memcpy(bytes, rest_.data(), size);
    rest_ = rest_.subspan(size);
    return VK_EOK;
  }

  /// A shortened tree is never held for whole.
  uint32_t lost_member() const { return VK_ENOMEM; }

  std::span<const std::byte> rest() const { return rest_; }

 private:
  std::span<const std::byte> rest_;
};

}  // namespace vesk::wire
