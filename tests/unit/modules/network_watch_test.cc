#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/libc_fakes.h"
#include "tests/support/trees.h"
#include "tests/unit/modules/program.h"
#include "tests/unit/modules/table_messages.h"

// The module that serves Device.Ethernet, Device.IP and Device.Hosts: what it watches and tells.

namespace vesk::test {
namespace {

using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

constexpr std::string_view kIPv4 = {"\xC0\x00\x02\x01", 4};
const std::string kStatus = "dm.Device.IP.Interface.2.Status";

// What a request tells of.
std::vector<std::string> names_in(const vk_value& request) {
  const Tree tree = tree_of(request);
  EXPECT_EQ(tree.items.at(0).name, "Names");
  std::vector<std::string> names;
  for (const Tree& name : tree.items[0].items) names.push_back(std::get<std::string>(name.payload));
  return names;
}

// The descriptor that is to be watched; -1 if a request does not say which.
int descriptor_in(const vk_value& request) {
  const vk_value* const fd = vk_object_find_item(&request, "fd");
  return fd == nullptr ? -1 : fd->payload.s32;
}

class NetworkWatch : public testing::Test {
 protected:
  NetworkWatch() {
    libc_.uptime = 100;
    tables_.links = {link_of({2, "eth0"})};
    program_.answer_call = [this](const RecordingHooks::Call& call) { return answer(call); };
  }

  void start() { ASSERT_EQ(program_.start(), VK_EOK); }

  // Says that the watched descriptor is ready.
  uint32_t wake(int other = 0) {
    const Tree event = object({{"fd", integer(watched_ + other)}, {"events", integer(1)}});
    return program_.ask(0, "sys.fd.ready", event).result;
  }

  uint32_t answer(const RecordingHooks::Call& call) {
    if (call.path == "sys.fd.add") watched_ = descriptor_in(*call.value);
    if (call.path != "dmmgr.changed") return VK_EOK;
    const Unwatched unwatched;
    told_ = names_in(*call.value);
    while_telling_();
    return tell_result_;
  }

