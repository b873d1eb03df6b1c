#include "vesk/mm/gta.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "lib/mm/heap.h"
#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "vesk/mm/stack.h"

namespace vesk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::NotNull;
using ::testing::StrEq;

// Begins and ends without "gta", as a process does.
class Gta : public testing::Test {
 protected:
  Gta() { vk_gta_destroy(); }
  ~Gta() override { vk_gta_destroy(); }
};

TEST_F(Gta, DoesNotExistBeforeInit) { EXPECT_EQ(vk_gta(), nullptr); }

TEST_F(Gta, IsAStackOfThatNameAfterInit) {
  EXPECT_EQ(vk_gta_init(), VK_EOK);
  ASSERT_THAT(vk_gta(), NotNull());
  EXPECT_THAT(vk_gta()->name, StrEq("gta"));
  EXPECT_EQ(vk_gta()->magic, VK_MAGIC_ALLOCATOR);
  EXPECT_EQ(reinterpret_cast<const vk_mm_stack*>(vk_gta())->stack_magic, VK_MAGIC_STACK);
}

TEST_F(Gta, StaysTheSameWhileItExists) {
  ASSERT_EQ(vk_gta_init(), VK_EOK);
  EXPECT_EQ(vk_gta(), vk_gta());
}

TEST_F(Gta, IsAmongTheLiveHeaps) {
  vk_allocator* const before = live_heaps;
  ASSERT_EQ(vk_gta_init(), VK_EOK);
  EXPECT_EQ(live_heaps, vk_gta());
  vk_gta_destroy();
  EXPECT_EQ(live_heaps, before);
}

TEST_F(Gta, IsKeptByASecondInit) {
  ASSERT_EQ(vk_gta_init(), VK_EOK);
  const vk_allocator* const first = vk_gta();
  const char* const text = vk_mm_stack_printf(vk_gta(), "kept");
  const AllocationLog log;
  EXPECT_EQ(vk_gta_init(), VK_EOK);
  EXPECT_EQ(vk_gta(), first);
  EXPECT_EQ(log.count(), 0U);
  EXPECT_THAT(text, StrEq("kept"));
}

TEST_F(Gta, IsKeptByASecondInitWhenMemoryIsOut) {
  ASSERT_EQ(vk_gta_init(), VK_EOK);
  const vk_allocator* const first = vk_gta();
  AllocationFault fault{1, AllocationFault::Extent::kAllFromThere};
  EXPECT_EQ(fault.during(vk_gta_init), VK_EOK);
  EXPECT_EQ(vk_gta(), first);
}

TEST_F(Gta, IsNoMoreAfterDestroy) {
  ASSERT_EQ(vk_gta_init(), VK_EOK);
  vk_gta_destroy();
  EXPECT_EQ(vk_gta(), nullptr);
}

TEST_F(Gta, ReleasesAllTemporariesWithIt) {
  const std::size_t before = live_blocks();
  ASSERT_EQ(vk_gta_init(), VK_EOK);
  for (int i = 0; i < 10; ++i) ASSERT_THAT(vk_alloc(vk_gta(), 3000), NotNull());
  ASSERT_GT(live_blocks(), before + 2);
  vk_gta_destroy();
  EXPECT_EQ(live_blocks(), before);
}

TEST_F(Gta, MayBeDestroyedWithoutExisting) {
  const LogSpy spy;
  const vk_allocator* const newest = live_heaps;
  const std::size_t blocks = live_blocks();
  vk_gta_destroy();
  EXPECT_EQ(vk_gta(), nullptr);
  EXPECT_EQ(live_heaps, newest);
  EXPECT_EQ(live_blocks(), blocks);
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST_F(Gta, CanBeMadeAnewAfterDestroy) {
  ASSERT_EQ(vk_gta_init(), VK_EOK);
  vk_gta_destroy();
  EXPECT_EQ(vk_gta_init(), VK_EOK);
  ASSERT_THAT(vk_gta(), NotNull());
  EXPECT_THAT(vk_mm_stack_printf(vk_gta(), "%d", 7), StrEq("7"));
}

TEST_F(Gta, StaysTheSameWhenCleared) {
  ASSERT_EQ(vk_gta_init(), VK_EOK);
  const vk_allocator* const before = vk_gta();
  EXPECT_NE(vk_mm_stack_clear(vk_gta()), 0);
  EXPECT_EQ(vk_gta(), before);
  EXPECT_THAT(vk_mm_stack_printf(vk_gta(), "%d", 7), StrEq("7"));
}

TEST_F(Gta, KeepsAFreedBlockReadable) {
  ASSERT_EQ(vk_gta_init(), VK_EOK);
  char* const block = vk_strdup(vk_gta(), "still here");
  vk_free(block);
  const char* const later = vk_strdup(vk_gta(), "later");
  EXPECT_THAT(block, StrEq("still here"));
  EXPECT_THAT(later, StrEq("later"));
}

TEST_F(Gta, LogsNothingWhenItIsMadeAndDestroyed) {
  const LogSpy spy;
  EXPECT_EQ(vk_gta_init(), VK_EOK);
  vk_gta_destroy();
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST_F(Gta, CannotBeMadeWithoutMemoryForItsRecord) {
  const LogSpy spy;
  AllocationFault fault{1, AllocationFault::Extent::kOne};
  EXPECT_EQ(fault.during(vk_gta_init), VK_ENOMEM);
  EXPECT_EQ(vk_gta(), nullptr);
  EXPECT_THAT(spy.lines(), ElementsAre(allocation_failure(sizeof(vk_mm_stack), "default")));
}

TEST_F(Gta, CanBeMadeOnceMemoryIsBack) {
  AllocationFault fault{1, AllocationFault::Extent::kOne};
  ASSERT_EQ(fault.during(vk_gta_init), VK_ENOMEM);
  EXPECT_EQ(vk_gta_init(), VK_EOK);
  EXPECT_THAT(vk_gta(), NotNull());
}

TEST_F(Gta, IsMadeEvenIfItsFirstChunkCannotBeHad) {
  const LogSpy spy;
  AllocationFault fault{2, AllocationFault::Extent::kAllFromThere};
  EXPECT_EQ(fault.during(vk_gta_init), VK_EOK);
  EXPECT_TRUE(fault.struck());
  ASSERT_THAT(vk_gta(), NotNull());
  EXPECT_THAT(vk_mm_stack_printf(vk_gta(), "%d", 7), StrEq("7"));
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST_F(Gta, ExistsAfterInitExactlyIfInitSaysSo) {
  for_every_allocation_fault([](AllocationFault& fault) {
    const vk_allocator* const newest = live_heaps;
    const vk_error result = fault.during(vk_gta_init);
    if (result == VK_EOK) {
      EXPECT_THAT(vk_gta(), NotNull());
    } else {
      EXPECT_EQ(result, VK_ENOMEM);
      EXPECT_EQ(vk_gta(), nullptr);
      EXPECT_EQ(live_heaps, newest);
    }
    vk_gta_destroy();
  });
}

}  // namespace
}  // namespace vesk::test
