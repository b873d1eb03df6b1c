#include "runtime/message.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "tests/unit/runtime/bytes.h"

// Messages in memory.

namespace vesk::test {
namespace {

using rt::Limits;

ByteString copied(const ByteBuffer& bytes) { return {bytes.bytes().begin(), bytes.bytes().end()}; }

TEST(MessageRequest, IsWhatTheFormatSays) {
  ByteBuffer bytes;
  const Value value = planted(integer(5));
  EXPECT_EQ(VK_EOK, rt::put_request(bytes, 7, "a.b", 2, value.get(), Limits()));
  EXPECT_EQ(ByteString(Fields().number(7).text("a.b").number(2).number(VK_TYPE_INT).number(5)),
            copied(bytes));
}

TEST(MessageResponse, IsWhatTheFormatSays) {
  ByteBuffer bytes;
  EXPECT_EQ(VK_EOK, rt::put_response(bytes, 9, nullptr, Limits()));
  EXPECT_EQ(ByteString(Fields().number(9).number(VK_TYPE_ANY)), copied(bytes));
}

TEST(MessageResponse, IsHeldAgainstTheLimits) {
  ByteBuffer bytes;
  EXPECT_EQ(VK_EVALUE,
            rt::put_response(bytes, 0, planted(object({{std::string(257, 'x'), any()}})).get(),
                             Limits()));
}

// An object that was cut short for want of memory, and ended, would pass for a whole one.
TEST(MessageRequest, IsNeverCutShort) {
  const LogSpy log;
  Tree large = object({});
  for (int i = 0; i < 40; ++i) {
    large.items.push_back(object({{"text", text(std::string(100, 'x'))}}));
    large.items.back().name = "m" + std::to_string(i);
  }
  const Value value = planted(large);
  const std::size_t whole = (request_head("a") + encoded(*value)).size();
  for_every_allocation_fault([&](AllocationFault& fault) {
    ByteBuffer bytes;
    const vk_error error =
        fault.during([&] { return rt::put_request(bytes, 0, "a", 0, value.get(), Limits()); });
    EXPECT_EQ(fault.struck() ? VK_ENOMEM : VK_EOK, error);
    if (!fault.struck()) {
      EXPECT_EQ(whole, bytes.bytes().size());
    }
  });
}

TEST(MessageResponse, LeavesTheTreeWhenMemoryIsRefused) {
  const LogSpy log;
  const Tree before = object({{"old", text("tree")}});
  const Tree after = object({{"a", array({text("x"), object({{"b", hex("yz")}})})}, {"c", any()}});
  const ByteString head = Fields().number(VK_EAUTH);
  const ByteString message = head + encoded(after);
  for_every_allocation_fault([&](AllocationFault& fault) {
    const Value value = planted(before);
    const uint32_t status = fault.during([&] { return rt::take_response(message, value.get()); });
    EXPECT_EQ(fault.struck() ? VK_ENOMEM : VK_EAUTH, status);
    EXPECT_EQ(fault.struck() ? before : after, tree_of(*value));
  });
}

TEST(MessageResponse, IsTakenOnTheHeapOfTheNode) {
  const Heap heap(vk_mm_heap_new("mine"));
  const ByteString message = response_head() + encoded(object({{"a", text("x")}}));
  const Value value = new_value(heap.get());
  EXPECT_EQ(VK_EOK, rt::take_response(message, value.get()));
  EXPECT_EQ(std::set<const vk_allocator*>{heap.get()}, heaps_of(*value));
}

TEST(MessageResponse, WithANameTwiceInAnObjectHasTheLaterValue) {
  const Value value = new_value();
  const ByteString twice = Fields()
                               .number(VK_TYPE_OBJECT)
                               .text("a")
                               .number(VK_TYPE_STRING)
                               .text("earlier")
                               .text("a")
                               .number(VK_TYPE_INT)
                               .number(2)
                               .text("");
  EXPECT_EQ(VK_EOK, rt::take_response(response_head() + twice, value.get()));
  EXPECT_EQ(object({{"a", integer(2)}}), tree_of(*value));
}

TEST(MessageResponse, TakesAttributesWithTheTree) {
  const Value value = planted(text("x").with({{"Error", integer(1)}}));
  EXPECT_EQ(VK_EOK, rt::take_response(response_head() + encoded(boolean(1)), value.get()));
  EXPECT_EQ(boolean(1), tree_of(*value));
}

}  // namespace
}  // namespace vesk::test
