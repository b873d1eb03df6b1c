#include "modules/network/netlink.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace vesk::modules {
namespace {

// What the kernel gives with one receive; it fills up to 32 KiB.
struct alignas(nlmsghdr) Received {
  std::array<char, 32768> bytes;
};

class Socket {
 public:
  Socket() : fd_(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE)) {}
  ~Socket() {
    if (fd_ >= 0) close(fd_);
  }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  bool ask(uint16_t request) const {
    struct {
      nlmsghdr header;
      rtgenmsg body;
    } question{};
    question.header.nlmsg_len = NLMSG_LENGTH(sizeof question.body);
    question.header.nlmsg_type = request;
    question.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    return send(fd_, &question, question.header.nlmsg_len, 0) >= 0;
  }

  // The size of what came, also where it did not fit; -1 on failure.
  ssize_t receive(Received& received) const {
    ssize_t size = -1;
    do {
      size = recv(fd_, received.bytes.data(), received.bytes.size(), MSG_TRUNC);
    } while (size < 0 && errno == EINTR);
    return size;
  }

 private:
  int fd_;
};

Rest receive_messages(const Socket& socket, NetlinkVisitor visitor, void* context) {
  static Received received;
  const ssize_t size = socket.receive(received);
  if (size <= 0 || static_cast<std::size_t>(size) > received.bytes.size()) return Rest::kBroken;
  return visit_messages(received.bytes.data(), static_cast<std::size_t>(size), visitor, context);
}

// The last message may say that the table could not be given to its end.
bool is_good_end(const nlmsghdr& message) {
  const auto* const code = fixed_part<int32_t>(message);
  return code == nullptr || *code >= 0;
}

}  // namespace

Rest visit_messages(const char* bytes, std::size_t size, NetlinkVisitor visitor, void* context) {
  for (std::size_t at = 0; at < size;) {
    const auto& message = *reinterpret_cast<const nlmsghdr*>(bytes + at);
    if (size - at < sizeof message || message.nlmsg_len < sizeof message) return Rest::kBroken;
    if (message.nlmsg_len > size - at) return Rest::kBroken;
    if ((message.nlmsg_flags & NLM_F_DUMP_INTR) != 0) return Rest::kTorn;
    if (message.nlmsg_type == NLMSG_ERROR) return Rest::kBroken;
    if (message.nlmsg_type == NLMSG_DONE) return is_good_end(message) ? Rest::kNone : Rest::kBroken;
    visitor(message, context);
    at += NLMSG_ALIGN(message.nlmsg_len);
  }
  return Rest::kFollows;
}

vk_error read_kernel_table(uint16_t request, NetlinkVisitor visitor, void* context) {
  const Socket socket;
  if (!socket.ask(request)) return VK_EIO;
  Rest rest = Rest::kFollows;
  while (rest == Rest::kFollows) rest = receive_messages(socket, visitor, context);
  if (rest == Rest::kTorn) return VK_EBUSY;
  return rest == Rest::kNone ? VK_EOK : VK_EIO;
}

int open_link_watch() {
  const int fd = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_ROUTE);
  sockaddr_nl address{};
  address.nl_family = AF_NETLINK;
  address.nl_groups = RTMGRP_LINK | RTMGRP_IPV4_IFADDR | RTMGRP_IPV6_IFADDR;
  if (fd < 0) return -1;
  if (bind(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return fd;
  close(fd);
  return -1;
}

void drain_link_watch(int fd) {
  std::array<char, 4096> bytes;
  while (recv(fd, bytes.data(), bytes.size(), 0) > 0) {
  }
}

const rtattr* find_attribute(const rtattr* first, std::size_t length, uint16_t type) {
  const auto* const bytes = reinterpret_cast<const char*>(first);
  for (std::size_t at = 0; at < length && length - at >= sizeof(rtattr);) {
    const auto* const attribute = reinterpret_cast<const rtattr*>(bytes + at);
    if (attribute->rta_len < sizeof(rtattr) || attribute->rta_len > length - at) return nullptr;
    if ((attribute->rta_type & NLA_TYPE_MASK) == type) return attribute;
    at += RTA_ALIGN(attribute->rta_len);
  }
  return nullptr;
}

}  // namespace vesk::modules
