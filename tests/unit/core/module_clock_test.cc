// The answer time: when it runs, and what starts it anew.

#include <thread>

#include "tests/unit/core/module_fixture.h"

namespace vesk::test {
namespace {

class ModuleClock : public ModuleTest {
 protected:
  bool is_hung_soon() {
    return until([this] { return hung; });
  }
  bool stays_well() {
    run_for(settings.answer * 3);
    return !hung;
  }
};

TEST_F(ModuleClock, RunsWhileARequestIsServed) {
  begin();
  const auto start = std::chrono::steady_clock::now();
  submit(1);
  EXPECT_TRUE(is_hung_soon());
  EXPECT_GE(std::chrono::steady_clock::now() - start, settings.answer);
}

TEST_F(ModuleClock, StandsStillInAnIdleModule) {
  begin();
  EXPECT_TRUE(stays_well());
  submit(1);
  lines[0]->answer(core::Answer{});
  EXPECT_TRUE(stays_well());
}

TEST_F(ModuleClock, StandsStillWhileTheModuleWaits) {
  begin();
  submit(1);
  call();
  EXPECT_TRUE(stays_well());
}

TEST_F(ModuleClock, RunsForARequestThatIsServedMeanwhile) {
  begin(2);
  submit(1);
  call();
  submit(2);
  EXPECT_TRUE(is_hung_soon());
}

TEST_F(ModuleClock, RunsAgainWhenTheCallIsAnswered) {
  begin();
  submit(1);
  const auto item = call();
  EXPECT_TRUE(stays_well());
  module->end_call(item);
  EXPECT_TRUE(is_hung_soon());
}

// The pauses leave a busy machine time before the clock is up, and are more than it in all.
TEST_F(ModuleClock, StartsAnewWithEveryMessage) {
  settings.answer = 1s;
  begin();
  submit(1);
  for (int i = 0; i != 4; ++i) {
    run_for(300ms);
    module->heard();
  }
  EXPECT_FALSE(hung);
  EXPECT_TRUE(is_hung_soon());
}

// Both are due when the loop looks, the message first.
TEST_F(ModuleClock, IsNotUpWhenAMessageCameJustInTime) {
  settings.answer = 200ms;
  begin();
  asio::steady_timer message(loop, settings.answer / 2);
  message.async_wait([this](const asio::error_code&) { module->heard(); });
  submit(1);
  std::this_thread::sleep_for(settings.answer * 2);
  loop.restart();
  loop.poll();
  EXPECT_FALSE(hung);
  EXPECT_TRUE(is_hung_soon());
}

TEST_F(ModuleClock, IsNotStartedByAMessageOfAnIdleModule) {
  begin();
  module->heard();
  EXPECT_TRUE(stays_well());
}

TEST_F(ModuleClock, RunsWhileAnIdleModuleDoesNotTakeAnAnswer) {
  begin();
  module->begin_delivery();
  EXPECT_TRUE(is_hung_soon());
}

TEST_F(ModuleClock, StandsStillWhenTheAnswerWasTaken) {
  begin();
  module->begin_delivery();
  module->end_delivery();
  EXPECT_TRUE(stays_well());
}

TEST_F(ModuleClock, LetsAnAnswerLieWhileTheModuleWaitsForAnother) {
  begin();
  call();
  module->begin_delivery();
  EXPECT_TRUE(stays_well());
}

TEST_F(ModuleClock, StartsAnewForARequestThatComesWhileAnAnswerIsTaken) {
  settings.answer = 1s;
  begin();
  module->begin_delivery();
  run_for(600ms);
  submit(1);
  run_for(600ms);
  EXPECT_FALSE(hung);
  EXPECT_TRUE(is_hung_soon());
}

TEST_F(ModuleClock, StandsStillAfterTheEnd) {
  begin();
  submit(1);
  module->end(VK_EIO);
  EXPECT_TRUE(stays_well());
}

}  // namespace
}  // namespace vesk::test
