#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/manager_sets.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(ManagerSet, ChangesParameters) {
  EXPECT_EQ(set({{"Device.A", text("new")}, {"Device.B", integer(5)}}), done(0));
  EXPECT_EQ(device.parameters["Device.A"], text("new"));
  EXPECT_EQ(device.parameters["Device.B"], integer(5));
}

TEST_F(ManagerSet, RollsBackFirstSetsInOrderAndCommitsOnce) {
  set({{"Device.B", text("b")}, {"Device.A", text("a")}});
  EXPECT_THAT(device.asked, ElementsAre("provide Device.B", "provide Device.A", "rollback Device",
                                        "set Device.B", "set Device.A", "commit Device"));
}

TEST_F(ManagerSet, CommitsAtThePathOfThePattern) {
  Provider& host = router.add({.module = "host",
                               .pattern = "Device.Hosts.$",
                               .parameters = {{"Device.Hosts.3.Name", text("h")}},
                               .writable = {"Device.Hosts.3.Name"}});
  EXPECT_EQ(set({{"Device.Hosts.3.Name", text("new")}}), done(0));
  EXPECT_THAT(host.asked, ElementsAre("provide Device.Hosts.3.Name", "rollback Device.Hosts.$",
                                      "set Device.Hosts.3.Name", "commit Device.Hosts.$"));
}

TEST_F(ManagerSet, HandsOverValueAndFlags) {
  ask(kSet, object({{"ParameterList", list({{"Device.A", text("new")}})},
                    {"dm-flags", unsigned_integer(5)}}));
  EXPECT_EQ(device.requests.at(2).value,
            object({{"Value", text("new")}, {"dm-flags", unsigned_integer(4)}}));
}

TEST_F(ManagerSet, TakesTheFirstHandlerThatProvidesTheName) {
  Provider& deeper = router.add(
      {.module = "deeper", .pattern = "Device.A", .parameters = {{"Device.A.X", text("x")}}});
  EXPECT_EQ(set({{"Device.A", text("new")}}).status, VK_ENOENT);
  EXPECT_THAT(deeper.asked, ElementsAre("provide Device.A", "rollback Device.A", "set Device.A",
                                        "rollback Device.A"));
  EXPECT_THAT(device.asked, IsEmpty());
}

TEST_F(ManagerSet, GivesTheHighestStatusThatAHandlerSet) {
  device.additions = {{"set Device.A", {"Status", integer(1)}},
                      {"set Device.B", {"Status", integer(0)}}};
  EXPECT_EQ(set({{"Device.A", text("a")}, {"Device.B", text("b")}}), done(1));
  device.additions = {{"commit Device", {"Status", integer(7)}}};
  EXPECT_EQ(set({{"Device.A", text("a")}}), done(1));
  device.additions = {{"set Device.A", {"Status", integer(-5)}}};
  EXPECT_EQ(set({{"Device.A", text("a")}}), done(0));
}

TEST_F(ManagerSet, OfNothingIsDone) {
  EXPECT_EQ(set({}), done(0));
  EXPECT_THAT(device.asked, IsEmpty());
}

TEST_F(ManagerSet, ShowsNothingBeforeTheCommit) {
  Tree at_commit;
  device.before["commit Device"] = [&] { at_commit = device.parameters["Device.A"]; };
  set({{"Device.A", text("new")}});
  EXPECT_EQ(at_commit, text("a"));
}

TEST_F(ManagerSet, TellsEveryFaultAndChangesNothing) {
  Provider& other = add_other();
  other.refusals["set Other.B"] = VK_EVALUE;
  EXPECT_EQ(set({{"Device.A", text("new")},
                 {"Other.B", text("new")},
                 {"Other.A", text("new")},
                 {"Device.Fixed", text("new")}}),
            refused(VK_EVALUE, 9007, {{"Other.B", 9007}, {"Device.Fixed", 9008}}));
  EXPECT_EQ(device.parameters["Device.A"], text("a"));
  EXPECT_EQ(other.parameters["Other.A"], text("a"));
  EXPECT_EQ(device.count("rollback Device"), 2);
  EXPECT_EQ(other.count("rollback Other"), 2);
  EXPECT_EQ(device.count("commit Device") + other.count("commit Other"), 0);
}

