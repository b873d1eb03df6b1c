#pragma once

// The kernel's tables of links, addresses and neighbours, made by hand.

#include <linux/if_addr.h>
#include <linux/if_arp.h>
#include <linux/if_link.h>
#include <linux/neighbour.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "modules/network/netlink.h"

namespace vesk::test {

/// A message with a fixed part and attributes.
class Message {
 public:
  template <typename Fixed>
  Message(uint16_t type, const Fixed& fixed) : bytes_(NLMSG_SPACE(sizeof fixed)) {
    std::memcpy(bytes_.data() + NLMSG_HDRLEN, &fixed, sizeof fixed);
    head().nlmsg_type = type;
    head().nlmsg_len = static_cast<uint32_t>(bytes_.size());
  }

  Message& with(uint16_t type, std::string_view payload) {
    const rtattr attribute = {static_cast<uint16_t>(RTA_LENGTH(payload.size())), type};
    const std::size_t at = bytes_.size();
    bytes_.resize(at + RTA_SPACE(payload.size()));
    std::memcpy(bytes_.data() + at, &attribute, sizeof attribute);
    std::memcpy(bytes_.data() + at + RTA_LENGTH(0), payload.data(), payload.size());
    head().nlmsg_len = static_cast<uint32_t>(bytes_.size());
    return *this;
  }
  template <typename Number>
  Message& with_number(uint16_t type, Number number) {
    return with(type, {reinterpret_cast<const char*>(&number), sizeof number});
  }

  nlmsghdr& head() { return *reinterpret_cast<nlmsghdr*>(bytes_.data()); }
  const nlmsghdr& head() const { return *reinterpret_cast<const nlmsghdr*>(bytes_.data()); }
  const std::vector<char>& bytes() const { return bytes_; }

 private:
  std::vector<char> bytes_;
};

/// A link that is up and runs, of Ethernet's type.
struct LinkOf {
  int index;
  const char* name;
  uint32_t flags = IFF_UP | IFF_RUNNING;
  uint16_t type = ARPHRD_ETHER;

  operator Message() const {
    ifinfomsg fixed{};
    fixed.ifi_index = index;
    fixed.ifi_flags = flags;
    fixed.ifi_type = type;
    return Message(RTM_NEWLINK, fixed).with(IFLA_IFNAME, {name, std::strlen(name) + 1});
  }
};

inline Message link_of(const LinkOf& link) { return link; }

inline Message address_of(uint32_t link, uint8_t family, uint8_t prefix, std::string_view bytes,
                          uint8_t flags = IFA_F_PERMANENT) {
  ifaddrmsg fixed{};
  fixed.ifa_family = family;
  fixed.ifa_prefixlen = prefix;
  fixed.ifa_flags = flags;
  fixed.ifa_index = link;
  return Message(RTM_NEWADDR, fixed).with(IFA_ADDRESS, bytes);
}

inline Message neighbour_of(int link, uint8_t family, std::string_view address,
                            std::string_view mac, uint16_t state = NUD_REACHABLE) {
  ndmsg fixed{};
  fixed.ndm_family = family;
  fixed.ndm_ifindex = link;
  fixed.ndm_state = state;
  return Message(RTM_NEWNEIGH, fixed).with(NDA_DST, address).with(NDA_LLADDR, mac);
}

/// Bytes with NULs among them.
template <std::size_t N>
std::string_view bytes_of(const char (&literal)[N]) {
  return {literal, N - 1};
}

/// Takes the place of the kernel while it lives. One at a time.
class FakeTables {
 public:
  FakeTables() {
    current_ = this;
    modules::read_table = read;
  }
  ~FakeTables() { modules::read_table = modules::read_kernel_table; }
  FakeTables(const FakeTables&) = delete;
  FakeTables& operator=(const FakeTables&) = delete;

  std::vector<Message> links;
  std::vector<Message> addresses;
  std::vector<Message> neighbours;
  /// What the next readings end with; `VK_EOK` when none are left.
  std::deque<vk_error> results;
  /// How many readings there were.
  std::size_t readings = 0;

 private:
  static vk_error read(uint16_t request, modules::NetlinkVisitor visitor, void* context) {
    ++current_->readings;
    const auto& table = request == RTM_GETLINK   ? current_->links
                        : request == RTM_GETADDR ? current_->addresses
                                                 : current_->neighbours;
    for (const Message& message : table) visitor(message.head(), context);
    if (current_->results.empty()) return VK_EOK;
    const vk_error result = current_->results.front();
    current_->results.pop_front();
    return result;
  }

  static inline FakeTables* current_ = nullptr;
};

}  // namespace vesk::test
