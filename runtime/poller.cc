#include "runtime/poller.h"

#include <cerrno>

namespace vesk::rt {

int Poller::control(int operation, int fd, uint64_t identity) {
  epoll_event event = {};
  event.events = EPOLLIN;
  event.data.u64 = identity;
  return epoll_ctl(fd_.get(), operation, fd, &event) == 0 ? 0 : errno;
}

}  // namespace vesk::rt
