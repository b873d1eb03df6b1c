#pragma once

// What a burst of messages leaves behind: memory that is free but, scattered as it is, still the
// process's. It is given back once the burst is over, never in the midst of work.

#include <asio/io_context.hpp>
#include <functional>

#include "core/alarm.h"

namespace vesk::core {

/// Gives back to the system what the process does not need.
void trim_memory();

class Trimmer {
 public:
  explicit Trimmer(asio::io_context& loop, std::function<void()> trim = trim_memory);

  /// Looks at the buffers; to be called often.
  void look() noexcept;

 private:
  Alarm over_;
  bool swollen_ = false;
};

}  // namespace vesk::core
