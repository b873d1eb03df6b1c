#pragma once

// The descriptors that the module has asked to be watched. Each has a poller of its own, and the
// module's waits for that: so what was closed without a word is not mixed up with what has its
// number now, and ends with its poller even while a duplicate keeps it open.

#include <cstdint>

#include "lib/support/made.h"
#include "runtime/poller.h"
#include "vesk/error.h"
#include "vesk/mm/heap.h"

namespace vesk::rt {

struct Watch {
  int fd;
  uint64_t identity;  ///< of its poller
  Poller poller;
  Owned<char, vk_free> path;
  Made<Watch> next;
};

class Watches {
 public:
  /// The module's poller is borrowed.
  explicit Watches(Poller& poller) : poller_(poller) {}
  ~Watches();

  /// @return `VK_EOK`; `VK_EEXIST`; `VK_EINVAL` for what is no open descriptor; `VK_EOPNOTSUPP` for
  ///         one that is always ready, as a file is; `VK_ENOMEM`
  [[nodiscard]] vk_error add(vk_allocator* heap, int fd, const char* path);

  /// @return `VK_EOK`; `VK_ENOENT`
  [[nodiscard]] vk_error del(int fd);

  /// Ends the watch of each descriptor that was closed meanwhile, or is another one by now.
  void check();

  /// The watch of an identity, or null if it ended meanwhile.
  Watch* find(uint64_t identity) const;

  /// Ends a watch for a reason, which is logged.
  void end(const Watch& watch, const char* reason);

 private:
  void remove(const Watch& watch);

  Poller& poller_;
  Made<Watch> first_;
};

}  // namespace vesk::rt
