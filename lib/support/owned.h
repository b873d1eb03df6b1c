#pragma once

// Ownership as a type: a record or block that is released unless it is handed on by `release()`.

#include <memory>

namespace vesk {

template <auto Release>
struct Releaser {
  template <typename T>
  void operator()(T* owned) const {
    Release(owned);
  }
};

template <typename T, auto Release>
using Owned = std::unique_ptr<T, Releaser<Release>>;

}  // namespace vesk
