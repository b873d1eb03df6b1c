#pragma once

// A result that comes once, and one coroutine that waits for it. Whoever waits is resumed by the
// loop, never from inside `set`.

#include <asio/awaitable.hpp>
#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <optional>
#include <utility>

#include "core/await.h"

namespace vesk::core {

template <typename T>
class OneShot {
 public:
  explicit OneShot(asio::io_context& loop) : wake_(loop) {}

  /// Later results are dropped.
  void set(T result) {
    if (set_) return;
    set_ = true;
    result_ = std::move(result);
    wake_.cancel();
  }

  /// The result, or nothing if it did not come in time.
  asio::awaitable<std::optional<T>> wait(std::chrono::milliseconds limit) {
    if (!set_) {
      asio::error_code woken;
      wake_.expires_after(limit);
      co_await wake_.async_wait(into(woken));
    }
    set_ = true;
    co_return std::exchange(result_, std::nullopt);
  }

 private:
  asio::steady_timer wake_;
  std::optional<T> result_;
  bool set_ = false;
};

}  // namespace vesk::core
