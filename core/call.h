#pragma once

// What is asked and answered inside the core, and on whose behalf. Trees stay in the bytes of the
// wire until a service looks into one.

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "core/bytes.h"
#include "vesk/error.h"

namespace vesk::core {

/// The walked components of a request's path. Everything that decides goes by these, never by text.
using Path = std::vector<std::string>;

/// Who is at the other end of a line, as the kernel said when it was accepted.
struct Peer {
  uid_t uid;
  gid_t gid;
  pid_t pid;
  bool trusted;  ///< root or the core's own user: may change things, and see lists and monitors
};

/// A call under way: a link in the chain of calls that led to it.
struct Call {
  std::shared_ptr<const Call> parent;  ///< null for the first of a chain
  uint32_t depth;                      ///< 1 for the first of a chain
  Peer peer;
  std::string module;  ///< the name of the module that asks; empty for a plain client and the core
  uint64_t line = 0;   ///< the number of the line that it came on; 0 for the core's own
  bool over = false;   ///< of one that came on a line: it was answered, or the line has gone
};
using CallPtr = std::shared_ptr<const Call>;

/// The core as who asks.
Peer own_peer();

/// A call of the core itself.
/// @param parent on whose behalf; null for its own
CallPtr own_call(CallPtr parent);

struct Request {
  Path path;
  uint32_t action = 0;
  std::shared_ptr<const Bytes> value;  ///< a tree in the bytes of the wire; null stands for any
  std::string text = {};               ///< the path as it was asked; empty to have it joined by "."
};

struct Answer {
  uint32_t status = VK_EOK;
  Bytes value = {};      ///< a tree in the bytes of the wire; empty stands for any
  bool unheard = false;  ///< the line ended before an answer came: the status is not a module's
};

}  // namespace vesk::core
