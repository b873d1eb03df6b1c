#include "modules/network/interfaces.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/if.h>

#include <cstdint>
#include <string>

#include "tests/support/allocation_fault.h"
#include "tests/support/trees.h"
#include "tests/unit/modules/environment.h"
#include "tests/unit/modules/table_messages.h"
#include "vesk/value/by_path.h"

namespace vesk::test {
namespace {

class Interfaces : public testing::Test {
 protected:
  Value device() {
    Value made = new_object();
    EXPECT_EQ(modules::add_interfaces(made.get()), VK_EOK);
    return made;
  }

  // What stands at a path; any if nothing does.
  Tree at(const char* path) {
    const Value all = device();
    const vk_value* const found = vk_value_find_by_path(all.get(), path);
    return found == nullptr ? any() : tree_of(*found);
  }

  const Environment environment_;
  FakeTables tables_;
};

rtnl_link_stats64 some_counters() {
  rtnl_link_stats64 stats{};
  stats.tx_bytes = uint64_t{1} << 40;
  stats.rx_bytes = 2;
  stats.tx_packets = 3;
  stats.rx_packets = 4;
  stats.tx_errors = 5;
  stats.rx_errors = 6;
  stats.tx_dropped = 7;
  stats.rx_dropped = 8;
  return stats;
}

Message ethernet() {
  return link_of({2, "eth0"})
      .with(IFLA_ADDRESS, bytes_of("\x02\x00\x5E\x00\x53\x01"))
      .with_number(IFLA_MTU, uint32_t{1500})
      .with_number(IFLA_OPERSTATE, uint8_t{IF_OPER_UP})
      .with_number(IFLA_STATS64, some_counters());
}

Message loopback() {
  return link_of({1, "lo", IFF_UP | IFF_RUNNING | IFF_LOOPBACK, ARPHRD_LOOPBACK})
      .with_number(IFLA_MTU, uint32_t{65536});
}

Tree stats(uint64_t first = 0, uint64_t a = 0) {
  return object({{"BytesSent", unsigned_long(first)},
                 {"BytesReceived", unsigned_long(2 * a)},
                 {"PacketsSent", unsigned_long(3 * a)},
                 {"PacketsReceived", unsigned_long(4 * a)},
                 {"ErrorsSent", unsigned_long(5 * a)},
                 {"ErrorsReceived", unsigned_long(6 * a)},
                 {"DiscardPacketsSent", unsigned_long(7 * a)},
                 {"DiscardPacketsReceived", unsigned_long(8 * a)}});
}

TEST_F(Interfaces, OfEthernetHaveTheirNumberAddressAndCounters) {
  tables_.links = {ethernet()};
  environment_.write("/sys/class/net/eth0/speed", "1000\n");
  const Tree interface = object({{"Enable", boolean(1)},
                                 {"Status", text("Up")},
                                 {"Name", text("eth0")},
                                 {"LowerLayers", text("")},
                                 {"Stats", stats(uint64_t{1} << 40, 1)},
                                 {"MACAddress", text("02:00:5E:00:53:01")},
                                 {"CurrentBitRate", unsigned_integer(1000)}});
  EXPECT_EQ(at("Ethernet"), object({{"Interface", object({{"2", interface}})},
                                    {"InterfaceNumberOfEntries", unsigned_integer(1)}}));
}

TEST_F(Interfaces, OfIpLieOverThoseOfEthernet) {
  tables_.links = {ethernet()};
  tables_.addresses = {address_of(2, AF_INET, 24, bytes_of("\xC0\x00\x02\x01"))};
  const Tree address = object({{"IPAddress", text("192.0.2.1")},
                               {"Enable", boolean(1)},
                               {"Status", text("Enabled")},
                               {"SubnetMask", text("255.255.255.0")}});
  const Tree interface = object({{"Enable", boolean(1)},
                                 {"Status", text("Up")},
                                 {"Name", text("eth0")},
                                 {"LowerLayers", text("Device.Ethernet.Interface.2")},
                                 {"Stats", stats(uint64_t{1} << 40, 1)},
                                 {"Type", text("Normal")},
                                 {"Loopback", boolean(0)},
                                 {"MaxMTUSize", unsigned_integer(1500)},
                                 {"IPv4Address", object({{"1", address}})},
                                 {"IPv4AddressNumberOfEntries", unsigned_integer(1)},
                                 {"IPv6Address", object({})},
                                 {"IPv6AddressNumberOfEntries", unsigned_integer(0)}});
  EXPECT_EQ(at("IP"), object({{"Interface", object({{"2", interface}})},
                              {"InterfaceNumberOfEntries", unsigned_integer(1)}}));
}

TEST_F(Interfaces, ThatAreNotOfEthernetAreOnlyOfIp) {
  tables_.links = {loopback(), ethernet()};
  EXPECT_EQ(at("Ethernet.InterfaceNumberOfEntries"), unsigned_integer(1));
  EXPECT_EQ(at("Ethernet.Interface.1"), any());
  EXPECT_EQ(at("IP.InterfaceNumberOfEntries"), unsigned_integer(2));
  EXPECT_EQ(at("IP.Interface.1.Type"), text("Loopback"));
  EXPECT_EQ(at("IP.Interface.1.Loopback"), boolean(1));
  EXPECT_EQ(at("IP.Interface.1.LowerLayers"), text(""));
  EXPECT_EQ(at("IP.Interface.1.Status"), text("Up"));
  EXPECT_EQ(at("IP.Interface.1.MaxMTUSize"), unsigned_integer(65535));
}

TEST_F(Interfaces, HaveTheStatesOfTheDataModel) {
  const struct {
    uint8_t state;
    uint32_t flags;
    const char* status;
  } rows[] = {{IF_OPER_UNKNOWN, IFF_UP | IFF_RUNNING, "Up"},
              {IF_OPER_UNKNOWN, IFF_UP, "Unknown"},
              {IF_OPER_NOTPRESENT, IFF_RUNNING, "NotPresent"},
              {IF_OPER_DOWN, IFF_UP | IFF_RUNNING, "Down"},
              {IF_OPER_LOWERLAYERDOWN, IFF_UP, "LowerLayerDown"},
              {IF_OPER_TESTING, IFF_UP, "Unknown"},
              {IF_OPER_DORMANT, IFF_UP, "Dormant"},
              {IF_OPER_UP, 0, "Up"},
              {7, IFF_UP | IFF_RUNNING, "Unknown"},
              {255, 0, "Unknown"}};
  for (const auto& row : rows) {
    tables_.links = {link_of({3, "a", row.flags}).with_number(IFLA_OPERSTATE, row.state)};
    EXPECT_EQ(at("IP.Interface.3.Status"), text(row.status)) << int{row.state};
    EXPECT_EQ(at("Ethernet.Interface.3.Status"), text(row.status)) << int{row.state};
    EXPECT_EQ(at("IP.Interface.3.Enable"), boolean((row.flags & IFF_UP) != 0));
  }
}

TEST_F(Interfaces, WithoutAttributesHaveEmptyValues) {
  ifinfomsg fixed{};
  fixed.ifi_index = 4;
  fixed.ifi_type = ARPHRD_ETHER;
  tables_.links = {Message(RTM_NEWLINK, fixed)};
  EXPECT_EQ(at("Ethernet.Interface.4"), object({{"Enable", boolean(0)},
                                                {"Status", text("Unknown")},
                                                {"Name", text("")},
                                                {"LowerLayers", text("")},
                                                {"Stats", stats()},
                                                {"MACAddress", text("")},
                                                {"CurrentBitRate", unsigned_integer(0)}}));
  EXPECT_EQ(at("IP.Interface.4.MaxMTUSize"), unsigned_integer(0));
}

TEST_F(Interfaces, HaveCountersAsFarAsAnOlderKernelGivesThem) {
  const rtnl_link_stats64 counters = some_counters();
  const std::string_view half = {reinterpret_cast<const char*>(&counters),
                                 offsetof(rtnl_link_stats64, rx_errors)};
  tables_.links = {link_of({5, "a"}).with(IFLA_STATS64, half)};
  EXPECT_EQ(at("IP.Interface.5.Stats.PacketsSent"), unsigned_long(3));
  EXPECT_EQ(at("IP.Interface.5.Stats.ErrorsReceived"), unsigned_long(0));
}

TEST_F(Interfaces, HaveNamesThatEndWhereTheyMust) {
  tables_.links = {link_of({6, "aaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaaa"})};
  EXPECT_EQ(at("IP.Interface.6.Name"), text("aaaaaaaaaaaaaaa"));
}

TEST_F(Interfaces, HaveNoSpeedWhereTheLinkHasNone) {
  tables_.links = {ethernet()};
  for (const char* const speed : {"-1\n", "", "unknown\n"}) {
    environment_.write("/sys/class/net/eth0/speed", speed);
    EXPECT_EQ(at("Ethernet.Interface.2.CurrentBitRate"), unsigned_integer(0)) << speed;
  }
}

TEST_F(Interfaces, PassOverMessagesOfOtherKindsAndShortOnes) {
  Message other = ethernet();
  other.head().nlmsg_type = RTM_DELLINK;
  Message shorter = loopback();
  shorter.head().nlmsg_len = NLMSG_LENGTH(sizeof(ifinfomsg)) - 1;
  tables_.links = {other, shorter};
  EXPECT_EQ(at("IP"),
            object({{"Interface", object({})}, {"InterfaceNumberOfEntries", unsigned_integer(0)}}));
}

TEST_F(Interfaces, CannotBeToldIfATableCannotBeRead) {
  for (const std::size_t good : {0U, 1U}) {
    for (const vk_error error : {VK_EIO, VK_EBUSY}) {
      tables_.results.assign(good, VK_EOK);
      tables_.results.push_back(error);
      const Value made = new_object();
      EXPECT_EQ(modules::add_interfaces(made.get()), error);
    }
  }
}

TEST(InterfacesWithoutMemory, AreAFailure) {
  const Environment environment;
  FakeTables tables;
  tables.links = {loopback(), ethernet()};
  tables.addresses = {address_of(2, AF_INET, 24, bytes_of("\xC0\x00\x02\x01"))};
  for_every_allocation_fault([](AllocationFault& fault) {
    const Value made = new_object();
    const vk_error result = fault.during([&] { return modules::add_interfaces(made.get()); });
    EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
  });
}

}  // namespace
}  // namespace vesk::test
