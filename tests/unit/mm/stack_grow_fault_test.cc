#include "vesk/mm/stack.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "tests/unit/mm/stack_probe.h"

namespace vesk::test {
namespace {

using ::testing::IsEmpty;
using ::testing::NotNull;
using ::testing::StrEq;

class StackGrowInVain : public StackGrowTest {
 protected:
  /// Grows while no chunk can be had.
  void grow_in_vain(const std::string& bytes) const {
    AllocationFault fault{1, AllocationFault::Extent::kAllFromThere};
    fault.during([&] { grow(bytes); });
    ASSERT_TRUE(fault.struck());
  }
};

TEST_F(StackGrowInVain, LosesTheWholeObjectAndFinishSaysSo) {
  const LogSpy spy;
  grow("lost");
  grow_in_vain(std::string(kChunkSize, 'x'));
  EXPECT_EQ(finish(), nullptr);
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST_F(StackGrowInVain, LosesTheWholeObjectForOneCharacterToo) {
  grow(std::string(room(), 'x'));
  AllocationFault fault{1, AllocationFault::Extent::kOne};
  fault.during([this] { grow_char('y'); });
  ASSERT_TRUE(fault.struck());
  EXPECT_EQ(finish(), nullptr);
}

TEST_F(StackGrowInVain, LosesWhatIsAppendedAfterwardsToo) {
  grow_in_vain(std::string(kChunkSize, 'x'));
  grow("more");
  grow_char('!');
  EXPECT_EQ(finish(), nullptr);
  grow("next");
  EXPECT_EQ(finish_text(), "next");
}

TEST_F(StackGrowInVain, LeavesTheStackUsable) {
  grow_in_vain(std::string(kChunkSize, 'x'));
  ASSERT_EQ(finish(), nullptr);
  grow("next");
  EXPECT_EQ(finish_text(), "next");
  EXPECT_THAT(vk_mm_stack_printf(stack(), "%d", 7), StrEq("7"));
  EXPECT_THAT(vk_alloc(stack(), 50000), NotNull());
}

TEST_F(StackGrowInVain, IsOverWhenABlockEndsTheObject) {
  grow_in_vain(std::string(kChunkSize, 'x'));
  ASSERT_THAT(vk_alloc(stack(), 8), NotNull());
  grow("next");
  EXPECT_EQ(finish_text(), "next");
}

TEST_F(StackGrowInVain, LeavesFinishedObjectsAsTheyAre) {
  const char* const held = vk_mm_stack_printf(stack(), "held");
  grow("lost");
  grow_in_vain(std::string(kChunkSize, 'x'));
  ASSERT_EQ(finish(), nullptr);
  EXPECT_THAT(vk_mm_stack_printf(stack(), "later"), StrEq("later"));
  EXPECT_THAT(held, StrEq("held"));
}

TEST_F(StackGrowInVain, LeavesTheRoomOfTheLostObjectToWhatComesNext) {
  const std::size_t before = room();
  grow(std::string(before - 10, 'x'));
  grow_in_vain("does not fit");
  ASSERT_EQ(finish(), nullptr);
  EXPECT_EQ(room(), before);
}

TEST_F(StackGrowInVain, IsForgottenWhenTheStackIsCleared) {
  grow_in_vain(std::string(kChunkSize, 'x'));
  ASSERT_NE(vk_mm_stack_clear(stack()), 0);
  grow("next");
  EXPECT_EQ(finish_text(), "next");
}

TEST_F(StackGrowInVain, LosesAnObjectForEverySizeNearTheLargest) {
  const std::string before(3000, 'x');
  for (std::size_t count = SIZE_MAX - 8000; count != 0; ++count) {
    grow(before);
    const AllocationLog log;
    AllocationFault fault{1, AllocationFault::Extent::kAllFromThere};
    fault.during([&] { vk_mm_stack_grow(stack(), before.data(), count); });
    ASSERT_EQ(finish(), nullptr) << count;
    if (log.count() > 0) {
      ASSERT_GT(log.size_of(0), count);
    }
  }
  EXPECT_EQ(finish_text(), "");
}

TEST_F(StackGrowInVain, HappensExactlyWhenAChunkIsRefused) {
  for_every_allocation_fault([](AllocationFault& fault) {
    const Heap other{vk_mm_stack_new("other")};
    const std::string all(21000, 'x');
    fault.during([&] {
      for (std::size_t at = 0; at < all.size(); at += 700) {
        vk_mm_stack_grow(other.get(), all.data() + at, 700);
      }
    });
    const auto* const object = static_cast<const char*>(vk_mm_stack_grow_finish(other.get()));
    ASSERT_EQ(object == nullptr, fault.struck());
    if (object != nullptr) {
      EXPECT_EQ(std::string(object, all.size()), all);
    }
    EXPECT_THAT(vk_mm_stack_printf(other.get(), "%d", 7), StrEq("7"));
  });
}

TEST_F(StackGrowInVain, HappensExactlyWhenAChunkIsRefusedForACharacter) {
  for_every_allocation_fault([](AllocationFault& fault) {
    const Heap other{vk_mm_stack_new("other")};
    const std::string all(12000, 'x');
    fault.during([&] {
      for (const char character : all) vk_mm_stack_grow_char(other.get(), character);
    });
    const auto* const object = static_cast<const char*>(vk_mm_stack_grow_finish(other.get()));
    ASSERT_EQ(object == nullptr, fault.struck());
    if (object != nullptr) {
      EXPECT_EQ(std::string(object, all.size()), all);
    }
    EXPECT_THAT(vk_mm_stack_printf(other.get(), "%d", 7), StrEq("7"));
  });
}

TEST_F(StackGrowInVain, CanHappenToAnObjectThatMovedBefore) {
  const std::size_t blocks = live_blocks();
  grow(std::string(kChunkSize, 'x'));
  grow_in_vain(std::string(50000, 'y'));
  EXPECT_EQ(finish(), nullptr);
  EXPECT_EQ(live_blocks(), blocks);
  grow("next");
  EXPECT_EQ(finish_text(), "next");
}

}  // namespace
}  // namespace vesk::test
