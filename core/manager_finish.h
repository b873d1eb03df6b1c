#pragma once

// The end of every write that its handlers hold.

#include <asio/awaitable.hpp>
#include <cstdint>
#include <string>
#include <vector>

#include "core/call.h"
#include "core/manager_change.h"
#include "core/manager_desk.h"

namespace vesk::core::dm {

/// What was written: an event, and the names that it is about, as handlers were asked for them.
struct Outcome {
  const char* event;
  std::vector<Name> names;
  uint32_t instance = 0;  ///< the number of one that was added
};

/// What a write is about to change. What others read of it meanwhile is no news to the management
/// server if it is the one that writes.
Kept::Writing begin_writing(Desk& desk, const vk_value& request, const std::vector<Name>& names);

/// Commits, and brings what is kept up to date: values that the management server wrote count as
/// told, deleted objects have no attributes, and the parameter key of the request holds if all was
/// committed. Then has hooks called. Throws a refusal, `VK_EIO`, if a handler did not commit, if
/// the store did not save, or for want of memory once the commit has begun.
asio::awaitable<Answer> finish(Desk& desk, const Walk& walk, const vk_value& request,
                               Change& change, Outcome outcome);

/// The answer to a write.
Answer write_answer(const Heap& heap, const Change& change, uint32_t instance = 0);

/// The text of a name; that of an object ends in ".".
std::string text_of(const Name& name);

}  // namespace vesk::core::dm
