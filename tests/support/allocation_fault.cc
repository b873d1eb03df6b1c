#include "tests/support/allocation_fault.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

extern "C" {
void* __real_malloc(std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void __real_free(void* block);
void* __wrap_malloc(std::size_t size);
void* __wrap_realloc(void* block, std::size_t size);
void __wrap_free(void* block);
}

namespace vesk::test {
namespace {

bool watching = true;
AllocationFault* armed = nullptr;
std::vector<std::size_t>* sizes = nullptr;

// Addresses, not pointers: a freed block's pointer may not even be compared.
std::unordered_set<std::uintptr_t>& blocks() {
  static auto* const live = new std::unordered_set<std::uintptr_t>;
  return *live;
}

bool refused(std::size_t size) {
  if (!watching) return false;
  const Unwatched unwatched;
  if (sizes != nullptr) sizes->push_back(size);
  return armed != nullptr && armed->refuse();
}

void born(void* block) {
  if (block == nullptr || !watching) return;
  const Unwatched unwatched;
  blocks().insert(reinterpret_cast<std::uintptr_t>(block));
}

void died(void* block) {
  const Unwatched unwatched;
  blocks().erase(reinterpret_cast<std::uintptr_t>(block));
}

// One run; false when there was nothing left to refuse.
bool run(const std::function<void(AllocationFault&)>& scenario, std::size_t strike_at,
         AllocationFault::Extent extent) {
  const bool alone = extent == AllocationFault::Extent::kOne;
  SCOPED_TRACE("allocation " + std::to_string(strike_at) +
               (alone ? " refused" : " and all that follow refused"));
  AllocationFault fault{strike_at, extent};
  const std::size_t before = live_blocks();
  scenario(fault);
  EXPECT_EQ(live_blocks(), before) << "the scenario leaked";
  return fault.struck();
}

}  // namespace

AllocationFault::Armed::Armed(AllocationFault* fault) { armed = fault; }
AllocationFault::Armed::~Armed() { armed = nullptr; }

bool AllocationFault::refuse() {
  ++asked_;
  const bool strike = extent_ == Extent::kOne ? asked_ == strike_at_ : asked_ >= strike_at_;
  struck_ = struck_ || strike;
  return strike;
}

void for_every_allocation_fault(const std::function<void(AllocationFault&)>& scenario) {
  using Extent = AllocationFault::Extent;
  for (const Extent extent : {Extent::kOne, Extent::kAllFromThere}) {
    std::size_t strike_at = 1;
    while (run(scenario, strike_at, extent)) ++strike_at;
    EXPECT_GT(strike_at, 1U) << "the scenario allocates nothing";
  }
}

std::size_t live_blocks() { return blocks().size(); }

AllocationLog::AllocationLog() { sizes = new std::vector<std::size_t>; }
AllocationLog::~AllocationLog() { delete std::exchange(sizes, nullptr); }
std::size_t AllocationLog::count() const { return sizes->size(); }
std::size_t AllocationLog::size_of(std::size_t which) const { return sizes->at(which); }

Unwatched::Unwatched() : before_(std::exchange(watching, false)) {}
Unwatched::~Unwatched() { watching = before_; }
bool Unwatched::any() { return !watching; }

}  // namespace vesk::test

void* __wrap_malloc(std::size_t size) {
  if (vesk::test::refused(size)) return nullptr;
  void* const block = __real_malloc(size);
  vesk::test::born(block);
  return block;
}

void* __wrap_realloc(void* block, std::size_t size) {
  if (vesk::test::refused(size)) return nullptr;
  vesk::test::died(block);
  void* const moved = __real_realloc(block, size);
  vesk::test::born(moved == nullptr ? block : moved);
  return moved;
}

void __wrap_free(void* block) {
  vesk::test::died(block);
  __real_free(block);
}