TEST_F(ManagerSet, ChecksNamesAndTypesBeforeAnyHandlerIsAsked) {
  EXPECT_EQ(set({{"Device.A", object({})},
                 {"Device.B", array({})},
                 {"Device.C", any()},
                 {"Device.", text("x")},
                 {"", text("x")},
                 {"Device..A", text("x")},
                 {"Device.007", text("x")},
                 {"Nowhere.A", text("x")}}),
            refused(VK_ETYPE, 9006,
                    {{"Device.A", 9006},
                     {"Device.B", 9006},
                     {"Device.C", 9006},
                     {"Device.", 9005},
                     {"", 9005},
                     {"Device..A", 9005},
                     {"Device.007", 9005},
                     {"Nowhere.A", 9005}}));
  EXPECT_THAT(device.asked, IsEmpty());
}

TEST_F(ManagerSet, KnowsNoParameterOfAnObjectsNameWhateverItsHandlerSays) {
  device.objects = {"Device.Object"};
  for (const uint32_t status : {VK_ERO, VK_ETYPE, VK_EVALUE, VK_EINVAL, VK_ENOANSWER}) {
    device.refusals["set Device.Object"] = status;
    EXPECT_EQ(set({{"Device.Object", text("x")}, {"Device.Fixed", text("x")}}),
              refused(VK_ENOENT, 9005, {{"Device.Object", 9005}, {"Device.Fixed", 9008}}));
  }
  EXPECT_EQ(device.asked.back(), "rollback Device");
}

TEST_F(ManagerSet, LeavesARefusalOfWhatMayBeAnObjectAsItIsIfNobodyCanTell) {
  device.objects = {"Device.Object"};
  device.refusals = {{"set Device.Object", VK_ERO}, {"level Device.Object", VK_ETIMEDOUT}};
  EXPECT_EQ(set({{"Device.Object", text("x")}}), refused(VK_ERO, 9008, {{"Device.Object", 9008}}));
  EXPECT_EQ(device.asked.back(), "rollback Device");
}

TEST_F(ManagerSet, TellsTheFaultsOfNamesWithThoseThatHandlersFind) {
  device.refusals["set Device.B"] = VK_ETYPE;
  EXPECT_EQ(set({{"Device.A", text("new")},
                 {"Device.B", text("new")},
                 {"Nowhere.A", text("new")},
                 {"Device.Fixed", text("new")},
                 {"Device.", text("new")},
                 {"Device.A", text("newer")}}),
            refused(VK_ENOENT, 9005,
                    {{"Device.", 9005},
                     {"Device.A", 9003},
                     {"Nowhere.A", 9005},
                     {"Device.B", 9006},
                     {"Device.Fixed", 9008}}));
  EXPECT_EQ(device.parameters["Device.A"], text("a"));
  EXPECT_TRUE(device.staged.empty());
  EXPECT_EQ(device.asked.back(), "rollback Device");
  EXPECT_EQ(device.count("commit Device"), 0);
}

// As many assignments to names that are none, each so long.
Assignments bad_names(std::size_t count, std::size_t length) {
  const std::string bad(length, '$');
  return Assignments(count, {bad + '.', text("x")});
}

std::size_t faults_in(const Told& told) { return told.value.items.at(2).items.size(); }

TEST_F(ManagerSet, TellsTheFirstOfVeryManyFaults) {
  const Told told = set(bad_names(3000, 10));
  EXPECT_EQ(told.status, VK_ENOENT);
  EXPECT_EQ(told.value.items.at(0), refused(VK_ENOENT, 9005).value.items[0]);
  EXPECT_EQ(faults_in(told), 1024U);
}

