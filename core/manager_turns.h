#pragma once

// Turns: what writes runs one after another, in the order in which it came.

#include <asio/awaitable.hpp>
#include <asio/io_context.hpp>
#include <memory>
#include <utility>

#include "core/call.h"

namespace vesk::core::dm {

class Turns {
  struct State;

 public:
  /// The right to write, until it ends.
  class Turn {
   public:
    explicit Turn(std::shared_ptr<State> state) : state_(std::move(state)) {}
    Turn(Turn&&) noexcept = default;
    Turn& operator=(Turn&&) = delete;
    ~Turn();

   private:
    std::shared_ptr<State> state_;  // null once it was moved from
  };

  explicit Turns(asio::io_context& loop);
  Turns(const Turns&) = delete;
  Turns& operator=(const Turns&) = delete;
  ~Turns();

  /// Waits for a turn. A call that descends from the one whose turn it is would wait for itself:
  /// it throws a refusal, `VK_EBUSY`, at once.
  asio::awaitable<Turn> take(CallPtr call);

 private:
  // Shared with the turns and those who wait, which a loop may outlive its manager with.
  std::shared_ptr<State> state_;
};

}  // namespace vesk::core::dm
