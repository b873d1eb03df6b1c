#pragma once

// Observes what the library logs. The test programs wrap syslog, openlog, closelog and vk_log at
// link time; nothing reaches the machine's log.

#include <ostream>
#include <string>
#include <vector>

namespace vesk::test {

/// One message as syslog received it.
struct LogLine {
  int priority;
  std::string text;

  bool operator==(const LogLine&) const = default;
};

std::ostream& operator<<(std::ostream& out, const LogLine& line);

/// One call of vk_log: its arguments and its formatted text.
struct LogCall {
  int category;
  int level;
  std::string file;
  unsigned int line;
  std::string function;
  std::string text;

  /// The lines of most calls move with the source, so they are not compared here.
  bool operator==(const LogCall& other) const;
};

std::ostream& operator<<(std::ostream& out, const LogCall& call);

/// Records while it lives. It begins with logging as in a fresh process: no connection open, all
/// facilities LOG_USER, `vk_log_stream` and `vk_module_ctx` null; and leaves it
/// so. One at a time.
class LogSpy {
 public:
  LogSpy();
  ~LogSpy();
  LogSpy(const LogSpy&) = delete;
  LogSpy& operator=(const LogSpy&) = delete;

  /// What syslog received, oldest first.
  const std::vector<LogLine>& lines() const;

  /// The calls of vk_log, oldest first. Messages built in steps are not among them.
  const std::vector<LogCall>& calls() const;

  /// Everything that was done with syslog, oldest first, as "openlog IDENT OPTION FACILITY",
  /// "closelog" and "syslog PRIORITY FORMAT".
  const std::vector<std::string>& connection() const;

  /// Forgets what was recorded and leaves the state of logging as it is.
  void forget();
};

}  // namespace vesk::test
