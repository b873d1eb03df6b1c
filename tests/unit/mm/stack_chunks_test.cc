#include "vesk/mm/stack.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"
#include "tests/unit/mm/stack_probe.h"

namespace vesk::test {
namespace {

// Where a stack's memory comes from, how much of it there is, what of it is the stack's, and how it
// goes back.

using ::testing::ElementsAre;
using ::testing::NotNull;

// Puts other operations into the default heap, whose blocks are aligned as a pointer is and no
// better, as the table allows.
class PointerAlignedDefaultHeap {
 public:
  PointerAlignedDefaultHeap() { vk_default_allocator()->ops = &kOps; }
  ~PointerAlignedDefaultHeap() { vk_default_allocator()->ops = before_; }
  PointerAlignedDefaultHeap(const PointerAlignedDefaultHeap&) = delete;
  PointerAlignedDefaultHeap& operator=(const PointerAlignedDefaultHeap&) = delete;

 private:
  static void* alloc(vk_allocator*, std::size_t size) {
    auto* const block = static_cast<void**>(std::malloc(size + sizeof(void*)));
    return &block[1];
  }
  static void free(vk_allocator*, void* block) { std::free(static_cast<void**>(block) - 1); }

  static constexpr vk_alloc_ops kOps = {alloc, nullptr, free, nullptr, nullptr};

  const vk_alloc_ops* before_ = vk_default_allocator()->ops;
};

TEST(StackChunks, AreTakenAndGivenBackByTheRawOperationsOfTheDefaultHeap) {
  const std::size_t before = live_blocks();
  const PointerAlignedDefaultHeap heap;
  const AllocationLog log;
  Heap stack{vk_mm_stack_new("temporaries")};
  ASSERT_EQ(log.count(), 2U);
  EXPECT_EQ(log.size_of(1), kChunkSize + sizeof(void*));
  for (int i = 0; i < 3; ++i) ASSERT_THAT(vk_alloc(stack.get(), 3000), NotNull());
  ASSERT_NE(vk_mm_stack_clear(stack.get()), 0);
  stack.reset();
  EXPECT_EQ(live_blocks(), before);
}

TEST(StackChunks, NeedNoBetterAlignmentThanAPointersForWellAlignedObjects) {
  const PointerAlignedDefaultHeap heap;
  const Heap stack{vk_mm_stack_new("temporaries")};
  for (std::size_t size = 1; size < 6000; size += 97) {
    SCOPED_TRACE(size);
    void* const object = stack->ops->alloc(stack.get(), size);
    EXPECT_EQ(address(object) % kAlignment, 0U);
    std::memset(object, 'x', size);
  }
}

class StackChunkSize : public StackGrowTest {};

TEST_F(StackChunkSize, HasAnEighthOfTheGrowingObjectAndALittleMoreToSpare) {
  for (const std::size_t size : {8000U, 80000U, 800000U}) {
    SCOPED_TRACE(size);
    grow(std::string(size, 'x'));
    const std::size_t object = size + room();
    grow(std::string(room(), 'x'));
    const AllocationLog log;
    grow_char('y');
    ASSERT_EQ(log.count(), 1U);
    EXPECT_GE(log.size_of(0), object + 1 + object / 8 + sizeof(vk_mm_chunk));
    EXPECT_LE(log.size_of(0), object + 1 + object / 8 + 256);
    ASSERT_THAT(finish(), NotNull());
  }
}

TEST_F(StackChunkSize, HasALittleToSpareForAnObjectThatIsTakenAtOnce) {
  for (const std::size_t size : {5000U, 80000U, 1000000U}) {
    SCOPED_TRACE(size);
    const AllocationLog log;
    ASSERT_THAT(take(size), NotNull());
    ASSERT_EQ(log.count(), 1U);
    EXPECT_LE(log.size_of(0), size + 256);
  }
}

// How often an object moves that grows byte by byte.
std::size_t moves_up_to(std::size_t size) {
  const Heap stack{vk_mm_stack_new("temporaries")};
  const AllocationLog log;
  for (std::size_t i = 0; i < size; ++i) vk_mm_stack_grow_char(stack.get(), 'x');
  return log.count();
}

// An eighth more each time doubles the size in 6 steps.
TEST_F(StackChunkSize, LetsAnObjectMoveASetNumberOfTimesWhileItsSizeDoubles) {
  std::size_t before = moves_up_to(10000);
  for (std::size_t size = 20000; size <= 640000; size *= 2) {
    SCOPED_TRACE(size);
    const std::size_t moves = moves_up_to(size);
    EXPECT_GT(moves, before);
    EXPECT_LE(moves, before + 6);
    before = moves;
  }
}

// Has a piece run before every raw block that goes back to the default heap.
class WatchedDefaultHeap {
 public:
  explicit WatchedDefaultHeap(std::function<void()> on_free) : on_free_(std::move(on_free)) {
    watched_ = this;
    ops_.free = &free;
    vk_default_allocator()->ops = &ops_;
  }
  ~WatchedDefaultHeap() { vk_default_allocator()->ops = before_; }
  WatchedDefaultHeap(const WatchedDefaultHeap&) = delete;
  WatchedDefaultHeap& operator=(const WatchedDefaultHeap&) = delete;

