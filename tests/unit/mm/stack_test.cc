#include "vesk/mm/stack.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "lib/mm/heap.h"
#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "tests/unit/mm/stack_probe.h"

namespace vesk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::NotNull;
using ::testing::StrEq;

// Everything that takes memory of a stack; false if it could not be had.
struct Request {
  const char* name;
  bool (*succeeds)(vk_allocator*);
};

constexpr Request kRequests[] = {
    {"alloc", [](vk_allocator* stack) { return stack->ops->alloc(stack, 10) != nullptr; }},
    {"alloc of 0", [](vk_allocator* stack) { return stack->ops->alloc(stack, 0) != nullptr; }},
    {"vk_alloc", [](vk_allocator* stack) { return vk_alloc(stack, 10) != nullptr; }},
    {"vk_strdup", [](vk_allocator* stack) { return vk_strdup(stack, "text") != nullptr; }},
    {"printf",
     [](vk_allocator* stack) { return vk_mm_stack_printf(stack, "%s", "text") != nullptr; }},
    {"grow",
     [](vk_allocator* stack) {
       vk_mm_stack_grow(stack, "text", 4);
       return vk_mm_stack_grow_finish(stack) != nullptr;
     }},
    {"grow_char",
     [](vk_allocator* stack) {
       vk_mm_stack_grow_char(stack, 't');
       return vk_mm_stack_grow_finish(stack) != nullptr;
     }},
    {"grow_finish", [](vk_allocator* stack) { return vk_mm_stack_grow_finish(stack) != nullptr; }},
};

// A stack whose first chunk could not be had.
Heap stack_without_chunk() {
  AllocationFault fault{2, AllocationFault::Extent::kOne};
  return Heap{fault.during([] { return vk_mm_stack_new("temporaries"); })};
}

TEST(StackNew, FillsTheRecord) {
  const char name[] = "a name";
  const Heap stack{vk_mm_stack_new(name)};
  EXPECT_EQ(stack->name, name);
  EXPECT_EQ(stack->magic, VK_MAGIC_ALLOCATOR);
  EXPECT_EQ(record_of(stack.get()).stack_magic, VK_MAGIC_STACK);
  EXPECT_EQ(record_of(stack.get()).stack_magic, 0x37E9B061U);
}

TEST(StackNew, GivesAllStacksOneTableWithAllOperations) {
  const Heap stack{vk_mm_stack_new("one")};
  const Heap other{vk_mm_stack_new("other")};
  EXPECT_EQ(stack->ops, other->ops);
  EXPECT_NE(stack->ops, vk_default_allocator()->ops);
  EXPECT_THAT(stack->ops->alloc, NotNull());
  EXPECT_THAT(stack->ops->realloc, NotNull());
  EXPECT_THAT(stack->ops->free, NotNull());
  EXPECT_THAT(stack->ops->owns, NotNull());
  EXPECT_THAT(stack->ops->destroy, NotNull());
}

TEST(StackNew, ListsTheStackAmongTheLiveHeaps) {
  vk_allocator* const before = live_heaps;
  Heap stack{vk_mm_stack_new("temporaries")};
  EXPECT_EQ(live_heaps, stack.get());
  EXPECT_EQ(stack->next, before);
  stack.reset();
  EXPECT_EQ(live_heaps, before);
}

TEST(StackNew, TakesItsRecordFromTheDefaultHeapAndItsFirstChunkAtOnce) {
  const AllocationLog log;
  const Heap stack{vk_mm_stack_new("temporaries")};
  EXPECT_EQ(owner_of(stack.get()), vk_default_allocator());
  ASSERT_EQ(log.count(), 2U);
  EXPECT_EQ(log.size_of(0), sizeof(vk_mm_stack) + kOwnerWord);
  EXPECT_EQ(log.size_of(1), kChunkSize);
}

TEST(StackNew, HasAChunkOf4064BytesWithItsTwoWordsAtItsBeginning) {
  const Heap stack{vk_mm_stack_new("temporaries")};
  const vk_mm_region& region = record_of(stack.get()).region;
  EXPECT_EQ(region.limit - reinterpret_cast<const char*>(region.chunk), 4064);
  EXPECT_EQ(region.chunk->limit, region.limit);
  EXPECT_EQ(region.chunk->prev, nullptr);
  EXPECT_EQ(sizeof(vk_mm_chunk), 2 * sizeof(void*));
}

