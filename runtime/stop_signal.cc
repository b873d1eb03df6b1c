#include "runtime/stop_signal.h"

#include <poll.h>
#include <sys/eventfd.h>

#include <cerrno>
#include <cstdint>

namespace vesk::rt {
namespace {

volatile sig_atomic_t told = -1;

// Nothing but what a handler of signals may do.
void tell(int) {
  const int error = errno;
  const uint64_t one = 1;
  [[maybe_unused]] const ssize_t written = write(told, &one, sizeof one);
  errno = error;
}

}  // namespace

StopSignal::StopSignal() : fd_(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)) {
  told = fd_.get();
  struct sigaction action = {};
  action.sa_handler = tell;
  action.sa_flags = SA_RESTART;
  sigemptyset(&action.sa_mask);
  sigaction(SIGTERM, &action, &terminate_);
  sigaction(SIGINT, &action, &interrupt_);
}

StopSignal::~StopSignal() {
  sigaction(SIGTERM, &terminate_, nullptr);
  sigaction(SIGINT, &interrupt_, nullptr);
  told = -1;
}

bool StopSignal::came() const {
  pollfd stop = {fd_.get(), POLLIN, 0};
  return poll(&stop, 1, 0) > 0;
}

}  // namespace vesk::rt
