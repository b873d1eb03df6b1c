#pragma once

// Hooks: requests that modules want made when something happens. They are called after the fact,
// one call for each hook, and nobody waits for them. A hook ends with its module.

#include <asio/io_context.hpp>
#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "core/call.h"
#include "core/router.h"

namespace vesk::core::dm {

struct Hook {
  std::string module;
  std::string event;
  Path path;  ///< what is called
  std::string text;

  bool operator==(const Hook& other) const {
    return module == other.module && event == other.event && path == other.path;
  }
};

class Hooks {
 public:
  Hooks(asio::io_context& loop, Router& router);

  /// `VK_EEXIST` if the module has it already, `VK_EBUSY` if it has too many. A hook for "boot" is
  /// called at once, but once only in the core's life; so these count as long as the core lives.
  [[nodiscard]] uint32_t add(Hook hook);
  /// `VK_ENOENT` if the module has no such hook.
  [[nodiscard]] uint32_t del(const Hook& hook);
  void module_started(const std::string& module);
  void module_ended(const std::string& module);

  /// Has the hooks of an event called, on behalf of whoever caused it.
  void run(std::string_view event, const std::vector<std::string>& names, const CallPtr& cause);

  static bool is_event(std::string_view event);

 private:
  static constexpr std::size_t kMostOfAModule = 64;
  static constexpr std::size_t kMostBooted = 4096;

  uint32_t boot(const Hook& hook);
  void call(const Hook& hook, const std::vector<std::string>& names, const CallPtr& cause);

  asio::io_context& loop_;
  Router& router_;
  std::vector<Hook> hooks_;
  std::map<std::string, std::set<Path>> booted_;  // by module, the hooks that were told of the boot
  std::size_t booted_in_all_ = 0;
};

}  // namespace vesk::core::dm
