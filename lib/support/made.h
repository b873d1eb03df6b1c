#pragma once

// Objects on the malloc heap, for programs that go without operator new.

#include <cstdlib>
#include <new>
#include <utility>

#include "lib/support/owned.h"

namespace vesk {

template <typename T>
void unmake(T* object) {
  object->~T();
  std::free(object);
}

template <typename T>
using Made = Owned<T, unmake<T>>;

/// Constructs an object; null if there is no memory.
template <typename T, typename... Arguments>
[[nodiscard]] Made<T> make(Arguments&&... arguments) {
  void* const memory = std::malloc(sizeof(T));
  return Made<T>(memory == nullptr ? nullptr
                                   : new (memory) T(std::forward<Arguments>(arguments)...));
}

}  // namespace vesk
