// How lines become a module's, and what happens when they end.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/log_spy.h"
#include "tests/unit/core/core_fixture.h"
#include "vesk/value/member.h"

namespace vesk::test {
namespace {

constexpr const char* kAttach = "sys.module.attach";
constexpr const char* kServe = "sys.module.serve";

uint32_t limit_in(const Given& given, const char* name) {
  const vk_value* const limits = vk_object_find_item(given.value.get(), "Limits");
  const vk_value* const limit = limits == nullptr ? nullptr : vk_object_find_item(limits, name);
  return limit != nullptr && limit->type == VK_TYPE_UNSIGNEDINT ? limit->payload.u32 : 0;
}

TEST(Attach, IsAnsweredWithTheVersionAndTheLimits) {
  core::Settings settings;
  settings.message.text = 1234;
  TestCore core(settings);
  TestLine line(core);
  line.send(kAttach, named("Name", "demo"));
  const std::optional<Given> given = line.answer();
  ASSERT_TRUE(given.has_value());
  EXPECT_EQ(given->status, VK_EOK);
  const vk_value* const version = vk_object_find_item(given->value.get(), "Version");
  ASSERT_NE(version, nullptr);
  EXPECT_STREQ(version->payload.text, VESK_VERSION);
  const std::vector<std::pair<const char*, uint32_t>> limits = {
      {"message", 1048576}, {"depth", 32},  {"nodes", 32768}, {"members", 4096},
      {"pairs", 8388608},   {"text", 1234}, {"path", 4352},   {"name", 256}};
  for (const auto& [name, limit] : limits) EXPECT_EQ(limit_in(*given, name), limit) << name;
}

TEST(Attach, TakesNamesOfLettersDigitsAndTwoSigns) {
  TestCore core;
  for (const char* const name : {"a", "Z9", "a-b_c", "0"}) {
    TestLine line(core);
    EXPECT_EQ(line.call(kAttach, named("Name", name)), int{VK_EOK}) << name;
  }
  for (const char* const name : {"", "a.b", "a b", "a\n", "\xC3\xA4"}) {
    TestLine line(core);
    EXPECT_EQ(line.call(kAttach, named("Name", name)), int{VK_EINVAL}) << name;
  }
  TestLine line(core);
  EXPECT_EQ(line.call(kAttach, named("Name", std::string(64, 'a'))), int{VK_EOK});
  TestLine other(core);
  EXPECT_EQ(other.call(kAttach, named("Name", std::string(65, 'a'))), int{VK_EINVAL});
}

TEST(Attach, RefusesARequestWithoutAName) {
  TestCore core;
  TestLine line(core);
  EXPECT_EQ(line.call(kAttach), int{VK_EINVAL});
  EXPECT_EQ(line.call(kAttach, named("Version", "1")), int{VK_EINVAL});
  Value number = new_object();
  ASSERT_EQ(vk_object_set_int(number.get(), "Name", 1), VK_EOK);
  EXPECT_EQ(line.call(kAttach, number), int{VK_EINVAL});
}

TEST(Attach, IsForALineThatIsNobodysYet) {
  TestCore core;
  TestModule module(core, "demo");
  EXPECT_EQ(module.main().call(kAttach, named("Name", "demo")), int{VK_EINVAL});
  EXPECT_EQ(module.main().call(kAttach, named("Name", "other")), int{VK_EINVAL});
  EXPECT_EQ(module.main().call(kServe, named("Name", "demo")), int{VK_EINVAL});
}

TEST(Attach, AnswersNothingBelowItsPath) {
  TestCore core;
  TestLine line(core);
  EXPECT_EQ(line.call("sys.module.attach.x", named("Name", "demo")), int{VK_ENOANSWER});
}

TEST(Attach, GivesAFurtherLineOfTheProcessToTheSameModule) {
  TestCore core;
  TestModule module(core, "demo");
  const auto serving = module.serving();
  const auto calling = module.calling();
  EXPECT_EQ(calling->call("sys.handler.add", handler("a", 1)), int{VK_EOK});
  EXPECT_EQ(module.remove("a", 1), int{VK_EOK});
}

TEST(Attach, RefusesAnotherProcessTheNameOfALivingModule) {
  TestCore core;
  const TestModule module(core, "demo");
  EXPECT_EQ(call_from_elsewhere(core, kAttach, named("Name", "demo")), int{VK_EEXIST});
}

TEST(Serve, RefusesAnotherProcessAndAnUnknownModule) {
  TestCore core;
  const TestModule module(core, "demo");
  EXPECT_EQ(call_from_elsewhere(core, kServe, named("Name", "demo")), int{VK_EAUTH});
  TestLine line(core);
  EXPECT_EQ(line.call(kServe, named("Name", "nobody")), int{VK_EAUTH});
  EXPECT_EQ(line.call(kServe), int{VK_EINVAL});
}

TEST(Serve, TurnsTheLineRoundOnlyWhenItIsGranted) {
  TestCore core;
  TestLine line(core);
  EXPECT_EQ(line.call(kServe, named("Name", "demo")), int{VK_EAUTH});
  EXPECT_EQ(line.call("nobody"), int{VK_ENOANSWER});
}

TEST(Attach, LetsAModuleComeBackBeforeItsEndIsHeardOf) {
  TestCore core;
  auto module = std::make_unique<TestModule>(core, "demo");
  ASSERT_EQ(module->add("a", 1), int{VK_EOK});
  auto fresh = std::make_unique<TestLine>(core);
  EXPECT_EQ(fresh->call("nobody"), int{VK_ENOANSWER});
  // Both are there when the loop looks: the old end, and the new request.
  fresh->send(kAttach, named("Name", "demo"));
  module->main().hang_up();
  const std::optional<Given> given = fresh->answer();
  ASSERT_TRUE(given.has_value());
  EXPECT_EQ(given->status, VK_EOK);
  EXPECT_TRUE(fresh->is_quiet());
  EXPECT_EQ(fresh->call("sys.handler.add", handler("a", 1)), int{VK_EOK});
}

TEST(Attach, IsLoggedWithTheVersionThatAModuleTells) {
  const LogSpy log;
  TestCore core;
  for (const char* const version : {"1.0\n", ""}) {
    const Value value = named("Name", "demo");
    ASSERT_EQ(vk_object_set_string(value.get(), "Version", version), VK_EOK);
    TestLine line(core);
    EXPECT_EQ(line.call(kAttach, value), int{VK_EOK});
  }
  ASSERT_THAT(log.lines(), testing::SizeIs(2));
  EXPECT_THAT(log.lines()[0].text, testing::HasSubstr("Module demo, version 1.0\\x0A, is process"));
  EXPECT_THAT(log.lines()[1].text, testing::HasSubstr("Module demo is process"));
}

TEST(Attach, DoesNotLookAtTheAction) {
  TestCore core;
  TestLine line(core);
  EXPECT_EQ(line.call(kAttach, named("Name", "demo"), 7), int{VK_EOK});
}

TEST(Attach, IsLoggedOnceAModuleAndTenTimesASecond) {
  const LogSpy log;
  TestCore core;
  TestModule module(core, "demo");
  const auto calling = module.calling();
  ASSERT_THAT(log.lines(), testing::SizeIs(1));
  EXPECT_THAT(log.lines()[0].text, testing::HasSubstr("Module demo is process"));
  for (int i = 0; i != 12; ++i) TestModule(core, "other" + std::to_string(i));
  EXPECT_THAT(log.lines(), testing::SizeIs(core::LogBudget::kMessagesInASecond));
}

TEST(ModuleEnd, TakesItsHandlersAndLinesAlong) {
  TestCore core;
  auto module = std::make_unique<TestModule>(core, "demo");
  const auto serving = module->serving();
  const auto calling = module->calling();
  ASSERT_EQ(module->add("a", 1), int{VK_EOK});
  module->main().hang_up();
  EXPECT_TRUE(serving->is_dropped());
  EXPECT_TRUE(calling->is_dropped());
  TestLine client(core);
  EXPECT_EQ(client.call("a"), int{VK_ENOANSWER});
  EXPECT_TRUE(core.until([&] { return core.server.lines() == 1; }));
}

TEST(ModuleEnd, DoesNotComeFromALineThatIsNotTheMainOne) {
  TestCore core;
  TestModule module(core, "demo");
  module.calling()->hang_up();
  auto serving = module.serving();
  serving->hang_up();
  EXPECT_TRUE(core.until([&] { return core.server.lines() == 1; }));
  EXPECT_EQ(module.add("a", 1), int{VK_EOK});
}

TEST(ModuleEnd, IsToldToWhoWatchesAsIsItsBeginning) {
  TestCore core;
  std::vector<std::string> told;
  core.dispatcher.watch_modules([&](const std::string& name, bool attached) {
    told.push_back((attached ? "+" : "-") + name);
  });
  auto module = std::make_unique<TestModule>(core, "demo");
  module->calling();
  module.reset();
  EXPECT_TRUE(core.until([&] { return told.size() == 2; }));
  EXPECT_THAT(told, testing::ElementsAre("+demo", "-demo"));
}

}  // namespace
}  // namespace vesk::test
