#include "vesk/mm/stack.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "tests/support/unencodable.h"
#include "tests/unit/mm/stack_probe.h"

namespace vesk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Ne;
using ::testing::NotNull;
using ::testing::StrEq;

std::uintptr_t aligned(std::uintptr_t address) {
  return (address + kAlignment - 1) / kAlignment * kAlignment;
}

class StackAlloc : public StackTest {};

TEST_F(StackAlloc, TakesObjectsOfTheChunkInUseWithoutAskingForMemory) {
  const AllocationLog log;
  for (int i = 0; i < 100; ++i) ASSERT_THAT(take(20), NotNull());
  EXPECT_EQ(log.count(), 0U);
}

TEST_F(StackAlloc, BeginsEachObjectAtTheFirstAlignedAddressBehindTheOneBefore) {
  const char* before = take(0);
  for (std::size_t size = 0; size < 50; ++size) {
    SCOPED_TRACE(size);
    const char* const object = take(size);
    const char* const next = take(1);
    EXPECT_EQ(address(object) % kAlignment, 0U);
    EXPECT_GE(object, before);
    EXPECT_EQ(address(next), aligned(address(object) + size));
    before = next;
  }
}

TEST_F(StackAlloc, AlignsTheObjectsOfEveryChunk) {
  for (const std::size_t size : {4000U, 4001U, 4002U, 4003U, 5001U, 100007U, 13U}) {
    SCOPED_TRACE(size);
    EXPECT_EQ(address(take(size)) % kAlignment, 0U);
  }
}

TEST_F(StackAlloc, FillsAChunkToItsLastByte) {
  const std::size_t all = room();
  const AllocationLog log;
  char* const object = take(all);
  std::memset(object, 'x', all);
  EXPECT_EQ(object + all, region().limit);
  EXPECT_EQ(log.count(), 0U);
}

TEST_F(StackAlloc, TakesANewChunkForAnObjectOneByteLargerThanTheRoom) {
  ASSERT_THAT(take(100), NotNull());
  const std::size_t size = room() + 1;
  const AllocationLog log;
  std::memset(take(size), 'x', size);
  ASSERT_EQ(log.count(), 1U);
  EXPECT_GE(log.size_of(0), size + sizeof(vk_mm_chunk));
}

TEST_F(StackAlloc, TakesANewChunkOfTheDefaultSizeForASmallObject) {
  ASSERT_THAT(take(3000), NotNull());
  const AllocationLog log;
  ASSERT_THAT(take(3000), NotNull());
  ASSERT_EQ(log.count(), 1U);
  EXPECT_EQ(log.size_of(0), kChunkSize);
}

TEST_F(StackAlloc, TakesAChunkThatIsLargeEnoughForALargeObject) {
  for (const std::size_t size : {4064U, 5000U, 65536U, 1000000U}) {
    SCOPED_TRACE(size);
    const AllocationLog log;
    char* const object = take(size);
    ASSERT_THAT(object, NotNull());
    std::memset(object, 'x', size);
    ASSERT_EQ(log.count(), 1U);
    EXPECT_GE(log.size_of(0), size + sizeof(vk_mm_chunk));
  }
}

TEST_F(StackAlloc, KeepsTheObjectsOfEarlierChunks) {
  char* const first = take(3000);
  std::memcpy(first, "first", sizeof "first");
  char* const second = take(3000);
  std::memcpy(second, "second", sizeof "second");
  ASSERT_THAT(take(50000), NotNull());
  EXPECT_THAT(first, StrEq("first"));
  EXPECT_THAT(second, StrEq("second"));
}

// Chunks that were made for one large object need not end at an aligned address.
TEST_F(StackAlloc, NeverTakesBeyondAChunksEndWhenItRoundsUp) {
  for (std::size_t size = 5000; size < 5040; ++size) {
    SCOPED_TRACE(size);
    ASSERT_THAT(take(size), NotNull());
    ASSERT_THAT(take(room()), NotNull());
    EXPECT_EQ(room(), 0U);
    EXPECT_EQ(region().next_free, region().limit);
    const AllocationLog log;
    EXPECT_THAT(take(1), NotNull());
    EXPECT_EQ(log.count(), 1U);
  }
}

