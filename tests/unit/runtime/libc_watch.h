#pragma once

// Watches and bends what the runtime asks of sockets and clocks. The test program wraps `send`,
// `recv`, `getsockopt`, `geteuid`, `clock_gettime`, `poll` and `eventfd` at link time; without one
// of these they are libc's own.

#include <sys/resource.h>
#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <vector>

namespace vesk::test {

/// Records the sends of this process while it lives.
class Sends {
 public:
  Sends();
  ~Sends();
  Sends(const Sends&) = delete;
  Sends& operator=(const Sends&) = delete;

  struct Send {
    std::size_t size;
    int flags;
  };
  std::vector<Send> all;
  std::function<void()> at_each = [] {};
};

/// While it lives, what this process looks for and does not find is there a moment later, before it
/// does anything else.
class JustMissed {
 public:
  /// @param missed called when it has looked at a descriptor, before what it looked for comes
  explicit JustMissed(std::function<void(int fd)> missed = [](int) {});
  ~JustMissed();
  JustMissed(const JustMissed&) = delete;
  JustMissed& operator=(const JustMissed&) = delete;

  const std::function<void(int fd)> missed;
};

/// While it lives, servers are another user's than they are, and so is this process.
class Users {
 public:
  Users(uid_t server, uid_t own);
  ~Users();
  Users(const Users&) = delete;
  Users& operator=(const Users&) = delete;

  uid_t server;
  uid_t own;
};

/// While it lives, the process gets no descriptor from this number on. Fewer than `poll` is given
/// at once would be too few for it.
class NoDescriptors {
 public:
  explicit NoDescriptors(rlim_t first = 3);
  ~NoDescriptors();
  NoDescriptors(const NoDescriptors&) = delete;
  NoDescriptors& operator=(const NoDescriptors&) = delete;

 private:
  rlimit before_ = {};
};

/// While it lives, the process gets no descriptor for events.
class NoEvents {
 public:
  NoEvents();
  ~NoEvents();
  NoEvents(const NoEvents&) = delete;
  NoEvents& operator=(const NoEvents&) = delete;
};

/// While it lives, time passes so many times as fast, and waiting is as much shorter; or it stands
/// still, if that is 0.
class Time {
 public:
  explicit Time(int times_as_fast);
  ~Time();
  Time(const Time&) = delete;
  Time& operator=(const Time&) = delete;

  void pass(int milliseconds) { passed_ += int64_t{milliseconds} * 1000000; }

  /// The milliseconds that have passed.
  int64_t passed() const { return (now() - begin_) / 1000000; }

  // In nanoseconds.
  int64_t now() const;
  int speed() const { return speed_; }

 private:
  int speed_;
  int64_t begin_;
  int64_t passed_ = 0;  // by `pass`
};

}  // namespace vesk::test
