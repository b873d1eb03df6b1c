#include "tests/e2e/agent/line.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace vesk::test {
namespace {

void set_deadline(int descriptor) {
  const timeval time = {kDeadline.count(), 0};
  for (const int direction : {SO_RCVTIMEO, SO_SNDTIMEO}) {
    setsockopt(descriptor, SOL_SOCKET, direction, &time, sizeof time);
  }
}

sockaddr_un address_of(const std::string& path) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  return address;
}

ByteString received(int descriptor, std::size_t size, int flags) {
  ByteString bytes(size);
  const ssize_t count = recv(descriptor, bytes.data(), size, flags);
  bytes.resize(count < 0 ? 0 : static_cast<std::size_t>(count));
  return bytes;
}

int connected(const std::string& path) {
  const sockaddr_un address = address_of(path);
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  set_deadline(descriptor);
  if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
    return descriptor;
  }
  const int error = errno;
  close(descriptor);
  errno = error;
  return -1;
}

}  // namespace

Line::Line(const std::string& socket) : descriptor_(connected(socket)) {}

bool Line::send(std::span<const std::byte> bytes) const {
  while (!bytes.empty()) {
    const ssize_t sent = ::send(descriptor_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) return false;
    bytes = bytes.subspan(static_cast<std::size_t>(sent));
  }
  return true;
}

std::size_t Line::push(std::span<const std::byte> bytes) const {
  std::size_t all = 0;
  for (ssize_t sent = 0; all < bytes.size(); all += static_cast<std::size_t>(sent)) {
    const auto rest = bytes.subspan(all);
    sent = ::send(descriptor_, rest.data(), rest.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    if (sent <= 0) break;
  }
  return all;
}

bool Line::is_readable() const {
  pollfd waiting = {descriptor_, POLLIN, 0};
  return poll(&waiting, 1, 0) == 1;
}

std::optional<Answer> Line::answer() const {
  const Value value = new_value();
  vk_ipc_response response = {0, value.get()};
  if (vk_ipc_read_response(descriptor_, &response) != VK_EOK) return {};
  return Answer{response.status, tree_of(*value)};
}

std::optional<Asked> Line::request() const {
  const Value value = new_value();
  vk_ipc_request request = {0, nullptr, 0, value.get()};
  const bool came = vk_ipc_read_request(descriptor_, &request) == VK_EOK;
  const std::string path = request.path == nullptr ? "" : request.path;
  vk_free(request.path);
  if (!came) return {};
  return Asked{request.tag, path};
}

std::optional<Answer> Line::call(const std::string& path, const Tree& value) const {
  if (!send(test::request(path, value))) return {};
  return answer();
}

ByteString Line::read(std::size_t size) const { return received(descriptor_, size, MSG_WAITALL); }

ByteString Line::take(std::size_t size) const { return received(descriptor_, size, MSG_DONTWAIT); }

bool Line::ends() const {
  std::array<char, 4096> bytes;
  return until([&] {
    const ssize_t count = recv(descriptor_, bytes.data(), bytes.size(), MSG_DONTWAIT);
    return count == 0 || (count < 0 && errno != EAGAIN);
  });
}

void Line::finish() const { shutdown(descriptor_, SHUT_WR); }

void Line::close() {
  if (descriptor_ >= 0) ::close(std::exchange(descriptor_, -1));
}

int listening_at(const std::string& path, int backlog) {
  const sockaddr_un address = address_of(path);
  const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  EXPECT_EQ(bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(listen(descriptor, backlog), 0);
  return descriptor;
}

ByteString request(const std::string& path, const Tree& value, uint32_t tag) {
  return ByteString(Fields().number(tag).text(path).number(0)) + encoded(value);
}

ByteString response(uint32_t status, const Tree& value) {
  return ByteString(Fields().number(status)) + encoded(value);
}

Tree named(const std::string& name) { return object({{"Name", text(name)}}); }

Tree handler(const std::string& path, uint32_t number) {
  return object({{"Path", text(path)}, {"Handler", unsigned_integer(number)}});
}

}  // namespace vesk::test
