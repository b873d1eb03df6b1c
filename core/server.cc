#include "core/server.h"

#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <exception>
#include <new>
#include <stdexcept>
#include <utility>

#include "core/await.h"

namespace vesk::core {
namespace {

constexpr Milliseconds kUntilThereIsRoom{100};
constexpr Peer kNobody = {};  // whose budget is spent on what cannot be laid to a process

}  // namespace

Server::Server(asio::io_context& loop, const Settings& settings, Access access, Exchange& exchange,
               LogBudget& budget)
    : loop_(loop),
      settings_(settings),
      access_(std::move(access)),
      budget_(budget),
      context_{settings, exchange, budget, [this](const Line& line) { forget(line); }},
      acceptor_(loop),
      pause_(loop) {}

void Server::listen(Descriptor listener) {
  acceptor_.assign(Protocol(), listener.get());
  static_cast<void>(listener.release());
  acceptor_.native_non_blocking(true);
  spawn(loop_.get_executor(), accept());
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

// Goes on as long as there is a socket, whatever happens on the way.
asio::awaitable<void> Server::accept() {
  while (acceptor_.is_open()) {
    bool took = false;
    try {
      took = co_await accept_one();
    } catch (const std::bad_alloc&) {
    }
    if (took || !acceptor_.is_open()) continue;
    pause_.expires_after(kUntilThereIsRoom);
    co_await pause_.async_wait(into(paused_));
  }
}

// False if there is no room for another. Asio's own way to accept would lose the one who waits for
// it when memory runs short.
asio::awaitable<bool> Server::accept_one() {
  asio::error_code error;
  co_await acceptor_.async_wait(Acceptor::wait_read, into(error));
  if (error) co_return false;
  Descriptor connection(accept4(acceptor_.native_handle(), nullptr, nullptr, SOCK_CLOEXEC));
  if (connection) {
    take(std::move(connection));
    co_return true;
  }
  co_return errno == EAGAIN || errno == ECONNABORTED || errno == EINTR;
}

void Server::take(Descriptor connection) try {
  const std::optional<Credentials> credentials = credentials_of(connection.get());
  if (!credentials.has_value()) throw std::runtime_error("it has no credentials");
  const std::optional<Peer> peer = judge(*credentials, geteuid(), access_);
  if (!peer.has_value()) return refuse(connection.get(), *credentials, VK_EAUTH, "not allowed");
  const Reason limit = limit_for(*peer);
  if (limit[0] != 0) return refuse(connection.get(), *credentials, VK_EBUSY, limit.data());
  add(std::move(connection), *peer);
} catch (const std::exception& error) {
  if (budget_.spend(kNobody)) log(VK_LOG_ERROR, "A connection is lost: %s", error.what());
}

void Server::add(Descriptor connection, const Peer& peer) {
  SocketLine::Socket socket(loop_);
  socket.assign(Protocol(), connection.get());
  static_cast<void>(connection.release());
  const auto line = std::make_shared<SocketLine>(std::move(socket), peer, ++last_id_, context_);
  lines_.emplace(line->id(), line);
  try {
    ++processes_[peer.pid];
    line->start();
  } catch (...) {
    forget(*line);
    throw;
  }
}

Server::Reason Server::limit_for(const Peer& peer) const {
  const bool known = processes_.contains(peer.pid);
  Reason reason = {};
  if (!known && processes_.size() >= settings_.processes) {
    std::snprintf(reason.data(), reason.size(), "limit processes is %u", settings_.processes);
  } else if (lines_.size() >= settings_.lines) {
    std::snprintf(reason.data(), reason.size(), "limit lines is %u", settings_.lines);
  }
  return reason;
}

void Server::refuse(int connection, const Credentials& credentials, uint32_t status,
                    const char* reason) {
  tell(connection, status);
  if (!budget_.spend({credentials.uid, credentials.gid, credentials.pid, false})) return;
  log(VK_LOG_WARNING, "Process %ld, user %lu is refused: %s", static_cast<long>(credentials.pid),
      static_cast<unsigned long>(credentials.uid), reason);
}

void Server::forget(const Line& line) noexcept {
  const auto process = processes_.find(line.peer().pid);
  if (process != processes_.end() && --process->second == 0) processes_.erase(process);
  lines_.erase(line.id());
}

}  // namespace vesk::core