TEST_F(StackAlloc, GivesAFreshStacksUnusedChunkBackWhenItIsTooSmall) {
  const std::size_t blocks = live_blocks();
  ASSERT_THAT(take(50000), NotNull());
  EXPECT_EQ(live_blocks(), blocks);
}

TEST_F(StackAlloc, KeepsAChunkThatHoldsAnEmptyObject) {
  const std::size_t blocks = live_blocks();
  const char* const empty = take(0);
  ASSERT_THAT(take(50000), NotNull());
  EXPECT_EQ(live_blocks(), blocks + 1);
  EXPECT_TRUE(owns(empty));
}

TEST_F(StackAlloc, GivesNullAndChangesNothingWhenNoChunkCanBeHad) {
  const LogSpy spy;
  const char* const kept = vk_mm_stack_printf(stack(), "kept");
  const std::size_t before = room();
  for_every_allocation_fault([&](AllocationFault& fault) {
    const Heap other{vk_mm_stack_new("other")};
    void* const object = fault.during([&] { return other->ops->alloc(other.get(), 50000); });
    EXPECT_EQ(object == nullptr, fault.struck());
    EXPECT_THAT(other->ops->alloc(other.get(), 50000), NotNull());
  });
  AllocationFault fault{1, AllocationFault::Extent::kOne};
  EXPECT_EQ(fault.during([this] { return take(50000); }), nullptr);
  EXPECT_THAT(kept, StrEq("kept"));
  EXPECT_EQ(room(), before);
  EXPECT_THAT(spy.calls(), IsEmpty());
}

// None of these sizes may turn, by the words, the alignment or the object around it, into a small
// one.
TEST_F(StackAlloc, FailsForEverySizeNearTheLargest) {
  const char* const kept = vk_mm_stack_printf(stack(), "kept");
  const std::size_t before = room();
  for (std::size_t size = SIZE_MAX - 5000; size != 0; ++size) {
    SCOPED_TRACE(size);
    const AllocationLog log;
    AllocationFault fault{1, AllocationFault::Extent::kAllFromThere};
    ASSERT_EQ(fault.during([&] { return take(size); }), nullptr);
    if (log.count() > 0) {
      ASSERT_GT(log.size_of(0), size);
    }
  }
  EXPECT_EQ(room(), before);
  EXPECT_THAT(kept, StrEq("kept"));
}

TEST_F(StackAlloc, FailsWithoutAskingWhenTheSizeDoesNotFitWithTheChunksWords) {
  const AllocationLog log;
  EXPECT_EQ(take(SIZE_MAX), nullptr);
  EXPECT_EQ(take(SIZE_MAX - sizeof(vk_mm_chunk) + 1), nullptr);
  EXPECT_EQ(log.count(), 0U);
}

TEST_F(StackAlloc, FailsForASizeThatDoesNotFitBehindTheGrowingObject) {
  vk_mm_stack_grow(stack(), std::string(3000, 'x').data(), 3000);
  for (std::size_t size = SIZE_MAX - 8000; size != 0; ++size) {
    const AllocationLog log;
    AllocationFault fault{1, AllocationFault::Extent::kAllFromThere};
    ASSERT_EQ(fault.during([&] { return take(size); }), nullptr) << size;
    if (log.count() > 0) {
      ASSERT_GT(log.size_of(0), size);
    }
  }
  vk_mm_stack_grow_char(stack(), '\0');
  EXPECT_THAT(finish(), StrEq(std::string(3000, 'x')));
}

TEST_F(StackAlloc, NeverResizes) {
  char* const block = take(8);
  std::memcpy(block, "as is", sizeof "as is");
  const AllocationLog log;
  EXPECT_EQ(stack()->ops->realloc(stack(), block, 4), nullptr);
  EXPECT_EQ(stack()->ops->realloc(stack(), block, 4000), nullptr);
  EXPECT_EQ(stack()->ops->realloc(stack(), nullptr, 8), nullptr);
  EXPECT_EQ(log.count(), 0U);
  EXPECT_THAT(block, StrEq("as is"));
}

TEST_F(StackAlloc, TakesNothingBack) {
  char* const block = take(3000);
  std::memcpy(block, "as is", sizeof "as is");
  const std::size_t before = room();
  const std::size_t blocks = live_blocks();
  stack()->ops->free(stack(), block);
  EXPECT_EQ(room(), before);
  EXPECT_EQ(live_blocks(), blocks);
  EXPECT_THAT(block, StrEq("as is"));
  EXPECT_TRUE(owns(block));
}

