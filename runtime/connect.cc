#include "runtime/connect.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <iterator>

namespace vesk::rt {
namespace {

constexpr int kFirstPause = 10;
constexpr int kLongestPause = 250;

vk_error address_of(const char* path, sockaddr_un& address) {
  const std::size_t length = std::strlen(path);
  if (length == 0) return VK_ENOENT;
  if (length >= sizeof address.sun_path) return VK_ENAMETOOLONG;
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path, length + 1);
  return VK_EOK;
}

bool is_trusted(int fd) {
  ucred peer = {};
  socklen_t size = sizeof peer;
  if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return false;
  return peer.uid == 0 || peer.uid == geteuid();
}

struct Meaning {
  int error;
  vk_error told;
};
constexpr Meaning kMeanings[] = {
    {EAGAIN, VK_EBUSY},  {EINTR, VK_EBUSY},   {ENOENT, VK_ENOENT}, {ECONNREFUSED, VK_ENOENT},
    {EMFILE, VK_ENOMEM}, {ENFILE, VK_ENOMEM}, {ENOMEM, VK_ENOMEM}, {ENOBUFS, VK_ENOMEM}};

vk_error meaning_of(int error) {
  const auto* const found = std::ranges::find(kMeanings, error, &Meaning::error);
  return found == std::end(kMeanings) ? VK_EIO : found->told;
}

// One attempt. `VK_EBUSY` if the server's queue is full.
vk_error attempt(const sockaddr_un& address, Fd& fd) {
  Fd made(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
  if (!made.valid()) return meaning_of(errno);
  if (connect(made.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
    return meaning_of(errno);
  }
  if (!is_trusted(made.get())) return VK_EAUTH;
  fd = std::move(made);
  return VK_EOK;
}

vk_error connect(const char* path, bool patient, const Deadline& deadline, int stop, Fd& fd) {
  sockaddr_un address = {};
  vk_error error = address_of(path, address);
  if (error != VK_EOK) return error;
  for (int pause = kFirstPause;; pause = std::min(2 * pause, kLongestPause)) {
    error = attempt(address, fd);
    if (error != VK_EBUSY && !(patient && error == VK_ENOENT)) return error;
    if (!pause_for(pause, deadline, stop)) return VK_ENOENT;
  }
}

}  // namespace

vk_error connect_now(const char* path, const Deadline& deadline, int stop, Fd& fd) {
  return connect(path, false, deadline, stop, fd);
}

vk_error connect_patiently(const char* path, const Deadline& deadline, int stop, Fd& fd) {
  return connect(path, true, deadline, stop, fd);
}

bool pause_for(int milliseconds, const Deadline& deadline, int stop) {
  const int left = deadline.left();
  if (left == 0) return false;
  pollfd stopping = {stop, POLLIN, 0};
  poll(&stopping, 1, left < 0 ? milliseconds : std::min(left, milliseconds));
  return (stopping.revents & POLLIN) == 0;
}

}  // namespace vesk::rt
