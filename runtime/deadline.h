#pragma once

#include <time.h>

#include <algorithm>
#include <climits>
#include <cstdint>

namespace vesk::rt {

/// A moment until which something is waited for, or never.
class Deadline {
 public:
  static Deadline never() { return Deadline(kNever); }

  /// In so many milliseconds; never if there are less than none.
  static Deadline in(int milliseconds) {
    return Deadline(milliseconds < 0 ? kNever : now() + milliseconds);
  }

  bool passed() const { return left() == 0; }

  /// Milliseconds, as `poll` takes them: -1 for a deadline that never comes.
  int left() const {
    if (moment_ == kNever) return -1;
    return static_cast<int>(std::clamp<int64_t>(moment_ - now(), 0, INT_MAX));
  }

 private:
  static constexpr int64_t kNever = INT64_MAX;

  explicit Deadline(int64_t moment) : moment_(moment) {}

  // Milliseconds of the clock that only goes forward.
  static int64_t now() {
    timespec time = {};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return int64_t{time.tv_sec} * 1000 + time.tv_nsec / 1000000;
  }

  int64_t moment_;
};

}  // namespace vesk::rt
