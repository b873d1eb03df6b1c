#include "vesk/random.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <deque>
#include <utility>

#include "lib/random.h"
#include "tests/support/libc_fakes.h"

namespace vesk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int kLargest = 0x7FFFFFFF;

// Begins as a fresh process does, not seeded; leaves libc's generator alone.
class Random : public testing::Test {
 protected:
  Random() : before_(std::exchange(random_seeded, false)) { libc_.uptime = 4711; }
  ~Random() override { random_seeded = before_; }

  LibcFakes libc_;

 private:
  bool before_;
};

TEST_F(Random, IsSeededWithTheUptimeByTheFirstCall) {
  libc_.random = {0};
  vk_random(10);
  EXPECT_THAT(libc_.seeds, ElementsAre(4711U));
  EXPECT_TRUE(random_seeded);
}

TEST_F(Random, IsSeededByTheFirstCallWhateverTheBound) {
  for (const uint32_t bound : {0U, 1U, 2U, 0x80000000U, 0x80000001U, UINT32_MAX}) {
    SCOPED_TRACE(bound);
    random_seeded = false;
    libc_.seeds.clear();
    libc_.random = {0};
    vk_random(bound);
    EXPECT_THAT(libc_.seeds, ElementsAre(4711U));
  }
}

TEST_F(Random, IsSeededOnce) {
  libc_.random = {0, 0, 0};
  vk_random(10);
  libc_.uptime = 4712;
  vk_random(10);
  vk_random(0);
  vk_random(UINT32_MAX);
  EXPECT_THAT(libc_.seeds, ElementsAre(4711U));
}

TEST_F(Random, IsNotSeededAgainOnceItIs) {
  random_seeded = true;
  libc_.random = {0};
  vk_random(10);
  EXPECT_THAT(libc_.seeds, IsEmpty());
}

TEST_F(Random, IsSeededWithAllOnesWhenTheUptimeIsUnknown) {
  libc_.sysinfo_fails = true;
  vk_random(0);
  EXPECT_THAT(libc_.seeds, ElementsAre(0xFFFFFFFFU));
}

TEST_F(Random, Is0WithoutADrawForTheBound0) {
  libc_.random = {5, 6};
  EXPECT_EQ(vk_random(0), 0U);
  EXPECT_THAT(libc_.random, ElementsAre(5, 6));
}

TEST_F(Random, IsAlways0ForTheBound1) {
  for (const int drawn : {0, 1, 12345, kLargest - 1, kLargest}) {
    SCOPED_TRACE(drawn);
    libc_.random = {drawn};
    EXPECT_EQ(vk_random(1), 0U);
    EXPECT_THAT(libc_.random, IsEmpty());
  }
}

TEST_F(Random, IsTheNumberOfTheBucketThatTheDrawFallsInto) {
  struct Row {
    uint32_t bound;
    int drawn;
    uint32_t result;
  };
  constexpr Row kRows[] = {
      {2, 0, 0},
      {2, 0x3FFFFFFF, 0},
      {2, 0x40000000, 1},
      {2, kLargest, 1},
      {3, 715827881, 0},
      {3, 715827882, 1},
      {3, 1431655763, 1},
      {3, 1431655764, 2},
      {3, 2147483645, 2},
      {10, 0, 0},
      {10, 214748363, 0},
      {10, 214748364, 1},
      {10, 1932735275, 8},
      {10, 1932735276, 9},
      {10, 2147483639, 9},
      {0x40000000, 0, 0},
      {0x40000000, 1, 0},
      {0x40000000, 2, 1},
      {0x40000000, kLargest, 0x3FFFFFFF},
      {0x40000001, 0x40000000, 0x40000000},
      {kLargest, 0x7FFFFFFE, 0x7FFFFFFE},
      {0x80000000, 0, 0},
      {0x80000000, 12345, 12345},
      {0x80000000, kLargest, kLargest},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(testing::Message() << row.drawn << " below " << row.bound);
    libc_.random = {row.drawn};
    EXPECT_EQ(vk_random(row.bound), row.result);
    EXPECT_THAT(libc_.random, IsEmpty());
  }
}

TEST_F(Random, DrawsAgainWhileTheDrawLiesAboveTheLastBucket) {
  struct Row {
    std::deque<int> drawn;
    uint32_t bound;
    uint32_t result;
  };
  const Row rows[] = {
      {{2147483646, kLargest, 5}, 3, 0},
      {{2147483640, 2147483647, 2147483639}, 10, 9},
      {{2147483641, 2147483645, 2147483646, 214748364}, 10, 1},
      {{0x40000001, kLargest, 7}, 0x40000001, 7},
      {{kLargest, 0}, kLargest, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.bound);
    libc_.random = row.drawn;
    EXPECT_EQ(vk_random(row.bound), row.result);
    EXPECT_THAT(libc_.random, IsEmpty());
  }
}

TEST_F(Random, IsARawDrawForABoundAboveAllThatCanBeDrawn) {
  for (const uint32_t bound : {0x80000001U, 0xC0000000U, UINT32_MAX}) {
    for (const int drawn : {0, 12345, kLargest}) {
      SCOPED_TRACE(testing::Message() << drawn << " below " << bound);
      libc_.random = {drawn};
      EXPECT_EQ(vk_random(bound), static_cast<uint32_t>(drawn));
      EXPECT_THAT(libc_.random, IsEmpty());
    }
  }
}

TEST_F(Random, LiesBelowItsBoundWithLibcsOwnNumbers) {
  for (const uint32_t bound : {1U, 2U, 7U, 1000U, 0x40000001U, 0x80000000U}) {
    for (int i = 0; i < 200; ++i) ASSERT_LT(vk_random(bound), bound);
  }
}

// The buckets of the bound 7 have 306783378 draws each; those that begin and end one are looked at.
TEST_F(Random, GivesEachNumberAsManyDraws) {
  constexpr uint32_t kBucket = 306783378;
  for (uint32_t number = 0; number < 7; ++number) {
    libc_.random = {static_cast<int>(number * kBucket),
                    static_cast<int>((number + 1) * kBucket - 1)};
    EXPECT_EQ(vk_random(7), number);
    EXPECT_EQ(vk_random(7), number);
  }
  libc_.random = {static_cast<int>(7 * kBucket), 0};
  EXPECT_EQ(vk_random(7), 0U);
  EXPECT_THAT(libc_.random, IsEmpty());
}

}  // namespace
}  // namespace vesk::test
