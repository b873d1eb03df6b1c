#pragma once

// The disk under the store: stands between SQLite and the files, without shared memory, and fails,
// fills up, halts and loses power where a test wants it. A sync is what makes a commit last.

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>

namespace vesk::test {

/// Takes effect on the files that are opened while it lives, which it outlives. One at a time.
class StoreDisk {
 public:
  StoreDisk();
  ~StoreDisk();
  StoreDisk(const StoreDisk&) = delete;
  StoreDisk& operator=(const StoreDisk&) = delete;

  /// Operations that a disk may refuse.
  enum class Operation { kRead, kWrite, kSync };
  enum class Extent { kOne, kAllFromThere };

  /// Refuses an operation, the next of its kind being 1, with a code of SQLite.
  void fail(Operation operation, std::size_t which, int code, Extent extent);

  /// Whether an operation was refused.
  bool struck() const;

  /// Refuses writes beyond this size of a file, as a full disk does.
  void fill_up_at(int64_t size);

  /// Fails nothing any more.
  void heal();

  /// How often a write-ahead log was synced.
  std::size_t log_syncs() const;

  /// Halts the next sync of a write-ahead log until `go_on`, and waits until it is under way.
  void halt();
  void wait_until_halted();
  void go_on();

  /// From now on keeps what has been synced of each file, and only that, in a folder.
  void keep_synced(const std::string& folder);
};

}  // namespace vesk::test
