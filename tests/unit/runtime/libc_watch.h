#pragma once

// Watches and bends what the runtime asks of sockets. The test program wraps `send`, `getsockopt`
// and `geteuid` at link time; without one of these they are libc's own.

#include <sys/types.h>

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

}  // namespace vesk::test
