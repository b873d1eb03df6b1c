#include "modules/network/hosts.h"

#include <linux/neighbour.h>

#include <array>
#include <cstdio>
#include <cstring>

#include "modules/network/addresses.h"
#include "modules/network/netlink.h"
#include "modules/network/text.h"
#include "modules/support/object_builder.h"
#include "vesk/value/by_path.h"

namespace vesk::modules {
namespace {

struct Hosts {
  vk_value* table;
  const vk_value* before;  // the table as it was, or null
  uint32_t& last;
  vk_error error;
};

// What of the neighbour's entry can be trusted: it answered, or answered not long ago.
constexpr uint16_t kActive = NUD_REACHABLE | NUD_STALE | NUD_DELAY | NUD_PROBE | NUD_PERMANENT;

// One message about a neighbour that may be a host.
struct Neighbour {
  const ndmsg& fixed;
  std::array<char, 18> mac;
  std::array<char, INET6_ADDRSTRLEN> address;
};

// The host with a hardware address; null if there is none.
vk_value* find_host(const vk_value* table, const char* mac) {
  vk_item* host = table == nullptr ? nullptr : vk_object_item_first(table);
  while (host != nullptr) {
    if (std::strcmp(vk_object_find_item(host, "PhysAddress")->payload.text, mac) == 0) break;
    host = vk_item_next(host);
  }
  return host;
}

// Null if there is no memory.
vk_value* add_host(Hosts& hosts, const Neighbour& neighbour) {
  const vk_value* const known = find_host(hosts.before, neighbour.mac.data());
  const auto id = number_text(known == nullptr ? ++hosts.last : 0);
  ObjectBuilder host(vk_object_init_object_with_policy(
      hosts.table, known == nullptr ? id.data() : known->id, VK_POLICY_ORDERED));
  const auto interface = static_cast<uint32_t>(neighbour.fixed.ndm_ifindex);
  host.text("PhysAddress", neighbour.mac.data());
  host.text("IPAddress", "");
  host.flag("Active", false);
  host.text("Layer3Interface", instance_text("Device.IP.Interface", interface).data());
  add_address_tables(host);
  return host.error() == VK_EOK ? host.get() : nullptr;
}

// What stands as the host's "IPAddress" is the first address, of IPv4 if it has any.
vk_error add_address(vk_value* host, const Neighbour& neighbour) {
  const bool is_ipv4 = neighbour.fixed.ndm_family == AF_INET;
  const char* const text = neighbour.address.data();
  const ObjectBuilder entry = add_address_entry(host, neighbour.fixed.ndm_family, text);
  ObjectBuilder all(host);
  all.include(entry);
  if (all.error() != VK_EOK) return all.error();
  const bool first_ipv4 = is_ipv4 && std::strcmp(entry.get()->id, "1") == 0;
  const bool first = vk_object_find_item(host, "IPAddress")->payload.text[0] == '\0';
  if (first || first_ipv4) all.text("IPAddress", text);
  if ((neighbour.fixed.ndm_state & kActive) != 0) all.flag("Active", true);
  return all.error();
}

vk_error add(Hosts& hosts, const Neighbour& neighbour) {
  vk_value* host = find_host(hosts.table, neighbour.mac.data());
  if (host == nullptr && vk_object_get_size(hosts.table) == kLongestTable) return VK_EOK;
  if (host == nullptr) host = add_host(hosts, neighbour);
  return host == nullptr ? VK_ENOMEM : add_address(host, neighbour);
}

// Multicast and the like, for which nobody is asked, are no hosts.
void add_neighbour(const nlmsghdr& message, void* context) {
  Hosts& hosts = *static_cast<Hosts*>(context);
  const auto* const fixed = fixed_part<ndmsg>(message);
  if (message.nlmsg_type != RTM_NEWNEIGH || fixed == nullptr) return;
  if (hosts.error != VK_EOK || (fixed->ndm_state & NUD_NOARP) != 0) return;
  const Neighbour neighbour{*fixed, mac_text(attribute_of<ndmsg>(message, NDA_LLADDR)),
                            ip_text(fixed->ndm_family, attribute_of<ndmsg>(message, NDA_DST))};
  if (neighbour.mac[0] == '\0' || neighbour.address[0] == '\0') return;
  hosts.error = add(hosts, neighbour);
}

}  // namespace

vk_error add_hosts(vk_value* device, const vk_value* before, uint32_t& last) {
  ObjectBuilder all(device);
  ObjectBuilder object = all.object("Hosts");
  Hosts hosts{object.object("Host").get(),
              before == nullptr ? nullptr : vk_value_find_by_path(before, "Hosts.Host"), last,
              VK_EOK};
  if (hosts.table == nullptr) return VK_ENOMEM;
  const vk_error error = read_table(RTM_GETNEIGH, add_neighbour, &hosts);
  if (error != VK_EOK) return error;
  object.fail(hosts.error);
  object.number("HostNumberOfEntries", vk_object_get_size(hosts.table));
  all.include(object);
  return all.error();
}

}  // namespace vesk::modules
