#include "vesk/mm/heap.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>

#include "lib/mm/heap.h"
#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "tests/support/recording_heap.h"

namespace vesk::test {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Ne;
using ::testing::NotNull;
using ::testing::StrEq;

const vk_mm_heap& record_of(const vk_allocator* heap) {
  return *reinterpret_cast<const vk_mm_heap*>(heap);
}

// What holds of the default heap and of every other malloc heap.
class MallocHeap : public testing::TestWithParam<bool> {
 protected:
  vk_allocator* heap() const { return GetParam() ? vk_default_allocator() : made_.get(); }

 private:
  Heap made_{vk_mm_heap_new("made")};
};

INSTANTIATE_TEST_SUITE_P(Both, MallocHeap, testing::Bool(), [](const auto& heap) {
  return std::string(heap.param ? "TheDefaultHeap" : "AMadeHeap");
});

TEST_P(MallocHeap, AllocatesRawBlocksOfTheAskedSize) {
  const AllocationLog log;
  void* const block = heap()->ops->alloc(heap(), 123);
  ASSERT_THAT(block, NotNull());
  EXPECT_EQ(log.count(), 1U);
  EXPECT_EQ(log.size_of(0), 123U);
  heap()->ops->free(heap(), block);
}

TEST_P(MallocHeap, GivesNullWhenMallocFails) {
  for_every_allocation_fault([this](AllocationFault& fault) {
    void* const block = fault.during([this] { return heap()->ops->alloc(heap(), 16); });
    EXPECT_EQ(block == nullptr, fault.struck());
    if (block != nullptr) heap()->ops->free(heap(), block);
  });
}

TEST_P(MallocHeap, ResizesRawBlocksAndKeepsTheirBytes) {
  void* const block = heap()->ops->alloc(heap(), 4);
  std::memcpy(block, "abc", 4);
  const AllocationLog log;
  void* const larger = heap()->ops->realloc(heap(), block, 4000);
  EXPECT_EQ(log.size_of(0), 4000U);
  EXPECT_THAT(static_cast<const char*>(larger), StrEq("abc"));
  heap()->ops->free(heap(), larger);
}

TEST_P(MallocHeap, KeepsARawBlockThatCannotBeResized) {
  for_every_allocation_fault([this](AllocationFault& fault) {
    void* const block = heap()->ops->alloc(heap(), 4);
    std::memcpy(block, "abc", 4);
    void* const larger = fault.during([&] { return heap()->ops->realloc(heap(), block, 4000); });
    EXPECT_EQ(larger == nullptr, fault.struck());
    void* const kept = larger == nullptr ? block : larger;
    EXPECT_THAT(static_cast<const char*>(kept), StrEq("abc"));
    heap()->ops->free(heap(), kept);
  });
}

TEST_P(MallocHeap, TakesRawBlocksBack) {
  const std::size_t before = live_blocks();
  void* const block = heap()->ops->alloc(heap(), 16);
  EXPECT_EQ(live_blocks(), before + 1);
  heap()->ops->free(heap(), block);
  EXPECT_EQ(live_blocks(), before);
}

TEST_P(MallocHeap, OwnsEveryAddress) {
  const int on_the_stack = 0;
  const Block block{vk_alloc(heap(), 8)};
  EXPECT_EQ(heap()->ops->owns(heap(), block.get()), 1);
  EXPECT_EQ(heap()->ops->owns(heap(), &on_the_stack), 1);
  EXPECT_EQ(heap()->ops->owns(heap(), nullptr), 1);
}

TEST_P(MallocHeap, GivesZeroedBlocksWithTheirOwnerBeforeThem) {
  const AllocationLog log;
  const Block block{vk_alloc(heap(), 40)};
  EXPECT_EQ(log.size_of(0), 40 + kOwnerWord);
  EXPECT_EQ(owner_of(block.get()), heap());
  EXPECT_EQ(std::string(static_cast<const char*>(block.get()), 40), std::string(40, '\0'));
}

TEST_P(MallocHeap, GivesAValidBlockOfItsOwnForSize0) {
  const AllocationLog log;
  const Block one{vk_alloc(heap(), 0)};
  const Block other{vk_alloc(heap(), 0)};
  EXPECT_THAT(one.get(), AllOf(NotNull(), Ne(other.get())));
  EXPECT_THAT(other.get(), NotNull());
  EXPECT_EQ(log.size_of(0), kOwnerWord);
}

TEST_P(MallocHeap, FreesBlocks) {
  const std::size_t before = live_blocks();
  void* const block = vk_alloc(heap(), 8);
  EXPECT_EQ(live_blocks(), before + 1);
  vk_free(block);
  EXPECT_EQ(live_blocks(), before);
}

TEST(DefaultHeap, IsAMallocHeapNamedDefault) {
  const vk_allocator* const heap = vk_default_allocator();
  EXPECT_THAT(heap->name, StrEq("default"));
  EXPECT_EQ(heap->magic, VK_MAGIC_ALLOCATOR);
  EXPECT_EQ(heap->magic, 0x37E9B2A1U);
  EXPECT_EQ(record_of(heap).heap_magic, VK_MAGIC_HEAP);
  EXPECT_EQ(record_of(heap).heap_magic, 0x37E9B021U);
}

TEST(DefaultHeap, IsAlwaysTheSame) { EXPECT_EQ(vk_default_allocator(), vk_default_allocator()); }

TEST(DefaultHeap, IsNotAmongTheLiveHeaps) {
  const Heap heap{vk_mm_heap_new("a")};
  for (const vk_allocator* live = live_heaps; live != nullptr; live = live->next) {
    EXPECT_NE(live, vk_default_allocator());
  }
  EXPECT_EQ(vk_default_allocator()->next, nullptr);
  EXPECT_EQ(vk_default_allocator()->prev_link, nullptr);
}

TEST(HeapNew, FillsTheRecord) {
  const char name[] = "a name";
  const Heap heap{vk_mm_heap_new(name)};
  EXPECT_EQ(heap->ops, vk_default_allocator()->ops);
  EXPECT_EQ(heap->magic, VK_MAGIC_ALLOCATOR);
  EXPECT_EQ(record_of(heap.get()).heap_magic, VK_MAGIC_HEAP);
}

TEST(HeapNew, StoresTheNameWithoutCopyingIt) {
  char name[] = "one";
  const Heap heap{vk_mm_heap_new(name)};
  EXPECT_EQ(heap->name, name);
}

TEST(HeapNew, TakesTheRecordFromTheDefaultHeap) {
  const AllocationLog log;
  const Heap heap{vk_mm_heap_new("a")};
  EXPECT_EQ(owner_of(heap.get()), vk_default_allocator());
  EXPECT_EQ(log.count(), 1U);
  EXPECT_EQ(log.size_of(0), sizeof(vk_mm_heap) + kOwnerWord);
}

TEST(HeapNew, LogsNothing) {
  const LogSpy spy;
  const Heap heap{vk_mm_heap_new("a")};
  const Block block{vk_alloc(heap.get(), 1)};
  EXPECT_THAT(spy.calls(), IsEmpty());
  EXPECT_THAT(spy.connection(), IsEmpty());
}

TEST(HeapNew, GivesNullAndLogsInTheNameOfTheDefaultHeapWhenMemoryIsOut) {
  for_every_allocation_fault([](AllocationFault& fault) {
    const LogSpy spy;
    const vk_allocator* const newest = live_heaps;
    const Heap heap{fault.during([] { return vk_mm_heap_new("a"); })};
    ASSERT_EQ(heap == nullptr, fault.struck());
    if (heap != nullptr) return;
    EXPECT_THAT(spy.lines(), ElementsAre(allocation_failure(sizeof(vk_mm_heap), "default")));
    EXPECT_EQ(live_heaps, newest);
  });
}

TEST(Registry, ListsLiveHeapsNewestFirst) {
  vk_allocator* const before = live_heaps;
  const Heap a{vk_mm_heap_new("a")};
  const Heap b{vk_mm_heap_new("b")};
  EXPECT_EQ(live_heaps, b.get());
  EXPECT_EQ(b->next, a.get());
  EXPECT_EQ(a->next, before);
}

TEST(Registry, LinksEachHeapToThePointerThatPointsAtIt) {
  const Heap a{vk_mm_heap_new("a")};
  const Heap b{vk_mm_heap_new("b")};
  EXPECT_EQ(b->prev_link, &live_heaps);
  EXPECT_EQ(a->prev_link, &b->next);
}

TEST(Registry, HasTheOlderHeapFirstAgainOnceTheNewestIsDeleted) {
  const Heap a{vk_mm_heap_new("a")};
  Heap b{vk_mm_heap_new("b")};
  b.reset();
  EXPECT_EQ(live_heaps, a.get());
  EXPECT_EQ(a->prev_link, &live_heaps);
}

TEST(Registry, ClosesTheGapThatAHeapBetweenOthersLeaves) {
  const Heap a{vk_mm_heap_new("a")};
  Heap b{vk_mm_heap_new("b")};
  const Heap c{vk_mm_heap_new("c")};
  b.reset();
  EXPECT_EQ(live_heaps, c.get());
  EXPECT_EQ(c->next, a.get());
  EXPECT_EQ(a->prev_link, &c->next);
}

TEST(Registry, IsAsBeforeOnceTheOldestOfSomeHeapsIsDeletedFirst) {
  vk_allocator* const before = live_heaps;
  Heap a{vk_mm_heap_new("a")};
  Heap b{vk_mm_heap_new("b")};
  a.reset();
  EXPECT_EQ(b->next, before);
  b.reset();
  EXPECT_EQ(live_heaps, before);
}

TEST(AllocatorInit, FillsTheHeadAndListsTheRecord) {
  const char name[] = "own";
  vk_allocator* const before = live_heaps;
  auto* const head =
      static_cast<vk_allocator*>(vk_alloc(vk_default_allocator(), sizeof(vk_allocator)));
  vk_allocator_init(head, name, &ProbeHeap::kOps);
  EXPECT_EQ(head->ops, &ProbeHeap::kOps);
  EXPECT_EQ(head->name, name);
  EXPECT_EQ(head->magic, VK_MAGIC_ALLOCATOR);
  EXPECT_EQ(head->next, before);
  EXPECT_EQ(live_heaps, head);
  vk_allocator_delete(head);
  EXPECT_EQ(live_heaps, before);
}

TEST(AllocatorDelete, IgnoresNull) {
  const LogSpy spy;
  const vk_allocator* const newest = live_heaps;
  const std::size_t blocks = live_blocks();
  vk_allocator_delete(nullptr);
  EXPECT_EQ(live_heaps, newest);
  EXPECT_EQ(live_blocks(), blocks);
  EXPECT_THAT(spy.calls(), IsEmpty());
}

// A record that tells how things stood when it was destroyed.
struct Witness {
  vk_allocator head;
  int destroyed;
  bool was_listed;
  uint32_t magic;
};

void witness_destroy(vk_allocator* allocator) {
  Witness& witness = *reinterpret_cast<Witness*>(allocator);
  ++witness.destroyed;
  witness.was_listed = live_heaps == allocator;
  witness.magic = allocator->magic;
}

constexpr vk_alloc_ops kWitnessOps = {nullptr, nullptr, nullptr, nullptr, witness_destroy};

// The witness lies on a heap that lets it be read just before it is freed.
TEST(AllocatorDelete, DestroysUnlistsMarksAndFreesInThatOrder) {
  RecordingHeap home;
  auto* const witness = static_cast<Witness*>(vk_alloc(home.get(), sizeof(Witness)));
  vk_allocator_init(&witness->head, "witness", &kWitnessOps);
  home.name(witness, "the record");
  home.on_release = [&](const std::string&) {
    EXPECT_EQ(witness->destroyed, 1);
    EXPECT_TRUE(witness->was_listed);
    EXPECT_EQ(witness->magic, VK_MAGIC_ALLOCATOR);
    EXPECT_EQ(live_heaps, home.get());
    EXPECT_EQ(witness->head.magic, VK_MAGIC_DEAD);
    EXPECT_EQ(witness->head.magic, 0xDEADBEAFU);
  };
  vk_allocator_delete(&witness->head);
  EXPECT_THAT(home.released(), ElementsAre("the record"));
}

TEST(AllocatorDelete, OfAMallocHeapFreesItsRecordAndNotItsBlocks) {
  const std::size_t before = live_blocks();
  Heap heap{vk_mm_heap_new("a")};
  void* const block = vk_alloc(heap.get(), 8);
  heap.reset();
  EXPECT_EQ(live_blocks(), before + 1);
  vk_default_allocator()->ops->free(vk_default_allocator(), header_of(block));
  EXPECT_EQ(live_blocks(), before);
}

TEST(HeapDestroy, MarksTheRecordAndReleasesNothing) {
  const Heap heap{vk_mm_heap_new("a")};
  const Block block{vk_alloc(heap.get(), 8)};
  const std::size_t blocks = live_blocks();
  heap->ops->destroy(heap.get());
  EXPECT_EQ(record_of(heap.get()).heap_magic, VK_MAGIC_DEAD);
  EXPECT_EQ(live_blocks(), blocks);
  EXPECT_EQ(live_heaps, heap.get());
}

}  // namespace
}  // namespace vesk::test
