#include "core/call.h"

#include <unistd.h>

#include <utility>

namespace vesk::core {

Peer own_peer() { return {geteuid(), getegid(), getpid(), true}; }

CallPtr own_call(CallPtr parent) {
  const uint32_t depth = parent == nullptr ? 1 : parent->depth + 1;
  return std::make_shared<Call>(Call{std::move(parent), depth, own_peer(), {}, 0});
}

}  // namespace vesk::core
