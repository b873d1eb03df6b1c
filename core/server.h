#pragma once

// Accepts connections and keeps count of them. It knows sockets, who is at the other end, and
// limits; what is said on a line is the exchange's affair.

#include <array>
#include <asio/awaitable.hpp>
#include <asio/io_context.hpp>
#include <asio/local/stream_protocol.hpp>
#include <asio/steady_timer.hpp>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>

#include "core/credentials.h"
#include "core/descriptor.h"
#include "core/exchange.h"
#include "core/line.h"
#include "core/log.h"
#include "core/settings.h"

namespace vesk::core {

class Server {
 public:
  Server(asio::io_context& loop, const Settings& settings, Access access, Exchange& exchange,
         LogBudget& budget);

  /// Accepts what comes to a listening socket. Throws `asio::system_error`.
  void listen(Descriptor listener);
  /// Accepts no more.
  void stop();
  /// Closes all lines.
  void close();

  std::size_t lines() const { return lines_.size(); }
  /// Whether an answer is on its way to a peer.
  bool is_answering() const;

 private:
  using Protocol = asio::local::stream_protocol;
  using Acceptor = Protocol::acceptor;
  using Reason = std::array<char, 48>;

  asio::awaitable<void> accept();
  asio::awaitable<bool> accept_one();
  void take(Descriptor connection);
  void add(Descriptor connection, const Peer& peer);
  void refuse(int connection, const Credentials& credentials, uint32_t status, const char* reason);
  // The limit that leaves no room for another line of a peer; empty if there is none.
  Reason limit_for(const Peer& peer) const;
  void forget(const Line& line) noexcept;

  asio::io_context& loop_;
  const Settings& settings_;
  const Access access_;
  LogBudget& budget_;
  LineContext context_;
  Acceptor acceptor_;
  asio::steady_timer pause_;
  asio::error_code paused_;
  std::map<uint64_t, std::shared_ptr<SocketLine>> lines_;
  std::map<pid_t, unsigned> processes_;  // and how many lines each has
  uint64_t last_id_ = 0;
};

}  // namespace vesk::core
