#pragma once

// The hook through which the library's own wrappers make calls inside the core. What the core's
// services can answer without waiting is answered at once; otherwise the loop runs meanwhile. Calls
// belong to the chain of calls that led to them (core/behalf.h).

#include <asio/io_context.hpp>

#include "core/router.h"

namespace vesk::core {

/// Installs the hook for as long as it lives. One at a time, and not where a module's context is
/// set.
class Hook {
 public:
  /// How often the loop may run within itself. A call from so deep is answered `VK_EBUSY`, and
  /// nobody is asked.
  static constexpr unsigned kDeepest = 8;

  Hook(asio::io_context& loop, Router& router);
  ~Hook();
  Hook(const Hook&) = delete;
  Hook& operator=(const Hook&) = delete;
};

}  // namespace vesk::core
