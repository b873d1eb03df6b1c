#pragma once

// The tables "IPv4Address" and "IPv6Address", which interfaces and hosts have alike.

#include <linux/netlink.h>

#include "modules/support/object_builder.h"

namespace vesk::modules {

/// Adds both tables, empty, and the numbers of their entries.
void add_address_tables(ObjectBuilder& owner);

/// Adds an entry with an address to the table of a family, AF_INET or AF_INET6, and counts it.
/// @param owner an object with both tables
ObjectBuilder add_address_entry(vk_value* owner, int family, const char* address);

/// Adds the entry for a message about an interface's address, if there is such an interface.
/// @param interfaces the table of interfaces, by the kernel's numbers
[[nodiscard]] vk_error add_interface_address(vk_value* interfaces, const nlmsghdr& message);

}  // namespace vesk::modules