TEST_F(ManagerSet, TellsNoMoreFaultsThanAnAnswerCanCarry) {
  const Told told = set(bad_names(1000, 2000));
  EXPECT_EQ(told.status, VK_ENOENT);
  EXPECT_GT(faults_in(told), 200U);
  EXPECT_LE(bytes_of(told.value).size() + sizeof(uint32_t), options.limits.message);
}

TEST_F(ManagerSet, RefusesThoughAnAnswerCanCarryNoFault) {
  options.limits.nodes = 6;
  const Told told = set(bad_names(1, 10));
  EXPECT_EQ(told.status, VK_ENOENT);
  EXPECT_EQ(faults_in(told), 0U);
}

TEST_F(ManagerSet, RefusesAMemberOfAnotherTypeAndChangesNothing) {
  const Tree assignments = list({{"Device.A", text("new")}});
  const std::vector<std::pair<std::string, Tree>> wrong = {{"Try", integer(1)},
                                                           {"Try", text("1")},
                                                           {"ParameterKey", integer(1)},
                                                           {"dm-flags", integer(1)}};
  for (const auto& member : wrong) {
    EXPECT_EQ(ask(kSet, object({{"ParameterList", assignments}, member})), refused(VK_EINVAL, 9003))
        << member.first;
  }
  EXPECT_THAT(device.asked, IsEmpty());
}

TEST_F(ManagerSet, TakesANullMemberForOneThatIsMissing) {
  const Tree assignments = list({{"Device.A", text("new")}});
  EXPECT_EQ(ask(kSet, object({{"ParameterList", assignments},
                              {"ParameterKey", any()},
                              {"Try", any()},
                              {"dm-flags", any()}})),
            done(0));
  EXPECT_EQ(device.parameters["Device.A"], text("new"));
  EXPECT_EQ(key(), "");
}

TEST_F(ManagerSet, RefusesANameThatComesTwice) {
  EXPECT_EQ(set({{"Device.A", text("x")}, {"Device.B", text("x")}, {"Device.A", text("y")}}),
            refused(VK_EINVAL, 9003, {{"Device.A", 9003}}));
  EXPECT_EQ(device.parameters["Device.A"], text("a"));
}

TEST_F(ManagerSet, NeedsAList) {
  const Tree nameless = array({object({{"Value", text("x")}})});
  const Tree valueless = array({object({{"Name", text("Device.A")}})});
  for (const Tree& request :
       {any(), object({}), object({{"ParameterList", object({})}}),
        object({{"ParameterList", array({text("Device.A")})}}),
        object({{"ParameterList", nameless}}), object({{"ParameterList", valueless}})}) {
    EXPECT_EQ(ask(kSet, request), refused(VK_EINVAL, 9003));
  }
}

TEST_F(ManagerSet, RefusesWhereAHandlerCannotRollBack) {
  device.refusals["rollback Device"] = VK_ETIMEDOUT;
  EXPECT_EQ(set({{"Device.A", text("x")}}), refused(VK_ETIMEDOUT, 9002, {{"Device.A", 9002}}));
  EXPECT_EQ(device.count("set Device.A"), 0);
}

TEST_F(ManagerSet, PassesOnWhyAHandlerDidNotSayWhatItProvides) {
  device.refusals["provide Device.A"] = VK_EBUSY;
  EXPECT_EQ(set({{"Device.A", text("x")}}), refused(VK_EBUSY, 9004, {{"Device.A", 9004}}));
}

TEST_F(ManagerSet, PassesOverAHandlerThatVanishesBeforeItProvides) {
  Provider& deeper = router.add({.module = "deeper", .pattern = "Device.A"});
  deeper.before["provide Device.A"] = [&] { router.remove("Device.A"); };
  EXPECT_EQ(set({{"Device.A", text("new")}}), done(0));
}

}  // namespace
}  // namespace vesk::test
