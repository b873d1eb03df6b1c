#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <ctime>
#include <limits>
#include <ostream>
#include <vector>

#include "vesk/mm/heap.h"
#include "vesk/value/array.h"
#include "vesk/value/attribute.h"
#include "vesk/value/copy.h"
#include "vesk/value/leaf.h"
#include "vesk/value/node.h"
#include "vesk/value/object.h"

// Cost grows with the work: twice the nodes take at most 2.2 times the time.
//
// Only ratios of times of one process on one machine are looked at, and both sides of a ratio deal
// with as many nodes in the same memory: one tree of twice the nodes against two trees, so that
// caches favour neither. What disturbs a measurement makes it longer, so the shortest of several
// counts. A ratio that is too high is taken again: chance is unlucky once, but a cost that grows as
// the square shows a ratio of 4 every time.

namespace vesk::test {
namespace {

constexpr int kNodes = 10'000;
constexpr int kRuns = 8;
constexpr int kAttempts = 16;
constexpr double kHighestRatio = 2.2;

// A heap of a fixed size that hands out one block behind the other and takes none back, so that the
// measured time is the library's own.
class Arena {
 public:
  // The memory is touched at once, not while time is measured.
  explicit Arena(std::size_t size)
      : record_(static_cast<Record*>(vk_alloc(vk_default_allocator(), sizeof(Record)))),
        memory_(size) {
    record_->arena = this;
    vk_allocator_init(&record_->head, "arena", &kOps);
  }
  ~Arena() { vk_allocator_delete(&record_->head); }
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;

  vk_allocator* heap() { return &record_->head; }
  void forget_all() { used_ = 0; }

 private:
  struct Record {
    vk_allocator head;  // first, so that the operations find the rest from its address
    Arena* arena;
  };

  void* take(std::size_t size) {
    const std::size_t rounded = (size + sizeof(void*) - 1) / sizeof(void*) * sizeof(void*);
    if (rounded > memory_.size() - used_) return nullptr;
    void* const block = memory_.data() + used_;
    used_ += rounded;
    return block;
  }

  static void* alloc(vk_allocator* heap, std::size_t size) {
    return reinterpret_cast<Record*>(heap)->arena->take(size);
  }
  static void free(vk_allocator*, void*) {}
  static void destroy(vk_allocator*) {}

  static constexpr vk_alloc_ops kOps = {alloc, nullptr, free, nullptr, destroy};

  Record* record_;
  std::vector<char> memory_;
  std::size_t used_ = 0;
};

// The processor time of this process, in seconds.
double now() {
  timespec time = {};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

vk_value* nothing_but_a_root(vk_allocator* heap, int) { return vk_value_new(heap); }

int build(vk_value* root, int count) {
  vk_array_init(root);
  for (int i = 0; i < count; ++i) vk_value_set_int(vk_array_add_item(root), i);
  return static_cast<int>(vk_array_get_len(root));
}

vk_value* array_of(vk_allocator* heap, int count) {
  vk_value* const array = nothing_but_a_root(heap, count);
  build(array, count);
  return array;
}

vk_value* nested_objects(vk_allocator* heap, int count) {
  vk_value* const root = vk_value_new(heap);
  vk_value* deepest = root;
  for (int i = 1; i < count; ++i) {
    vk_object_init_with_policy(deepest, VK_POLICY_ORDERED);
    deepest = vk_object_init_item(deepest, "o");
  }
  return root;
}

vk_value* nested_attributes(vk_allocator* heap, int count) {
  vk_value* const root = vk_value_new(heap);
  vk_value* deepest = root;
  for (int i = 1; i < count; ++i) deepest = vk_value_add_attribute(deepest, "a");
  return root;
}

// One kind of work on trees of a given number of nodes.
struct Work {
  const char* name;
  vk_value* (*prepare)(vk_allocator* heap, int count);
  /// What is measured; gives how many nodes it dealt with.
  int (*run)(vk_value* tree, int count);
  /// How often it is done: work that is too short to be measured well, more than once.
  int passes = 1;
};

std::ostream& operator<<(std::ostream& out, const Work& work) { return out << work.name; }

int walk(vk_value* array, int) {
  int seen = 0;
  const vk_item* item = vk_array_item_first(array);
  for (; item != nullptr; item = vk_item_next(item)) ++seen;
  return seen;
}

int remove(vk_value* root, int count) {
  vk_value_delete(root);
  return root->magic == VK_MAGIC_DEAD ? count : 0;  // the arena keeps what is deleted
}

int copy(vk_value* array, int) {
  vk_value* const target = vk_value_new(array->heap);
  EXPECT_EQ(vk_value_copy(target, array), VK_EOK);
  return static_cast<int>(vk_array_get_len(target));
}

class Scaling : public testing::TestWithParam<Work> {
 protected:
  // The time that the work takes with a number of trees of some nodes each, one after the other.
  double time_of(int trees, int nodes) {
    arena_.forget_all();
    std::vector<vk_value*> prepared;
    for (int i = 0; i < trees; ++i) {
      prepared.push_back(GetParam().prepare(arena_.heap(), nodes));
    }
    int dealt_with = 0;
    const double begin = now();
    for (int pass = 0; pass < GetParam().passes; ++pass) {
      for (vk_value* const tree : prepared) dealt_with += GetParam().run(tree, nodes);
    }
    const double time = now() - begin;
    EXPECT_EQ(dealt_with, GetParam().passes * trees * nodes);
    return time;
  }

  // How many times as long twice the nodes take.
  double ratio() {
    double twice = std::numeric_limits<double>::max();
    double two_times_once = twice;
    for (int run = 0; run < kRuns; ++run) {
      twice = std::min(twice, time_of(1, 2 * kNodes));
      two_times_once = std::min(two_times_once, time_of(2, kNodes));
    }
    return twice / (two_times_once / 2);
  }

 private:
  // Room for the trees and their copies, each node with a name and the words of the heaps.
  Arena arena_{2 * (2 * kNodes + 2) * (sizeof(vk_value) + 4 * sizeof(void*))};
};

INSTANTIATE_TEST_SUITE_P(Of, Scaling,
                         testing::Values(Work{"BuildingByAppend", nothing_but_a_root, build},
                                         Work{"WalkingSiblings", array_of, walk, 20},
                                         Work{"DeletingSiblings", array_of, remove},
                                         Work{"DeletingNestedObjects", nested_objects, remove},
                                         Work{"DeletingNestedAttributes", nested_attributes,
                                              remove},
                                         Work{"CopyingArrays", array_of, copy}),
                         [](const auto& work) { return work.param.name; });

TEST_P(Scaling, TakesAtMost2Point2TimesAsLongForTwiceTheNodes) {
  double lowest = ratio();
  for (int again = 1; again < kAttempts && lowest > kHighestRatio; ++again) {
    lowest = std::min(lowest, ratio());
  }
  EXPECT_LE(lowest, kHighestRatio);
}

}  // namespace
}  // namespace vesk::test
