// Modules that hang, die, or keep their callers waiting, over real lines.

#include <gtest/gtest.h>
#include <unistd.h>

#include <asio/steady_timer.hpp>
#include <asio/use_awaitable.hpp>
#include <string>
#include <vector>

#include "core/tree.h"
#include "tests/support/log_spy.h"
#include "tests/unit/core/core_fixture.h"

namespace vesk::test {
namespace {

core::Settings quick() {
  core::Settings settings;
  settings.answer = 60ms;
  settings.patience = 10s;
  return settings;
}

// An answer time that no busy machine takes up between two messages that are a pause apart, and of
// which so many make more than the answer time.
core::Settings paced() {
  core::Settings settings;
  settings.answer = 1s;
  return settings;
}
constexpr auto kPause = 300ms;
constexpr int kPauses = 4;

/// A module that has one handler at "a" and one serving line.
struct Serving {
  explicit Serving(TestCore& core, const std::string& name = "demo", const std::string& path = "a")
      : module(core, name), line(module.serving()) {
    EXPECT_EQ(module.add(path, 1), int{VK_EOK});
  }

  TestModule module;
  std::unique_ptr<TestLine> line;
};

TEST(AHungModule, LosesItsLinesAndItsCallersAreTold) {
  TestCore core(quick());
  Serving hung(core);
  TestLine client(core);
  TestLine waiting(core);
  client.send("a");
  waiting.send("a");
  ASSERT_TRUE(hung.line->request().has_value());
  EXPECT_EQ(client.answer()->status, VK_ETIMEDOUT);
  EXPECT_EQ(waiting.answer()->status, VK_ETIMEDOUT);
  EXPECT_TRUE(hung.line->is_dropped());
  EXPECT_TRUE(hung.module.main().is_dropped());
  EXPECT_EQ(client.call("a"), int{VK_ENOANSWER});
}

TEST(AHungModule, IsComplainedOfToWhoeverCountsComplaints) {
  const LogSpy log;
  TestCore core(quick());
  std::vector<std::string> complaints;
  core.complain = [&](const core::Peer& cause, const std::string& text) {
    complaints.push_back(std::to_string(cause.pid) + ' ' + text);
  };
  AskedModule hung(core);
  EXPECT_EQ(hung.client.answer()->status, VK_ETIMEDOUT);
  const std::string process = std::to_string(getpid());
  EXPECT_EQ(complaints, std::vector<std::string>{process + " Module demo of process " + process +
                                                 " does not answer"});
  for (const LogLine& line : log.lines()) EXPECT_EQ(line.text.find("answer"), std::string::npos);
}

TEST(AHungModule, IsNotOneThatCallsOthersNowAndThen) {
  TestCore core(paced());
  Serving busy(core);
  TestLine client(core);
  client.send("a");
  ASSERT_TRUE(busy.line->request().has_value());
  for (int i = 0; i != kPauses; ++i) {
    core.run_for(kPause);
    EXPECT_EQ(busy.module.main().call("nobody"), int{VK_ENOANSWER});
  }
  busy.line->reply(VK_EOK);
  EXPECT_EQ(client.answer()->status, VK_EOK);
}

TEST(AHungModule, IsNotOneThatOnlyWaitsForOthers) {
  TestCore core(paced());
  Serving first(core, "first", "a");
  Serving second(core, "second", "b");
  TestLine client(core);
  client.send("a");
  ASSERT_TRUE(first.line->request().has_value());
  first.module.main().send("b");
  ASSERT_TRUE(second.line->request().has_value());
  for (int i = 0; i != kPauses; ++i) {
    core.run_for(kPause);
    EXPECT_EQ(second.module.main().call("nobody"), int{VK_ENOANSWER});
  }
  second.line->reply(VK_EOK);
  EXPECT_EQ(first.module.main().answer()->status, VK_EOK);
  first.line->reply(VK_EOK);
  EXPECT_EQ(client.answer()->status, VK_EOK);
}

// Makes whoever asks at "much" wait for more than a socket takes in one piece.
void answer_with_much(TestCore& core) {
  core.dispatcher.serve({"much"},
                        [](core::CallPtr, const core::Request&) -> asio::awaitable<core::Answer> {
                          const Value tree = named("x", std::string(1U << 20, 'x'));
                          co_return core::Answer{VK_EOK, core::encode(*tree)};
                        });
}

TEST(AHungModule, IsOneThatDoesNotTakeItsAnswer) {
  TestCore core(quick());
  answer_with_much(core);
  TestModule module(core, "demo");
  module.main().send("much");
  EXPECT_TRUE(core.until([&] { return core.server.lines() == 0; }));
}

// A service of the core's own at "late", which does not answer as long as a test lasts.
void answer_late(TestCore& core, const std::function<void()>& asked) {
  core.dispatcher.serve({"late"},
                        [&loop = core.loop, asked](
                            core::CallPtr, const core::Request&) -> asio::awaitable<core::Answer> {
                          asked();
                          asio::steady_timer long_time(loop, 1h);
                          co_await long_time.async_wait(asio::use_awaitable);
                          co_return core::Answer{VK_EOK};
                        });
}

// Were an answer still to be taken, the next message would set the short time.
TEST(AHungModule, IsNotOneThatTookItsAnswerOrLeftItWithItsLine) {
  TestCore core;
  answer_with_much(core);
  TestModule module(core, "demo");
  const auto calling = module.calling();
  calling->send("much");
  EXPECT_TRUE(core.until([&] { return core.server.is_answering(); }));
  calling->hang_up();
  EXPECT_EQ(module.main().call("much"), int{VK_EOK});
  core.settings.answer = 60ms;
  EXPECT_EQ(module.add("a", 1), int{VK_EOK});
  core.run_for(core.settings.answer * 3);
  EXPECT_EQ(module.add("b", 2), int{VK_EOK});
}

// A call whose line is gone is no call any more: the module is what it was before it, one that was
// asked and has not answered.
TEST(AHungModule, IsOneThatLeftItsCall) {
  TestCore core;
  bool asked = false;
  answer_late(core, [&] { asked = true; });
  Serving hung(core);
  const auto calling = hung.module.calling();
  TestLine client(core);
  client.send("a");
  ASSERT_TRUE(hung.line->request().has_value());
  calling->send("late");
  ASSERT_TRUE(core.until([&] { return asked; }));
  core.settings.answer = 60ms;  // from the next setting of the clock
  calling->hang_up();
  EXPECT_EQ(client.answer()->status, VK_ETIMEDOUT);
  EXPECT_TRUE(hung.module.main().is_dropped());
}

// Sends a request and leaves without its answer.
void ask_and_leave(TestCore& core, const std::string& path) {
  TestLine client(core);
  client.send(path);
  client.is_quiet();
  const std::size_t lines = core.server.lines();
  client.hang_up();
  EXPECT_TRUE(core.until([&] { return core.server.lines() < lines; }));
}

// Whoever leaves without an answer still costs what was begun on his behalf, so that is limited.
TEST(CallersThatLeft, DoNotMakeTheCoreDoMoreThanItHasLines) {
  core::Settings settings;
  settings.lines = 8;
  TestCore core(settings);
  int asked = 0;
  answer_late(core, [&] { ++asked; });
  for (int i = 0; i != 20; ++i) ask_and_leave(core, "late");
  EXPECT_EQ(asked, 8);
  TestLine last(core);
  EXPECT_EQ(last.call("late"), int{VK_EBUSY});
}

TEST(CallersThatLeft, KeepNobodyOutOfAQueue) {
  core::Settings settings;
  settings.lines = 8;
  settings.queue = 2;
  TestCore core(settings);
  Serving silent(core);
  TestLine first(core);
  first.send("a");
  for (int i = 0; i != 20; ++i) ask_and_leave(core, "a");
  TestLine last(core);
  last.send("a");
  EXPECT_TRUE(last.is_quiet());
}

TEST(AModuleThatDies, IsAnsweredForAtOnce) {
  TestCore core;
  auto serving = std::make_unique<Serving>(core);
  TestLine client(core);
  TestLine waiting(core);
  client.send("a");
  ASSERT_TRUE(serving->line->request().has_value());
  waiting.send("a");
  EXPECT_TRUE(waiting.is_quiet());
  serving.reset();
  EXPECT_EQ(client.answer()->status, VK_EIO);
  EXPECT_EQ(waiting.answer()->status, VK_EIO);
}

TEST(AModuleThatDies, LeavesTheNextHandlerUnasked) {
  TestCore core;
  const Serving other(core, "other");
  auto serving = std::make_unique<Serving>(core, "demo", "a.b");
  TestLine client(core);
  client.send("a.b");
  ASSERT_TRUE(serving->line->request().has_value());
  serving.reset();
  EXPECT_EQ(client.answer()->status, VK_EIO);
  EXPECT_TRUE(other.line->is_quiet());
}

// The request that waits is given to the line before the core hears that the line has ended.
TEST(AModuleThatLosesAServingLine, IsAskedOnTheOther) {
  TestCore core;
  Serving module(core);
  const auto other = module.module.serving();
  TestLine first(core);
  TestLine second(core);
  first.send("a");
  ASSERT_TRUE(module.line->request().has_value());
  second.send("a");
  EXPECT_TRUE(second.is_quiet());
  module.line->reply(VK_EOK);
  other->hang_up();
  ASSERT_TRUE(module.line->request().has_value());
  module.line->reply(VK_ETYPE);
  EXPECT_EQ(second.answer()->status, VK_ETYPE);
}

TEST(AModuleThatLosesAServingLine, IsNotAskedTwice) {
  TestCore core;
  Serving module(core);
  const auto other = module.module.serving();
  TestLine client(core);
  client.send("a");
  ASSERT_TRUE(core.until([&] { return module.line->has_something(); }));
  module.line->hang_up();
  EXPECT_EQ(client.answer()->status, VK_EIO);
  EXPECT_TRUE(other->is_quiet());
}

TEST(ACaller, IsToldWhenItsPatienceEndsAndTheLateAnswerIsDropped) {
  core::Settings settings;
  settings.patience = 50ms;
  TestCore core(settings);
  Serving slow(core);
  TestLine client(core);
  client.send("a");
  ASSERT_TRUE(slow.line->request().has_value());
  EXPECT_EQ(client.answer()->status, VK_ETIMEDOUT);
  slow.line->reply(VK_EOK, named("late", ""));
  EXPECT_TRUE(client.is_quiet());
  client.send("a");
  ASSERT_TRUE(slow.line->request().has_value());
  slow.line->reply(VK_EOK, named("on", "time"));
  EXPECT_EQ(outline(client.answer()->value), "object/2{on: string 'time'}");
}

TEST(ACaller, MayLeaveBeforeItsAnswerComes) {
  TestCore core;
  Serving serving(core);
  TestLine client(core);
  client.send("a");
  ASSERT_TRUE(serving.line->request().has_value());
  client.hang_up();
  serving.line->reply(VK_EOK);
  EXPECT_TRUE(core.until([&] { return core.server.lines() == 2; }));
  EXPECT_TRUE(core.until([&] { return core.dispatcher.idle(); }));
}

TEST(AChain, IsBrokenWhereItBecomesTooLong) {
  core::Settings settings;
  settings.chain = 3;
  TestCore core(settings);
  TestModule module(core, "demo");
  ASSERT_EQ(module.add("a", 1), int{VK_EOK});
  std::vector<std::unique_ptr<TestLine>> serving;
  std::vector<std::unique_ptr<TestLine>> calling;
  for (uint32_t depth = 0; depth != settings.chain; ++depth) {
    serving.push_back(module.serving());
    calling.push_back(module.calling());
  }
  TestLine client(core);
  client.send("a");
  for (uint32_t depth = 0; depth != settings.chain - 1; ++depth) {
    ASSERT_TRUE(serving[depth]->request().has_value());
    calling[depth]->send("a");
  }
  ASSERT_TRUE(serving.back()->request().has_value());
  EXPECT_EQ(calling.back()->call("a"), int{VK_EBUSY});
}

TEST(AModule, ThatHasItsAnswerIsNotAskedBeforeItHasGivenItsOwn) {
  TestCore core;
  Serving serving(core);
  const auto second = serving.module.serving();
  TestLine client(core);
  TestLine waiting(core);
  client.send("a");
  ASSERT_TRUE(serving.line->request().has_value());
  EXPECT_EQ(serving.module.main().call("nobody"), int{VK_ENOANSWER});
  waiting.send("a");
  EXPECT_TRUE(second->is_quiet());
  serving.line->reply(VK_EOK);
  EXPECT_TRUE(second->request().has_value());
}

TEST(AModule, ThatWaitsWithoutAnIdleServingLineIsBusy) {
  TestCore core;
  Serving serving(core);
  TestLine client(core);
  client.send("a");
  ASSERT_TRUE(serving.line->request().has_value());
  EXPECT_EQ(serving.module.main().call("a"), int{VK_EBUSY});
}

}  // namespace
}  // namespace vesk::test
