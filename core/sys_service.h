#pragma once

// What modules and tools ask the core itself for:
//
//   sys.module.attach          {"Name", "Version"}   makes a line a module's; gives the limits
//   sys.module.serve           {"Name"}              turns a line round
//   sys.handler.add, del       {"Path", "Handler"}   a pattern and the module's number for it
//   sys.persistent.save.KEY    a tree                keeps it
//   sys.persistent.load.KEY    -                     gives it
//   sys.persistent.remove.KEY  -                     forgets it
//   sys.persistent.erase       -                     forgets everything; root only

#include <functional>

#include "core/dispatcher.h"
#include "core/log.h"

namespace vesk::core {

class Store;

/// Adds "sys.module" and "sys.handler". All arguments must outlive the dispatcher's requests.
void serve_modules(Dispatcher& dispatcher, const Settings& settings, LogBudget& budget);

/// Adds "sys.persistent".
/// @param erased called when everything was forgotten
void serve_store(Router& router, Store& store, std::function<void()> erased);

}  // namespace vesk::core
