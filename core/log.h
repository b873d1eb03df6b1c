#pragma once

// The core's messages: to the library's log, or to standard error where the program runs in the
// foreground.

#include <sys/types.h>

#include <array>
#include <chrono>
#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "core/call.h"
#include "vesk/log.h"

namespace vesk::core {

/// Sends messages to standard error from now on; those of the library too, in addition to the
/// system's log. Facilities are chosen before.
void log_to_standard_error();
bool is_logging_to_standard_error();

/// Logs one message.
/// @param level `VK_LOG_DEBUG` to `VK_LOG_ERROR`
void log(int level, const char* format, ...) VK_PRINTF(2, 3);

/// A peer's text made safe for a log line: backslashes and what is not printable ASCII as "\xHH",
/// its end cut off beyond 64 bytes.
std::string escaped(std::string_view text);

/// What is told of an error that a process caused, such as `LogBudget::complain`.
using Complain = std::function<void(const Peer& cause, const std::string& text)>;

/// Logs an error whoever caused it, and however many there were.
void complain(const Peer& cause, const std::string& text);

/// Lets each process cause so many messages in any second and no more.
class LogBudget {
 public:
  using Clock = std::chrono::steady_clock;
  static constexpr unsigned kMessagesInASecond = 10;

  /// Whether one more may be written now.
  bool spend(const Peer& peer, Clock::time_point now = Clock::now()) noexcept;

  /// Logs an error if whoever caused it has something left.
  void complain(const Peer& cause, const std::string& text) noexcept;

 private:
  struct Spent {
    std::array<Clock::time_point, kMessagesInASecond> times;  // of the last ones, in a ring
    std::size_t next;                                         // the oldest one's place
  };
  std::map<std::pair<pid_t, uid_t>, Spent> spent_;
};

}  // namespace vesk::core
