// What becomes of requests when the core stops.

#include <gtest/gtest.h>

#include "core/one_shot.h"
#include "tests/unit/core/core_fixture.h"

namespace vesk::test {
namespace {

TEST(ACoreThatStops, RefusesNewRequests) {
  TestCore core;
  TestLine client(core);
  EXPECT_EQ(client.call("nobody"), int{VK_ENOANSWER});
  core.dispatcher.stop();
  EXPECT_EQ(client.call("nobody"), int{VK_EBUSY});
}

TEST(ACoreThatStops, AnswersWhatModulesWereAsked) {
  TestCore core;
  TestModule module(core, "demo");
  const auto serving = module.serving();
  ASSERT_EQ(module.add("a", 1), int{VK_EOK});
  TestLine client(core);
  TestLine waiting(core);
  client.send("a");
  ASSERT_TRUE(serving->request().has_value());
  waiting.send("a");
  EXPECT_TRUE(waiting.is_quiet());
  core.dispatcher.stop();
  EXPECT_EQ(client.answer()->status, VK_EIO);
  EXPECT_EQ(waiting.answer()->status, VK_EIO);
}

TEST(ACoreThatStops, LetsItsOwnServicesFinishUntilTheyAreAbandoned) {
  TestCore core;
  core::OneShot<int> first(core.loop);
  core::OneShot<int> second(core.loop);
  const auto answer_when = [](core::OneShot<int>& set) {
    return [&set](core::CallPtr, const core::Request&) -> asio::awaitable<core::Answer> {
      const std::optional<int> result = co_await set.wait(10s);
      co_return core::Answer{result.has_value() ? VK_EFOUND : VK_ETIMEDOUT};
    };
  };
  core.dispatcher.serve({"first"}, answer_when(first));
  core.dispatcher.serve({"second"}, answer_when(second));
  TestLine one(core);
  TestLine two(core);
  one.send("first");
  two.send("second");
  EXPECT_TRUE(one.is_quiet());
  core.dispatcher.stop();
  EXPECT_TRUE(one.is_quiet());
  first.set(1);
  EXPECT_EQ(one.answer()->status, VK_EFOUND);
  EXPECT_FALSE(core.dispatcher.idle());
  core.dispatcher.abandon();
  EXPECT_TRUE(core.dispatcher.idle());
  EXPECT_EQ(two.answer()->status, VK_EIO);
  second.set(1);
  EXPECT_TRUE(two.is_quiet());
}

}  // namespace
}  // namespace vesk::test
