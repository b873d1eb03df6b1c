#pragma once

// Who may open a line, and what for.

#include <sys/types.h>

#include <optional>
#include <vector>

#include "core/call.h"

namespace vesk::core {

/// Users beyond root and the core's own. They may only read.
struct Access {
  std::vector<uid_t> users = {};
  std::optional<gid_t> group = {};
};

/// What the kernel says of a peer.
struct Credentials {
  uid_t uid;
  gid_t gid;
  pid_t pid;
  std::vector<gid_t> groups;  ///< empty if the kernel cannot tell them
};

/// Who that is to a core of a user; nothing for who may not be there.
std::optional<Peer> judge(const Credentials& credentials, uid_t own, const Access& access);

/// What the kernel says of the other end of a connection; nothing if it says nothing.
std::optional<Credentials> credentials_of(int connection);

}  // namespace vesk::core