  LibcFakes libc_;
  FakeTables tables_;
  Program program_{network_main};
  int watched_ = -1;
  std::vector<std::string> told_;
  uint32_t tell_result_ = VK_EOK;
  std::function<void()> while_telling_ = [] {};
};

TEST_F(NetworkWatch, TellsWhichParametersChanged) {
  start();
  tables_.links = {link_of({2, "eth0", IFF_UP})};
  EXPECT_EQ(wake(), VK_EOK);
  EXPECT_THAT(told_,
              ElementsAre("Device.Ethernet.Interface.2.Status", "Device.IP.Interface.2.Status"));
}

TEST_F(NetworkWatch, ShowsWhatItTellsOf) {
  start();
  EXPECT_EQ(program_.value_at(kStatus), text("Up"));
  tables_.links = {link_of({2, "eth0", IFF_UP})};
  Tree seen;
  while_telling_ = [&] { seen = program_.value_at(kStatus); };
  EXPECT_EQ(wake(), VK_EOK);
  EXPECT_EQ(seen, text("Unknown"));
}

TEST_F(NetworkWatch, TellsOfAChangeThatWasSeenBeforeItWasWoken) {
  start();
  tables_.links = {link_of({2, "eth0", IFF_UP})};
  libc_.uptime = 101;
  EXPECT_EQ(program_.value_at(kStatus), text("Unknown"));
  EXPECT_EQ(wake(), VK_EOK);
  EXPECT_THAT(told_,
              ElementsAre("Device.Ethernet.Interface.2.Status", "Device.IP.Interface.2.Status"));
}

TEST_F(NetworkWatch, TellsOnceAndNothingIfNothingChanged) {
  start();
  EXPECT_EQ(wake(), VK_EOK);
  EXPECT_THAT(told_, IsEmpty());
  tables_.links = {link_of({2, "eth0", IFF_UP})};
  EXPECT_EQ(wake(), VK_EOK);
  told_.clear();
  EXPECT_EQ(wake(), VK_EOK);
  EXPECT_THAT(told_, IsEmpty());
}

TEST_F(NetworkWatch, TellsAgainIfTheManagerDidNotHear) {
  start();
  tables_.links = {link_of({2, "eth0", IFF_UP})};
  tell_result_ = VK_EBUSY;
  EXPECT_EQ(wake(), VK_EBUSY);
  tell_result_ = VK_EOK;
  told_.clear();
  EXPECT_EQ(wake(), VK_EOK);
  EXPECT_EQ(told_.size(), 2U);
}

TEST_F(NetworkWatch, TellsWithTheNextRequestWhatTheManagerDidNotHear) {
  start();
  tables_.links = {link_of({2, "eth0", IFF_UP})};
  tell_result_ = VK_EBUSY;
  EXPECT_EQ(wake(), VK_EBUSY);
  told_.clear();
  EXPECT_EQ(program_.value_at(kStatus), text("Unknown")) << "whether it is told or not";
  EXPECT_EQ(told_.size(), 2U);
  tell_result_ = VK_EOK;
  EXPECT_EQ(program_.get(kStatus).result, VK_EOK);
  told_.clear();
  EXPECT_EQ(program_.get(kStatus).result, VK_EOK);
  EXPECT_THAT(told_, IsEmpty());
}

TEST_F(NetworkWatch, TellsWithTheNextRequestWhatItCouldNotSee) {
  start();
  tables_.links = {link_of({2, "eth0", IFF_UP})};
  tables_.results = {VK_EIO};
  EXPECT_EQ(wake(), VK_EIO);
  EXPECT_EQ(program_.value_at(kStatus), text("Unknown"));
  EXPECT_EQ(told_.size(), 2U);
}

TEST_F(NetworkWatch, TellsOfNewInterfacesAndAddresses) {
  tables_.links = {};
  start();
  tables_.links = {link_of({3, "tun0", IFF_UP, ARPHRD_NONE})};
  tables_.addresses = {address_of(3, AF_INET, 24, kIPv4)};
  EXPECT_EQ(wake(), VK_EOK);
  const std::string interface = "Device.IP.Interface.3.";
  const std::string address = interface + "IPv4Address.1.";
  EXPECT_THAT(told_, UnorderedElementsAre(
                         "Device.IP.InterfaceNumberOfEntries", interface + "Enable",
                         interface + "Status", interface + "Name", interface + "LowerLayers",
                         interface + "Type", interface + "Loopback", interface + "MaxMTUSize",
                         interface + "IPv4AddressNumberOfEntries",
                         interface + "IPv6AddressNumberOfEntries", address + "IPAddress",
                         address + "Enable", address + "Status", address + "SubnetMask"));
}

TEST_F(NetworkWatch, AnswersOnlyForItsOwnWatch) {
  start();
  tables_.links = {};
  EXPECT_EQ(wake(1), VK_ENOANSWER);
  EXPECT_THAT(told_, IsEmpty());
}

TEST(NetworkStart, IsRefusedIfARegistrationIs) {
  const FakeTables none;
  for (std::size_t good = 0; good < 4; ++good) {
    Program program(network_main);
    program.hooks.results.assign(good, VK_EOK);
    program.hooks.results.push_back(VK_EEXIST);
    EXPECT_EQ(program.start(), VK_EEXIST) << good;
  }
}

TEST(NetworkStart, OpensAWatchThatIsUnregisteredAndClosedAtTheEndOrIfItIsRefused) {
  const FakeTables none;
  for (const uint32_t result : {VK_EOK, VK_EBUSY}) {
    int watch = -1;
    std::vector<std::string> calls;
    {
      Program program(network_main);
      program.answer_call = [&](const RecordingHooks::Call& call) {
        watch = descriptor_in(*call.value);
        EXPECT_NE(fcntl(watch, F_GETFD), -1);
        calls.push_back(call.path);
        return result;
      };
      EXPECT_EQ(program.start(), result);
    }
    EXPECT_THAT(calls, ElementsAre("sys.fd.add", "sys.fd.del"));
    EXPECT_EQ(fcntl(watch, F_GETFD), -1);
  }
}

TEST(NetworkWithoutMemory, IsNotStarted) {
  FakeTables tables;
  tables.links = {link_of({2, "eth0"})};
  for_every_allocation_fault([](AllocationFault& fault) {
    Program program(network_main);
    // A request that has lost something is refused.
    program.answer_call = [](const RecordingHooks::Call& call) {
      const vk_value* const path = vk_object_find_item(call.value, "path");
      const bool whole =
          descriptor_in(*call.value) >= 0 && path != nullptr && path->type == VK_TYPE_STRING;
      return whole ? VK_EOK : VK_EINVAL;
    };
    const vk_error result = fault.during([&] { return program.start(); });
    if (fault.struck()) {
      EXPECT_THAT(result, AnyOf(VK_ENOMEM, VK_EINVAL));
    } else {
      EXPECT_EQ(result, VK_EOK);
    }
  });
}

TEST(NetworkWithoutMemory, ShowsWhatItSawAndTellsLater) {
  for_every_allocation_fault([](AllocationFault& fault) {
    FakeTables tables;
    tables.links = {link_of({2, "eth0"})};
    Program program(network_main);
    int watch = -1;
    std::size_t told = 0;
    program.answer_call = [&](const RecordingHooks::Call& call) {
      const Unwatched unwatched;
      if (call.path == "sys.fd.add") watch = descriptor_in(*call.value);
      if (call.path == "dmmgr.changed") told = names_in(*call.value).size();
      return VK_EOK;
    };
    ASSERT_EQ(program.start(), VK_EOK);
    tables.links = {link_of({2, "eth0", IFF_UP})};
    const Tree event = object({{"fd", integer(watch)}});
    Request request(program, 0, "sys.fd.ready", event);
    const uint32_t result = fault.during([&] { return request.send(); });
    EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
    EXPECT_EQ(told, fault.struck() ? 0U : 2U);
    EXPECT_EQ(program.get(kStatus).result, VK_EOK);
    EXPECT_EQ(program.ask(0, "sys.fd.ready", event).result, VK_EOK);
    EXPECT_EQ(told, 2U);
  });
}

}  // namespace
}  // namespace vesk::test