 private:
  static void free(vk_allocator* heap, void* block) {
    watched_->on_free_();
    watched_->before_->free(heap, block);
  }

  static inline WatchedDefaultHeap* watched_ = nullptr;

  std::function<void()> on_free_;
  const vk_alloc_ops* before_ = vk_default_allocator()->ops;
  vk_alloc_ops ops_ = *before_;
};

TEST(StackDestroy, MarksTheRecordBeforeItReleasesAnyChunk) {
  const Heap stack{vk_mm_stack_new("temporaries")};
  const vk_alloc_ops ops = *stack->ops;
  for (int i = 0; i < 3; ++i) ASSERT_THAT(vk_alloc(stack.get(), 3000), NotNull());
  std::vector<uint32_t> magics;
  {
    const WatchedDefaultHeap heap([&] { magics.push_back(record_of(stack.get()).stack_magic); });
    ops.destroy(stack.get());
  }
  EXPECT_THAT(magics, ElementsAre(VK_MAGIC_DEAD, VK_MAGIC_DEAD, VK_MAGIC_DEAD));
  stack->ops = &ProbeHeap::kOps;  // so that deleting the record does not destroy a second time
}

class StackOwns : public StackTest {};

TEST_F(StackOwns, TheContentsOfItsChunkFromBehindTheTwoWordsUpToTheLimit) {
  const vk_mm_region& region = record_of(stack()).region;
  const char* const contents = reinterpret_cast<const char*>(region.chunk + 1);
  EXPECT_EQ(stack()->ops->owns(stack(), contents), 1);
  EXPECT_EQ(stack()->ops->owns(stack(), region.limit - 1), 1);
  EXPECT_EQ(stack()->ops->owns(stack(), contents - 1), 0);
  EXPECT_EQ(stack()->ops->owns(stack(), region.chunk), 0);
  EXPECT_EQ(stack()->ops->owns(stack(), region.limit), 0);
}

TEST_F(StackOwns, TheContentsAlsoBeforeAnObjectThatBeginsLaterForItsAlignment) {
  const PointerAlignedDefaultHeap heap;
  const Heap stack{vk_mm_stack_new("unaligned")};
  const vk_mm_region& region = record_of(stack.get()).region;
  const char* const contents = reinterpret_cast<const char*>(region.chunk + 1);
  const std::size_t skipped = -address(contents) % kAlignment;
  ASSERT_EQ(skipped > 0, kAlignment > sizeof(void*));
  ASSERT_EQ(contents + skipped, region.object);
  for (const char* byte = contents; byte <= region.object; ++byte) {
    EXPECT_EQ(stack->ops->owns(stack.get(), byte), 1);
  }
  EXPECT_EQ(stack->ops->owns(stack.get(), contents - 1), 0);
}

TEST_F(StackOwns, TheContentsOfEveryChunkItHas) {
  std::vector<const char*> blocks;
  for (const std::size_t size : {3000U, 3000U, 20000U, 3000U, 8U}) blocks.push_back(take(size));
  const vk_mm_chunk* const newest = record_of(stack()).region.chunk;
  int chunks = 0;
  for (const vk_mm_chunk* chunk = newest; chunk != nullptr; chunk = chunk->prev) {
    ++chunks;
    EXPECT_TRUE(owns(chunk + 1));
    EXPECT_TRUE(owns(chunk->limit - 1));
    EXPECT_FALSE(owns(chunk));
    EXPECT_FALSE(owns(chunk->limit));
  }
  EXPECT_GE(chunks, 3);
  for (const char* const block : blocks) EXPECT_TRUE(owns(block));
}

TEST_F(StackOwns, NothingElse) {
  const int on_the_stack = 0;
  const Block on_a_heap{vk_alloc(vk_default_allocator(), 16)};
  const Heap other{vk_mm_stack_new("other")};
  EXPECT_FALSE(owns(nullptr));
  EXPECT_FALSE(owns(&on_the_stack));
  EXPECT_FALSE(owns(on_a_heap.get()));
  EXPECT_FALSE(owns(stack()));
  EXPECT_FALSE(owns(vk_alloc(other.get(), 16)));
}

}  // namespace
}  // namespace vesk::test
