#include "core/alarm.h"

#include <exception>
#include <utility>

namespace vesk::core {

Alarm::Alarm(const asio::any_io_executor& loop, std::function<void()> ring)
    : timer_(loop), bell_(std::make_shared<Bell>(Bell{std::move(ring)})) {}

Alarm::~Alarm() { ++bell_->start; }

bool Alarm::set(Clock::time_point time) noexcept try {
  stop();
  timer_.expires_at(time);
  timer_.async_wait([this, bell = bell_, start = bell_->start](const asio::error_code&) {
    if (bell->start != start) return;
    set_ = false;
    bell->ring();
  });
  return set_ = true;
} catch (const std::exception&) {
  return false;
}

void Alarm::stop() noexcept {
  ++bell_->start;
  set_ = false;
  timer_.cancel();
}

}  // namespace vesk::core
