#pragma once

// Owners of heaps and blocks, and a kind of heap that notes what the library asks of it.

#include <syslog.h>

#include <array>
#include <cstddef>
#include <cstring>
#include <memory>
#include <string>

#include "tests/support/log_spy.h"
#include "vesk/mm/heap.h"

namespace vesk::test {

struct HeapDelete {
  void operator()(vk_allocator* heap) const { vk_allocator_delete(heap); }
};
using Heap = std::unique_ptr<vk_allocator, HeapDelete>;

struct BlockFree {
  void operator()(void* block) const { vk_free(block); }
};
using Block = std::unique_ptr<void, BlockFree>;

/// The word before every block.
inline constexpr std::size_t kOwnerWord = sizeof(vk_allocator*);

inline char* header_of(void* block) { return static_cast<char*>(block) - kOwnerWord; }

inline vk_allocator* owner_of(void* block) {
  vk_allocator* owner = nullptr;
  std::memcpy(&owner, header_of(block), kOwnerWord);
  return owner;
}

/// What a failed allocation of a block logs in the core process.
inline LogLine allocation_failure(std::size_t size, const std::string& heap) {
  return {LOG_ERR, "NONE: Failed to allocate " + std::to_string(size) + " bytes of memory in '" +
                       heap + "'"};
}

/// A heap named "probe" with room for one block, full of garbage each time. A larger block fails.
/// Its table has only the operations that the library calls.
struct ProbeHeap {
  vk_allocator head;           // first, so that the operations find the rest from its address
  std::array<void*, 32> room;  ///< the raw block
  std::size_t asked;           ///< the size last asked for; 0 at first
  void* freed;                 ///< the raw block last given back; null at first

  static void* alloc(vk_allocator* allocator, std::size_t size) {
    ProbeHeap& probe = *reinterpret_cast<ProbeHeap*>(allocator);
    probe.asked = size;
    if (size > sizeof probe.room) return nullptr;
    std::memset(probe.room.data(), 0xA5, sizeof probe.room);
    return probe.room.data();
  }

  static void free(vk_allocator* allocator, void* block) {
    reinterpret_cast<ProbeHeap*>(allocator)->freed = block;
  }

  static void destroy(vk_allocator*) {}

  static constexpr vk_alloc_ops kOps = {alloc, nullptr, free, nullptr, destroy};
};

struct ProbeDelete {
  void operator()(ProbeHeap* probe) const { vk_allocator_delete(&probe->head); }
};

inline std::unique_ptr<ProbeHeap, ProbeDelete> probe_heap() {
  auto* const probe = static_cast<ProbeHeap*>(vk_alloc(vk_default_allocator(), sizeof(ProbeHeap)));
  vk_allocator_init(&probe->head, "probe", &ProbeHeap::kOps);
  return std::unique_ptr<ProbeHeap, ProbeDelete>(probe);
}

}  // namespace vesk::test
