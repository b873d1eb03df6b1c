#pragma once

// A function that is called when its time has come. Setting an alarm that is set moves it; an alarm
// that was stopped, moved or destroyed does not go off, however late that happens.

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>

namespace vesk::core {

class Alarm {
 public:
  using Clock = std::chrono::steady_clock;

  /// @param ring called by the loop; it may destroy the alarm
  Alarm(const asio::any_io_executor& loop, std::function<void()> ring);
  ~Alarm();
  Alarm(const Alarm&) = delete;
  Alarm& operator=(const Alarm&) = delete;

  /// @return false for want of memory; the alarm is then not set
  bool set(Clock::time_point time) noexcept;
  bool set(Clock::duration time) noexcept { return set(Clock::now() + time); }
  void stop() noexcept;
  bool is_set() const { return set_; }

 private:
  struct Bell {
    std::function<void()> ring;
    uint64_t start = 0;  // tells a timer that was stopped too late
  };

  asio::steady_timer timer_;
  const std::shared_ptr<Bell> bell_;
  bool set_ = false;
};

}  // namespace vesk::core
