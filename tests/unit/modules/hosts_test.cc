#include "modules/network/hosts.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "modules/support/object_builder.h"
#include "tests/support/allocation_fault.h"
#include "tests/support/log_spy.h"
#include "tests/support/trees.h"
#include "tests/unit/modules/table_messages.h"
#include "vesk/value/by_path.h"

namespace vesk::test {
namespace {

constexpr std::string_view kMacA = {"\x02\x00\x5E\x00\x53\x0A", 6};
constexpr std::string_view kMacB = {"\x02\x00\x5E\x00\x53\x0B", 6};
constexpr std::string_view kMacC = {"\x02\x00\x5E\x00\x53\x0C", 6};
constexpr std::string_view kIPv4 = {"\xC0\x00\x02\x01", 4};
constexpr std::string_view kOther = {"\xC0\x00\x02\x02", 4};
constexpr std::string_view kIPv6 = {"\xFE\x80\0\0\0\0\0\0\0\0\0\0\0\0\0\x01", 16};

class Hosts : public testing::Test {
 protected:
  // Looks at the neighbours; what was seen is before the next look.
  void look() {
    Value now = new_object();
    ASSERT_EQ(modules::add_hosts(now.get(), before_.get(), last_), VK_EOK);
    before_ = std::move(now);
  }

  Tree at(const char* path) const {
    const vk_value* const found = vk_value_find_by_path(before_.get(), path);
    return found == nullptr ? any() : tree_of(*found);
  }

  // The hosts with their last byte, as "1:A 2:B".
  std::string numbers() const {
    std::string text;
    const vk_value* const table = vk_value_find_by_path(before_.get(), "Hosts.Host");
    for (const vk_item* host = vk_object_item_first(table); host != nullptr;
         host = vk_item_next(host)) {
      const std::string mac = vk_object_find_item(host, "PhysAddress")->payload.text;
      text += (text.empty() ? "" : " ") + std::string(host->id) + ':' + mac.back();
    }
    return text;
  }

