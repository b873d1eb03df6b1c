#include "core/charged_heap.h"

#include <gtest/gtest.h>

#include <cstdint>

#include "core/bytes.h"
#include "lib/support/owned.h"
#include "tests/support/log_spy.h"

namespace vesk::test {
namespace {

using core::buffers;

class AChargedHeap : public testing::Test {
 protected:
  ~AChargedHeap() override { buffers.set_limit(16U << 20); }

  const std::size_t before_ = buffers.used();
  Owned<vk_allocator, vk_allocator_delete> heap_{core::new_charged_heap("test")};
};

TEST_F(AChargedHeap, ChargesWhatItGivesUntilItIsGivenBack) {
  void* const block = vk_alloc(heap_.get(), 1000);
  ASSERT_NE(block, nullptr);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % alignof(void*), 0U);
  EXPECT_GE(buffers.used(), before_ + 1000);
  vk_free(block);
  EXPECT_EQ(buffers.used(), before_);
}

TEST_F(AChargedHeap, GivesNothingBeyondTheAccountsLimit) {
  const LogSpy log;
  buffers.set_limit(before_ + 1000);
  EXPECT_EQ(vk_alloc(heap_.get(), 1000), nullptr);
  EXPECT_EQ(vk_alloc(heap_.get(), SIZE_MAX - 2 * sizeof(void*)), nullptr);
  EXPECT_EQ(buffers.used(), before_);
  void* const block = vk_alloc(heap_.get(), 900);
  EXPECT_NE(block, nullptr);
  vk_free(block);
}

}  // namespace
}  // namespace vesk::test
