#pragma once

// On whose behalf calls of the library's wrappers are made, which cannot say it themselves.

#include <utility>

#include "core/call.h"

namespace vesk::core {

/// As long as one lives, the hook's calls descend from this call. It must not live over an await. A
/// service needs one only for what it calls after it has waited.
class OnBehalf {
 public:
  explicit OnBehalf(CallPtr call) noexcept
      : call_(std::move(call)), before_(std::exchange(innermost_, this)) {}
  ~OnBehalf() { innermost_ = before_; }
  OnBehalf(const OnBehalf&) = delete;
  OnBehalf& operator=(const OnBehalf&) = delete;

  /// Null for the core's own.
  static CallPtr current() { return innermost_ == nullptr ? nullptr : innermost_->call_; }

 private:
  static inline const OnBehalf* innermost_ = nullptr;

  const CallPtr call_;
  const OnBehalf* const before_;
};

}  // namespace vesk::core
