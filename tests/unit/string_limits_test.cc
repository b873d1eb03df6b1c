#include "vesk/string.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"

namespace vesk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::StrEq;

// What a failed append must leave as it was.
struct State {
  const char* buf;
  uint32_t capacity;
  uint32_t length;
  const vk_allocator* allocator;
  uint32_t magic;
  std::string content;

  explicit State(const vk_string& string)
      : buf(string.buf),
        capacity(string.capacity),
        length(string.length),
        allocator(string.allocator),
        magic(string.magic),
        content(string.buf == nullptr ? std::string() : std::string(string.buf, string.capacity)) {}

  bool operator==(const State&) const = default;
};

// An initialised string on a malloc heap.
class StringLimits : public testing::Test {
 protected:
  StringLimits() { vk_string_init(&string_, heap_.get()); }
  ~StringLimits() override { vk_string_destroy(&string_); }

  vk_error add(const std::string& bytes) {
    return vk_string_add(&string_, bytes.data(), bytes.size());
  }

  Heap heap_{vk_mm_heap_new("strings")};
  vk_string string_;
};

TEST_F(StringLimits, StaysAsItIsWhenAnAppendFindsNoMemory) {
  ASSERT_EQ(add("0123456789"), VK_EOK);
  const std::string more(40, 'x');
  for_every_allocation_fault([&](AllocationFault& fault) {
    vk_string string;
    vk_string_init(&string, heap_.get());
    ASSERT_EQ(vk_string_add(&string, "0123456789", 10), VK_EOK);
    const State before(string);
    const vk_error result =
        fault.during([&] { return vk_string_add(&string, more.data(), more.size()); });
    EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
    if (fault.struck()) {
      EXPECT_EQ(State(string), before);
    }
    vk_string_destroy(&string);
  });
}

TEST_F(StringLimits, StaysWithoutABlockWhenTheFirstAppendFindsNoMemory) {
  for_every_allocation_fault([this](AllocationFault& fault) {
    vk_string string;
    vk_string_init(&string, heap_.get());
    const State before(string);
    const vk_error result = fault.during([&] { return vk_string_add(&string, "x", 1); });
    EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
    if (fault.struck()) {
      EXPECT_EQ(State(string), before);
      EXPECT_THAT(vk_string_str(&string), StrEq(""));
      EXPECT_EQ(vk_string_add(&string, "x", 1), VK_EOK);
    }
    EXPECT_THAT(vk_string_str(&string), StrEq("x"));
    vk_string_destroy(&string);
  });
}

TEST_F(StringLimits, LeavesTheLoggingOfAFailureToTheHeap) {
  ASSERT_EQ(add("0123456789"), VK_EOK);
  const LogSpy spy;
  const std::string more(40, 'x');
  AllocationFault fault{1, AllocationFault::Extent::kOne};
  fault.during([&] { return vk_string_add(&string_, more.data(), more.size()); });
  EXPECT_THAT(spy.lines(), ElementsAre(allocation_failure(64, "strings")));
}

// Gives the string other bounds for one call, without the memory that would go with them.
vk_error add_within(vk_string& string, uint32_t capacity, uint32_t length, std::size_t count) {
  const vk_string real = string;
  string.capacity = capacity;
  string.length = length;
  AllocationFault fault{1, AllocationFault::Extent::kAllFromThere};
  const vk_error result = fault.during([&] { return vk_string_add(&string, "x", count); });
  EXPECT_EQ(string.buf, real.buf);
  EXPECT_EQ(string.capacity, capacity);
  EXPECT_EQ(string.length, length);
  string = real;
  return result;
}

TEST_F(StringLimits, RefusesALengthThatDoesNotFit32Bits) {
  ASSERT_EQ(add("0123456789"), VK_EOK);
  const State before(string_);
  const AllocationLog log;
  for (const std::size_t greatest : {std::size_t{UINT32_MAX}, SIZE_MAX}) {
    for (const std::size_t less : {0U, 1U, 2U, 9U, 10U}) {
      SCOPED_TRACE(greatest - less);
      EXPECT_EQ(add_within(string_, 32, 10, greatest - less), VK_ENOMEM);
    }
  }
  EXPECT_EQ(log.count(), 0U);
  EXPECT_EQ(State(string_), before);
}

#if SIZE_MAX > UINT32_MAX
TEST_F(StringLimits, RefusesACountThatWouldFitIfItWereCutTo32Bits) {
  ASSERT_EQ(add("0123456789"), VK_EOK);
  const AllocationLog log;
  for (const std::size_t cut : {0U, 1U, 21U, 22U}) {
    SCOPED_TRACE(cut);
    EXPECT_EQ(add_within(string_, 32, 10, std::size_t{UINT32_MAX} + 1 + cut), VK_ENOMEM);
  }
  EXPECT_EQ(log.count(), 0U);
}
#endif

TEST_F(StringLimits, RefusesALengthOfTheGreatestNumberForItsTerminator) {
  ASSERT_EQ(add("0123456789"), VK_EOK);
  const AllocationLog log;
  EXPECT_EQ(add_within(string_, UINT32_MAX, UINT32_MAX - 1, 1), VK_ENOMEM);
  EXPECT_EQ(log.count(), 0U);
}

TEST_F(StringLimits, RefusesACapacityThatCannotGrowBy32) {
  ASSERT_EQ(add("0123456789"), VK_EOK);
  const AllocationLog log;
  for (const uint32_t missing : {31U, 30U, 10U, 2U, 1U}) {
    SCOPED_TRACE(missing);
    const uint32_t capacity = UINT32_MAX - missing;
    EXPECT_EQ(add_within(string_, capacity, capacity - 1, 1), VK_ENOMEM);
  }
  EXPECT_EQ(log.count(), 0U);
}

TEST_F(StringLimits, AsksForTheGreatestBlockThatFits32Bits) {
  ASSERT_EQ(add("0123456789"), VK_EOK);
  struct Row {
    uint32_t capacity, length;
    std::size_t count;
  };
  for (const Row& row : {Row{32, 10, UINT32_MAX - 11U}, Row{UINT32_MAX - 32, UINT32_MAX - 33, 1}}) {
    SCOPED_TRACE(row.capacity);
    const LogSpy spy;
    EXPECT_EQ(add_within(string_, row.capacity, row.length, row.count), VK_ENOMEM);
    EXPECT_THAT(spy.lines(), ElementsAre(allocation_failure(UINT32_MAX, "strings")));
  }
}

}  // namespace
}  // namespace vesk::test