  FakeTables tables_;
  Value before_;
  uint32_t last_ = 0;
};

TEST_F(Hosts, AreTheNeighboursWithTheirAddresses) {
  tables_.neighbours = {neighbour_of(2, AF_INET6, kIPv6, kMacA),
                        neighbour_of(2, AF_INET, kIPv4, kMacA),
                        neighbour_of(2, AF_INET, kOther, kMacA)};
  look();
  const Tree host =
      object({{"PhysAddress", text("02:00:5E:00:53:0A")},
              {"IPAddress", text("192.0.2.1")},
              {"Active", boolean(1)},
              {"Layer3Interface", text("Device.IP.Interface.2")},
              {"IPv4Address", object({{"1", object({{"IPAddress", text("192.0.2.1")}})},
                                      {"2", object({{"IPAddress", text("192.0.2.2")}})}})},
              {"IPv4AddressNumberOfEntries", unsigned_integer(2)},
              {"IPv6Address", object({{"1", object({{"IPAddress", text("fe80::1")}})}})},
              {"IPv6AddressNumberOfEntries", unsigned_integer(1)}});
  EXPECT_EQ(at("Hosts"), object({{"Host", object({{"1", host}})},
                                 {"HostNumberOfEntries", unsigned_integer(1)}}));
}

TEST_F(Hosts, MayHaveOnlyAnAddressOfIpv6) {
  tables_.neighbours = {neighbour_of(2, AF_INET6, kIPv6, kMacA)};
  look();
  EXPECT_EQ(at("Hosts.Host.1.IPAddress"), text("fe80::1"));
}

TEST_F(Hosts, KeepTheFirstAddressOfTheirFamily) {
  tables_.neighbours = {neighbour_of(2, AF_INET, kIPv4, kMacA),
                        neighbour_of(2, AF_INET6, kIPv6, kMacA),
                        neighbour_of(2, AF_INET, kOther, kMacA)};
  look();
  EXPECT_EQ(at("Hosts.Host.1.IPAddress"), text("192.0.2.1"));
}

TEST_F(Hosts, AreActiveIfOneOfTheirAddressesAnswers) {
  const struct {
    uint16_t state;
    bool active;
  } rows[] = {{NUD_REACHABLE, true}, {NUD_STALE, true},      {NUD_DELAY, true},
              {NUD_PROBE, true},     {NUD_PERMANENT, true},  {NUD_FAILED, false},
              {NUD_NONE, false},     {NUD_INCOMPLETE, false}};
  for (const auto& row : rows) {
    tables_.neighbours = {neighbour_of(2, AF_INET, kIPv4, kMacA, row.state),
                          neighbour_of(2, AF_INET, kOther, kMacA, NUD_FAILED)};
    look();
    EXPECT_EQ(at("Hosts.Host.1.Active"), boolean(row.active)) << row.state;
  }
}

TEST_F(Hosts, KeepTheirNumbersWhileTheyStay) {
  tables_.neighbours = {neighbour_of(2, AF_INET, kIPv4, kMacA),
                        neighbour_of(2, AF_INET, kOther, kMacB)};
  look();
  EXPECT_EQ(numbers(), "1:A 2:B");
  tables_.neighbours = {neighbour_of(2, AF_INET, kIPv4, kMacC),
                        neighbour_of(2, AF_INET, kOther, kMacB)};
  look();
  EXPECT_EQ(numbers(), "3:C 2:B");
}

TEST_F(Hosts, ComeBackUnderANewNumber) {
  tables_.neighbours = {neighbour_of(2, AF_INET, kIPv4, kMacA)};
  look();
  tables_.neighbours = {};
  look();
  EXPECT_EQ(numbers(), "");
  EXPECT_EQ(at("Hosts.HostNumberOfEntries"), unsigned_integer(0));
  tables_.neighbours = {neighbour_of(2, AF_INET, kIPv4, kMacA)};
  look();
  EXPECT_EQ(numbers(), "2:A");
}

TEST_F(Hosts, AreNotNeighboursWithoutAnAddressOfBothKinds) {
  ndmsg fixed{};
  fixed.ndm_family = AF_INET;
  fixed.ndm_state = NUD_INCOMPLETE;
  Message other_kind = neighbour_of(2, AF_INET, kIPv4, kMacA);
  other_kind.head().nlmsg_type = RTM_DELNEIGH;
  Message shorter = neighbour_of(2, AF_INET, kIPv4, kMacA);
  shorter.head().nlmsg_len = NLMSG_LENGTH(sizeof(ndmsg)) - 1;
  tables_.neighbours = {Message(RTM_NEWNEIGH, fixed).with(NDA_DST, kIPv4),
                        Message(RTM_NEWNEIGH, fixed).with(NDA_LLADDR, kMacA),
                        neighbour_of(2, AF_INET, kIPv4, "\x02"),
                        neighbour_of(2, AF_INET, kIPv6, kMacA),
                        neighbour_of(2, AF_BRIDGE, kIPv4, kMacA),
                        neighbour_of(2, AF_INET, kIPv4, kMacA, NUD_NOARP),
                        other_kind,
                        shorter};
  look();
  EXPECT_EQ(numbers(), "");
}

TEST_F(Hosts, AreShownUpToALimit) {
  for (uint32_t i = 0; i <= modules::kLongestTable; ++i) {
    const std::string mac = {2, 0, 0, 0, static_cast<char>(i >> 8), static_cast<char>(i)};
    tables_.neighbours.push_back(neighbour_of(2, AF_INET, kIPv4, mac));
  }
  tables_.neighbours.push_back(neighbour_of(2, AF_INET, kOther, std::string{2, 0, 0, 0, 0, 0}));
  look();
  EXPECT_EQ(at("Hosts.HostNumberOfEntries"), unsigned_integer(modules::kLongestTable));
  EXPECT_EQ(at("Hosts.Host.1.IPv4AddressNumberOfEntries"), unsigned_integer(2));
}

TEST_F(Hosts, CannotBeToldIfTheTableCannotBeRead) {
  tables_.results = {VK_EBUSY};
  const Value now = new_object();
  EXPECT_EQ(modules::add_hosts(now.get(), nullptr, last_), VK_EBUSY);
}

TEST(HostsWithoutMemory, AreAFailure) {
  const LogSpy log;
  FakeTables tables;
  tables.neighbours = {neighbour_of(2, AF_INET, kIPv4, kMacA),
                       neighbour_of(2, AF_INET6, kIPv6, kMacB)};
  for_every_allocation_fault([](AllocationFault& fault) {
    const Value now = new_object();
    uint32_t last = 0;
    const vk_error result =
        fault.during([&] { return modules::add_hosts(now.get(), nullptr, last); });
    EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
  });
}

}  // namespace
}  // namespace vesk::test