class StackBlocks : public StackTest {};

TEST_F(StackBlocks, AreOwnedByTheStackAndLieInIt) {
  void* const block = vk_alloc(stack(), 24);
  EXPECT_EQ(owner_of(block), stack());
  EXPECT_TRUE(owns(header_of(block)));
  EXPECT_TRUE(owns(static_cast<const char*>(block) + 23));
}

TEST_F(StackBlocks, AreZeroedWhateverTheMemoryHeldBefore) {
  std::memset(region().next_free, 0xA5, room());
  const char* const block = static_cast<const char*>(vk_alloc(stack(), 1000));
  EXPECT_EQ(std::string(block, 1000), std::string(1000, '\0'));
}

TEST_F(StackBlocks, OfSize0AreValidAndDistinct) {
  void* const one = vk_alloc(stack(), 0);
  EXPECT_THAT(one, NotNull());
  EXPECT_THAT(vk_alloc(stack(), 0), Ne(one));
}

TEST_F(StackBlocks, StayReadableWhenFreed) {
  char* const block = vk_strdup(stack(), "still here");
  const std::size_t blocks = live_blocks();
  vk_free(block);
  EXPECT_EQ(live_blocks(), blocks);
  EXPECT_THAT(vk_strdup(stack(), "later"), StrEq("later"));
  EXPECT_THAT(block, StrEq("still here"));
}

TEST_F(StackBlocks, AreMissedWithALogLineWhenNoChunkCanBeHad) {
  const LogSpy spy;
  AllocationFault fault{1, AllocationFault::Extent::kOne};
  EXPECT_EQ(fault.during([this] { return vk_alloc(stack(), 50000); }), nullptr);
  EXPECT_THAT(spy.lines(), ElementsAre(allocation_failure(50000, "temporaries")));
  EXPECT_THAT(vk_alloc(stack(), 50000), NotNull());
}

TEST_F(StackBlocks, KeepTheirPromisesForEveryRefusedAllocation) {
  for_every_allocation_fault([](AllocationFault& fault) {
    const Heap other{vk_mm_stack_new("other")};
    const LogSpy spy;
    const auto* const block =
        static_cast<const char*>(fault.during([&] { return vk_alloc(other.get(), 9000); }));
    ASSERT_EQ(block == nullptr, fault.struck());
    if (block == nullptr) {
      EXPECT_THAT(spy.lines(), ElementsAre(allocation_failure(9000, "other")));
    } else {
      EXPECT_EQ(std::string(block, 9000), std::string(9000, '\0'));
    }
    EXPECT_THAT(vk_mm_stack_printf(other.get(), "%d", 7), StrEq("7"));
  });
}

TEST_F(StackBlocks, AreCopiesOfATextOrMissedForEveryRefusedAllocation) {
  const std::string text(9000, 'x');
  for_every_allocation_fault([&](AllocationFault& fault) {
    const Heap other{vk_mm_stack_new("other")};
    const LogSpy spy;
    const char* const copy = fault.during([&] { return vk_strdup(other.get(), text.c_str()); });
    ASSERT_EQ(copy == nullptr, fault.struck());
    if (copy == nullptr) {
      EXPECT_THAT(spy.lines(), ElementsAre(allocation_failure(text.size() + 1, "other")));
    } else {
      EXPECT_EQ(copy, text);
    }
    EXPECT_THAT(vk_mm_stack_printf(other.get(), "%d", 7), StrEq("7"));
  });
}

TEST_F(StackBlocks, AreMissedWithALogLineWhenTheirSizeWraps) {
  for (const std::size_t size : {SIZE_MAX, SIZE_MAX - kOwnerWord, SIZE_MAX - kOwnerWord - 1}) {
    SCOPED_TRACE(size);
    const LogSpy spy;
    EXPECT_EQ(vk_alloc(stack(), size), nullptr);
    EXPECT_THAT(spy.lines(), ElementsAre(allocation_failure(size, "temporaries")));
  }
}

TEST_F(StackBlocks, DoNotDependOnMagicWords) {
  stack()->magic = 0;
  const_cast<vk_mm_stack&>(record_of(stack())).stack_magic = 0;
  EXPECT_THAT(vk_strdup(stack(), "text"), StrEq("text"));
}

