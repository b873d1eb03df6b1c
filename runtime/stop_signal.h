#pragma once

#include <signal.h>

#include "runtime/fd.h"

namespace vesk::rt {

/// While it lives, SIGTERM and SIGINT end nothing, but make a descriptor readable for good. One at
/// a time.
class StopSignal {
 public:
  StopSignal();
  ~StopSignal();
  StopSignal(const StopSignal&) = delete;
  StopSignal& operator=(const StopSignal&) = delete;

  /// Not valid if there was none to be had.
  int fd() const { return fd_.get(); }
  bool came() const;

 private:
  Fd fd_;
  struct sigaction terminate_ = {};  // what was there before
  struct sigaction interrupt_ = {};
};

}  // namespace vesk::rt
