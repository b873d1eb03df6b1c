#pragma once

// Fails allocations one by one.
//
// Every heap of the library ends in libc's malloc, so the test programs wrap malloc, realloc and
// free at link time, count, and refuse where a test wants it.

#include <cstddef>
#include <functional>

namespace vesk::test {

/// Refuses one allocation, or all from one on, among those made inside `during`.
class AllocationFault {
 public:
  enum class Extent { kOne, kAllFromThere };

  /// The `strike_at`-th allocation, counted from 1, is the first one refused.
  AllocationFault(std::size_t strike_at, Extent extent) : strike_at_(strike_at), extent_(extent) {}

  /// Makes one call whose allocations count; everything else that the test does is left alone.
  template <typename Call>
  auto during(Call&& call) {
    const Armed armed{this};
    return call();
  }

  /// Whether an allocation was refused.
  bool struck() const { return struck_; }

  /// For the wrappers of malloc and realloc.
  bool refuse();

 private:
  struct Armed {
    explicit Armed(AllocationFault* fault);
    ~Armed();
  };

  std::size_t strike_at_;
  Extent extent_;
  std::size_t asked_ = 0;
  bool struck_ = false;
};

/// Runs a scenario with its first allocation refused, then its second, and so on until a run in
/// which none is left to refuse; each alone first, then each with all that follow. After every run
/// the scenario must have freed what it allocated. A scenario that allocates nothing fails.
void for_every_allocation_fault(const std::function<void(AllocationFault&)>& scenario);

/// The number of blocks that were allocated through malloc and not freed.
std::size_t live_blocks();

/// The sizes asked of malloc, in order, since the log was made; refused ones too.
class AllocationLog {
 public:
  AllocationLog();
  ~AllocationLog();
  AllocationLog(const AllocationLog&) = delete;
  AllocationLog& operator=(const AllocationLog&) = delete;

  std::size_t count() const;
  std::size_t size_of(std::size_t which) const;
};

/// While one lives, malloc is neither counted nor refused: for what test helpers allocate.
class Unwatched {
 public:
  Unwatched();
  ~Unwatched();
  Unwatched(const Unwatched&) = delete;
  Unwatched& operator=(const Unwatched&) = delete;

  /// Whether one lives.
  static bool any();

 private:
  bool before_;
};

}  // namespace vesk::test
