#pragma once

// Questions to the kernel's routing tables, by rtnetlink (RFC 3549). What a message claims of its
// own lengths is never trusted.

#include <linux/netlink.h>
#include <linux/rtnetlink.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "vesk/error.h"

namespace vesk::modules {

/// Is given one message of a table.
using NetlinkVisitor = void (*)(const nlmsghdr& message, void* context);

/// Reads a whole table: RTM_GETLINK, RTM_GETADDR or RTM_GETNEIGH. `VK_EBUSY` if it changed
/// meanwhile, `VK_EIO` for any other failure; in both cases it may have been read in part.
using TableReader = vk_error (*)(uint16_t request, NetlinkVisitor visitor, void* context);

vk_error read_kernel_table(uint16_t request, NetlinkVisitor visitor, void* context);

/// Where tables are read from: the kernel, unless a test puts something else in its place.
inline constinit TableReader read_table = read_kernel_table;

/// How a table goes on behind the messages that came.
enum class Rest { kFollows, kNone, kTorn, kBroken };

/// Visits the messages that came with one receive.
/// @param bytes aligned as a message's head
Rest visit_messages(const char* bytes, std::size_t size, NetlinkVisitor visitor, void* context);

/// Opens a socket that becomes readable when links or addresses change; -1 if that fails.
int open_link_watch();

/// Takes everything off such a socket.
void drain_link_watch(int fd);

/// The first attribute of this type; null if it is not there.
const rtattr* find_attribute(const rtattr* first, std::size_t length, uint16_t type);

/// The fixed part of a message; null if the message is too short for it.
template <typename Fixed>
const Fixed* fixed_part(const nlmsghdr& message) {
  if (message.nlmsg_len < NLMSG_LENGTH(sizeof(Fixed))) return nullptr;
  return static_cast<const Fixed*>(NLMSG_DATA(&message));
}

/// An attribute behind a message's fixed part; null if it is not there.
template <typename Fixed>
const rtattr* attribute_of(const nlmsghdr& message, uint16_t type) {
  const std::size_t fixed = NLMSG_SPACE(sizeof(Fixed));
  if (message.nlmsg_len < fixed) return nullptr;
  const auto* const first =
      reinterpret_cast<const rtattr*>(reinterpret_cast<const char*>(&message) + fixed);
  return find_attribute(first, message.nlmsg_len - fixed, type);
}

/// What an attribute holds as a record or number: zeros where there is less than that, or nothing.
template <typename Held>
Held value_in(const rtattr* attribute) {
  Held held{};
  if (attribute == nullptr) return held;
  const std::size_t size = RTA_PAYLOAD(attribute);
  std::memcpy(&held, RTA_DATA(attribute), size < sizeof held ? size : sizeof held);
  return held;
}

}  // namespace vesk::modules
