#pragma once

// What the fuzzers share.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <span>

#include "vesk/mm/heap.h"
#include "vesk/value/node.h"

namespace vesk::fuzz {

struct DeleteValue {
  void operator()(vk_value* value) const { vk_value_delete(value); }
};
using Value = std::unique_ptr<vk_value, DeleteValue>;

inline Value new_value() { return Value(vk_value_new(vk_default_allocator())); }

/// Ends the fuzzer with the input at hand kept, unless what must always hold does.
inline void require(bool holds) {
  if (!holds) std::abort();
}

}  // namespace vesk::fuzz
