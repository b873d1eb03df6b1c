// Registrations of modules: what is taken, what is refused, and what they change.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/core/core_fixture.h"
#include "vesk/value/member.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;

TEST(HandlerAdd, IsForModulesOnly) {
  TestCore core;
  TestLine client(core);
  EXPECT_EQ(client.call("sys.handler.add", handler("a", 1)), int{VK_EAUTH});
  EXPECT_EQ(client.call("sys.handler.del", handler("a", 1)), int{VK_EAUTH});
}

TEST(HandlerAdd, RefusesArgumentsThatAreNone) {
  TestCore core;
  TestModule module(core, "demo");
  EXPECT_EQ(module.main().call("sys.handler.add"), int{VK_EINVAL});
  EXPECT_EQ(module.main().call("sys.handler.add", named("Path", "a")), int{VK_EINVAL});
  EXPECT_EQ(module.add("", 1), int{VK_EINVAL});
  EXPECT_EQ(module.add(".", 1), int{VK_EINVAL});
}

TEST(HandlerAdd, TakesPatternsOf512BytesAnd32Components) {
  TestCore core;
  TestModule module(core, "demo");
  EXPECT_EQ(module.add(std::string(513, 'a'), 1), int{VK_EINVAL});
  EXPECT_EQ(module.add(std::string(512, 'a'), 1), int{VK_EOK});
  std::string path = "a";
  for (int i = 1; i != 32; ++i) path += ".a";
  EXPECT_EQ(module.add(path, 2), int{VK_EOK});
  EXPECT_EQ(module.add(path + ".a", 3), int{VK_EINVAL});
}

TEST(HandlerAdd, RefusesPatternsAtOrBelowTheCoresOwn) {
  TestCore core;
  TestModule module(core, "demo");
  EXPECT_EQ(module.add("sys.handler.add", 1), int{VK_EEXIST});
  EXPECT_EQ(module.add("sys.handler.add.more", 1), int{VK_EEXIST});
  EXPECT_EQ(module.add("sys.handler", 1), int{VK_EOK});
  EXPECT_EQ(module.add("sys.handler.additional", 2), int{VK_EOK});
}

TEST(HandlerAdd, RefusesANumberThatIsInUse) {
  TestCore core;
  TestModule module(core, "demo");
  TestModule other(core, "other");
  EXPECT_EQ(module.add("a", 1), int{VK_EOK});
  EXPECT_EQ(module.add("b", 1), int{VK_EEXIST});
  EXPECT_EQ(other.add("a", 1), int{VK_EOK});
}

TEST(HandlerAdd, RefusesMoreThanAllModulesMayHave) {
  core::Settings settings;
  settings.handlers = 2;
  TestCore core(settings);
  TestModule module(core, "demo");
  TestModule other(core, "other");
  EXPECT_EQ(module.add("a", 1), int{VK_EOK});
  EXPECT_EQ(other.add("b", 1), int{VK_EOK});
  EXPECT_EQ(module.add("c", 2), int{VK_EBUSY});
  EXPECT_EQ(other.add("c", 2), int{VK_EBUSY});
  EXPECT_EQ(module.remove("a", 1), int{VK_EOK});
  EXPECT_EQ(other.add("c", 2), int{VK_EOK});
}

TEST(HandlerDel, RemovesExactlyOneRegistration) {
  TestCore core;
  TestModule module(core, "demo");
  const auto serving = module.serving();
  ASSERT_EQ(module.add("a", 1), int{VK_EOK});
  ASSERT_EQ(module.add("a", 2), int{VK_EOK});
  ASSERT_EQ(module.add("a.b", 3), int{VK_EOK});
  EXPECT_EQ(module.remove("a", 1), int{VK_EOK});
  EXPECT_EQ(module.remove("a", 1), int{VK_ENOENT});
  EXPECT_EQ(module.remove("a", 3), int{VK_ENOENT});
  TestLine client(core);
  client.send("a.b");
  for (const uint32_t number : {3U, 2U}) {
    const std::optional<Asked> asked = serving->request();
    ASSERT_TRUE(asked.has_value());
    EXPECT_EQ(asked->tag, number);
    serving->reply(VK_ENOANSWER);
  }
  EXPECT_EQ(client.answer()->status, VK_ENOANSWER);
}

TEST(HandlerDel, IsForTheModulesOwn) {
  TestCore core;
  TestModule module(core, "demo");
  TestModule other(core, "other");
  ASSERT_EQ(module.add("a", 1), int{VK_EOK});
  EXPECT_EQ(other.remove("a", 1), int{VK_ENOENT});
  EXPECT_EQ(module.remove("a", 1), int{VK_EOK});
}

TEST(HandlerDel, LeavesNoAnswerToWhoIsStillToBeAsked) {
  TestCore core;
  TestModule module(core, "demo");
  const auto serving = module.serving();
  ASSERT_EQ(module.add("a", 1), int{VK_EOK});
  ASSERT_EQ(module.add("a", 2), int{VK_EOK});
  TestLine client(core);
  client.send("a");
  ASSERT_TRUE(serving->request().has_value());
  EXPECT_EQ(module.remove("a", 2), int{VK_EOK});
  serving->reply(VK_ENOANSWER);
  EXPECT_EQ(client.answer()->status, VK_ENOANSWER);
}

TEST(AHandler, WhoseModuleEndsBeforeItsTurnIsGone) {
  TestCore core;
  TestModule first(core, "first");
  auto second = std::make_unique<TestModule>(core, "second");
  const auto serving = first.serving();
  ASSERT_EQ(first.add("a.b", 1), int{VK_EOK});
  ASSERT_EQ(second->add("a", 1), int{VK_EOK});
  TestLine client(core);
  client.send("a.b");
  ASSERT_TRUE(serving->request().has_value());
  second.reset();
  ASSERT_TRUE(core.until([&] { return core.dispatcher.roster().find("second") == nullptr; }));
  serving->reply(VK_ENOANSWER);
  EXPECT_EQ(client.answer()->status, VK_EIO);
}

TEST(Registrations, ComeInTheOrderOfTryingWithTheirModules) {
  TestCore core;
  TestModule one(core, "one");
  TestModule two(core, "two");
  ASSERT_EQ(one.add("dm.a", 1), int{VK_EOK});
  ASSERT_EQ(two.add("dm.b.$", 1), int{VK_EOK});
  ASSERT_EQ(two.add("dm.b.c", 2), int{VK_EOK});
  ASSERT_EQ(one.add("dm.a", 2), int{VK_EOK});
  ASSERT_EQ(one.add("other.b.c", 3), int{VK_EOK});
  std::vector<std::string> found;
  for (const core::Registration& row : core.dispatcher.registrations("dm")) {
    found.push_back(row.module + ' ' + row.pattern.back());
  }
  EXPECT_THAT(found, ElementsAre("two c", "two $", "one a", "one a"));
  EXPECT_LT(core.dispatcher.registrations("dm")[2].id, core.dispatcher.registrations("dm")[3].id);
}

}  // namespace
}  // namespace vesk::test
