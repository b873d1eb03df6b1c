#include <gtest/gtest.h>

#include "tests/unit/runtime/libc_watch.h"
#include "tests/unit/runtime/module_test_base.h"

// How long a module waits for a core, and for its answers to what it answers at once.

namespace vesk::test {
namespace {

using Listener = FakeCore::Listener;

constexpr int kOpeningTime = 5000;

/// A line whose opener is not answered.
Peer silent_line(const Listener& listener) {
  Peer peer = listener.accept();
  peer.read_request();
  return peer;
}

/// A core that goes as soon as the module has attached.
void pass_by(const Listener& listener) {
  const Peer main = listener.main_line();
  const Peer serving = listener.serving_line();
}

class ModuleTime : public ModuleTest {
 protected:
  /// Dispatches until the module waits for a time, and gives that.
  int next_wait() {
    run_until([&] { return vk_module_get_timeout(runtime) > 0; });
    return vk_module_get_timeout(runtime);
  }

  Handler handler = [](vk_frame&, void*) { return VK_EOK; };
};

TEST_F(ModuleTime, IsLimitedForTheMainLine) {
  core.emplace([](const Listener& listener) {
    silent_line(listener).expect_end();
    attached()(listener);
  });
  const Time time(10);
  begin();
  EXPECT_GE(time.passed(), kOpeningTime);
}

TEST_F(ModuleTime, IsLimitedForTheFirstServingLine) {
  core.emplace([](const Listener& listener) {
    const Peer main = listener.main_line();
    silent_line(listener).expect_end();
    main.expect_end();
    attached()(listener);
  });
  const Time time(10);
  begin();
  EXPECT_GE(time.passed(), kOpeningTime);
}

TEST_F(ModuleTime, IsLimitedForTheServingLineThatReplacesTheOnlyOne) {
  const Gate back;
  core.emplace([&](const Listener& listener) {
    const Peer main = listener.main_line();
    listener.serving_line().close();
    silent_line(listener).expect_end();
    main.expect_end();
    attached([&](const Attached&) { back.open(); })(listener);
  });
  const Time time(10);
  begin();
  run_until([&] { return back.is_open(); });
  EXPECT_GE(time.passed(), kOpeningTime);
}

TEST_F(ModuleTime, IsLimitedForACallingLineWhichCostsTheCallOnly) {
  core.emplace(attached([](const Attached& module) {
    silent_line(module.listener).expect_end();
    expect_told(module.calling_line(), "second", any());
  }));
  begin();
  const Time time(10);
  EXPECT_EQ(VK_ETIMEDOUT, called("first"));
  EXPECT_GE(time.passed(), kOpeningTime);
  EXPECT_EQ(VK_EOK, called("second"));
}

TEST_F(ModuleTime, IsLimitedForACallingLineThatIsNotAccepted) {
  const Gate full;
  const Gate failed;
  const Gate drained;
  core.emplace(attached([&](const Attached& module) {
    module.listener.fill();
    full.open();
    failed.pass();
    module.listener.drain();
    drained.open();
    expect_told(module.calling_line(), "second", any());
  }));
  begin();
  full.pass();
  const Time time(10);
  EXPECT_EQ(VK_ETIMEDOUT, called("first"));
  EXPECT_GE(time.passed(), kOpeningTime);
  failed.open();
  drained.pass();
  EXPECT_EQ(VK_EOK, called("second"));
}

TEST_F(ModuleTime, IsLimitedForWhatANewCoreIsTold) {
  const Gate back;
  core.emplace([](const Listener& listener) {
    const Peer main = listener.main_line();
    const Peer serving = listener.serving_line();
    acknowledged(listener.calling_line());
  });
  start = [&](void**) { return registered("a", handler); };
  begin();
  core->restart([&](const Listener& listener) {
    const Peer main = listener.main_line();
    const Peer serving = listener.serving_line();
    const Peer calling = listener.calling_line();
    calling.read_request();
    calling.expect_end();
    main.expect_end();
    attached([&](const Attached& module) {
      expect_told(module.calling_line(), "sys.handler.add", handler_at("a", 1));
      back.open();
    })(listener);
  });
  const Time time(10);
  run_until([&] { return back.is_open(); });
  EXPECT_GE(time.passed(), kOpeningTime);
}

TEST_F(ModuleTime, IsNotLimitedForACall) {
  core.emplace(attached([](const Attached& module) {
    const Peer calling = module.calling_line();
    acknowledged(calling);
    calling.read_request();
    EXPECT_EQ(VK_EOK, module.serving.asked(1, "a", 0).status);
    calling.answer(VK_EAUTH);
  }));
  Time time(0);
  handler = [&](vk_frame&, void*) {
    time.pass(24 * 3600 * 1000);
    return VK_EOK;
  };
  begin();
  EXPECT_EQ(VK_EOK, registered("a", handler));
  EXPECT_EQ(VK_EAUTH, called("slow"));
}

TEST_F(ModuleTime, BetweenAttemptsDoublesUpToALimit) {
  core.emplace(pass_by);
  begin();
  core->restart([](const Listener&) {});
  Time time(0);
  for (const int pause : {100, 200, 400, 800, 1600, 3200, 5000, 5000}) {
    EXPECT_EQ(pause, next_wait());
    time.pass(pause - 1);
    EXPECT_EQ(1, next_wait());
    time.pass(1);
  }
}

TEST_F(ModuleTime, BetweenAttemptsBeginsAnewOnlyAfterACalm) {
  core.emplace(pass_by);
  begin();
  Time time(0);
  EXPECT_EQ(100, next_wait());
  for (const auto& [lasted, pause] : {std::pair{9999, 200}, {10000, 100}, {0, 200}, {0, 400}}) {
    const Gate lasts;
    const Gate ended;
    core->restart([&](const Listener& listener) {
      const Peer main = listener.main_line();
      const Peer serving = listener.serving_line();
      lasts.open();
      ended.pass();
    });
    time.pass(next_wait());
    run_until([&] { return lasts.is_open() && vk_module_get_timeout(runtime) < 0; });
    time.pass(lasted);
    ended.open();
    EXPECT_EQ(pause, next_wait());
  }
}

}  // namespace
}  // namespace vesk::test
