// How much and how many there may be in all.

#include <gtest/gtest.h>

#include "tests/support/log_spy.h"
#include "tests/unit/core/core_fixture.h"

namespace vesk::test {
namespace {

TEST(Buffers, AreRefusedBeyondWhatAllMayTake) {
  const LogSpy log;
  TestCore core;
  TestLine small(core);
  TestLine large(core);
  const std::size_t before = core::buffers.used();
  core::buffers.set_limit(before + 64 * 1024);
  const Value value = named("x", std::string(100 * 1024, 'x'));
  EXPECT_EQ(large.call("nobody", value), int{VK_ENOMEM});
  EXPECT_TRUE(large.is_dropped());
  EXPECT_EQ(small.call("nobody"), int{VK_ENOANSWER});
  core::buffers.set_limit(16U << 20);
  EXPECT_TRUE(core.until([&] { return core::buffers.used() == before; }));
  EXPECT_EQ(small.call("nobody", value), int{VK_ENOANSWER});
}

TEST(Buffers, AreWaitedForByAnswers) {
  TestCore core;
  AskedModule asked(core);
  auto& [module, serving, client] = asked;
  core::buffers.set_limit(core::buffers.used());
  serving->reply(VK_ERO);
  EXPECT_TRUE(client.is_quiet());
  core::buffers.set_limit(16U << 20);
  EXPECT_EQ(client.answer()->status, VK_ERO);
}

TEST(Buffers, AreNotWaitedForWithoutEnd) {
  const LogSpy log;
  core::Settings settings;
  settings.completion = 50ms;
  TestCore core(settings);
  AskedModule asked(core);
  auto& [module, serving, client] = asked;
  core::buffers.set_limit(core::buffers.used());
  serving->reply(VK_ERO);
  EXPECT_EQ(client.answer()->status, VK_ENOMEM);
  EXPECT_TRUE(serving->is_dropped());
  core::buffers.set_limit(16U << 20);
}

TEST(Buffers, AreHardlyLargerThanWhatTheyHold) {
  TestCore core;
  TestModule module(core, "demo");
  const auto serving = module.serving();
  ASSERT_EQ(module.add("a", 1), int{VK_EOK});
  const std::size_t before = core::buffers.used();
  TestLine client(core);
  client.send("a", named("x", std::string(66'000, 'x')));
  ASSERT_TRUE(serving->request().has_value());
  EXPECT_GT(core::buffers.used(), before + 66'000);
  EXPECT_LT(core::buffers.used(), before + 67'000);
}

TEST(Lines, AreRefusedBeyondTheirNumber) {
  const LogSpy log;
  core::Settings settings;
  settings.lines = 2;
  TestCore core(settings);
  auto first = std::make_unique<TestLine>(core);
  TestLine second(core);
  TestLine third(core);
  EXPECT_EQ(third.answer()->status, VK_EBUSY);
  EXPECT_TRUE(third.is_dropped());
  EXPECT_EQ(second.call("nobody"), int{VK_ENOANSWER});
  first->hang_up();
  EXPECT_TRUE(core.until([&] { return core.server.lines() == 1; }));
  TestLine fourth(core);
  EXPECT_EQ(fourth.call("nobody"), int{VK_ENOANSWER});
}

TEST(Processes, AreRefusedBeyondTheirNumberHoweverManyLinesTheyHave) {
  const LogSpy log;
  core::Settings settings;
  settings.processes = 1;
  TestCore core(settings);
  auto first = std::make_unique<TestLine>(core);
  auto second = std::make_unique<TestLine>(core);
  EXPECT_EQ(second->call("nobody"), int{VK_ENOANSWER});
  EXPECT_EQ(call_from_elsewhere(core, "nobody"), int{VK_EBUSY});
  first.reset();
  second.reset();
  EXPECT_TRUE(core.until([&] { return core.server.lines() == 0; }));
  EXPECT_EQ(call_from_elsewhere(core, "nobody"), int{VK_ENOANSWER});
}

TEST(Buffers, ComeBackAfterWhateverHappens) {
  const LogSpy log;
  const std::size_t before = core::buffers.used();
  {
    TestCore core;
    TestModule module(core, "demo");
    const auto serving = module.serving();
    ASSERT_EQ(module.add("a", 1), int{VK_EOK});
    TestLine client(core);
    TestLine waiting(core);
    client.send("a", named("x", "y"));
    waiting.send("a", named("x", "y"));
    ASSERT_TRUE(serving->request().has_value());
  }
  EXPECT_EQ(core::buffers.used(), before);
}

}  // namespace
}  // namespace vesk::test
