#pragma once

// What the tests of the stack allocator share.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "tests/support/heaps.h"
#include "vesk/mm/stack.h"

namespace vesk::test {

/// The default size of chunks, their two words included.
inline constexpr std::size_t kChunkSize = 4064;

/// The widest scalar as the member of a record.
struct WidestScalar {
  char before;
  union {
    std::uintmax_t number;
    long double real;
    void* pointer;
  } scalar;
};
inline constexpr std::size_t kAlignment = offsetof(WidestScalar, scalar);

inline std::uintptr_t address(const void* pointer) {
  return reinterpret_cast<std::uintptr_t>(pointer);
}

inline const vk_mm_stack& record_of(const vk_allocator* stack) {
  return *reinterpret_cast<const vk_mm_stack*>(stack);
}

/// Has a fresh stack named "temporaries".
class StackTest : public testing::Test {
 protected:
  vk_allocator* stack() const { return stack_.get(); }

  /// One object by the raw operation.
  char* take(std::size_t size) const {
    return static_cast<char*>(stack()->ops->alloc(stack(), size));
  }

  char* finish() const { return static_cast<char*>(vk_mm_stack_grow_finish(stack())); }

  bool owns(const void* pointer) const { return stack()->ops->owns(stack(), pointer) != 0; }

  const vk_mm_region& region() const { return record_of(stack()).region; }

  /// The bytes that remain in the chunk in use.
  std::size_t room() const { return static_cast<std::size_t>(region().limit - region().next_free); }

 private:
  Heap stack_{vk_mm_stack_new("temporaries")};
};

/// Grows objects on a fresh stack.
class StackGrowTest : public StackTest {
 protected:
  void grow(const std::string& bytes) const {
    vk_mm_stack_grow(stack(), bytes.data(), bytes.size());
  }

  void grow_char(char character) const { vk_mm_stack_grow_char(stack(), character); }

  /// Terminates the object, finishes it and reads it as a text.
  std::string finish_text() const {
    grow_char('\0');
    const char* const text = finish();
    return text == nullptr ? "lost" : text;
  }
};

}  // namespace vesk::test
