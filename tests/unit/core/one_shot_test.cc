#include "core/one_shot.h"

#include <gtest/gtest.h>

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>

namespace vesk::test {
namespace {

using namespace std::chrono_literals;  // NOLINT(google-build-using-namespace)

class AOneShot : public testing::Test {
 protected:
  // Begins to wait; the result is -1 until the wait is over, and 0 if it was in vain.
  void wait(std::chrono::milliseconds limit) {
    asio::co_spawn(loop_, waiting(limit), asio::detached);
    run();
  }
  void run() {
    loop_.restart();
    loop_.poll();
  }
  asio::awaitable<void> waiting(std::chrono::milliseconds limit) {
    const std::optional<int> result = co_await shot_.wait(limit);
    result_ = result.value_or(0);
  }

  asio::io_context loop_;
  core::OneShot<int> shot_{loop_};
  int result_ = -1;
};

TEST_F(AOneShot, IsThereAtOnceIfItWasSetBefore) {
  shot_.set(5);
  wait(10s);
  EXPECT_EQ(result_, 5);
}

TEST_F(AOneShot, WakesWhoWaits) {
  wait(10s);
  EXPECT_EQ(result_, -1);
  shot_.set(5);
  EXPECT_EQ(result_, -1) << "resumed from inside";
  run();
  EXPECT_EQ(result_, 5);
}

TEST_F(AOneShot, KeepsItsFirstResult) {
  shot_.set(5);
  shot_.set(6);
  wait(10s);
  EXPECT_EQ(result_, 5);
}

TEST_F(AOneShot, IsNothingWhenTheTimeIsUp) {
  wait(1ms);
  loop_.restart();
  loop_.run_one_for(10s);
  run();
  EXPECT_EQ(result_, 0);
  shot_.set(5);  // too late, and dropped
  run();
  EXPECT_EQ(result_, 0);
}

}  // namespace
}  // namespace vesk::test
