#include "modules/network/changes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/log_spy.h"
#include "tests/support/trees.h"
#include "tests/support/values.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> changes(const Tree& before, const Tree& now) {
  const Value names = new_array();
  const Value a = planted(before);
  const Value b = planted(now);
  EXPECT_EQ(modules::add_changes(names.get(), a.get(), *b, "Device"), VK_EOK);
  std::vector<std::string> texts;
  for (const vk_value* const name : items_of(names)) texts.emplace_back(name->payload.text);
  return texts;
}

Tree interface(const char* status, uint64_t bytes) {
  return object({{"Status", text(status)},
                 {"Name", text("eth0")},
                 {"Stats", object({{"BytesSent", unsigned_long(bytes)}})}});
}

TEST(NetworkChanges, AreTheParametersWithAnotherValue) {
  EXPECT_THAT(changes(object({{"1", interface("Up", 1)}, {"2", interface("Down", 1)}}),
                      object({{"1", interface("Up", 1)}, {"2", interface("Up", 1)}})),
              ElementsAre("Device.2.Status"));
}

TEST(NetworkChanges, AreNone) {
  const Tree same = object({{"1", interface("Up", 1)}});
  EXPECT_THAT(changes(same, same), IsEmpty());
}

TEST(NetworkChanges, AreNotCounters) {
  EXPECT_THAT(changes(object({{"1", interface("Up", 1)}}), object({{"1", interface("Up", 2)}})),
              IsEmpty());
}

TEST(NetworkChanges, AreAllParametersOfWhatWasNotThere) {
  EXPECT_THAT(changes(object({{"N", unsigned_integer(0)}}),
                      object({{"N", unsigned_integer(1)}, {"1", interface("Up", 1)}})),
              ElementsAre("Device.N", "Device.1.Status", "Device.1.Name"));
  EXPECT_THAT(changes(object({{"1", text("was none")}}), object({{"1", interface("Up", 1)}})),
              ElementsAre("Device.1.Status", "Device.1.Name"));
}

TEST(NetworkChanges, AreNotWhatHasGone) {
  EXPECT_THAT(changes(object({{"1", interface("Up", 1)}}), object({})), IsEmpty());
}

TEST(NetworkChangesWithoutMemory, AreAFailure) {
  const LogSpy log;
  const Value now = planted(object({{"1", interface("Up", 1)}}));
  for_every_allocation_fault([&](AllocationFault& fault) {
    const Value names = new_array();
    const vk_error result =
        fault.during([&] { return modules::add_changes(names.get(), nullptr, *now, "Device"); });
    EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
  });
}

}  // namespace
}  // namespace vesk::test
