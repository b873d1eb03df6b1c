#pragma once

// A kind of heap that notes in which order its blocks come back.

#include <cstddef>
#include <cstdlib>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"

namespace vesk::test {

/// Gives real blocks, so that sanitizers watch them, and knows them by the names that a test gives.
class RecordingHeap {
 public:
  RecordingHeap()
      : record_(static_cast<Record*>(vk_alloc(vk_default_allocator(), sizeof *record_))) {
    record_->recorder = this;
    vk_allocator_init(&record_->head, "recording", &kOps);
  }
  ~RecordingHeap() { vk_allocator_delete(&record_->head); }
  RecordingHeap(const RecordingHeap&) = delete;
  RecordingHeap& operator=(const RecordingHeap&) = delete;

  vk_allocator* get() { return &record_->head; }

  /// Gives a block from `vk_alloc` a name.
  void name(const void* block, const std::string& text) { names_[block] = text; }

  /// The names of the blocks that came back, in that order; "?" for one without a name.
  const std::vector<std::string>& released() const { return released_; }

  /// Is told the name of each block just before it is released.
  std::function<void(const std::string& name)> on_release;

  /// How often a block was asked for.
  std::size_t asked() const { return asked_; }

 private:
  struct Record {
    vk_allocator head;  // first, so that the operations find the rest from its address
    RecordingHeap* recorder;
  };

  static RecordingHeap& recorder_of(vk_allocator* heap) {
    return *reinterpret_cast<Record*>(heap)->recorder;
  }

  static void* alloc(vk_allocator* heap, std::size_t size) {
    ++recorder_of(heap).asked_;
    return std::malloc(size);
  }

  static void free(vk_allocator* heap, void* block) {
    recorder_of(heap).note(static_cast<char*>(block) + kOwnerWord);
    std::free(block);
  }

  static void destroy(vk_allocator*) {}

  void note(const void* block) {
    const Unwatched unwatched;
    const auto known = names_.extract(block);
    released_.push_back(known.empty() ? "?" : known.mapped());
    if (on_release) on_release(released_.back());
  }

  static constexpr vk_alloc_ops kOps = {alloc, nullptr, free, nullptr, destroy};

  Record* record_;
  std::map<const void*, std::string> names_;
  std::vector<std::string> released_;
  std::size_t asked_ = 0;
};

}  // namespace vesk::test
