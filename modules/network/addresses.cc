#include "modules/network/addresses.h"

#include <linux/if_addr.h>

#include <array>

#include "modules/network/netlink.h"
#include "modules/network/text.h"

namespace vesk::modules {
namespace {

struct Family {
  const char* table;
  const char* count;
};

constexpr Family kIPv4 = {"IPv4Address", "IPv4AddressNumberOfEntries"};
constexpr Family kIPv6 = {"IPv6Address", "IPv6AddressNumberOfEntries"};

struct AddressStatus {
  uint32_t flag;
  const char* name;
};

// By the kernel's flags, the first that fits.
constexpr std::array kStatus = {
    AddressStatus{IFA_F_DADFAILED, "Duplicate"}, AddressStatus{IFA_F_OPTIMISTIC, "Optimistic"},
    AddressStatus{IFA_F_TENTATIVE, "Tentative"}, AddressStatus{IFA_F_DEPRECATED, "Deprecated"}};

const char* status_of(uint32_t flags) {
  for (const AddressStatus& status : kStatus) {
    if ((flags & status.flag) != 0) return status.name;
  }
  return "Preferred";
}

// Newer kernels have more flags than the message's head holds.
uint32_t flags_of(const nlmsghdr& message, const ifaddrmsg& fixed) {
  const rtattr* const flags = attribute_of<ifaddrmsg>(message, IFA_FLAGS);
  return flags == nullptr ? fixed.ifa_flags : value_in<uint32_t>(flags);
}

// The local address where there is one: of a point-to-point link the other is the peer's.
const rtattr* address_in(const nlmsghdr& message) {
  const rtattr* const local = attribute_of<ifaddrmsg>(message, IFA_LOCAL);
  return local != nullptr ? local : attribute_of<ifaddrmsg>(message, IFA_ADDRESS);
}

}  // namespace

void add_address_tables(ObjectBuilder& owner) {
  for (const Family& family : {kIPv4, kIPv6}) {
    owner.include(owner.object(family.table));
    owner.number(family.count, 0);
  }
}

ObjectBuilder add_address_entry(vk_value* owner, int family, const char* address) {
  const Family& of = family == AF_INET ? kIPv4 : kIPv6;
  vk_value* const table = vk_object_find_item(owner, of.table);
  const uint32_t number = vk_object_get_size(table) + 1;
  ObjectBuilder entry(
      vk_object_init_object_with_policy(table, number_text(number).data(), VK_POLICY_ORDERED));
  entry.text("IPAddress", address);
  entry.fail(vk_object_set_uint(owner, of.count, number));
  return entry;
}

vk_error add_interface_address(vk_value* interfaces, const nlmsghdr& message) {
  const auto* const fixed = fixed_part<ifaddrmsg>(message);
  if (message.nlmsg_type != RTM_NEWADDR || fixed == nullptr) return VK_EOK;
  const auto text = ip_text(fixed->ifa_family, address_in(message));
  vk_value* const interface = vk_object_find_item(interfaces, number_text(fixed->ifa_index).data());
  if (text[0] == '\0' || interface == nullptr) return VK_EOK;
  ObjectBuilder entry = add_address_entry(interface, fixed->ifa_family, text.data());
  entry.flag("Enable", true);
  entry.text("Status", "Enabled");
  if (fixed->ifa_family == AF_INET) {
    entry.text("SubnetMask", mask_text(fixed->ifa_prefixlen).data());
  } else {
    entry.text("IPAddressStatus", status_of(flags_of(message, *fixed)));
  }
  return entry.error();
}

}  // namespace vesk::modules