class StackPrintf : public StackTest {};

TEST_F(StackPrintf, GivesTheFormattedText) {
  EXPECT_THAT(vk_mm_stack_printf(stack(), "plain"), StrEq("plain"));
  EXPECT_THAT(vk_mm_stack_printf(stack(), "%s-%d-%c-%lu-%.2f-%%", "text", -5, 'x', 7UL, 0.25),
              StrEq("text--5-x-7-0.25-%"));
}

TEST_F(StackPrintf, GivesAOneByteTextForNothing) {
  const char* const text = vk_mm_stack_printf(stack(), "%s", "");
  EXPECT_THAT(text, StrEq(""));
  EXPECT_EQ(address(region().next_free), aligned(address(text) + 1));
}

TEST_F(StackPrintf, TakesOneByteMoreThanTheTextIsLong) {
  const std::string exact(room() - 1, 'x');
  const AllocationLog log;
  EXPECT_THAT(vk_mm_stack_printf(stack(), "%s", exact.c_str()), StrEq(exact));
  EXPECT_EQ(log.count(), 0U);
  EXPECT_EQ(room(), 0U);
}

TEST_F(StackPrintf, TakesANewChunkWhenTheTerminatorDoesNotFit) {
  ASSERT_THAT(take(100), NotNull());
  const std::string text(room(), 'x');
  const AllocationLog log;
  EXPECT_THAT(vk_mm_stack_printf(stack(), "%s", text.c_str()), StrEq(text));
  EXPECT_EQ(log.count(), 1U);
}

TEST_F(StackPrintf, FormatsATextLongerThanADefaultChunk) {
  const std::string text(3 * kChunkSize, 'x');
  EXPECT_THAT(vk_mm_stack_printf(stack(), "<%s>", text.c_str()), StrEq("<" + text + ">"));
}

TEST_F(StackPrintf, GivesAlignedTextsThatDoNotDisturbEachOther) {
  const char* const one = vk_mm_stack_printf(stack(), "%s", "one");
  const char* const other = vk_mm_stack_printf(stack(), "%s", "other");
  EXPECT_EQ(address(one) % kAlignment, 0U);
  EXPECT_EQ(address(other) % kAlignment, 0U);
  EXPECT_THAT(one, StrEq("one"));
  EXPECT_THAT(other, StrEq("other"));
}

TEST_F(StackPrintf, GivesATextWithoutOwnersWord) {
  const char* const before = take(0);
  EXPECT_EQ(vk_mm_stack_printf(stack(), "text"), before);
}

TEST_F(StackPrintf, GivesNullAndTakesNothingForAFormatThatFails) {
  const LogSpy spy;
  const std::size_t before = room();
  EXPECT_EQ(vk_mm_stack_printf(stack(), "%lc", kUnencodable), nullptr);
  EXPECT_EQ(room(), before);
  EXPECT_THAT(spy.calls(), IsEmpty());
  EXPECT_THAT(vk_mm_stack_printf(stack(), "%s", "usable"), StrEq("usable"));
}

TEST_F(StackPrintf, GivesNullAndTakesNothingWhenNoChunkCanBeHad) {
  const LogSpy spy;
  const std::string text(kChunkSize, 'x');
  const std::size_t before = room();
  AllocationFault fault{1, AllocationFault::Extent::kOne};
  EXPECT_EQ(fault.during([&] { return vk_mm_stack_printf(stack(), "%s", text.c_str()); }), nullptr);
  EXPECT_EQ(room(), before);
  EXPECT_THAT(spy.calls(), IsEmpty());
  EXPECT_THAT(vk_mm_stack_printf(stack(), "%s", text.c_str()), StrEq(text));
}

TEST_F(StackPrintf, KeepsItsPromisesForEveryRefusedAllocation) {
  for_every_allocation_fault([](AllocationFault& fault) {
    const Heap other{vk_mm_stack_new("other")};
    const char* const text =
        fault.during([&] { return vk_mm_stack_printf(other.get(), "%9000d", 7); });
    EXPECT_EQ(text == nullptr, fault.struck());
    EXPECT_THAT(vk_mm_stack_printf(other.get(), "%d", 7), StrEq("7"));
  });
}

}  // namespace
}  // namespace vesk::test
