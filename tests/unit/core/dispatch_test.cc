#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/core/core_fixture.h"
#include "vesk/value/by_path.h"
#include "vesk/value/member.h"

namespace vesk::test {
namespace {

TEST(Dispatch, AnswersWhatNobodyRegisteredForWithNoAnswer) {
  TestCore core;
  TestLine client(core);
  client.send("dm.Device.Demo");
  const std::optional<Given> given = client.answer();
  ASSERT_TRUE(given.has_value());
  EXPECT_EQ(given->status, VK_ENOANSWER);
  EXPECT_EQ(given->value->type, VK_TYPE_ANY);
}

TEST(Dispatch, HandsARequestOnWithTheHandlersNumberAsItsTag) {
  TestCore core;
  TestModule module(core, "demo");
  const auto serving = module.serving();
  ASSERT_EQ(module.add("dm.Device.Demo", 7), int{VK_EOK});
  TestLine client(core);
  client.send("dm.Device.Demo.Name.", named("x", "y"), 5);
  const std::optional<Asked> asked = serving->request();
  ASSERT_TRUE(asked.has_value());
  EXPECT_EQ(asked->tag, 7U);
  EXPECT_EQ(asked->path, "dm.Device.Demo.Name.");
  EXPECT_EQ(asked->action, 5U);
  EXPECT_EQ(outline(asked->value), "object/2{x: string 'y'}");
}

TEST(Dispatch, GivesTheModulesAnswerToTheCaller) {
  TestCore core;
  TestModule module(core, "demo");
  const auto serving = module.serving();
  ASSERT_EQ(module.add("dm.Device", 1), int{VK_EOK});
  TestLine client(core);
  client.send("dm.Device");
  ASSERT_TRUE(serving->request().has_value());
  serving->reply(VK_ETYPE, named("FaultString", "no"));
  const std::optional<Given> given = client.answer();
  ASSERT_TRUE(given.has_value());
  EXPECT_EQ(given->status, VK_ETYPE);
  EXPECT_EQ(outline(given->value), "object/2{FaultString: string 'no'}");
}

TEST(Dispatch, GoesOnToTheNextHandlerOnlyAfterNoAnswer) {
  TestCore core;
  TestModule module(core, "demo");
  const auto serving = module.serving();
  ASSERT_EQ(module.add("dm.Device", 1), int{VK_EOK});
  ASSERT_EQ(module.add("dm.Device.Demo", 2), int{VK_EOK});
  TestLine client(core);
  client.send("dm.Device.Demo", named("x", "y"));
  const std::optional<Asked> first = serving->request();
  ASSERT_TRUE(first.has_value());
  EXPECT_EQ(first->tag, 2U);
  serving->reply(VK_ENOANSWER, named("ignored", ""));
  const std::optional<Asked> second = serving->request();
  ASSERT_TRUE(second.has_value());
  EXPECT_EQ(second->tag, 1U);
  EXPECT_EQ(outline(second->value), "object/2{x: string 'y'}");
  serving->reply(VK_EIO);
  const std::optional<Given> given = client.answer();
  ASSERT_TRUE(given.has_value());
  EXPECT_EQ(given->status, VK_EIO);
}

TEST(Dispatch, LetsModulesCallEachOther) {
  TestCore core;
  TestModule one(core, "one");
  TestModule two(core, "two");
  const auto one_serves = one.serving();
  const auto two_serves = two.serving();
  ASSERT_EQ(one.add("one", 1), int{VK_EOK});
  ASSERT_EQ(two.add("two", 1), int{VK_EOK});
  one.main().send("two");
  ASSERT_TRUE(two_serves->request().has_value());
  two.main().send("one");
  ASSERT_TRUE(one_serves->request().has_value());
  one_serves->reply(VK_EOK, named("from", "one"));
  const std::optional<Given> inner = two.main().answer();
  ASSERT_TRUE(inner.has_value());
  EXPECT_EQ(outline(inner->value), "object/2{from: string 'one'}");
  two_serves->reply(VK_EOK, named("from", "two"));
  const std::optional<Given> outer = one.main().answer();
  ASSERT_TRUE(outer.has_value());
  EXPECT_EQ(outline(outer->value), "object/2{from: string 'two'}");
}

}  // namespace
}  // namespace vesk::test
