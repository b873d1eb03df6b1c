// Several handlers in one set, trials, and several sets at a time.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/manager_sets.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;

class ManagerSetTogether : public ManagerSet {
 protected:
  Tree request(const std::string& name, const Tree& value) {
    return object({{"ParameterList", list({{name, value}})}});
  }
};

TEST_F(ManagerSetTogether, CommitsEachHandlerOnce) {
  Provider& other = add_other();
  EXPECT_EQ(set({{"Device.A", text("1")},
                 {"Other.A", text("2")},
                 {"Device.B", text("3")},
                 {"Other.B", text("4")}}),
            done(0));
  EXPECT_EQ(device.count("rollback Device"), 1);
  EXPECT_EQ(device.count("commit Device"), 1);
  EXPECT_EQ(other.count("rollback Other"), 1);
  EXPECT_EQ(other.count("commit Other"), 1);
}

TEST_F(ManagerSetTogether, ReachesTwoHandlersOfOnePatternByTheirNumbers) {
  Provider& twin = router.add({.module = "twin",
                               .pattern = "Device",
                               .parameters = {{"Device.Twin", text("t")}},
                               .writable = {"Device.Twin"}});
  EXPECT_EQ(set({{"Device.A", text("1")}, {"Device.Twin", text("2")}}), done(0));
  EXPECT_EQ(twin.parameters["Device.Twin"], text("2"));
  EXPECT_EQ(twin.count("commit Device"), 1);
  EXPECT_EQ(device.count("commit Device"), 1);
}

TEST_F(ManagerSetTogether, DropsWhatAnInterruptedRequestLeft) {
  device.staged["Device.B"] = text("left over");
  EXPECT_EQ(set({{"Device.A", text("new")}}), done(0));
  EXPECT_EQ(device.parameters["Device.B"], text("b"));
}

TEST_F(ManagerSetTogether, TriesWithoutChanging) {
  device.additions = {{"set Device.A", {"Status", integer(1)}}};
  EXPECT_EQ(try_set({{"Device.A", text("new")}}), done(1));
  EXPECT_THAT(device.asked, ElementsAre("provide Device.A", "rollback Device", "set Device.A",
                                        "rollback Device"));
  EXPECT_EQ(device.parameters["Device.A"], text("a"));
  EXPECT_TRUE(device.staged.empty());
}

TEST_F(ManagerSetTogether, TellsTheFaultsOfATrial) {
  EXPECT_EQ(try_set({{"Device.A", text("new")}, {"Device.Fixed", text("new")}}),
            refused(VK_ERO, 9008, {{"Device.Fixed", 9008}}));
  EXPECT_EQ(device.count("rollback Device"), 2);
}

TEST_F(ManagerSetTogether, LetsAHandlerThatCannotHoldBackActAlone) {
  device.holds = false;
  EXPECT_EQ(set({{"Device.A", text("new")}}), done(0));
  EXPECT_EQ(device.parameters["Device.A"], text("new"));
}

TEST_F(ManagerSetTogether, DoesNotAskAgainWhatCannotBeHeldBack) {
  device.holds = false;
  EXPECT_EQ(set({{"Device.Fixed", text("new")}}), refused(VK_ERO, 9008, {{"Device.Fixed", 9008}}));
  EXPECT_EQ(device.count("rollback Device"), 1);
}

TEST_F(ManagerSetTogether, RefusesAHandlerThatCannotHoldBackBesidesAnother) {
  Provider& other = add_other();
  other.holds = false;
  EXPECT_EQ(set({{"Device.A", text("new")}, {"Other.A", text("new")}}),
            refused(VK_EAUTH, 9001, {{"Other.A", 9001}}));
  EXPECT_EQ(device.parameters["Device.A"], text("a"));
  EXPECT_EQ(other.parameters["Other.A"], text("a"));
  EXPECT_THAT(device.asked, ElementsAre("provide Device.A", "rollback Device", "set Device.A",
                                        "rollback Device"));
  EXPECT_EQ(other.count("set Other.A"), 0);
}

