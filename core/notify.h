#pragma once

// What the service manager that started the core is told: that it is ready, ends, and lives.

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <string>

#include "core/descriptor.h"

namespace vesk::core {

class Notifier {
 public:
  /// Reads NOTIFY_SOCKET, WATCHDOG_USEC and WATCHDOG_PID, and takes them out of the environment.
  explicit Notifier(asio::io_context& loop);

  /// From then on the watchdog gets a sign of life twice in each of its periods.
  void ready();
  void stopping();

 private:
  void send(const std::string& state) const;
  void give_sign_of_life();

  const std::string address_;
  const Descriptor socket_;                 // there from the start, whatever comes
  const std::chrono::microseconds period_;  // 0 without a watchdog
  asio::steady_timer timer_;
};

}  // namespace vesk::core
