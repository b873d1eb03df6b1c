#pragma once

// The data-model manager: answers "cwmp.rpc.*" and "dmmgr.*" by asking the handlers of "dm.*".
// docs/requests.md has the requests member by member.

#include <asio/io_context.hpp>

#include "core/manager_desk.h"
#include "core/manager_records.h"
#include "core/router.h"

namespace vesk::core {

using dm::ManagerOptions;

/// It must be there as long as its router serves and its loop runs.
class Manager {
 public:
  /// Adds the services and watches for modules.
  Manager(asio::io_context& loop, Router& router, Records& records, ManagerOptions options = {});
  Manager(const Manager&) = delete;
  Manager& operator=(const Manager&) = delete;

  /// Forgets what it keeps; to be called when the store was erased.
  void forget() { desk_.kept.forget(); }

 private:
  dm::Desk desk_;
};

}  // namespace vesk::core