TEST_F(ManagerSetTogether, DoesNotAskWhatCannotBeHeldBackBesidesAFault) {
  device.holds = false;
  EXPECT_EQ(set({{"Nowhere.A", text("new")}, {"Device.A", text("new")}}),
            refused(VK_ENOENT, 9005, {{"Nowhere.A", 9005}, {"Device.A", 9001}}));
  EXPECT_EQ(set({{"Device.", text("new")}, {"Device.A", text("new")}}),
            refused(VK_ENOENT, 9005, {{"Device.", 9005}, {"Device.A", 9001}}));
  EXPECT_EQ(device.count("set Device.A"), 0);
  EXPECT_EQ(device.parameters["Device.A"], text("a"));
}

TEST_F(ManagerSetTogether, TellsTheFaultsOfOthersThoughAHandlerCannotRollBack) {
  Provider& other = add_other();
  other.refusals["rollback Other"] = VK_ETIMEDOUT;
  EXPECT_EQ(set({{"Other.A", text("new")}, {"Device.Fixed", text("new")}}),
            refused(VK_ETIMEDOUT, 9002, {{"Other.A", 9002}, {"Device.Fixed", 9008}}));
  EXPECT_EQ(other.count("set Other.A"), 0);
  EXPECT_EQ(other.count("rollback Other"), 1);
  EXPECT_EQ(device.count("rollback Device"), 2);
}

// The second name could be refused when the first is changed already.
TEST_F(ManagerSetTogether, RefusesTwoNamesOfAHandlerThatCannotHoldBack) {
  device.holds = false;
  EXPECT_EQ(set({{"Device.A", text("new")}, {"Device.B", text("new")}}),
            refused(VK_EAUTH, 9001, {{"Device.A", 9001}, {"Device.B", 9001}}));
  EXPECT_EQ(device.parameters["Device.A"], text("a"));
}

TEST_F(ManagerSetTogether, RefusesATrialOfAHandlerThatCannotHoldBack) {
  device.holds = false;
  EXPECT_EQ(try_set({{"Device.A", text("new")}}), refused(VK_EAUTH, 9001, {{"Device.A", 9001}}));
  EXPECT_EQ(device.parameters["Device.A"], text("a"));
}

TEST_F(ManagerSetTogether, CommitsTheRestIfAModuleIsLost) {
  Provider& other = add_other();
  other.before["commit Other"] = [&] { router.remove("Other"); };
  Provider& third = router.add({.module = "third",
                                .pattern = "Third",
                                .parameters = {{"Third.A", text("a")}},
                                .writable = {"Third.A"}});
  EXPECT_EQ(set({{"Device.A", text("new")},
                 {"Other.A", text("new")},
                 {"Other.B", text("new")},
                 {"Third.A", text("new")}}),
            refused(VK_EIO, 9002, {{"Other.A", 9002}, {"Other.B", 9002}}));
  EXPECT_EQ(device.parameters["Device.A"], text("new"));
  EXPECT_EQ(third.parameters["Third.A"], text("new"));
}

TEST_F(ManagerSetTogether, CountsARefusedCommitAsLost) {
  for (const uint32_t status : {VK_EVALUE, VK_ENOANSWER}) {
    device.refusals["commit Device"] = status;
    EXPECT_EQ(set({{"Device.A", text("new")}}),
              refused(VK_EIO, 9002, {{"Device.A", status == VK_EVALUE ? 9007U : 9002U}}));
  }
}

TEST_F(ManagerSetTogether, RollsTheOthersBackIfAModuleIsLostBeforeTheCommit) {
  Provider& other = add_other();
  other.before["set Other.A"] = [&] { router.remove("Other"); };
  EXPECT_EQ(set({{"Device.A", text("new")}, {"Other.A", text("new")}}),
            refused(VK_EIO, 9002, {{"Other.A", 9002}}));
  EXPECT_EQ(device.parameters["Device.A"], text("a"));
  EXPECT_TRUE(device.staged.empty());
}

