#include "core/alarm.h"

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <thread>

namespace vesk::test {
namespace {

using namespace std::chrono_literals;  // NOLINT(google-build-using-namespace)

class AnAlarm : public testing::Test {
 protected:
  void run_for(std::chrono::milliseconds time) {
    loop_.restart();
    loop_.run_for(time);
  }

  // Does something when the alarm's time has come and the loop has not looked at it yet.
  void do_when_due(const std::function<void()>& deed) {
    EXPECT_TRUE(alarm_->set(1ms));
    asio::steady_timer before(loop_, std::chrono::steady_clock::now());
    before.async_wait([&deed](const asio::error_code&) { deed(); });
    std::this_thread::sleep_for(5ms);
    run_for(50ms);
  }

  asio::io_context loop_;
  unsigned rung_ = 0;
  std::optional<core::Alarm> alarm_{std::in_place, loop_.get_executor(), [this] { ++rung_; }};
};

TEST_F(AnAlarm, GoesOffOnce) {
  EXPECT_TRUE(alarm_->set(1ms));
  EXPECT_TRUE(alarm_->is_set());
  run_for(50ms);
  EXPECT_EQ(rung_, 1U);
  EXPECT_FALSE(alarm_->is_set());
}

TEST_F(AnAlarm, IsMovedBySettingItAgain) {
  EXPECT_TRUE(alarm_->set(1ms));
  EXPECT_TRUE(alarm_->set(10s));
  run_for(50ms);
  EXPECT_EQ(rung_, 0U);
  EXPECT_TRUE(alarm_->is_set());
}

TEST_F(AnAlarm, DoesNotGoOffWhenItIsStoppedTooLate) {
  do_when_due([this] { alarm_->stop(); });
  EXPECT_EQ(rung_, 0U);
}

TEST_F(AnAlarm, GoesOffOnceWhenItIsMovedTooLate) {
  do_when_due([this] { EXPECT_TRUE(alarm_->set(1ms)); });
  EXPECT_EQ(rung_, 1U);
}

TEST_F(AnAlarm, DoesNotGoOffWhenItIsDestroyedTooLate) {
  do_when_due([this] { alarm_.reset(); });
  EXPECT_EQ(rung_, 0U);
}

TEST_F(AnAlarm, MayBeDestroyedAndSetByWhatItCalls) {
  unsigned rung = 0;
  std::optional<core::Alarm> other;
  other.emplace(loop_.get_executor(), [&] {
    if (++rung == 3) return other.reset();
    EXPECT_TRUE(other->set(1ms));
  });
  EXPECT_TRUE(other->set(1ms));
  run_for(50ms);
  EXPECT_EQ(rung, 3U);
}

}  // namespace
}  // namespace vesk::test
