#include "tests/unit/runtime/libc_watch.h"

#include <sys/socket.h>

extern "C" {
ssize_t __real_send(int fd, const void* bytes, std::size_t size, int flags);
int __real_getsockopt(int fd, int level, int name, void* value, socklen_t* size);
uid_t __real_geteuid();
ssize_t __wrap_send(int fd, const void* bytes, std::size_t size, int flags);
int __wrap_getsockopt(int fd, int level, int name, void* value, socklen_t* size);
uid_t __wrap_geteuid();
}

namespace vesk::test {
namespace {
Sends* sends = nullptr;
Users* users = nullptr;
}  // namespace

Sends::Sends() { sends = this; }
Sends::~Sends() { sends = nullptr; }

Users::Users(uid_t its, uid_t ours) : server(its), own(ours) { users = this; }
Users::~Users() { users = nullptr; }

}  // namespace vesk::test

using vesk::test::sends;
using vesk::test::users;

ssize_t __wrap_send(int fd, const void* bytes, std::size_t size, int flags) {
  if (sends != nullptr) sends->all.push_back({size, flags});
  return __real_send(fd, bytes, size, flags);
}

int __wrap_getsockopt(int fd, int level, int name, void* value, socklen_t* size) {
  const int result = __real_getsockopt(fd, level, name, value, size);
  if (users != nullptr && name == SO_PEERCRED) static_cast<ucred*>(value)->uid = users->server;
  return result;
}

uid_t __wrap_geteuid() { return users != nullptr ? users->own : __real_geteuid(); }
