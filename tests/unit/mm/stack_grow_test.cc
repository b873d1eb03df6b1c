#include "vesk/mm/stack.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"
#include "tests/support/unencodable.h"
#include "tests/unit/mm/stack_probe.h"

namespace vesk::test {
namespace {

using ::testing::NotNull;
using ::testing::StrEq;

class StackGrow : public StackGrowTest {};

TEST_F(StackGrow, AppendsBytes) {
  grow("Device.");
  grow("Hosts.");
  EXPECT_EQ(finish_text(), "Device.Hosts.");
}

TEST_F(StackGrow, AppendsCharacters) {
  for (const char character : {'a', 'b', 'c'}) grow_char(character);
  EXPECT_EQ(finish_text(), "abc");
}

TEST_F(StackGrow, AppendsBytesAndCharactersInTurn) {
  grow("name");
  grow_char('=');
  grow("value");
  EXPECT_EQ(finish_text(), "name=value");
}

TEST_F(StackGrow, AppendsAnyBytes) {
  grow(std::string("\0\xFF\n", 3));
  grow_char('\0');
  grow_char('\xFE');
  EXPECT_EQ(std::string(finish(), 5), std::string("\0\xFF\n\0\xFE", 5));
}

TEST_F(StackGrow, AppendsNothingFor0Bytes) {
  grow("ab");
  vk_mm_stack_grow(stack(), "unread", 0);
  grow("c");
  EXPECT_EQ(finish_text(), "abc");
}

TEST_F(StackGrow, AppendsNothingFor0BytesAtNull) {
  vk_mm_stack_grow(stack(), nullptr, 0);
  grow("ab");
  vk_mm_stack_grow(stack(), nullptr, 0);
  EXPECT_EQ(finish_text(), "ab");
}

TEST_F(StackGrow, CopiesWhatItAppends) {
  char bytes[] = "abc";
  vk_mm_stack_grow(stack(), bytes, sizeof bytes);
  std::memset(bytes, 'x', sizeof bytes);
  EXPECT_THAT(finish(), StrEq("abc"));
}

TEST_F(StackGrow, AsksForNoMemoryWhileTheObjectFits) {
  const std::string all(room() - 1, 'x');
  const AllocationLog log;
  grow(all);
  grow_char('y');
  EXPECT_EQ(log.count(), 0U);
  EXPECT_EQ(room(), 0U);
  const char* const object = finish();
  EXPECT_EQ(std::string(object, all.size() + 1), all + 'y');
}

TEST_F(StackGrow, MovesToANewChunkWhenBytesDoNotFit) {
  const std::string all(room(), 'x');
  const AllocationLog log;
  grow(all);
  grow("yz");
  ASSERT_EQ(log.count(), 1U);
  EXPECT_GE(log.size_of(0), all.size() + 2 + sizeof(vk_mm_chunk));
  EXPECT_EQ(finish_text(), all + "yz");
}

TEST_F(StackGrow, MovesToANewChunkWhenACharacterDoesNotFit) {
  const std::string all(room(), 'x');
  const AllocationLog log;
  grow(all);
  EXPECT_EQ(log.count(), 0U);
  grow_char('y');
  ASSERT_EQ(log.count(), 1U);
  EXPECT_GE(log.size_of(0), all.size() + 1 + sizeof(vk_mm_chunk));
  EXPECT_EQ(finish_text(), all + 'y');
}

TEST_F(StackGrow, MovesASmallObjectToAChunkOfTheDefaultSize) {
  ASSERT_THAT(take(room() - 100), NotNull());
  const AllocationLog log;
  grow(std::string(200, 'x'));
  ASSERT_EQ(log.count(), 1U);
  EXPECT_EQ(log.size_of(0), kChunkSize);
  EXPECT_EQ(finish_text(), std::string(200, 'x'));
}

TEST_F(StackGrow, AppendsMoreThanADefaultChunkAtOnce) {
  const std::string bytes(10 * kChunkSize, 'x');
  grow("<");
  grow(bytes);
  grow(">");
  EXPECT_EQ(finish_text(), "<" + bytes + ">");
}

TEST_F(StackGrow, AlignsAnObjectThatMoved) {
  ASSERT_THAT(take(1), NotNull());
  grow(std::string(kChunkSize + 1, 'x'));
  EXPECT_EQ(address(finish()) % kAlignment, 0U);
}

TEST_F(StackGrow, KeepsEveryByteOverManyMoves) {
  std::string text;
  for (int i = 0; i < 200000; ++i) {
    text += static_cast<char>('a' + i % 26);
    grow_char(text.back());
  }
  EXPECT_EQ(finish_text(), text);
}

TEST_F(StackGrow, LeavesFinishedObjectsInPlaceWhenItMoves) {
  grow("first");
  grow_char('\0');
  const char* const first = finish();
  grow("second");
  grow(std::string(2 * kChunkSize, 'x'));
  EXPECT_EQ(finish_text().substr(0, 7), "secondx");
  EXPECT_THAT(first, StrEq("first"));
  EXPECT_TRUE(owns(first));
}

TEST_F(StackGrow, GivesTheOldChunkBackWhenItHeldNothingElse) {
  const std::size_t blocks = live_blocks();
  grow("the only one");
  grow(std::string(kChunkSize, 'x'));
  EXPECT_EQ(live_blocks(), blocks);
  EXPECT_EQ(region().chunk->prev, nullptr);
}

TEST_F(StackGrow, GivesEveryOldChunkBackOverManyMoves) {
  const std::size_t blocks = live_blocks();
  for (int i = 0; i < 50; ++i) grow(std::string(1000, 'x'));
  EXPECT_EQ(live_blocks(), blocks);
  EXPECT_EQ(finish_text(), std::string(50000, 'x'));
}

TEST_F(StackGrow, KeepsTheOldChunkWhenItHeldAnObject) {
  const std::size_t blocks = live_blocks();
  const char* const held = vk_mm_stack_printf(stack(), "held");
  const vk_mm_chunk* const old = region().chunk;
  grow(std::string(kChunkSize, 'x'));
  EXPECT_EQ(live_blocks(), blocks + 1);
  EXPECT_EQ(region().chunk->prev, old);
  EXPECT_THAT(held, StrEq("held"));
}

TEST_F(StackGrow, KeepsTheOldChunkWhenItHeldAnEmptyObjectAtItsBeginning) {
  const std::size_t blocks = live_blocks();
  const char* const empty = finish();
  grow(std::string(kChunkSize, 'x'));
  EXPECT_EQ(live_blocks(), blocks + 1);
  EXPECT_TRUE(owns(empty));
}

TEST_F(StackGrow, GivesTheSecondChunkBackWhenOnlyTheFirstHeldSomethingElse) {
  const std::size_t blocks = live_blocks();
  const char* const empty = finish();
  const vk_mm_chunk* const first = region().chunk;
  grow(std::string(kChunkSize, 'x'));
  grow(std::string(2 * kChunkSize, 'y'));
  EXPECT_EQ(live_blocks(), blocks + 1);
  EXPECT_EQ(region().chunk->prev, first);
  EXPECT_TRUE(owns(empty));
}

TEST_F(StackGrow, NoLongerOwnsAChunkThatWasGivenBack) {
  const char* const old = region().object;
  ASSERT_TRUE(owns(old));
  grow(std::string(kChunkSize, 'x'));
  int chunks = 0;
  for (const vk_mm_chunk* chunk = region().chunk; chunk != nullptr; chunk = chunk->prev) ++chunks;
  EXPECT_EQ(chunks, 1);
  EXPECT_FALSE(owns(old));
}

TEST_F(StackGrow, MayAppendTheBytesOfAFinishedObjectWhenItMoves) {
  const std::string text(room() / 2, 'x');
  const char* const finished = vk_mm_stack_printf(stack(), "%s", text.c_str());
  grow("<");
  vk_mm_stack_grow(stack(), finished, text.size());
  EXPECT_EQ(finish_text(), "<" + text);
}

TEST_F(StackGrow, FinishGivesTheObjectsBeginning) {
  const char* const begin = region().object;
  grow("abc");
  EXPECT_EQ(finish(), begin);
}

TEST_F(StackGrow, FinishDoesNotTerminateTheObject) {
  std::memset(region().next_free, 'Z', room());
  grow("abc");
  EXPECT_EQ(std::string(finish(), 5), "abcZZ");
}

TEST_F(StackGrow, FinishLetsTheNextObjectBeginAtTheNextAlignedAddress) {
  for (std::size_t size = 1; size < 50; ++size) {
    SCOPED_TRACE(size);
    grow(std::string(size, 'x'));
    const std::uintptr_t end = address(finish()) + size;
    const std::uintptr_t next = address(finish());
    EXPECT_EQ(next % kAlignment, 0U);
    EXPECT_EQ(next, end + (kAlignment - end % kAlignment) % kAlignment);
  }
}

// Chunks that were made for one large object need not end at an aligned address.
TEST_F(StackGrow, FinishNeverGoesBeyondAChunksEndWhenItRoundsUp) {
  for (std::size_t size = 5000; size < 5040; ++size) {
    SCOPED_TRACE(size);
    grow(std::string(size, 'x'));
    grow(std::string(room(), 'y'));
    ASSERT_THAT(finish(), NotNull());
    EXPECT_EQ(region().next_free, region().limit);
    EXPECT_EQ(region().object, region().limit);
    const AllocationLog log;
    grow_char('z');
    EXPECT_EQ(log.count(), 1U);
    EXPECT_EQ(finish_text(), "z");
  }
}

TEST_F(StackGrow, FinishWithNothingGrownGivesAValidAddress) {
  const char* const empty = finish();
  ASSERT_THAT(empty, NotNull());
  EXPECT_TRUE(owns(empty));
  EXPECT_EQ(address(empty) % kAlignment, 0U);
}

TEST_F(StackGrow, FinishWithNothingGrownLeavesTheNextObjectUndisturbed) {
  grow("before");
  grow_char('\0');
  const char* const before = finish();
  ASSERT_THAT(finish(), NotNull());
  EXPECT_THAT(vk_mm_stack_printf(stack(), "after"), StrEq("after"));
  EXPECT_THAT(before, StrEq("before"));
}

TEST_F(StackGrow, ABlockAskedForMeanwhileBeginsWithTheGrownBytesAndEndsTheObject) {
  grow("grown");
  const char* const begin = region().object;
  char* const block = take(8);
  EXPECT_EQ(block, begin);
  EXPECT_EQ(std::string(block, 5), "grown");
  std::memset(block, 'x', 5 + 8);
  EXPECT_EQ(finish_text(), "");
  EXPECT_EQ(std::string(block, 5 + 8), std::string(5 + 8, 'x'));
}

TEST_F(StackGrow, ABlockThatDoesNotFitMeanwhileMovesWithTheGrownBytes) {
  const std::size_t blocks = live_blocks();
  grow("grown");
  char* const block = take(kChunkSize);
  EXPECT_EQ(std::string(block, 5), "grown");
  std::memset(block, 'x', 5 + kChunkSize);
  EXPECT_EQ(live_blocks(), blocks);
}

TEST_F(StackGrow, AnOwnedBlockAskedForMeanwhileBeginsWithTheObjectAndIsZeroed) {
  grow(std::string(100, 'x'));
  char* const begin = region().object;
  void* const block = vk_alloc(stack(), 40);
  EXPECT_EQ(header_of(block), begin);
  EXPECT_EQ(owner_of(block), stack());
  EXPECT_EQ(std::string(static_cast<const char*>(block), 40), std::string(40, '\0'));
  EXPECT_EQ(finish_text(), "");
}

TEST_F(StackGrow, ATextFormattedMeanwhileIsWrittenOverTheGrownBytesAndEndsTheObject) {
  grow("grown");
  const char* const begin = region().object;
  const char* const text = vk_mm_stack_printf(stack(), "%d", 42);
  EXPECT_EQ(text, begin);
  EXPECT_THAT(text, StrEq("42"));
  EXPECT_EQ(finish_text(), "");
}

TEST_F(StackGrow, ABlockThatCannotBeHadMeanwhileLeavesTheObjectGrowing) {
  grow("gro");
  AllocationFault fault{1, AllocationFault::Extent::kAllFromThere};
  EXPECT_EQ(fault.during([this] { return take(50000); }), nullptr);
  EXPECT_EQ(fault.during([this] { return vk_mm_stack_printf(stack(), "%50000d", 1); }), nullptr);
  grow("wn");
  EXPECT_EQ(finish_text(), "grown");
}

TEST_F(StackGrow, AFormatThatFailsMeanwhileLeavesTheObjectGrowing) {
  grow("gro");
  EXPECT_EQ(vk_mm_stack_printf(stack(), "%lc", kUnencodable), nullptr);
  grow("wn");
  EXPECT_EQ(finish_text(), "grown");
}

}  // namespace
}  // namespace vesk::test
