#pragma once

#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <span>
#include <utility>

#include "lib/support/owned.h"

namespace vesk {

/// Bytes behind each other. Their memory, from malloc, doubles when it is full.
class ByteBuffer {
 public:
  ByteBuffer() = default;
  ByteBuffer(ByteBuffer&& other) noexcept
      : bytes_(std::move(other.bytes_)),
        size_(std::exchange(other.size_, 0)),
        capacity_(std::exchange(other.capacity_, 0)) {}
  ByteBuffer& operator=(ByteBuffer&& other) noexcept {
    bytes_ = std::move(other.bytes_);
    size_ = std::exchange(other.size_, 0);
    capacity_ = std::exchange(other.capacity_, 0);
    return *this;
  }

  std::span<const std::byte> bytes() const { return {bytes_.get(), size_}; }

  /// False if there is no memory; then nothing is appended.
  [[nodiscard]] bool append(const void* bytes, std::size_t size) {
    if (!reserve(size)) return false;
    if (size != 0) std::memcpy(bytes_.get() + size_, bytes, size);
    size_ += size;
    return true;
  }

  /// Makes room for so many more bytes; false if there is no memory.
  [[nodiscard]] bool reserve(std::size_t more) { return more <= capacity_ - size_ || grow(more); }

  /// The room behind the bytes; what is written there counts after `extend`, by as much at most.
  std::span<std::byte> room() { return {bytes_.get() + size_, capacity_ - size_}; }
  void extend(std::size_t size) { size_ += size; }

  /// Forgets the first bytes, as many as there are at most.
  void drop(std::size_t size) {
    size_ -= size;
    if (size_ != 0) std::memmove(bytes_.get(), bytes_.get() + size, size_);
  }

  /// Forgets all bytes and keeps the memory.
  void clear() { size_ = 0; }

 private:
  bool grow(std::size_t more) {
    std::size_t capacity = 0;
    if (__builtin_add_overflow(size_, more, &capacity)) return false;
    if (capacity < kSmallest) capacity = kSmallest;
    if (capacity < 2 * capacity_) capacity = 2 * capacity_;
    auto* const moved = static_cast<std::byte*>(std::realloc(bytes_.get(), capacity));
    if (moved == nullptr) return false;
    static_cast<void>(bytes_.release());
    bytes_.reset(moved);
    capacity_ = capacity;
    return true;
  }

  static constexpr std::size_t kSmallest = 256;

  Owned<std::byte, std::free> bytes_;
  std::size_t size_ = 0;
  std::size_t capacity_ = 0;
};

}  // namespace vesk
