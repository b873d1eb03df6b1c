#pragma once

// One descriptor to wait for in place of others, by epoll: the module's loop has one over its lines
// and its watches, each watch one over what it watches. Events tell identities that are never used
// twice, so that one which comes late finds nobody.

#include <sys/epoll.h>

#include <cstdint>

#include "runtime/fd.h"

namespace vesk::rt {

class Poller {
 public:
  Poller() : fd_(epoll_create1(EPOLL_CLOEXEC)) {}

  int fd() const { return fd_.get(); }
  uint64_t new_identity() { return ++last_identity_; }

  /// Each gives 0 or the `errno`.
  int add(int fd, uint64_t identity) { return control(EPOLL_CTL_ADD, fd, identity); }
  /// Fails for a descriptor that is not, or no more, the one that was added.
  int renew(int fd, uint64_t identity) { return control(EPOLL_CTL_MOD, fd, identity); }
  void remove(int fd) { epoll_ctl(fd_.get(), EPOLL_CTL_DEL, fd, nullptr); }

  /// The events that are there, without waiting; how many.
  int events(epoll_event* first, int most) { return epoll_wait(fd_.get(), first, most, 0); }

 private:
  int control(int operation, int fd, uint64_t identity);

  Fd fd_;
  uint64_t last_identity_ = 0;
};

}  // namespace vesk::rt
