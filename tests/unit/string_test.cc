#include "vesk/string.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "vesk/mm/stack.h"

namespace vesk::test {
namespace {

using ::testing::AllOf;
using ::testing::IsEmpty;
using ::testing::NotNull;
using ::testing::StrEq;

// An initialised string on a malloc heap.
class String : public testing::Test {
 protected:
  String() { vk_string_init(&string_, heap_.get()); }
  ~String() override {
    if (string_.magic == VK_MAGIC_STRING) vk_string_destroy(&string_);
  }

  vk_error add(const std::string& bytes) {
    return vk_string_add(&string_, bytes.data(), bytes.size());
  }

  std::string content() const { return std::string(string_.buf, string_.length); }

  void expect_terminated() const {
    ASSERT_THAT(string_.buf, NotNull());
    ASSERT_LT(string_.length, string_.capacity);
    EXPECT_EQ(string_.buf[string_.length], '\0');
  }

  Heap heap_{vk_mm_heap_new("strings")};
  vk_string string_;
};

TEST_F(String, IsEmptyAndHasNoBlockAtFirst) {
  vk_string string{const_cast<char*>("garbage"), 7, 7, nullptr, 7};
  vk_string_init(&string, heap_.get());
  EXPECT_EQ(string.buf, nullptr);
  EXPECT_EQ(string.capacity, 0U);
  EXPECT_EQ(string.length, 0U);
  EXPECT_EQ(string.allocator, heap_.get());
  EXPECT_EQ(string.magic, VK_MAGIC_STRING);
  EXPECT_EQ(string.magic, 0x37E9B161U);
}

TEST_F(String, ReadsAsTheEmptyTextAtFirst) {
  const char* const text = vk_string_str(&string_);
  ASSERT_THAT(text, NotNull());
  EXPECT_THAT(text, StrEq(""));
  EXPECT_EQ(string_.buf, nullptr);
}

TEST_F(String, ReadsAsItsBlockAfterAnAppend) {
  ASSERT_EQ(add("text"), VK_EOK);
  EXPECT_EQ(vk_string_str(&string_), string_.buf);
  EXPECT_THAT(vk_string_str(&string_), StrEq("text"));
}

TEST_F(String, AppendsBytesBehindWhatItHas) {
  ASSERT_EQ(add("Device."), VK_EOK);
  ASSERT_EQ(add("Hosts."), VK_EOK);
  ASSERT_EQ(add("Host."), VK_EOK);
  EXPECT_THAT(vk_string_str(&string_), StrEq("Device.Hosts.Host."));
  EXPECT_EQ(string_.length, 18U);
}

TEST_F(String, MayHoldZeroBytes) {
  const std::string bytes("a\0b\0", 4);
  ASSERT_EQ(add(bytes), VK_EOK);
  ASSERT_EQ(add("c"), VK_EOK);
  EXPECT_EQ(string_.length, 5U);
  EXPECT_EQ(content(), bytes + "c");
  expect_terminated();
}

TEST_F(String, AppendsNoMoreThanTheCount) {
  ASSERT_EQ(vk_string_add(&string_, "abcdef", 3), VK_EOK);
  EXPECT_THAT(vk_string_str(&string_), StrEq("abc"));
}

TEST_F(String, IsTerminatedAfterEveryAppend) {
  std::string expected;
  for (std::size_t count = 0; count < 200; ++count) {
    SCOPED_TRACE(count);
    const std::string bytes(count, static_cast<char>('a' + count % 26));
    ASSERT_EQ(add(bytes), VK_EOK);
    expected += bytes;
    expect_terminated();
    ASSERT_EQ(content(), expected);
  }
}

TEST_F(String, TakesABlockOf32BytesEvenForNothing) {
  ASSERT_EQ(add(""), VK_EOK);
  EXPECT_EQ(string_.capacity, 32U);
  EXPECT_EQ(string_.length, 0U);
  expect_terminated();
  EXPECT_EQ(vk_string_str(&string_), string_.buf);
}

TEST_F(String, StaysAsItIsWhenNothingIsAppended) {
  ASSERT_EQ(add("text"), VK_EOK);
  const vk_string before = string_;
  ASSERT_EQ(add(""), VK_EOK);
  EXPECT_EQ(string_.buf, before.buf);
  EXPECT_EQ(string_.capacity, before.capacity);
  EXPECT_EQ(content(), "text");
  expect_terminated();
}

TEST_F(String, TakesABlockForTheTextItsTerminatorOrAtLeast32Bytes) {
  struct Row {
    std::size_t count;
    uint32_t capacity;
  };
  for (const Row& row : {Row{0, 32}, Row{1, 32}, Row{10, 32}, Row{31, 32}, Row{32, 33}, Row{33, 34},
                         Row{1000, 1001}}) {
    SCOPED_TRACE(row.count);
    vk_string string;
    vk_string_init(&string, heap_.get());
    const std::string bytes(row.count, 'x');
    const AllocationLog log;
    EXPECT_EQ(vk_string_add(&string, bytes.data(), bytes.size()), VK_EOK);
    EXPECT_EQ(string.capacity, row.capacity);
    ASSERT_EQ(log.count(), 1U);
    EXPECT_EQ(log.size_of(0), row.capacity + kOwnerWord);
    vk_string_destroy(&string);
  }
}

TEST_F(String, GrowsByWhatIsNeededAndAtLeast32Bytes) {
  struct Row {
    std::size_t first, second;
    uint32_t capacity;
  };
  for (const Row& row : {Row{10, 21, 32}, Row{10, 22, 64}, Row{10, 40, 64}, Row{10, 53, 64},
                         Row{10, 54, 65}, Row{31, 1, 64}, Row{40, 0, 41}, Row{40, 1, 73}}) {
    SCOPED_TRACE(std::to_string(row.first) + " and " + std::to_string(row.second));
    vk_string string;
    vk_string_init(&string, heap_.get());
    const std::string bytes(100, 'x');
    ASSERT_EQ(vk_string_add(&string, bytes.data(), row.first), VK_EOK);
    ASSERT_EQ(vk_string_add(&string, bytes.data(), row.second), VK_EOK);
    EXPECT_EQ(string.capacity, row.capacity);
    EXPECT_EQ(string.length, row.first + row.second);
    vk_string_destroy(&string);
  }
}

TEST_F(String, KeepsItsBlockWhileTheTextFits) {
  ASSERT_EQ(add("0123456789"), VK_EOK);
  const char* const block = string_.buf;
  const AllocationLog log;
  ASSERT_EQ(add("012345678901234567890"), VK_EOK);
  EXPECT_EQ(string_.length, 31U);
  EXPECT_EQ(string_.buf, block);
  EXPECT_EQ(log.count(), 0U);
}

TEST_F(String, GrowsIntoANewBlockAndFreesTheOldOne) {
  ASSERT_EQ(add("0123456789"), VK_EOK);
  const auto old = reinterpret_cast<std::uintptr_t>(string_.buf);
  const std::size_t blocks = live_blocks();
  ASSERT_EQ(add(std::string(40, 'x')), VK_EOK);
  EXPECT_NE(reinterpret_cast<std::uintptr_t>(string_.buf), old);
  EXPECT_EQ(live_blocks(), blocks);
  EXPECT_EQ(content(), "0123456789" + std::string(40, 'x'));
}

TEST_F(String, TakesItsBlocksFromItsHeap) {
  ASSERT_EQ(add("text"), VK_EOK);
  EXPECT_EQ(owner_of(string_.buf), heap_.get());
  ASSERT_EQ(add(std::string(100, 'x')), VK_EOK);
  EXPECT_EQ(owner_of(string_.buf), heap_.get());
}

TEST_F(String, GrowsOnAHeapThatCannotResize) {
  const Heap stack{vk_mm_stack_new("temporaries")};
  vk_string string;
  vk_string_init(&string, stack.get());
  for (int i = 0; i < 1000; ++i) ASSERT_EQ(vk_string_add(&string, "ab", 2), VK_EOK);
  EXPECT_EQ(string.length, 2000U);
  EXPECT_EQ(std::string(vk_string_str(&string)).substr(0, 5), "ababa");
  vk_string_destroy(&string);
}

TEST_F(String, CanAppendItselfWithoutGrowing) {
  ASSERT_EQ(add("abc"), VK_EOK);
  ASSERT_EQ(vk_string_add(&string_, string_.buf + 1, 2), VK_EOK);
  EXPECT_EQ(content(), "abcbc");
  expect_terminated();
}

TEST_F(String, CanAppendItselfWithItsTerminatorWithoutGrowing) {
  ASSERT_EQ(add("abc"), VK_EOK);
  ASSERT_EQ(vk_string_add(&string_, string_.buf, 4), VK_EOK);
  EXPECT_EQ(content(), std::string("abcabc\0", 7));
  expect_terminated();
}

TEST_F(String, CanAppendItselfWhileItGrows) {
  const std::string text = "0123456789abcdefghijklmnopqrst";
  ASSERT_EQ(add(text), VK_EOK);
  const auto old = reinterpret_cast<std::uintptr_t>(string_.buf);
  ASSERT_EQ(vk_string_add(&string_, string_.buf, string_.length), VK_EOK);
  ASSERT_NE(reinterpret_cast<std::uintptr_t>(string_.buf), old);
  EXPECT_EQ(content(), text + text);
  expect_terminated();
}

TEST_F(String, CanAppendItsEndWithItsTerminatorWhileItGrows) {
  const std::string text(31, 'x');
  ASSERT_EQ(add(text), VK_EOK);
  ASSERT_EQ(vk_string_add(&string_, string_.buf + 30, 2), VK_EOK);
  EXPECT_EQ(content(), text + std::string("x\0", 2));
  expect_terminated();
}

TEST_F(String, LogsNothingWhenAllIsWell) {
  const LogSpy spy;
  ASSERT_EQ(add(std::string(100, 'x')), VK_EOK);
  vk_string_reset(&string_);
  vk_string_destroy(&string_);
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST_F(String, IsEmptyAfterAResetAndKeepsItsBlock) {
  ASSERT_EQ(add("0123456789"), VK_EOK);
  char* const block = string_.buf;
  const AllocationLog log;
  vk_string_reset(&string_);
  EXPECT_EQ(string_.length, 0U);
  EXPECT_EQ(string_.buf, block);
  EXPECT_EQ(string_.capacity, 32U);
  EXPECT_EQ(vk_string_str(&string_), block);
  EXPECT_THAT(vk_string_str(&string_), StrEq(""));
  EXPECT_EQ(string_.magic, VK_MAGIC_STRING);
  EXPECT_EQ(string_.allocator, heap_.get());
}

TEST_F(String, FillsTheKeptBlockAgainAfterAReset) {
  ASSERT_EQ(add("0123456789"), VK_EOK);
  vk_string_reset(&string_);
  const AllocationLog log;
  ASSERT_EQ(add("new"), VK_EOK);
  EXPECT_THAT(vk_string_str(&string_), StrEq("new"));
  EXPECT_EQ(log.count(), 0U);
}

TEST_F(String, StaysWithoutABlockWhenResetBeforeAnyAppend) {
  vk_string_reset(&string_);
  EXPECT_EQ(string_.buf, nullptr);
  EXPECT_EQ(string_.capacity, 0U);
  EXPECT_EQ(string_.length, 0U);
  EXPECT_THAT(vk_string_str(&string_), AllOf(NotNull(), StrEq("")));
}

TEST_F(String, ReleasesItsBlockWhenDestroyed) {
  const std::size_t blocks = live_blocks();
  ASSERT_EQ(add("text"), VK_EOK);
  ASSERT_EQ(live_blocks(), blocks + 1);
  vk_string_destroy(&string_);
  EXPECT_EQ(live_blocks(), blocks);
}

TEST_F(String, IsMarkedWhenDestroyedAndKeepsItsOtherFields) {
  ASSERT_EQ(add("text"), VK_EOK);
  const auto block = reinterpret_cast<std::uintptr_t>(string_.buf);
  vk_string_destroy(&string_);
  EXPECT_EQ(string_.magic, VK_MAGIC_DEAD);
  EXPECT_EQ(string_.magic, 0xDEADBEAFU);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(string_.buf), block);
  EXPECT_EQ(string_.capacity, 32U);
  EXPECT_EQ(string_.length, 4U);
  EXPECT_EQ(string_.allocator, heap_.get());
}

TEST_F(String, CanBeDestroyedWithoutABlock) {
  const std::size_t blocks = live_blocks();
  vk_string_destroy(&string_);
  EXPECT_EQ(string_.magic, VK_MAGIC_DEAD);
  EXPECT_EQ(string_.buf, nullptr);
  EXPECT_EQ(live_blocks(), blocks);
}

TEST_F(String, CanBeInitialisedAgainAfterItsEnd) {
  ASSERT_EQ(add("text"), VK_EOK);
  vk_string_destroy(&string_);
  vk_string_init(&string_, heap_.get());
  ASSERT_EQ(add("again"), VK_EOK);
  EXPECT_THAT(vk_string_str(&string_), StrEq("again"));
}

}  // namespace
}  // namespace vesk::test
