#pragma once

// Watches `read` and `write`, which the test programs wrap at link time; without a `Transfers` they
// are libc's own.

#include <sys/types.h>

#include <cstddef>
#include <map>
#include <vector>

namespace vesk::test {

/// Records every transfer on one descriptor while it lives, and makes chosen ones fail. One at a
/// time. Transfers on other descriptors are left alone.
class Transfers {
 public:
  explicit Transfers(int fd);
  ~Transfers();
  Transfers(const Transfers&) = delete;
  Transfers& operator=(const Transfers&) = delete;

  /// The sizes that were asked for, in order, failed ones too.
  std::vector<std::size_t> sizes;

  /// Fails the transfer that is made after `before` others: it moves nothing and gives -1 with this
  /// `errno`.
  void fail(std::size_t before, int error);

  /// Cuts the transfer that is made after `before` others: it moves only so many bytes and gives
  /// their number.
  void cut(std::size_t before, std::size_t moved);

  /// From now on nothing is really moved, and every transfer that neither fails nor is cut is told
  /// to have moved all of its bytes. The descriptor need not exist.
  void pretend() { pretending_ = true; }

  /// What becomes of a transfer.
  struct Verdict {
    bool real;      ///< whether it is made, of `moved` bytes
    ssize_t moved;  ///< what it gives otherwise, with `errno` set if it is -1
  };

  /// For the wrappers: a transfer begins.
  Verdict begin(std::size_t size);
  bool watches(int fd) const { return fd == fd_; }

 private:
  struct Strike {
    int error;  // 0 if it is cut
    std::size_t moved;
  };

  int fd_;
  std::map<std::size_t, Strike> strikes_;
  bool pretending_ = false;
};

}  // namespace vesk::test
