#pragma once

// The end of every write, once its handlers have committed.

#include <asio/awaitable.hpp>
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
};

/// Brings what is kept up to date: values that the management server wrote count as told, deleted
/// objects have no attributes, and the parameter key of the request holds if all was committed.
/// Then has hooks called. Throws a refusal, `VK_EIO`, if a handler did not commit
/// or the store did not save.
asio::awaitable<void> finish(Desk& desk, const Walk& walk, const vk_value& request,
                             const Change& change, Outcome outcome);

/// The text of a name; that of an object ends in ".".
std::string text_of(const Name& name);

}  // namespace vesk::core::dm
