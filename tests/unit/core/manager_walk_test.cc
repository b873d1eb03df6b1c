// How answers of several handlers become one.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "core/manager_walk.h"
#include "tests/support/log_spy.h"
#include "tests/support/manager_bench.h"

namespace vesk::test {
namespace {

class ManagerWalk : public ManagerBench {
 protected:
  Told values(const std::vector<std::string>& names) {
    return ask("cwmp.rpc.GetParameterValues", object({{"ParameterNames", texts(names)}}));
  }

  Told next_names(const std::string& path) {
    return ask("cwmp.rpc.GetParameterNames",
               object({{"ParameterPath", text(path)}, {"NextLevel", boolean(1)}}));
  }

  // Answers below "Device".
  static Told device(std::initializer_list<Tree::Named> members) {
    return answered({{"ParameterList", object({{"Device", object(members)}})}});
  }

  // A module whose parameters have their own names as values.
  Provider& add(const std::string& pattern, const std::vector<std::string>& names,
                const std::string& mark = "") {
    Provider provider{.module = pattern + mark, .pattern = pattern};
    for (const std::string& name : names) provider.parameters[name] = text(name + mark);
    return router.add(provider);
  }
};

TEST_F(ManagerWalk, MergesHandlersAboveAtAndBelowAPath) {
  add("Device", {"Device.A.X", "Device.B"});
  add("Device.A", {"Device.A.Y"});
  add("Device.A.C", {"Device.A.C.Z"});
  EXPECT_EQ(values({"Device.A."}),
            device({{"A", object({{"X", text("Device.A.X")},
                                  {"Y", text("Device.A.Y")},
                                  {"C", object({{"Z", text("Device.A.C.Z")}})}})}}));
}

TEST_F(ManagerWalk, LetsTheDeeperHandlerWin) {
  add("Device", {"Device.A.X", "Device.A.Y"}, " above");
  add("Device.A", {"Device.A.X"}, " deeper");
  EXPECT_EQ(
      values({"Device."}),
      device({{"A", object({{"X", text("Device.A.X deeper")}, {"Y", text("Device.A.Y above")}})}}));
  EXPECT_EQ(values({"Device.A.X"}), device({{"A", object({{"X", text("Device.A.X deeper")}})}}));
}

TEST_F(ManagerWalk, LetsADeeperObjectReplaceAParameterAndTheOtherWayRound) {
  add("Device", {"Device.A", "Device.B.C"}, " above");
  add("Device.A", {"Device.A.X"});
  add("Device.B", {"Device.B"});
  EXPECT_EQ(values({"Device."}),
            device({{"A", object({{"X", text("Device.A.X")}})}, {"B", text("Device.B")}}));
}

TEST_F(ManagerWalk, LetsTheOldestOfOnePatternWin) {
  add("Device", {"Device.A", "Device.B"}, " old");
  add("Device", {"Device.A", "Device.C"}, " new");
  EXPECT_EQ(values({"Device."}), device({{"A", text("Device.A old")},
                                         {"C", text("Device.C new")},
                                         {"B", text("Device.B old")}}));
  EXPECT_EQ(values({"Device.A"}), device({{"A", text("Device.A old")}}));
}

TEST_F(ManagerWalk, LetsALiteralPatternWinOverATemplate) {
  add("Device.T.$", {"Device.T", "Device.T.1.X"}, " any");
  add("Device.T.1", {"Device.T.1.X"}, " one");
  add("Device", {"Device.T.1.Y"});
  EXPECT_EQ(values({"Device.T.1."}),
            device({{"T", object({{"1", object({{"Y", text("Device.T.1.Y")},
                                                {"X", text("Device.T.1.X one")}})}})}}));
}

TEST_F(ManagerWalk, AsksATemplateForEachInstanceOfItsTable) {
  add("Device.T", {"Device.T.2.Name", "Device.T.5.Name", "Device.T.Size"});
  Provider& extra = add("Device.T.$.Extra", {"Device.T.2.Extra.E", "Device.T.9.Extra.E"});
  EXPECT_EQ(
      values({"Device."}),
      device({{"T", object({{"2", object({{"Name", text("Device.T.2.Name")},
                                          {"Extra", object({{"E", text("Device.T.2.Extra.E")}})}})},
                            {"5", object({{"Name", text("Device.T.5.Name")}})},
                            {"Size", text("Device.T.Size")}})}}));
  EXPECT_EQ(extra.asked,
            (std::vector<std::string>{"get Device.T.2.Extra", "get Device.T.5.Extra"}));
}

TEST_F(ManagerWalk, FollowsTemplatesInTemplates) {
  add("Device.T", {"Device.T.1.U.3.Name"});
  add("Device.T.$.U.$.V.W", {"Device.T.1.U.3.V.W.X"});
  EXPECT_EQ(
      values({"Device.T.1.U.3.V."}),
      device(
          {{"T",
            object(
                {{"1",
                  object({{"U",
                           object({{"3",
                                    object({{"V",
                                             object({{"W",
                                                      object({{"X", text("Device.T.1.U.3.V.W."
                                                                         "X")}})}})}})}})}})}})}}));
  EXPECT_EQ(values({"Device."}).value.items[0].items[0].items[0].items.size(), 1U);
}

TEST_F(ManagerWalk, KnowsNoInstanceThatTheTableDoesNotName) {
  add("Device.T", {"Device.T.1.Name"});
  add("Device.T.$.Extra.More", {});
  EXPECT_EQ(values({"Device.T.2."}), refused(VK_ENOENT, 9005, {{"Device.T.2.", 9005}}));
  EXPECT_EQ(next_names("Device.T.2."), refused(VK_ENOENT, 9005, {{"Device.T.2.", 9005}}));
  EXPECT_EQ(values({"Device.T.1.Extra."}),
            device({{"T", object({{"1", object({{"Extra", object({})}})}})}}));
}

TEST_F(ManagerWalk, LetsComponentsAboveRegistrationsExist) {
  add("Device.A.B.C", {"Device.A.B.C.X"});
  EXPECT_EQ(next_names(""), answered({{"ParameterList", object({{"Device", object({})}})},
                                      {"Objects", array({})}}));
  EXPECT_EQ(next_names("Device.A."),
            answered({{"ParameterList",
                       object({{"Device", object({{"A", object({{"B", object({})}})}})}})},
                      {"Objects", array({})}}));
  EXPECT_EQ(
      values({"Device."}),
      device({{"A", object({{"B", object({{"C", object({{"X", text("Device.A.B.C.X")}})}})}})}}));
}

TEST_F(ManagerWalk, KnowsWhatIsRegisteredEvenIfItHoldsNothing) {
  add("Device.A.B", {});
  EXPECT_EQ(values({"Device.A."}), device({{"A", object({})}}));
}

TEST_F(ManagerWalk, TakesNoAnswerToLevelForALeafAndAnEmptyOneForAnObject) {
  Provider& provider = add("Device", {"Device.Leaf"});
  provider.objects = {"Device.Empty"};
  EXPECT_EQ(next_names("Device."),
            answered({{"ParameterList",
                       object({{"Device", object({{"Leaf", boolean(0)}, {"Empty", object({})}})}})},
                      {"Objects", array({})}}));
}

TEST_F(ManagerWalk, LeavesOutAModuleThatVanishes) {
  add("Device", {"Device.A"});
  Provider& other = add("Device.B", {"Device.B.X"});
  other.before["get Device.B"] = [&] { router.remove("Device.B"); };
  EXPECT_EQ(values({"Device."}), device({{"A", text("Device.A")}}));
}

TEST_F(ManagerWalk, AsksTheNextOfAParameterIfAModuleVanishes) {
  add("Device", {"Device.B.X"});
  Provider& other = add("Device.B", {"Device.B.X"}, " vanishing");
  other.before["get Device.B.X"] = [&] { router.remove("Device.B"); };
  EXPECT_EQ(values({"Device.B.X"}), device({{"B", object({{"X", text("Device.B.X")}})}}));
}

TEST_F(ManagerWalk, KnowsNoParameterOfAModuleThatVanishes) {
  Provider& other = add("Device.B", {"Device.B.X"});
  other.before["get Device.B.X"] = [&] { router.remove("Device.B"); };
  EXPECT_EQ(values({"Device.B.X"}), refused(VK_ENOENT, 9005, {{"Device.B.X", 9005}}));
}

TEST_F(ManagerWalk, DropsChildrenThatNothingCanBeCalled) {
  const LogSpy log;
  Provider& provider = add("Device", {});
  provider.objects = {"Device.Good", "Device.7", "Device.a.b"};
  provider.additions["level Device"] = {"level", object({{"Good", any()},
                                                         {"a.b", any()},
                                                         {".", any()},
                                                         {"$", any()},
                                                         {"01", any()},
                                                         {"7", any()},
                                                         {"7a", any()},
                                                         {std::string(257, 'x'), any()}})};
  EXPECT_EQ(next_names("Device.").value.items.at(0),
            object({{"ParameterList",
                     object({{"Device", object({{"Good", object({})}, {"7", object({})}})}})}})
                .items[0]);
  EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(ManagerWalk, DropsValuesThatNothingCanBeCalled) {
  const LogSpy log;
  Provider& provider = add("Device", {});
  const Tree inner = object({{"$", text("x")}, {"Good", text("good")}, {"Bad.", object({})}});
  provider.objects = {"Device"};
  provider.additions["get Device"] = {"ParameterList", object({{"A", inner}, {"007", inner}})};
  EXPECT_EQ(values({"Device."}), device({{"A", object({{"Good", text("good")}})}}));
  EXPECT_EQ(log.lines().size(), 1U);
}

TEST_F(ManagerWalk, LaysWhatItDropsToWhoeverAskedAndLogsNothingItself) {
  const LogSpy log;
  std::vector<std::string> complaints;
  options.complain = [&](const core::Peer& cause, const std::string& text) {
    complaints.push_back(std::to_string(cause.pid) + ": " + text);
  };
  caller = std::make_shared<const core::Call>(core::Call{nullptr, 1, {5, 5, 77, false}, ""});
  Provider& provider = add("Device", {});
  provider.objects = {"Device"};
  provider.additions["level Device"] = {"level", object({{"a\n.", any()}})};
  next_names("Device.");
  provider.additions["get Device"] = {"ParameterList", object({{"$", text("x")}})};
  values({"Device."});
  EXPECT_THAT(complaints,
              testing::ElementsAre("77: The module Device names a child that nothing can be "
                                   "called, a\\x0A., of Device",
                                   "77: The module Device names a child that nothing can be "
                                   "called, $, of Device"));
  EXPECT_TRUE(log.lines().empty());
}

TEST_F(ManagerWalk, DropsChildrenBeyondWhatCanBeAskedFor) {
  const LogSpy log;
  options.limits.path = 12;
  Provider& provider = add("Device", {});
  provider.objects = {"Device.AB", "Device.ABC"};
  EXPECT_EQ(
      next_names("Device.").value.items.at(0),
      object({{"ParameterList", object({{"Device", object({{"AB", object({})}})}})}}).items[0]);
}

TEST_F(ManagerWalk, DoesNotHideThatAModuleFailed) {
  add("Device", {"Device.A"});
  Provider& other = add("Device.B", {"Device.B.X"});
  const std::pair<uint32_t, uint32_t> statuses[] = {
      {VK_EIO, 9002}, {VK_ETIMEDOUT, 9002}, {VK_EBUSY, 9004}};
  for (const auto& [status, code] : statuses) {
    other.refusals = {{"get Device.B", status}};
    EXPECT_EQ(values({"Device."}), refused(status, code, {{"Device.B", code}}));
  }
}

TEST_F(ManagerWalk, AsksATableOnceForOneRequest) {
  Provider& table = add("Device.T", {"Device.T.1.Name"});
  add("Device.T.$.A", {"Device.T.1.A.X"});
  add("Device.T.$.B", {"Device.T.1.B.X"});
  EXPECT_EQ(values({"Device."}).status, VK_EOK);
  EXPECT_EQ(table.count("level Device.T"), 1);
}

TEST_F(ManagerWalk, StopsAsSoonAsAnswersAreFarBeyondAMessage) {
  options.limits.message = 1000;
  std::vector<std::string> names;
  for (int at = 1; at != 100; ++at) names.push_back("Device.T." + std::to_string(at) + ".X");
  add("Device.T", {}).objects = {names.begin(), names.end()};
  Provider& large = add("Device.T.$.X", {}, std::string(500, 'x'));
  for (const std::string& name : names) large.parameters[name] = text(std::string(500, 'x'));
  EXPECT_EQ(values({"Device."}), refused(VK_ENOMEM, 9004));
  EXPECT_LE(large.asked.size(), 10U);
}

TEST_F(ManagerWalk, RefusesAnAnswerThatTheBuffersHaveNoRoomFor) {
  add("Device", {"Device.A", "Device.B"}, std::string(10'000, 'x'));
  const std::size_t limit = 16U << 20;
  core::buffers.set_limit(core::buffers.used() + 25'000);
  EXPECT_EQ(values({"Device.A", "Device.B"}), refused(VK_ENOMEM, 9004));
  core::buffers.set_limit(limit);
}

TEST_F(ManagerWalk, StopsAsSoonAsTemplatesStandForTooManyPaths) {
  options.limits.nodes = 100;
  Provider& tables = add("Device.T", {});
  for (int at = 1; at != 60; ++at) {
    const std::string inner = "Device.T." + std::to_string(at) + ".U.";
    for (int below = 1; below != 60; ++below) tables.objects.insert(inner + std::to_string(below));
  }
  add("Device.T.$.U.$.X", {});
  tables.refusals["get Device.T"] = VK_ENOANSWER;
  EXPECT_EQ(values({"Device."}), refused(VK_ENOMEM, 9004));
  EXPECT_LE(tables.asked.size(), 10U);
}

TEST_F(ManagerWalk, CountsThePathsOfEachTemplate) {
  options.limits.nodes = 100;
  Provider& table = add("Device.T", {});
  for (int at = 1; at != 60; ++at) table.objects.insert("Device.T." + std::to_string(at));
  table.refusals["get Device.T"] = VK_ENOANSWER;
  Provider* last = nullptr;
  for (const char* const name : {"A", "B", "C", "D", "E", "F", "G", "H"}) {
    last = &add(std::string("Device.T.$.") + name, {});
  }
  EXPECT_EQ(values({"Device."}), refused(VK_ENOMEM, 9004));
  EXPECT_EQ(last->asked.size(), 59U);
}

TEST_F(ManagerWalk, KeepsTheNamesOfATableOnce) {
  add("Device.T", {"Device.T.1.Name"});
  const core::dm::Heap heap;
  core::dm::Walk walk(router, caller, 0, options, heap);
  using Names = std::shared_ptr<const core::dm::Names>;
  std::vector<Names> told;
  for (int time = 0; time != 2; ++time) {
    asio::co_spawn(loop, walk.level({"Device", "T"}),
                   [&](const std::exception_ptr&, Names names) { told.push_back(names); });
    run();
  }
  ASSERT_EQ(told.size(), 2U);
  EXPECT_TRUE(told[0]->has("1"));
  EXPECT_EQ(told[0], told[1]);
}

TEST_F(ManagerWalk, GoesOnIfTheDeeperHandlerHasNothingToSay) {
  add("Device", {"Device.A.X"}, " above");
  Provider& deeper = add("Device.A", {"Device.A.Y"});
  const Told above = device({{"A", object({{"X", text("Device.A.X above")}})}});
  deeper.parameters["Device.A.X"] = any();
  EXPECT_EQ(values({"Device.A.X"}), above);
  deeper.parameters.erase("Device.A.X");
  deeper.refusals["get Device.A.X"] = VK_EOK;  // a yes without a value
  EXPECT_EQ(values({"Device.A.X"}), above);
}

}  // namespace
}  // namespace vesk::test
