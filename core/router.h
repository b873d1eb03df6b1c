#pragma once

// What the core's services know of the dispatcher.

#include <asio/awaitable.hpp>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "core/call.h"

namespace vesk::core {

/// One pattern that a module registered, in the order in which requests are tried.
struct Registration {
  uint64_t id;         ///< never used twice
  Path pattern;        ///< components; "$" stands for any instance number
  std::string module;  ///< who registered it
};

class Router {
 public:
  /// Answers requests at or below a pattern of the core's own. A service that throws is answered
  /// `VK_ENOMEM` for `bad_alloc`, otherwise `VK_EINTERNAL`.
  using Service = std::function<asio::awaitable<Answer>(CallPtr call, const Request& request)>;

  Router() = default;
  Router(const Router&) = delete;
  Router& operator=(const Router&) = delete;
  virtual ~Router() = default;

  /// Adds a service; at the start only. Modules cannot register at or below its pattern.
  virtual void serve(Path pattern, Service service) = 0;

  /// Asks whoever answers at the path, one after the other until one has something to say. Throws
  /// `bad_alloc` without memory to begin with; later it is an answer.
  /// @param parent on whose behalf; null for the core's own
  virtual asio::awaitable<Answer> ask(CallPtr parent, Request request) = 0;

  /// Asks one registration only; `VK_EIO` if it is gone.
  virtual asio::awaitable<Answer> ask(CallPtr parent, uint64_t registration, Request request) = 0;

  /// The registrations of modules whose patterns begin with a component, in the order in which
  /// requests are tried: longer patterns first, of equal length literal before "$" from the left,
  /// then the oldest first.
  virtual std::vector<Registration> registrations(const std::string& first) const = 0;

  /// Has a function called with the module's name when a module has attached, and when one has
  /// ended.
  virtual void watch_modules(std::function<void(const std::string& module, bool attached)>) = 0;
};

}  // namespace vesk::core
