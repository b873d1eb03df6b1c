#include "runtime/line.h"

#include <poll.h>
#include <sys/socket.h>

#include <cerrno>

namespace vesk::rt {
namespace {

constexpr std::size_t kLeastRoom = 1024;
constexpr std::size_t kKeptCapacity = 16384;  // of the buffer, from one message to the next

bool would_block() { return errno == EAGAIN || errno == EWOULDBLOCK; }

}  // namespace

void Line::expect(Message message) {
  if (is_complete()) bytes_.drop(scanner_.size());
  const bool large = bytes_.room().size() > kKeptCapacity;
  if (large && bytes_.bytes().empty()) bytes_ = ByteBuffer();
  scanner_ = Scanner(message, Limits::widest());
}

Line::Reading Line::receive() {
  if (is_complete()) return Reading::kComplete;
  while (is_open()) {
    const Scanner::State state = scanner_.scan(bytes_.bytes());
    if (state == Scanner::State::kComplete) return Reading::kComplete;
    if (state == Scanner::State::kRefused || !bytes_.reserve(kLeastRoom)) break;
    const std::span<std::byte> room = bytes_.room();
    const ssize_t size = recv(fd(), room.data(), room.size(), MSG_DONTWAIT);
    if (size > 0) {
      bytes_.extend(static_cast<std::size_t>(size));
    } else if (size == 0 || errno != EINTR) {
      if (size != 0 && would_block()) return Reading::kIncomplete;
      break;
    }
  }
  close();
  return Reading::kLost;
}

std::span<const std::byte> Line::message() const { return bytes_.bytes().first(scanner_.size()); }

bool Line::has_rest() const {
  return bytes_.bytes().size() > (is_complete() ? scanner_.size() : 0);
}

bool Line::is_quiet() const {
  char byte = 0;
  return is_open() && recv(fd(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0 && would_block();
}

vk_error Line::send(std::span<const std::byte> bytes, const Deadline& deadline) const {
  while (!bytes.empty()) {
    const ssize_t size = ::send(fd(), bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (size >= 0) {
      bytes = bytes.subspan(static_cast<std::size_t>(size));
    } else if (would_block()) {
      if (!wait_for(fd(), POLLOUT, deadline)) return VK_ETIMEDOUT;
    } else if (errno != EINTR) {
      return VK_EIO;
    }
  }
  return VK_EOK;
}

vk_error Line::exchange(std::span<const std::byte> request, const Deadline& deadline) {
  if (has_rest() || !is_quiet()) return VK_EIO;
  expect(Message::kResponse);
  const vk_error error = send(request, deadline);
  if (error == VK_ETIMEDOUT) return error;
  for (;;) {
    const Reading reading = receive();
    if (reading == Reading::kComplete) return VK_EOK;
    if (reading == Reading::kLost || error != VK_EOK) return VK_EIO;
    if (!wait_for(fd(), POLLIN, deadline)) return VK_ETIMEDOUT;
  }
}

int Line::wait_in(Poller& poller, uint64_t identity) {
  const int error = poller.add(fd(), identity);
  if (error == 0) poller_ = &poller;
  return error;
}

// Closing does not end the poller's waiting if another process has the connection too, as one has
// that a handler has forked; and after it, there is no way to end it any more.
void Line::close() {
  if (poller_ != nullptr && is_open()) poller_->remove(fd());
  fd_.reset();
}

bool wait_for(int fd, short events, const Deadline& deadline) {
  for (;;) {
    pollfd waiting = {fd, events, 0};
    const int ready = poll(&waiting, 1, deadline.left());
    if (ready > 0) return true;
    if (ready == 0 ? deadline.passed() : errno != EINTR) return false;
  }
}

}  // namespace vesk::rt
