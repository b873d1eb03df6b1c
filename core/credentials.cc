#include "core/credentials.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

namespace vesk::core {
namespace {

std::vector<gid_t> groups_of(int connection) {
  std::vector<gid_t> groups(32);
  for (;;) {
    auto size = static_cast<socklen_t>(groups.size() * sizeof(gid_t));
    if (getsockopt(connection, SOL_SOCKET, SO_PEERGROUPS, groups.data(), &size) == 0) {
      groups.resize(size / sizeof(gid_t));
      return groups;
    }
    if (errno != ERANGE) return {};
    groups.resize(size / sizeof(gid_t));
  }
}

template <typename Id>
bool has(const std::vector<Id>& ids, Id id) {
  return std::find(ids.begin(), ids.end(), id) != ids.end();
}

bool may_read(const Credentials& credentials, const Access& access) {
  if (has(access.users, credentials.uid)) return true;
  if (!access.group.has_value()) return false;
  return credentials.gid == *access.group || has(credentials.groups, *access.group);
}

}  // namespace

std::optional<Peer> judge(const Credentials& credentials, uid_t own, const Access& access) {
  if (credentials.pid <= 0) return {};  // of another name space, and one cannot be told from others
  const bool trusted = credentials.uid == 0 || credentials.uid == own;
  if (!trusted && !may_read(credentials, access)) return {};
  return Peer{credentials.uid, credentials.gid, credentials.pid, trusted};
}

std::optional<Credentials> credentials_of(int connection) {
  ucred found = {};
  socklen_t size = sizeof found;
  if (getsockopt(connection, SOL_SOCKET, SO_PEERCRED, &found, &size) != 0) return {};
  return Credentials{found.uid, found.gid, found.pid, groups_of(connection)};
}

}  // namespace vesk::core
