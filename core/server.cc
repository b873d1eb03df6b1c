#include "core/server.h"

#include <unistd.h>

#include <algorithm>
#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/redirect_error.hpp>
#include <asio/use_awaitable.hpp>
#include <exception>
#include <utility>

namespace vesk::core {
namespace {

constexpr Milliseconds kUntilDescriptors{100};

}  // namespace

Server::Server(asio::io_context& loop, const Settings& settings, Access access, Exchange& exchange)
    : loop_(loop),
      settings_(settings),
      access_(std::move(access)),
      context_{settings, exchange, budget_, [this](const Line& line) { forget(line); }},
      acceptor_(loop) {}

void Server::listen(Descriptor listener) {
  acceptor_.assign(asio::local::stream_protocol(), listener.get());
  static_cast<void>(listener.release());
  asio::co_spawn(loop_, accept(), asio::detached);
}

void Server::stop() {
  asio::error_code ignored;
  acceptor_.close(ignored);
}

void Server::close() {
  stop();
  const auto lines = lines_;
  for (const auto& [id, line] : lines) line->close();
}

bool Server::is_answering() const {
  return std::any_of(lines_.begin(), lines_.end(),
                     [](const auto& entry) { return entry.second->is_answering(); });
}

asio::awaitable<void> Server::accept() {
  while (acceptor_.is_open()) {
    Socket socket(loop_);
    asio::error_code error;
    co_await acceptor_.async_accept(socket, asio::redirect_error(asio::use_awaitable, error));
    if (!error) {
      take(socket);
    } else if (acceptor_.is_open()) {  // out of descriptors, most likely
      asio::steady_timer pause(loop_, kUntilDescriptors);
      co_await pause.async_wait(asio::redirect_error(asio::use_awaitable, error));
    }
  }
}

void Server::take(Socket& socket) try {
  const std::optional<Credentials> credentials = credentials_of(socket.native_handle());
  if (!credentials.has_value()) return;
  const std::optional<Peer> peer = judge(*credentials, geteuid(), access_);
  const uint32_t refusal = peer.has_value() ? refusal_of(*peer) : VK_EAUTH;
  if (refusal != VK_EOK) {
    complain(*credentials, refusal);
    return tell(socket.native_handle(), refusal);
  }
  const uint64_t id = ++last_id_;
  const auto line = std::make_shared<SocketLine>(std::move(socket), *peer, id, context_);
  ++processes_[peer->pid];
  lines_.emplace(id, line);
  line->start();
} catch (const std::exception& error) {
  log(VK_LOG_ERROR, "A connection is lost: %s", error.what());
}

uint32_t Server::refusal_of(const Peer& peer) const {
  const bool known = processes_.contains(peer.pid);
  if (!known && processes_.size() >= settings_.processes) return VK_EBUSY;
  return lines_.size() < settings_.lines ? VK_EOK : VK_EBUSY;
}

void Server::complain(const Credentials& credentials, uint32_t refusal) {
  if (!budget_.spend({credentials.uid, credentials.gid, credentials.pid, false})) return;
  log(VK_LOG_WARNING, "Process %ld, user %lu is refused: %s; %zu processes have %zu lines",
      static_cast<long>(credentials.pid), static_cast<unsigned long>(credentials.uid),
      vk_strerror(refusal), processes_.size(), lines_.size());
}

void Server::forget(const Line& line) {
  const auto process = processes_.find(line.peer().pid);
  if (--process->second == 0) processes_.erase(process);
  lines_.erase(line.id());
}

}  // namespace vesk::core
