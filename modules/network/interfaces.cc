#include "modules/network/interfaces.h"

#include <linux/if.h>
#include <linux/if_arp.h>
#include <linux/if_link.h>

#include <array>
#include <cstdio>
#include <cstring>

#include "modules/network/addresses.h"
#include "modules/network/netlink.h"
#include "modules/network/text.h"
#include "modules/support/object_builder.h"
#include "modules/support/system_files.h"

namespace vesk::modules {
namespace {

// What is being filled, and whether it could be.
struct Tables {
  vk_value* ethernet;
  vk_value* ip;
  vk_error error;
};

// One message about a link.
struct Link {
  const nlmsghdr& message;
  const ifinfomsg& fixed;

  const rtattr* attribute(uint16_t type) const { return attribute_of<ifinfomsg>(message, type); }
  bool has(uint32_t flag) const { return (fixed.ifi_flags & flag) != 0; }
  uint32_t number() const { return static_cast<uint32_t>(fixed.ifi_index); }
  bool is_ethernet() const { return fixed.ifi_type == ARPHRD_ETHER; }
};

// By IF_OPER_*, RFC 2863.
constexpr std::array kStatus = {"Unknown", "NotPresent", "Down", "LowerLayerDown",
                                "Unknown", "Dormant",    "Up"};

// Drivers that tell no state are taken to be up when they run.
const char* status_of(const Link& link) {
  const auto state = value_in<uint8_t>(link.attribute(IFLA_OPERSTATE));
  if (state == IF_OPER_UNKNOWN && link.has(IFF_RUNNING)) return "Up";
  return state < kStatus.size() ? kStatus[state] : "Unknown";
}

struct Counter {
  const char* name;
  std::size_t at;  // in the kernel's record
};

constexpr std::array kCounters = {
    Counter{"BytesSent", offsetof(rtnl_link_stats64, tx_bytes)},
    Counter{"BytesReceived", offsetof(rtnl_link_stats64, rx_bytes)},
    Counter{"PacketsSent", offsetof(rtnl_link_stats64, tx_packets)},
    Counter{"PacketsReceived", offsetof(rtnl_link_stats64, rx_packets)},
    Counter{"ErrorsSent", offsetof(rtnl_link_stats64, tx_errors)},
    Counter{"ErrorsReceived", offsetof(rtnl_link_stats64, rx_errors)},
    Counter{"DiscardPacketsSent", offsetof(rtnl_link_stats64, tx_dropped)},
    Counter{"DiscardPacketsReceived", offsetof(rtnl_link_stats64, rx_dropped)},
};

// Older kernels give less than the record holds.
void add_stats(ObjectBuilder& interface, const Link& link) {
  const auto stats = value_in<rtnl_link_stats64>(link.attribute(IFLA_STATS64));
  ObjectBuilder object = interface.object("Stats");
  for (const Counter& counter : kCounters) {
    uint64_t count = 0;
    std::memcpy(&count, reinterpret_cast<const char*>(&stats) + counter.at, sizeof count);
    object.long_number(counter.name, count);
  }
  interface.include(object);
}

using LinkName = std::array<char, IFNAMSIZ>;

LinkName name_of(const Link& link) {
  auto name = value_in<LinkName>(link.attribute(IFLA_IFNAME));
  name.back() = '\0';
  return name;
}

ObjectBuilder add_interface(vk_value* table, const Link& link, const char* lower_layers) {
  ObjectBuilder interface(vk_object_init_object_with_policy(
      table, number_text(link.number()).data(), VK_POLICY_ORDERED));
  interface.flag("Enable", link.has(IFF_UP));
  interface.text("Status", status_of(link));
  interface.text("Name", name_of(link).data());
  interface.text("LowerLayers", lower_layers);
  add_stats(interface, link);
  return interface;
}

// In megabits a second; 0 where the link has no speed, of which the kernel gives -1 or nothing.
uint64_t speed_of(const Link& link) {
  std::array<char, 64> path;
  std::snprintf(path.data(), path.size(), "/sys/class/net/%s/speed", name_of(link).data());
  Text text;
  if (!read_line(path.data(), text) || text[0] == '-') return 0;
  return number_of(text);
}

void add_ethernet(Tables& tables, const Link& link) {
  ObjectBuilder interface = add_interface(tables.ethernet, link, "");
  interface.text("MACAddress", mac_text(link.attribute(IFLA_ADDRESS)).data());
  interface.number("CurrentBitRate", speed_of(link));
  tables.error = interface.error();
}

void add_ip(Tables& tables, const Link& link) {
  const auto below = instance_text("Device.Ethernet.Interface", link.number());
  const bool loopback = link.has(IFF_LOOPBACK);
  const auto mtu = value_in<uint32_t>(link.attribute(IFLA_MTU));
  ObjectBuilder interface = add_interface(tables.ip, link, link.is_ethernet() ? below.data() : "");
  interface.text("Type", loopback ? "Loopback" : "Normal");
  interface.flag("Loopback", loopback);
  interface.number("MaxMTUSize", mtu < UINT16_MAX ? mtu : UINT16_MAX);
  add_address_tables(interface);
  tables.error = interface.error();
}

void add_link(const nlmsghdr& message, void* context) {
  Tables& tables = *static_cast<Tables*>(context);
  const auto* const fixed = fixed_part<ifinfomsg>(message);
  if (message.nlmsg_type != RTM_NEWLINK || fixed == nullptr) return;
  const Link link{message, *fixed};
  if (tables.error == VK_EOK && link.is_ethernet()) add_ethernet(tables, link);
  if (tables.error == VK_EOK) add_ip(tables, link);
}

void add_address(const nlmsghdr& message, void* context) {
  Tables& tables = *static_cast<Tables*>(context);
  if (tables.error == VK_EOK) tables.error = add_interface_address(tables.ip, message);
}

vk_error fill(Tables& tables) {
  vk_error error = read_table(RTM_GETLINK, add_link, &tables);
  if (error == VK_EOK) error = read_table(RTM_GETADDR, add_address, &tables);
  return error == VK_EOK ? tables.error : error;
}

}  // namespace

vk_error add_interfaces(vk_value* device) {
  ObjectBuilder all(device);
  ObjectBuilder ethernet = all.object("Ethernet");
  ObjectBuilder ip = all.object("IP");
  Tables tables{ethernet.object("Interface").get(), ip.object("Interface").get(), VK_EOK};
  if (tables.ethernet == nullptr || tables.ip == nullptr) return VK_ENOMEM;
  const vk_error error = fill(tables);
  if (error != VK_EOK) return error;
  ethernet.number("InterfaceNumberOfEntries", vk_object_get_size(tables.ethernet));
  ip.number("InterfaceNumberOfEntries", vk_object_get_size(tables.ip));
  all.include(ethernet);
  all.include(ip);
  return all.error();
}

}  // namespace vesk::modules
