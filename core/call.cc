#include "core/call.h"

#include <unistd.h>

#include <utility>

namespace vesk::core {

CallPtr own_call(CallPtr parent) {
  const uint32_t depth = parent == nullptr ? 1 : parent->depth + 1;
  const Peer own = {geteuid(), getegid(), getpid(), true};
  return std::make_shared<Call>(Call{std::move(parent), depth, own, {}, 0});
}

}  // namespace vesk::core
