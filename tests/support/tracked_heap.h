#pragma once

// A kind of heap that knows what is left in it.

#include <cstddef>
#include <cstdlib>
#include <map>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"

namespace vesk::test {

/// Gives real blocks, so that sanitizers watch them, and frees those that are left at its end.
class TrackedHeap {
 public:
  TrackedHeap() : record_(static_cast<Record*>(vk_alloc(vk_default_allocator(), sizeof(Record)))) {
    record_->tracker = this;
    vk_allocator_init(&record_->head, "tracked", &kOps);
  }
  ~TrackedHeap() {
    for (const auto& [block, size] : blocks_) std::free(block);
    vk_allocator_delete(&record_->head);
  }
  TrackedHeap(const TrackedHeap&) = delete;
  TrackedHeap& operator=(const TrackedHeap&) = delete;

  vk_allocator* get() { return &record_->head; }

  /// The sizes of the blocks that were not freed, as they were asked for.
  std::vector<std::size_t> left() const {
    std::vector<std::size_t> sizes;
    for (const auto& [block, size] : blocks_) sizes.push_back(size - kOwnerWord);
    return sizes;
  }

 private:
  struct Record {
    vk_allocator head;  // first, so that the operations find the rest from its address
    TrackedHeap* tracker;
  };

  static TrackedHeap& tracker_of(vk_allocator* heap) {
    return *reinterpret_cast<Record*>(heap)->tracker;
  }

  static void* alloc(vk_allocator* heap, std::size_t size) {
    void* const block = std::malloc(size);
    const Unwatched unwatched;
    if (block != nullptr) tracker_of(heap).blocks_[block] = size;
    return block;
  }

  static void free(vk_allocator* heap, void* block) {
    {
      const Unwatched unwatched;
      require_own(tracker_of(heap).blocks_.erase(block) == 1);
    }
    std::free(block);
  }

  static void require_own(bool own) {
    if (!own) std::abort();
  }

  static void destroy(vk_allocator*) {}

  static constexpr vk_alloc_ops kOps = {alloc, nullptr, free, nullptr, destroy};

  Record* record_;
  std::map<void*, std::size_t> blocks_;
};

}  // namespace vesk::test
