#include "core/notify.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "core/await.h"

namespace vesk::core {
namespace {

std::string take_variable(const char* name) {
  const char* const text = std::getenv(name);
  std::string value = text == nullptr ? "" : text;
  unsetenv(name);
  return value;
}

std::chrono::microseconds take_period() {
  const std::string period = take_variable("WATCHDOG_USEC");
  const std::string process = take_variable("WATCHDOG_PID");
  const bool ours = process.empty() || process == std::to_string(getpid());
  return std::chrono::microseconds(ours ? std::strtoll(period.c_str(), nullptr, 10) : 0);
}

}  // namespace

Notifier::Notifier(asio::io_context& loop)
    : address_(take_variable("NOTIFY_SOCKET")),
      socket_(address_.empty() ? -1 : socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)),
      period_(take_period()),
      timer_(loop) {}

void Notifier::ready() {
  send("READY=1");
  if (period_.count() > 0) give_sign_of_life();
}

void Notifier::stopping() { send("STOPPING=1"); }

void Notifier::give_sign_of_life() {
  send("WATCHDOG=1");
  const Reserving waiting(true);
  timer_.expires_after(period_ / 2);
  timer_.async_wait([this](const asio::error_code& error) {
    if (!error) give_sign_of_life();
  });
}

// Nothing can be done about what does not arrive.
void Notifier::send(const std::string& state) const {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (address_.empty() || address_.size() >= sizeof address.sun_path) return;
  std::memcpy(address.sun_path, address_.data(), address_.size());
  if (address_.front() == '@') address.sun_path[0] = '\0';
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + address_.size());
  sendto(socket_.get(), state.data(), state.size(), MSG_NOSIGNAL,
         reinterpret_cast<const sockaddr*>(&address), size);
}

}  // namespace vesk::core
