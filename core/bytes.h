#pragma once

// The bytes of messages. Whatever holds some is charged to one account for the whole process, so
// that peers together cannot take more than it allows.

#include <atomic>
#include <cstddef>
#include <memory>
#include <new>
#include <vector>

namespace vesk::core {

/// Counts what is taken and refuses what goes beyond the limit. The store's thread takes part.
class Account {
 public:
  constexpr explicit Account(std::size_t limit) : limit_(limit) {}

  [[nodiscard]] bool charge(std::size_t size) {
    std::size_t used = used_;
    do {
      if (size > limit_ || used > limit_ - size) return false;
    } while (!used_.compare_exchange_weak(used, used + size));
    return true;
  }

  void refund(std::size_t size) { used_ -= size; }
  std::size_t used() const { return used_; }
  void set_limit(std::size_t limit) { limit_ = limit; }

 private:
  std::atomic<std::size_t> limit_;
  std::atomic<std::size_t> used_ = 0;
};

/// The account of all `Bytes`.
inline constinit Account buffers{16U << 20};

/// The standard allocator, charged to `buffers`; `bad_alloc` beyond its limit.
template <typename T>
struct ChargedAllocator {
  using value_type = T;

  ChargedAllocator() = default;
  template <typename U>
  ChargedAllocator(const ChargedAllocator<U>&) {}

  T* allocate(std::size_t count) {
    if (!buffers.charge(count * sizeof(T))) throw std::bad_alloc();
    try {
      return std::allocator<T>().allocate(count);
    } catch (...) {
      buffers.refund(count * sizeof(T));
      throw;
    }
  }

  void deallocate(T* first, std::size_t count) {
    std::allocator<T>().deallocate(first, count);
    buffers.refund(count * sizeof(T));
  }

  bool operator==(const ChargedAllocator&) const = default;
};

using Bytes = std::vector<std::byte, ChargedAllocator<std::byte>>;

}  // namespace vesk::core
