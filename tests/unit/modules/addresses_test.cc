#include "modules/network/addresses.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "modules/network/interfaces.h"
#include "tests/support/trees.h"
#include "tests/unit/modules/environment.h"
#include "tests/unit/modules/table_messages.h"
#include "vesk/value/by_path.h"

namespace vesk::test {
namespace {

// The addresses of the interface 2.
class Addresses : public testing::Test {
 protected:
  Addresses() { tables_.links = {link_of({2, "eth0"})}; }

  Tree at(const std::string& path) {
    const Value device = new_object();
    EXPECT_EQ(modules::add_interfaces(device.get()), VK_EOK);
    const std::string full = "IP.Interface.2." + path;
    const vk_value* const found = vk_value_find_by_path(device.get(), full.c_str());
    return found == nullptr ? any() : tree_of(*found);
  }

  const Environment environment_;
  FakeTables tables_;
};

constexpr std::string_view kIPv4 = {"\xC0\x00\x02\x01", 4};
constexpr std::string_view kOther = {"\xC0\x00\x02\x02", 4};
constexpr std::string_view kIPv6 = {"\xFE\x80\0\0\0\0\0\0\0\0\0\0\0\0\0\x01", 16};

TEST_F(Addresses, StandInTheTableOfTheirFamilyAndAreCounted) {
  tables_.addresses = {address_of(2, AF_INET, 24, kIPv4), address_of(2, AF_INET6, 64, kIPv6),
                       address_of(2, AF_INET, 32, kOther)};
  EXPECT_EQ(at("IPv4AddressNumberOfEntries"), unsigned_integer(2));
  EXPECT_EQ(at("IPv4Address.1.IPAddress"), text("192.0.2.1"));
  EXPECT_EQ(at("IPv4Address.2.IPAddress"), text("192.0.2.2"));
  EXPECT_EQ(at("IPv4Address.2.SubnetMask"), text("255.255.255.255"));
  EXPECT_EQ(at("IPv6AddressNumberOfEntries"), unsigned_integer(1));
  EXPECT_EQ(at("IPv6Address"), object({{"1", object({{"IPAddress", text("fe80::1")},
                                                     {"Enable", boolean(1)},
                                                     {"Status", text("Enabled")},
                                                     {"IPAddressStatus", text("Preferred")}})}}));
}

TEST_F(Addresses, OfPointToPointLinksAreTheOwnOnes) {
  tables_.addresses = {address_of(2, AF_INET, 32, kOther).with(IFA_LOCAL, kIPv4)};
  EXPECT_EQ(at("IPv4Address.1.IPAddress"), text("192.0.2.1"));
}

TEST_F(Addresses, OfIpv6HaveAState) {
  const struct {
    uint32_t flags;
    const char* status;
  } rows[] = {{0, "Preferred"},
              {IFA_F_PERMANENT, "Preferred"},
              {IFA_F_DEPRECATED, "Deprecated"},
              {IFA_F_TENTATIVE, "Tentative"},
              {IFA_F_TENTATIVE | IFA_F_DADFAILED, "Duplicate"},
              {IFA_F_TENTATIVE | IFA_F_OPTIMISTIC, "Optimistic"}};
  for (const auto& row : rows) {
    tables_.addresses = {
        address_of(2, AF_INET6, 64, kIPv6, static_cast<uint8_t>(row.flags)),
        address_of(2, AF_INET6, 64, kIPv6, 0).with_number(IFA_FLAGS, row.flags | 0x100U)};
    EXPECT_EQ(at("IPv6Address.1.IPAddressStatus"), text(row.status));
    EXPECT_EQ(at("IPv6Address.2.IPAddressStatus"), text(row.status));
  }
}

TEST_F(Addresses, ThatCannotBePlacedAreLeftOut) {
  Message other_kind = address_of(2, AF_INET, 24, kIPv4);
  other_kind.head().nlmsg_type = RTM_DELADDR;
  Message shorter = address_of(2, AF_INET, 24, kIPv4);
  shorter.head().nlmsg_len = NLMSG_LENGTH(sizeof(ifaddrmsg)) - 1;
  ifaddrmsg without{};
  without.ifa_family = AF_INET;
  without.ifa_index = 2;
  tables_.addresses = {address_of(3, AF_INET, 24, kIPv4),
                       address_of(2, AF_INET, 24, kIPv6),
                       address_of(2, AF_INET6, 24, kIPv4),
                       address_of(2, AF_PACKET, 24, kIPv6),
                       Message(RTM_NEWADDR, without),
                       other_kind,
                       shorter};
  EXPECT_EQ(at("IPv4Address"), object({}));
  EXPECT_EQ(at("IPv6Address"), object({}));
  EXPECT_EQ(at("IPv4AddressNumberOfEntries"), unsigned_integer(0));
}

}  // namespace
}  // namespace vesk::test