TEST(StackNew, LogsNothing) {
  const LogSpy spy;
  const Heap stack{vk_mm_stack_new("temporaries")};
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST(StackNew, GivesNullAndLogsInTheNameOfTheDefaultHeapWithoutMemoryForItsRecord) {
  const LogSpy spy;
  const vk_allocator* const newest = live_heaps;
  const std::size_t blocks = live_blocks();
  AllocationFault fault{1, AllocationFault::Extent::kOne};
  EXPECT_EQ(fault.during([] { return vk_mm_stack_new("temporaries"); }), nullptr);
  EXPECT_THAT(spy.lines(), ElementsAre(allocation_failure(sizeof(vk_mm_stack), "default")));
  EXPECT_EQ(live_heaps, newest);
  EXPECT_EQ(live_blocks(), blocks);
}

TEST(StackNew, GivesTheStackAndLogsNothingIfItsFirstChunkCannotBeHad) {
  const LogSpy spy;
  const Heap stack = stack_without_chunk();
  ASSERT_THAT(stack, NotNull());
  EXPECT_EQ(live_heaps, stack.get());
  EXPECT_EQ(record_of(stack.get()).stack_magic, VK_MAGIC_STACK);
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST(StackNew, KeepsItsPromisesForEveryRefusedAllocation) {
  for_every_allocation_fault([](AllocationFault& fault) {
    const vk_allocator* const newest = live_heaps;
    const Heap stack{fault.during([] { return vk_mm_stack_new("temporaries"); })};
    if (stack == nullptr) {
      EXPECT_TRUE(fault.struck());
      EXPECT_EQ(live_heaps, newest);
    } else {
      EXPECT_THAT(vk_mm_stack_printf(stack.get(), "%d", 7), StrEq("7"));
    }
  });
}

TEST(StackWithoutChunk, AsksForOneWithTheNextRequest) {
  for (const Request& request : kRequests) {
    SCOPED_TRACE(request.name);
    const Heap stack = stack_without_chunk();
    const AllocationLog log;
    EXPECT_TRUE(request.succeeds(stack.get()));
    ASSERT_EQ(log.count(), 1U);
    EXPECT_EQ(log.size_of(0), kChunkSize);
  }
}

TEST(StackWithoutChunk, AsksAgainWithEveryRequestUntilOneCanBeHad) {
  for (const Request& request : kRequests) {
    SCOPED_TRACE(request.name);
    const Heap stack = stack_without_chunk();
    AllocationFault fault{1, AllocationFault::Extent::kAllFromThere};
    EXPECT_FALSE(fault.during([&] { return request.succeeds(stack.get()); }));
    EXPECT_FALSE(fault.during([&] { return request.succeeds(stack.get()); }));
    EXPECT_TRUE(request.succeeds(stack.get()));
  }
}

TEST(StackWithoutChunk, OwnsNothing) {
  const Heap stack = stack_without_chunk();
  EXPECT_EQ(stack->ops->owns(stack.get(), stack.get()), 0);
  EXPECT_EQ(stack->ops->owns(stack.get(), nullptr), 0);
}

TEST(StackWithoutChunk, CanBeCleared) {
  const Heap stack = stack_without_chunk();
  EXPECT_NE(vk_mm_stack_clear(stack.get()), 0);
  const AllocationLog log;
  EXPECT_THAT(vk_mm_stack_printf(stack.get(), "%d", 7), StrEq("7"));
  EXPECT_EQ(log.count(), 0U);
}

TEST(StackDelete, ReleasesEveryChunkAndTheRecord) {
  const std::size_t before = live_blocks();
  Heap stack{vk_mm_stack_new("temporaries")};
  for (int i = 0; i < 10; ++i) ASSERT_THAT(vk_alloc(stack.get(), 3000), NotNull());
  ASSERT_GE(live_blocks(), before + 11);
  stack.reset();
  EXPECT_EQ(live_blocks(), before);
}

TEST(StackDelete, ReleasesAnObjectThatIsStillGrowing) {
  const std::size_t before = live_blocks();
  Heap stack{vk_mm_stack_new("temporaries")};
  vk_mm_stack_grow(stack.get(), std::string(9000, 'x').data(), 9000);
  stack.reset();
  EXPECT_EQ(live_blocks(), before);
}

TEST(StackDestroy, MarksTheRecordAndReleasesEveryChunk) {
  const std::size_t before = live_blocks();
  const Heap stack{vk_mm_stack_new("temporaries")};
  const vk_alloc_ops ops = *stack->ops;
  for (int i = 0; i < 3; ++i) ASSERT_THAT(vk_alloc(stack.get(), 3000), NotNull());
  ops.destroy(stack.get());
  EXPECT_EQ(record_of(stack.get()).stack_magic, VK_MAGIC_DEAD);
  EXPECT_EQ(record_of(stack.get()).stack_magic, 0xDEADBEAFU);
  EXPECT_EQ(live_blocks(), before + 1);
  EXPECT_EQ(live_heaps, stack.get());
  stack->ops = &ProbeHeap::kOps;  // so that deleting the record does not destroy a second time
}

class StackClear : public StackTest {};

TEST_F(StackClear, ReleasesAllChunksAndTakesAFreshOneAtOnce) {
  const std::size_t fresh = live_blocks();
  for (int i = 0; i < 5; ++i) ASSERT_THAT(take(3000), NotNull());
  ASSERT_THAT(take(100000), NotNull());
  ASSERT_GT(live_blocks(), fresh);
  const AllocationLog log;
  EXPECT_NE(vk_mm_stack_clear(stack()), 0);
  ASSERT_EQ(log.count(), 1U);
  EXPECT_EQ(log.size_of(0), kChunkSize);
  EXPECT_EQ(live_blocks(), fresh);
}

TEST_F(StackClear, KeepsTheStacksIdentity) {
  const Heap newer{vk_mm_stack_new("newer")};
  const vk_allocator before = *stack();
  ASSERT_NE(vk_mm_stack_clear(stack()), 0);
  EXPECT_EQ(stack()->ops, before.ops);
  EXPECT_EQ(stack()->name, before.name);
  EXPECT_EQ(stack()->next, before.next);
  EXPECT_EQ(stack()->prev_link, before.prev_link);
  EXPECT_EQ(newer->next, stack());
  EXPECT_EQ(stack()->magic, VK_MAGIC_ALLOCATOR);
  EXPECT_EQ(record_of(stack()).stack_magic, VK_MAGIC_STACK);
}

TEST_F(StackClear, GivesTheWholeOfTheFreshChunkToWhatComesNext) {
  const std::size_t fresh = room();
  ASSERT_THAT(take(1000), NotNull());
  ASSERT_NE(vk_mm_stack_clear(stack()), 0);
  EXPECT_EQ(room(), fresh);
  const AllocationLog log;
  EXPECT_THAT(take(fresh), NotNull());
  EXPECT_EQ(log.count(), 0U);
}

TEST_F(StackClear, ForgetsTheGrowingObject) {
  vk_mm_stack_grow(stack(), "old", 3);
  ASSERT_NE(vk_mm_stack_clear(stack()), 0);
  vk_mm_stack_grow(stack(), "new", 4);
  EXPECT_THAT(finish(), StrEq("new"));
}

TEST_F(StackClear, OwnsNoMoreOfWhatWasTakenThanTheFreshChunkHappensToReuse) {
  constexpr std::size_t kSize = 50000;
  const char* const block = take(kSize);
  const auto owned = [&] {
    std::size_t bytes = 0;
    for (std::size_t i = 0; i < kSize; ++i) bytes += owns(block + i) ? 1U : 0U;
    return bytes;
  };
  ASSERT_EQ(owned(), kSize);
  ASSERT_NE(vk_mm_stack_clear(stack()), 0);
  EXPECT_LE(owned(), kChunkSize - sizeof(vk_mm_chunk));
}

TEST_F(StackClear, Gives0AndReleasesAllTheSameIfTheFreshChunkCannotBeHad) {
  const std::size_t fresh = live_blocks();
  const LogSpy spy;
  const char* const block = take(10);
  ASSERT_THAT(take(9000), NotNull());
  AllocationFault fault{1, AllocationFault::Extent::kOne};
  EXPECT_EQ(fault.during([this] { return vk_mm_stack_clear(stack()); }), 0);
  EXPECT_EQ(live_blocks(), fresh - 1);
  EXPECT_FALSE(owns(block));
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST_F(StackClear, LeavesItToTheNextRequestToAskAgainForTheFreshChunk) {
  for (const Request& request : kRequests) {
    SCOPED_TRACE(request.name);
    AllocationFault fault{1, AllocationFault::Extent::kOne};
    ASSERT_EQ(fault.during([this] { return vk_mm_stack_clear(stack()); }), 0);
    const AllocationLog log;
    EXPECT_TRUE(request.succeeds(stack()));
    ASSERT_EQ(log.count(), 1U);
    EXPECT_EQ(log.size_of(0), kChunkSize);
  }
}

TEST_F(StackClear, KeepsItsPromisesForEveryRefusedAllocation) {
  for_every_allocation_fault([](AllocationFault& fault) {
    const Heap stack{vk_mm_stack_new("temporaries")};
    const int result = fault.during([&] { return vk_mm_stack_clear(stack.get()); });
    EXPECT_EQ(result == 0, fault.struck());
    EXPECT_THAT(vk_mm_stack_printf(stack.get(), "%d", 7), StrEq("7"));
  });
}

}  // namespace
}  // namespace vesk::test
