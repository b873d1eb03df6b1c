#pragma once

// The descriptors that the module has asked to be watched. They have a poller of their own, whose
// descriptor tells that one of them is ready: so what was closed without a word and what the
// runtime opened under the same number since cannot be mixed up.

#include <cstdint>

#include "lib/support/made.h"
#include "runtime/poller.h"
#include "vesk/error.h"
#include "vesk/mm/heap.h"

namespace vesk::rt {

struct Watch {
  int fd;
  uint64_t identity;  ///< of its events
  Owned<char, vk_free> path;
  Made<Watch> next;
};

class Watches {
 public:
  ~Watches();

  /// A descriptor that is readable when `events` has some.
  int fd() const { return poller_.fd(); }
  int events(epoll_event* first, int most) { return poller_.events(first, most); }

  /// @return `VK_EOK`; `VK_EEXIST`; `VK_EINVAL` for what is no open descriptor; `VK_EOPNOTSUPP` for
  ///         one that is always ready, as a file is; `VK_ENOMEM`
  [[nodiscard]] vk_error add(vk_allocator* heap, int fd, const char* path);

  /// @return `VK_EOK`; `VK_ENOENT`
  [[nodiscard]] vk_error del(int fd);

  /// Ends the watch of each descriptor that was closed meanwhile, or is another one by now.
  void check();

  /// The watch of an event, or null if it ended meanwhile.
  const Watch* find(uint64_t identity) const;

  /// Ends a watch for a reason, which is logged.
  void end(const Watch& watch, const char* reason);

 private:
  void remove(const Watch& watch);

  Poller poller_;
  Made<Watch> first_;
};

}  // namespace vesk::rt
