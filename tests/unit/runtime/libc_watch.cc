#include "tests/unit/runtime/libc_watch.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <time.h>

#include <algorithm>
#include <cerrno>
#include <utility>

extern "C" {
ssize_t __real_send(int fd, const void* bytes, std::size_t size, int flags);
ssize_t __real_recv(int fd, void* bytes, std::size_t size, int flags);
int __real_getsockopt(int fd, int level, int name, void* value, socklen_t* size);
uid_t __real_geteuid();
int __real_clock_gettime(clockid_t clock, timespec* time);
int __real_poll(pollfd* fds, nfds_t count, int timeout);
int __real_eventfd(unsigned int count, int flags);
ssize_t __wrap_send(int fd, const void* bytes, std::size_t size, int flags);
ssize_t __wrap_recv(int fd, void* bytes, std::size_t size, int flags);
int __wrap_getsockopt(int fd, int level, int name, void* value, socklen_t* size);
uid_t __wrap_geteuid();
int __wrap_clock_gettime(clockid_t clock, timespec* time);
int __wrap_poll(pollfd* fds, nfds_t count, int timeout);
int __wrap_eventfd(unsigned int count, int flags);
}

namespace vesk::test {
namespace {
Sends* sends = nullptr;
Users* users = nullptr;
Time* times = nullptr;
const JustMissed* just_missed = nullptr;
bool no_events = false;

constexpr int kMomentAtMost = 1000;  // milliseconds

constexpr int64_t kSecond = 1000000000;

int64_t real_now() {
  timespec time = {};
  __real_clock_gettime(CLOCK_MONOTONIC, &time);
  return int64_t{time.tv_sec} * kSecond + time.tv_nsec;
}

}  // namespace

Sends::Sends() { sends = this; }
Sends::~Sends() { sends = nullptr; }

JustMissed::JustMissed(std::function<void(int fd)> its) : missed(std::move(its)) {
  just_missed = this;
}
JustMissed::~JustMissed() { just_missed = nullptr; }

Users::Users(uid_t its, uid_t ours) : server(its), own(ours) { users = this; }
Users::~Users() { users = nullptr; }

NoDescriptors::NoDescriptors(rlim_t first) {
  EXPECT_EQ(0, getrlimit(RLIMIT_NOFILE, &before_));
  const rlimit none = {first, before_.rlim_max};
  EXPECT_EQ(0, setrlimit(RLIMIT_NOFILE, &none));
}
NoDescriptors::~NoDescriptors() { EXPECT_EQ(0, setrlimit(RLIMIT_NOFILE, &before_)); }

NoEvents::NoEvents() { no_events = true; }
NoEvents::~NoEvents() { no_events = false; }

Time::Time(int times_as_fast) : speed_(times_as_fast), begin_(real_now()) { times = this; }
Time::~Time() { times = nullptr; }

int64_t Time::now() const { return begin_ + (real_now() - begin_) * speed_ + passed_; }

}  // namespace vesk::test

using vesk::test::just_missed;
using vesk::test::kMomentAtMost;
using vesk::test::kSecond;
using vesk::test::no_events;
using vesk::test::sends;
using vesk::test::times;
using vesk::test::users;

ssize_t __wrap_send(int fd, const void* bytes, std::size_t size, int flags) {
  if (sends != nullptr) {
    sends->all.push_back({size, flags});
    sends->at_each();
  }
  return __real_send(fd, bytes, size, flags);
}

ssize_t __wrap_recv(int fd, void* bytes, std::size_t size, int flags) {
  const ssize_t result = __real_recv(fd, bytes, size, flags);
  if (just_missed == nullptr || result >= 0 || errno != EAGAIN || (flags & MSG_PEEK) != 0)
    return result;
  just_missed->missed(fd);
  pollfd waiting = {fd, POLLIN, 0};
  __real_poll(&waiting, 1, kMomentAtMost);
  errno = EAGAIN;
  return result;
}

int __wrap_getsockopt(int fd, int level, int name, void* value, socklen_t* size) {
  const int result = __real_getsockopt(fd, level, name, value, size);
  if (users != nullptr && name == SO_PEERCRED) static_cast<ucred*>(value)->uid = users->server;
  return result;
}

uid_t __wrap_geteuid() { return users != nullptr ? users->own : __real_geteuid(); }

int __wrap_clock_gettime(clockid_t clock, timespec* time) {
  if (times == nullptr) return __real_clock_gettime(clock, time);
  const int64_t now = times->now();
  time->tv_sec = static_cast<time_t>(now / kSecond);
  time->tv_nsec = static_cast<long>(now % kSecond);
  return 0;
}

int __wrap_poll(pollfd* fds, nfds_t count, int timeout) {
  const bool shorter = times != nullptr && times->speed() != 0 && timeout > 0;
  return __real_poll(fds, count, shorter ? std::max(1, timeout / times->speed()) : timeout);
}

int __wrap_eventfd(unsigned int count, int flags) {
  if (!no_events) return __real_eventfd(count, flags);
  errno = EMFILE;
  return -1;
}
