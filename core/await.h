#pragma once

// How the core's coroutines begin, `spawn(loop, work())`, and wait for Asio's operations,
// `co_await operation(..., into(error))`.
//
// Asio begins both inside a noexcept function, where want of memory would end the process. There,
// and for the frames that waiting takes, a reserve is given up piece by piece and taken back when
// there is memory again; anywhere else want of memory is `bad_alloc`, and the reserve stays. What
// even the reserve cannot help does end the process, for its supervisor to start it again.

#include <asio/any_io_executor.hpp>
#include <asio/async_result.hpp>
#include <asio/awaitable.hpp>
#include <asio/error_code.hpp>
#include <asio/redirect_error.hpp>
#include <asio/use_awaitable.hpp>
#include <utility>

namespace vesk::core {

/// What it takes to begin operations when there is no memory. One at a time.
class Reserve {
 public:
  Reserve();
  ~Reserve();
  Reserve(const Reserve&) = delete;
  Reserve& operator=(const Reserve&) = delete;

  /// Takes back what was given up, if there is memory again.
  void refill() noexcept;
};

/// As long as one lives, want of memory may take from the reserve, or may not.
class Reserving {
 public:
  explicit Reserving(bool allowed) noexcept;
  ~Reserving();
  Reserving(const Reserving&) = delete;
  Reserving& operator=(const Reserving&) = delete;

  /// Changes what holds now.
  static void allow(bool allowed) noexcept;

 private:
  const bool before_;
};

/// Runs a coroutine until it first waits; the loop goes on with it. What it throws is lost.
void spawn(const asio::any_io_executor& loop, asio::awaitable<void> work);

/// A completion token: the operation is awaited, and its error goes where it says.
struct Into {
  asio::error_code& error;
};
inline Into into(asio::error_code& error) { return {error}; }

}  // namespace vesk::core

template <typename Result, typename... Arguments>
class asio::async_result<vesk::core::Into, Result(asio::error_code, Arguments...)> {
 public:
  template <typename Initiation, typename... Initial>
  static auto initiate(Initiation&& initiation, vesk::core::Into token, Initial&&... initial) {
    const vesk::core::Reserving waiting(true);
    auto begin = [initiation = std::forward<Initiation>(initiation)](auto&& handler,
                                                                     auto&&... arguments) mutable {
      const vesk::core::Reserving beginning(true);
      std::move(initiation)(std::forward<decltype(handler)>(handler),
                            std::forward<decltype(arguments)>(arguments)...);
    };
    auto redirected = asio::redirect_error(asio::use_awaitable, token.error);
    return asio::async_initiate<decltype(redirected), Result(asio::error_code, Arguments...)>(
        std::move(begin), redirected, std::forward<Initial>(initial)...);
  }
};
