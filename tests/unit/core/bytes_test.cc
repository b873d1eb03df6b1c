#include "core/bytes.h"

#include <gtest/gtest.h>

namespace vesk::test {
namespace {

TEST(AnAccount, IsChargedUpToItsLimit) {
  core::Account account(10);
  EXPECT_TRUE(account.charge(4));
  EXPECT_FALSE(account.charge(7));
  EXPECT_TRUE(account.charge(6));
  EXPECT_EQ(account.used(), 10U);
  EXPECT_FALSE(account.charge(1));
  EXPECT_TRUE(account.charge(0));
  account.refund(1);
  EXPECT_TRUE(account.charge(1));
}

TEST(AnAccount, RefusesWhatNoNumberCouldHold) {
  core::Account account(10);
  EXPECT_TRUE(account.charge(5));
  EXPECT_FALSE(account.charge(SIZE_MAX));
  EXPECT_EQ(account.used(), 5U);
}

TEST(AnAccount, RefusesAllWhenItsLimitSinksBelowWhatIsUsed) {
  core::Account account(10);
  EXPECT_TRUE(account.charge(8));
  account.set_limit(5);
  EXPECT_FALSE(account.charge(1));
  account.refund(8);
  EXPECT_TRUE(account.charge(5));
}

TEST(TheBytes, AreChargedForAsLongAsTheyLive) {
  const std::size_t before = core::buffers.used();
  {
    core::Bytes bytes(1000);
    EXPECT_EQ(core::buffers.used(), before + 1000);
    const core::Bytes moved = std::move(bytes);
    EXPECT_EQ(core::buffers.used(), before + 1000);
    const core::Bytes copied = moved;
    EXPECT_EQ(core::buffers.used(), before + 2000);
  }
  EXPECT_EQ(core::buffers.used(), before);
}

TEST(TheBytes, AreRefusedBeyondTheLimitAndStay) {
  const std::size_t before = core::buffers.used();
  core::Bytes bytes(1000, std::byte{7});
  core::buffers.set_limit(before + 1500);
  EXPECT_THROW(bytes.resize(1501), std::bad_alloc);
  core::buffers.set_limit(16U << 20);
  EXPECT_EQ(bytes, core::Bytes(1000, std::byte{7}));
  EXPECT_EQ(core::buffers.used(), before + 1000);
}

}  // namespace
}  // namespace vesk::test
