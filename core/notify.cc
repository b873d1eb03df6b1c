#include "core/notify.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "core/descriptor.h"

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
    : socket_(take_variable("NOTIFY_SOCKET")), period_(take_period()), timer_(loop) {}

void Notifier::ready() {
  send("READY=1");
  if (period_.count() > 0) keep_quiet();
}

void Notifier::stopping() { send("STOPPING=1"); }

void Notifier::keep_quiet() {
  send("WATCHDOG=1");
  timer_.expires_after(period_ / 2);
  timer_.async_wait([this](const asio::error_code& error) {
    if (!error) keep_quiet();
  });
}

// Nothing can be done about what does not arrive.
void Notifier::send(const std::string& state) const {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (socket_.empty() || socket_.size() >= sizeof address.sun_path) return;
  std::memcpy(address.sun_path, socket_.data(), socket_.size());
  if (socket_.front() == '@') address.sun_path[0] = '\0';
  const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + socket_.size());
  const Descriptor sender(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sendto(sender.get(), state.data(), state.size(), MSG_NOSIGNAL,
         reinterpret_cast<const sockaddr*>(&address), size);
}

}  // namespace vesk::core
