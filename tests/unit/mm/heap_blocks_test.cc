#include "vesk/mm/heap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"

namespace vesk::test {
namespace {

using ::testing::AllOf;
using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Ne;
using ::testing::NotNull;
using ::testing::StrEq;

TEST(Alloc, AsksTheHeapForTheSizeAndTheOwnersWord) {
  const auto probe = probe_heap();
  const Block block{vk_alloc(&probe->head, 24)};
  EXPECT_EQ(probe->asked, 24 + kOwnerWord);
}

TEST(Alloc, GivesTheAddressJustAfterTheOwnersWord) {
  const auto probe = probe_heap();
  const Block block{vk_alloc(&probe->head, 24)};
  EXPECT_EQ(block.get(), &probe->room[1]);
  EXPECT_EQ(probe->room[0], &probe->head);
}

TEST(Alloc, ZeroesTheCallersBytesAndNoOthers) {
  const auto probe = probe_heap();
  const Block block{vk_alloc(&probe->head, 24)};
  const auto* const bytes = static_cast<const unsigned char*>(block.get());
  EXPECT_THAT(std::string(bytes, bytes + 24), Each('\0'));
  EXPECT_EQ(bytes[24], 0xA5);
}

TEST(Alloc, NeedsNeitherReallocNorOwns) {
  const auto probe = probe_heap();
  ASSERT_EQ(probe->head.ops->realloc, nullptr);
  ASSERT_EQ(probe->head.ops->owns, nullptr);
  const Block block{vk_strdup(&probe->head, "text")};
  EXPECT_THAT(block.get(), NotNull());
}

TEST(Alloc, LogsAFailureWithTheSizeThatWasAskedAndTheHeapsName) {
  const auto probe = probe_heap();
  const LogSpy spy;
  EXPECT_EQ(vk_alloc(&probe->head, 70000), nullptr);
  EXPECT_THAT(spy.lines(), ElementsAre(allocation_failure(70000, "probe")));
}

TEST(Alloc, LogsAFailureAsLine139OfLibMm) {
  const auto probe = probe_heap();
  const LogSpy spy;
  EXPECT_EQ(vk_alloc(&probe->head, 70000), nullptr);
  EXPECT_THAT(spy.calls(),
              ElementsAre(LogCall{0, 3, "lib/mm", 139, "vk_alloc",
                                  "Failed to allocate 70000 bytes of memory in 'probe'"}));
  EXPECT_EQ(spy.calls().at(0).line, 139U);
}

TEST(Alloc, FailsWhenTheSizeAndTheOwnersWordDoNotFitASize) {
  const auto probe = probe_heap();
  for (std::size_t size = SIZE_MAX - kOwnerWord + 1; size != 0; ++size) {
    SCOPED_TRACE(size);
    const LogSpy spy;
    EXPECT_EQ(vk_alloc(&probe->head, size), nullptr);
    EXPECT_EQ(probe->asked, 0U);
    EXPECT_THAT(spy.lines(), ElementsAre(allocation_failure(size, "probe")));
  }
}

TEST(Alloc, AsksForTheLargestSizeThatFits) {
  const auto probe = probe_heap();
  const LogSpy spy;
  EXPECT_EQ(vk_alloc(&probe->head, SIZE_MAX - kOwnerWord), nullptr);
  EXPECT_EQ(probe->asked, SIZE_MAX);
}

TEST(Alloc, GivesNullForEveryRefusedAllocation) {
  for_every_allocation_fault([](AllocationFault& fault) {
    const LogSpy spy;
    const Block block{fault.during([] { return vk_alloc(vk_default_allocator(), 8); })};
    EXPECT_EQ(block == nullptr, fault.struck());
    EXPECT_EQ(spy.lines().size(), fault.struck() ? 1U : 0U);
  });
}

TEST(Alloc, DoesNotTestMagicWords) {
  const Heap heap{vk_mm_heap_new("a")};
  heap->magic = 0;
  reinterpret_cast<vk_mm_heap*>(heap.get())->heap_magic = 0;
  const Block block{vk_alloc(heap.get(), 8)};
  EXPECT_THAT(block.get(), NotNull());
}

TEST(Free, IgnoresNull) {
  const LogSpy spy;
  const std::size_t blocks = live_blocks();
  vk_free(nullptr);
  EXPECT_EQ(live_blocks(), blocks);
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST(Free, GivesTheOwnerTheAddressOfTheOwnersWord) {
  const auto probe = probe_heap();
  const auto other = probe_heap();
  vk_free(vk_alloc(&probe->head, 24));
  EXPECT_EQ(probe->freed, probe->room.data());
  EXPECT_EQ(other->freed, nullptr);
}

TEST(Strdup, CopiesATextWithItsTerminator) {
  const auto probe = probe_heap();
  const char text[] = "a text";
  const Block copy{vk_strdup(&probe->head, text)};
  EXPECT_THAT(static_cast<const char*>(copy.get()), AllOf(StrEq(text), Ne(text)));
  EXPECT_EQ(probe->asked, sizeof text + kOwnerWord);
  EXPECT_EQ(owner_of(copy.get()), &probe->head);
}

TEST(Strdup, CopiesTheEmptyText) {
  const auto probe = probe_heap();
  const Block copy{vk_strdup(&probe->head, "")};
  EXPECT_THAT(static_cast<const char*>(copy.get()), StrEq(""));
  EXPECT_EQ(probe->asked, 1 + kOwnerWord);
}

TEST(Strdup, GivesNullForNullAndLogsNothing) {
  const LogSpy spy;
  const AllocationLog log;
  EXPECT_EQ(vk_strdup(vk_default_allocator(), nullptr), nullptr);
  EXPECT_EQ(log.count(), 0U);
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST(Strdup, GivesNullAndLogsOnceWhenMemoryIsOut) {
  for_every_allocation_fault([](AllocationFault& fault) {
    const LogSpy spy;
    const Block copy{fault.during([] { return vk_strdup(vk_default_allocator(), "four"); })};
    ASSERT_EQ(copy == nullptr, fault.struck());
    if (fault.struck()) {
      EXPECT_THAT(spy.lines(), ElementsAre(allocation_failure(5, "default")));
    }
  });
}

}  // namespace
}  // namespace vesk::test
