#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/libc_fakes.h"
#include "tests/support/trees.h"
#include "tests/unit/modules/program.h"
#include "tests/unit/modules/table_messages.h"

// The module that serves Device.Ethernet, Device.IP and Device.Hosts: what it answers.

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::string_view kMac = {"\x02\x00\x5E\x00\x53\x0A", 6};
constexpr std::string_view kIPv4 = {"\xC0\x00\x02\x01", 4};
const std::string kStatus = "dm.Device.IP.Interface.2.Status";

class Network : public testing::Test {
 protected:
  Network() {
    libc_.uptime = 100;
    tables_.links = {link_of({2, "eth0"})};
    tables_.neighbours = {neighbour_of(2, AF_INET, kIPv4, kMac)};
  }

  void start() { ASSERT_EQ(program_.start(), VK_EOK); }

  LibcFakes libc_;
  FakeTables tables_;
  Program program_{network_main};
};

TEST_F(Network, HasAHandlerForEachSubtreeAndOneForItsWatch) {
  start();
  EXPECT_STREQ(program_.descriptor().name, "network");
  std::vector<std::string> patterns;
  for (const auto& registration : program_.hooks.registrations) {
    patterns.push_back(registration.what);
  }
  EXPECT_THAT(patterns, ElementsAre("add dm.Device.Ethernet", "add dm.Device.IP",
                                    "add dm.Device.Hosts", "add sys.fd.ready"));
}

TEST_F(Network, ServesEachSubtree) {
  start();
  EXPECT_EQ(program_.value_at("dm.Device.Ethernet.Interface.2.Name"), text("eth0"));
  EXPECT_EQ(program_.value_at("dm.Device.IP.Interface.2.Name"), text("eth0"));
  EXPECT_EQ(program_.value_at("dm.Device.Hosts.Host.1.IPAddress"), text("192.0.2.1"));
  EXPECT_EQ(program_.ask(VK_DM_LEVEL, "dm.Device.Hosts.Host"),
            (Answer{VK_EOK, object({{"level", object({{"1", any()}})}})}));
  EXPECT_EQ(program_.get("dm.Device.IP.Interface.3").result, VK_ENOANSWER);
}

TEST_F(Network, IsNeverOlderThanASecond) {
  start();
  tables_.links = {link_of({2, "eth1"})};
  EXPECT_EQ(program_.value_at("dm.Device.IP.Interface.2.Name"), text("eth0"));
  libc_.uptime = 101;
  EXPECT_EQ(program_.value_at("dm.Device.IP.Interface.2.Name"), text("eth1"));
}

TEST_F(Network, CannotBeWritten) {
  start();
  for (const char* const path : {"dm.Device.IP", "dm.Device.IP.Interface.2.Enable"}) {
    const Answer info = program_.ask(VK_DM_INFO, path);
    EXPECT_EQ(info.result, VK_EOK);
    EXPECT_EQ(std::get<uint8_t>(info.value.items.at(0).attributes.at(0).payload), 0);
    EXPECT_EQ(program_.set(path, boolean(0)), VK_ERO);
    EXPECT_EQ(program_.ask(VK_DM_PROVIDE, path).result, VK_EOK);
  }
  EXPECT_EQ(program_.ask(VK_DM_INFO, "dm.Device.IP.Missing").result, VK_ENOANSWER);
  EXPECT_EQ(program_.ask(VK_DM_ADD, "dm.Device.IP.Interface").result, VK_ENOANSWER);
  EXPECT_EQ(program_.ask(VK_DM_DEL, "dm.Device.IP.Interface.2").result, VK_ENOANSWER);
  EXPECT_EQ(program_.rollback("dm.Device.IP"), VK_EOK);
  EXPECT_EQ(program_.commit("dm.Device.IP"), VK_EOK);
}

TEST_F(Network, KeepsTheNumbersOfHostsFromLookToLook) {
  start();
  tables_.neighbours.insert(tables_.neighbours.begin(),
                            neighbour_of(2, AF_INET, kIPv4, std::string{2, 0, 0, 0, 0, 9}));
  libc_.uptime = 101;
  EXPECT_EQ(program_.value_at("dm.Device.Hosts.Host.1.PhysAddress"), text("02:00:5E:00:53:0A"));
  EXPECT_EQ(program_.value_at("dm.Device.Hosts.Host.2.PhysAddress"), text("02:00:00:00:00:09"));
}

TEST_F(Network, LooksAgainIfTheTablesChangeUnderItsEyes) {
  tables_.results = {VK_EBUSY, VK_EOK, VK_EBUSY, VK_EOK, VK_EOK, VK_EBUSY};
  start();
  EXPECT_EQ(tables_.readings, 1U + 2U + 3U + 3U);
}

TEST_F(Network, IsNotServedWhileTheTablesCannotBeRead) {
  start();
  libc_.uptime = 101;
  tables_.results = {VK_EIO};
  EXPECT_EQ(program_.get(kStatus).result, VK_EIO);
  tables_.results.assign(100, VK_EBUSY);
  EXPECT_EQ(program_.get(kStatus).result, VK_EBUSY);
  tables_.results.clear();
  EXPECT_EQ(program_.get(kStatus).result, VK_EOK);
}

TEST_F(Network, IsNotStartedIfTheTablesCannotBeRead) {
  tables_.results = {VK_EIO};
  EXPECT_EQ(program_.start(), VK_EIO);
  EXPECT_THAT(program_.hooks.registrations, IsEmpty());
}

}  // namespace
}  // namespace vesk::test