TEST_F(ManagerSetTogether, RunsOneAfterAnother) {
  const Pending first = begin(kSet, request("Device.A", text("1")), call_of("one"));
  const Pending second = begin(kSet, request("Device.A", text("2")), call_of("two"));
  const Pending third = begin(kSet, request("Device.A", text("3")), call_of("three"));
  run();
  EXPECT_EQ(*first, done(0));
  EXPECT_EQ(*second, done(0));
  EXPECT_EQ(*third, done(0));
  EXPECT_EQ(device.parameters["Device.A"], text("3"));
  const std::vector<std::string> one = {"provide Device.A", "rollback Device", "set Device.A",
                                        "commit Device"};
  std::vector<std::string> all;
  for (int times = 0; times != 3; ++times) all.insert(all.end(), one.begin(), one.end());
  EXPECT_EQ(device.asked, all);
}

TEST_F(ManagerSetTogether, GoesOnAfterARefusal) {
  const Pending first = begin(kSet, request("Device.Fixed", text("1")), call_of("one"));
  const Pending second = begin(kSet, request("Device.A", text("2")), call_of("two"));
  run();
  EXPECT_EQ((*first)->status, VK_ERO);
  EXPECT_EQ(*second, done(0));
}

TEST_F(ManagerSetTogether, RefusesAtOnceWhatDescendsFromTheOneUnderWay) {
  Pending nested;
  device.before["set Device.A"] = [&] {
    const core::CallPtr child = call_of("device", device.requests.back().parent);
    nested = begin(kSet, request("Device.B", text("nested")), call_of("device", child));
  };
  EXPECT_EQ(set({{"Device.A", text("new")}}), done(0));
  ASSERT_TRUE(nested && *nested);
  EXPECT_EQ(**nested, refused(VK_EBUSY, 9004));
}

TEST_F(ManagerSetTogether, LetsTheOneUnderWayRead) {
  Pending nested;
  device.before["set Device.A"] = [&] {
    nested = begin("cwmp.rpc.GetParameterValues", object({{"ParameterNames", texts({"Device.A"})}}),
                   call_of("device", device.requests.back().parent));
  };
  set({{"Device.A", text("new")}});
  ASSERT_TRUE(nested && *nested);
  EXPECT_EQ((*nested)->status, VK_EOK);
}

TEST_F(ManagerSetTogether, MovesTheParameterKeyWithTheValues) {
  const auto set_with_key = [&](const std::string& name, const std::string& key, bool trial) {
    return ask(kSet, object({{"ParameterList", list({{name, text("new")}})},
                             {"ParameterKey", text(key)},
                             {"Try", boolean(trial ? 1 : 0)}}));
  };
  EXPECT_EQ(key(), "");
  EXPECT_EQ(set_with_key("Device.A", "first", false), done(0));
  EXPECT_EQ(key(), "first");
  set_with_key("Device.A", "trial", true);
  set_with_key("Device.Fixed", "refused", false);
  set({{"Device.A", text("without a key")}});
  device.refusals["commit Device"] = VK_EIO;
  set_with_key("Device.A", "not committed", false);
  EXPECT_EQ(key(), "first");
  restart();
  EXPECT_EQ(key(), "first");
}

TEST_F(ManagerSetTogether, TellsThatTheKeyCouldNotBeSaved) {
  records.save_status = VK_EIO;
  EXPECT_EQ(ask(kSet, object({{"ParameterList", list({{"Device.A", text("new")}})},
                              {"ParameterKey", text("key")}})),
            refused(VK_EIO, 9002));
  EXPECT_EQ(device.parameters["Device.A"], text("new"));
}

TEST_F(ManagerSetTogether, ChangesNothingWhileTheStoreCannotTell) {
  records.load_status = VK_EBUSY;
  EXPECT_EQ(set({{"Device.A", text("new")}}), refused(VK_EBUSY, 9004));
  EXPECT_EQ(device.parameters["Device.A"], text("a"));
}

TEST_F(ManagerSetTogether, SavesNothingThatIsAsItWas) {
  set({{"Device.A", text("new")}});
  EXPECT_EQ(records.saves, 0);
}

}  // namespace
}  // namespace vesk::test
