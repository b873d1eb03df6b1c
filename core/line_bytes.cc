#include "core/line_bytes.h"

#include <sys/socket.h>

#include <algorithm>
#include <cerrno>

#include "vesk/value/type.h"

namespace vesk::core {
namespace {

// A tree of type any, whose number is 0.
constexpr std::array<std::byte, sizeof(uint32_t)> kAny = {};

void append(Head& head, const void* field, std::size_t size) {
  const auto* const first = static_cast<const std::byte*>(field);
  head.insert(head.end(), first, first + size);
}

void append(Head& head, uint32_t number) { append(head, &number, sizeof number); }

iovec piece(const asio::const_buffer& part) {
  return {const_cast<void*>(part.data()), part.size()};  // it is only read
}

}  // namespace

Head head_of(const Message& message) {
  Head head;
  append(head, message.tag);
  append(head, static_cast<uint32_t>(message.path.size()));
  append(head, message.path.data(), message.path.size());
  append(head, message.action);
  return head;
}

Head head_of(const Answer& answer) {
  Head head;
  append(head, answer.status);
  return head;
}

bool is_any(std::span<const std::byte> tree) {
  return std::equal(tree.begin(), tree.end(), kAny.begin(), kAny.end());
}

Parts parts_of(std::span<const std::byte> head, std::span<const std::byte> tree) {
  if (tree.empty()) tree = kAny;
  return {asio::buffer(head.data(), head.size()), asio::buffer(tree.data(), tree.size())};
}

bool send_now(int connection, Parts& parts) {
  std::array<iovec, 2> pieces = {piece(parts[0]), piece(parts[1])};
  msghdr message = {};
  message.msg_iov = pieces.data();
  message.msg_iovlen = pieces.size();
  const ssize_t count = sendmsg(connection, &message, MSG_DONTWAIT | MSG_NOSIGNAL);
  if (count < 0) return is_later(errno);
  auto sent = static_cast<std::size_t>(count);
  for (asio::const_buffer& part : parts) {
    const std::size_t of_this = std::min(sent, part.size());
    part += of_this;
    sent -= of_this;
  }
  return true;
}

void tell(int connection, uint32_t status) {
  const std::array<uint32_t, 2> answer = {status, VK_TYPE_ANY};
  ::send(connection, answer.data(), sizeof answer, MSG_DONTWAIT | MSG_NOSIGNAL);
}

bool is_later(int error) { return error == EAGAIN || error == EINTR; }

}  // namespace vesk::core
