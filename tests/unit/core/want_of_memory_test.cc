// Every allocation of the server and the dispatcher, refused one by one.

#include <gtest/gtest.h>

#include "core/alarm.h"
#include "core/await.h"
#include "tests/support/allocation_fault.h"
#include "tests/support/log_spy.h"
#include "tests/unit/core/core_fixture.h"
#include "tests/unit/core/module_fixture.h"
#include "vesk/value/member.h"

namespace vesk::test {
namespace {

class WantOfMemory : public testing::Test {
 protected:
  // Whether a peer that waits is answered, asked or dropped, and not forgotten.
  bool hears(TestLine& line) {
    return core_->until([&] { return line.has_something(); });
  }

  // The status of a request; nothing if its line is dropped.
  std::optional<uint32_t> ask(TestLine& line, const std::string& path,
                              const Value& value = nullptr) {
    line.send(path, value);
    EXPECT_TRUE(hears(line)) << path;
    const std::optional<Given> given = line.answer();
    return given.has_value() ? std::optional(given->status) : std::nullopt;
  }

  // What is refused for want of memory has changed nothing, and can be asked again unless the line
  // is dropped, too.
  void attach(TestLine& main) {
    const Value who = named("Name", "demo");
    vk_object_set_string(who.get(), "Version", "longer than a short text");
    if (ask(main, "sys.module.attach", who) != VK_ENOMEM) return;
    EXPECT_EQ(core_->dispatcher.roster().find("demo"), nullptr);
    EXPECT_EQ(ask(main, "sys.module.attach", who).value_or(VK_EOK), VK_EOK);
  }
  void add(TestLine& main) {
    if (ask(main, "sys.handler.add", handler("a", 1)) != VK_ENOMEM) return;
    EXPECT_EQ(ask(main, "sys.handler.add", handler("a", 1)).value_or(VK_EOK), VK_EOK);
  }

  // Answers what a serving line is asked, until a caller hears something.
  bool is_served_by(TestLine& serving, TestLine& caller) {
    const auto anything = [&] { return caller.has_something() || serving.has_something(); };
    while (core_->until(anything) && !caller.has_something() && serving.request().has_value()) {
      serving.reply(VK_EOK);
    }
    return hears(caller);
  }

  // A module, two callers of whom one has to wait in its queue, a call that the module makes
  // meanwhile, and a caller that leaves.
  void converse() {
    TestLine main(*core_);
    TestLine serving(*core_);
    attach(main);
    ask(serving, "sys.module.serve", named("Name", "demo"));
    add(main);
    TestLine first(*core_);
    TestLine second(*core_);
    first.send("a", named("x", "some text"));
    second.send("a");
    ask(main, "nobody");
    EXPECT_TRUE(is_served_by(serving, first));
    EXPECT_TRUE(is_served_by(serving, second));
    first.send("a");
    first.hang_up();
    ask(main, "sys.handler.del", handler("a", 1));
  }

  bool is_empty() const {
    return core_->server.lines() == 0 && core_->dispatcher.idle() &&
           core_->dispatcher.roster().find("demo") == nullptr;
  }

  core::Reserve reserve_;
  std::unique_ptr<TestCore> core_;
};

TEST_F(WantOfMemory, CostsAtMostARequestOrALine) {
  const LogSpy log;
  core::Settings settings;
  settings.waiting = 50ms;  // for who waits for a module that has lost its serving line
  bool struck = true;
  std::size_t strikes = 0;
  for (std::size_t strike_at = 1; struck && !HasFailure(); ++strike_at) {
    SCOPED_TRACE("allocation " + std::to_string(strike_at));
    AllocationFault fault(strike_at, AllocationFault::Extent::kOne);
    reserve_.refill();
    core_ = std::make_unique<TestCore>(settings);
    const std::size_t used = core::buffers.used();
    core_->fault = &fault;
    converse();
    EXPECT_TRUE(core_->until([this] { return is_empty(); }));
    core_->fault = nullptr;
    EXPECT_EQ(core::buffers.used(), used);
    converse();
    EXPECT_TRUE(core_->until([this] { return is_empty(); }));
    struck = fault.struck();
    strikes += struck ? 1U : 0U;
  }
  EXPECT_GT(strikes, 100U);
}

TEST(AnAlarm, IsNotSetWithoutMemory) {
  asio::io_context loop;
  core::Alarm alarm(loop.get_executor(), [] {});
  AllocationFault fault(1, AllocationFault::Extent::kOne);
  EXPECT_FALSE(fault.during([&] { return alarm.set(1h); }));
  EXPECT_FALSE(alarm.is_set());
  EXPECT_TRUE(alarm.set(1h));
}

TEST_F(ModuleTest, GetsTheClockThatThereWasNoMemoryForWhenItIsHeardOf) {
  begin();
  AllocationFault fault(1, AllocationFault::Extent::kAllFromThere);
  fault.during([this] { module->begin_delivery(); });
  EXPECT_TRUE(fault.struck());
  run_for(settings.answer * 3);
  EXPECT_FALSE(hung);
  module->heard();
  EXPECT_TRUE(until([this] { return hung; }));
}

TEST_F(ModuleTest, GetsTheClockThatThereWasNoMemoryForWhenItIsAskedFor) {
  begin();
  submit(1);
  AllocationFault fault(1, AllocationFault::Extent::kAllFromThere);
  fault.during([this] { module->heard(); });
  EXPECT_TRUE(fault.struck());
  run_for(settings.answer * 3);
  EXPECT_FALSE(hung);
  submit(2);
  EXPECT_TRUE(until([this] { return hung; }));
}

}  // namespace
}  // namespace vesk::test
