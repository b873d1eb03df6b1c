#pragma once

// Connections to the core's socket. A server counts only if the kernel says that it belongs to root
// or to this process's own user.

#include "runtime/deadline.h"
#include "runtime/fd.h"
#include "vesk/error.h"

namespace vesk::rt {

/// Connects at once, or waits until there is room in the server's queue.
/// @param stop a descriptor that ends the waiting when it is readable; -1 for none
/// @return `VK_EOK`; `VK_ENOENT` if nobody listens at the path, or there was no room in time;
///         `VK_EAUTH`; `VK_ENAMETOOLONG`; `VK_ENOMEM`, also if no descriptor is left; `VK_EIO`
[[nodiscard]] vk_error connect_now(const char* path, const Deadline& deadline, int stop, Fd& fd);

/// The same, but waits for a server too.
[[nodiscard]] vk_error connect_patiently(const char* path, const Deadline& deadline, int stop,
                                         Fd& fd);

/// Waits. False if the deadline, or the stop, came first.
bool pause_for(int milliseconds, const Deadline& deadline, int stop);

}  // namespace vesk::rt
