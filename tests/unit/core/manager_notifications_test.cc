#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/support/manager_watches.h"

namespace vesk::test {
namespace {

using ManagerNotifications = ManagerWatches;

Tree below_device(std::initializer_list<Tree::Named> members) {
  return object({{"Device", object(members)}});
}

class ServerWrites : public ManagerWatches {
 protected:
  Told write(const std::string& name, const Tree& value, uint32_t flags) {
    const Pending writing = begin_to_write(name, value, flags);
    run();
    return writing->value();
  }
  Pending begin_to_write(const std::string& name, const Tree& value, uint32_t flags) {
    const Tree assignment = object({{"Name", text(name)}, {"Value", value}});
    return begin(
        "cwmp.rpc.SetParameterValues",
        object({{"ParameterList", array({assignment})}, {"dm-flags", unsigned_integer(flags)}}),
        caller);
  }

  // So many that reading them takes longer than a write.
  void watch_many(std::vector<Tree> wishes) {
    for (int at = 0; at != 50; ++at) {
      const std::string name = "Device.Z" + std::to_string(at);
      device.parameters[name] = integer(at);
      wishes.push_back(wish(name, 2));
    }
    set(std::move(wishes));
  }
};

TEST_F(ManagerNotifications, AreNoneWhereNothingIsWatched) {
  device.parameters["Device.A"] = text("new");
  EXPECT_EQ(notifications(), nothing());
  EXPECT_EQ(ask("dmmgr.notification.get", object({})), nothing());
}

TEST_F(ManagerNotifications, TellAChangeOnce) {
  set({wish("Device.A", 2)});
  EXPECT_EQ(notifications(), nothing());
  device.parameters["Device.A"] = text("new");
  EXPECT_EQ(notifications(), changes(below_device({{"A", text("new")}}), true));
  EXPECT_EQ(notifications(), nothing());
}

TEST_F(ManagerNotifications, AreActiveIfOneOfThemIs) {
  set({wish("Device.A", 1), wish("Device.B.C", 2)});
  device.parameters["Device.A"] = text("new");
  EXPECT_EQ(notifications(true), changes(below_device({{"A", text("new")}}), false));
  device.parameters["Device.B.C"] = text("new");
  EXPECT_EQ(notifications(),
            changes(below_device({{"A", text("new")}, {"B", object({{"C", text("new")}})}}), true));
}

TEST_F(ManagerNotifications, AreActiveWhicheverComesFirst) {
  set({wish("Device.A", 2), wish("Device.B.C", 1)});
  device.parameters["Device.A"] = text("new");
  device.parameters["Device.B.C"] = text("new");
  EXPECT_EQ(notifications().value.items.at(1), changes(any(), true).value.items.at(1));
}

TEST_F(ManagerNotifications, ThatAreOnlyLookedAtStay) {
  set({wish("Device.A", 1)});
  device.parameters["Device.A"] = text("new");
  const Told change = changes(below_device({{"A", text("new")}}), false);
  EXPECT_EQ(notifications(true), change);
  EXPECT_EQ(notifications(true), change);
  EXPECT_EQ(notifications(), change);
  EXPECT_EQ(notifications(), nothing());
}

TEST_F(ManagerNotifications, ThatAreAskedForWrongStay) {
  set({wish("Device.A", 1)});
  device.parameters["Device.A"] = text("new");
  EXPECT_EQ(ask("dmmgr.notification.get", object({{"Keep", integer(1)}})),
            refused(VK_EINVAL, 9003));
  EXPECT_EQ(notifications(), changes(below_device({{"A", text("new")}}), false));
}

TEST_F(ManagerNotifications, ThatAreBeyondALimitStay) {
  options.limits.text = 1000;
  set({wish("Device.A", 1)});
  device.parameters["Device.A"] = text(std::string(1001, 'x'));
  const Told refused = notifications();
  EXPECT_NE(refused, nothing());
  EXPECT_EQ(notifications(), refused);
}

TEST_F(ManagerNotifications, CompareNameByName) {
  set({wish("Device.B.", 1)});
  device.parameters["Device.B.D"] = integer(5);
  EXPECT_EQ(notifications(), changes(below_device({{"B", object({{"D", integer(5)}})}}), false));
}

TEST_F(ManagerNotifications, TellAChangeOfTypeAlone) {
  set({wish("Device.B.D", 1)});
  device.parameters["Device.B.D"] = unsigned_integer(4);
  EXPECT_EQ(notifications(),
            changes(below_device({{"B", object({{"D", unsigned_integer(4)}})}}), false));
}

TEST_F(ManagerNotifications, OfAnObjectCoverWhatIsAddedBelow) {
  set({wish("Device.T.", 2)});
  device.parameters["Device.T.5.Name"] = text("five");
  EXPECT_EQ(
      notifications(),
      changes(below_device({{"T", object({{"5", object({{"Name", text("five")}})}})}}), true));
}

TEST_F(ManagerNotifications, LeaveOutWhatIsOffBelowAWatchedObject) {
  set({wish("Device.B.", 2), wish("Device.B.C", 0)});
  device.parameters["Device.B.C"] = text("new");
  EXPECT_EQ(notifications(), nothing());
}

TEST_F(ManagerNotifications, AreToldAfterARestart) {
  set({wish("Device.A", 1), wish("Device.B.", 1)});
  device.parameters["Device.A"] = text("new");
  restart();
  EXPECT_EQ(notifications(), changes(below_device({{"A", text("new")}}), false));
  restart();
  EXPECT_EQ(notifications(), nothing());
}

TEST_F(ManagerNotifications, RememberAModuleThatIsAway) {
  set({wish("Device.A", 1)});
  device.parameters.erase("Device.A");
  EXPECT_EQ(notifications(), nothing());
  device.parameters["Device.A"] = text("a");
  EXPECT_EQ(notifications(), nothing());
  device.parameters["Device.A"] = text("new");
  EXPECT_EQ(notifications(), changes(below_device({{"A", text("new")}}), false));
}

TEST_F(ManagerNotifications, ForgetWhatIsGoneBelowAWatchedObject) {
  set({wish("Device.T.", 1)});
  device.parameters.erase("Device.T.1.Name");
  EXPECT_EQ(notifications(true), nothing());
  EXPECT_EQ(told_names(), (std::vector<std::string>{"Device.T.1.Name"}));
  EXPECT_EQ(notifications(), nothing());
  EXPECT_EQ(told_names(), std::vector<std::string>{});
}

TEST_F(ManagerNotifications, RememberWhatNobodyCouldTellOf) {
  router.add({.module = "other", .pattern = "Other", .parameters = {{"Other.A", text("a")}}});
  set({wish("", 1)});
  const std::vector<std::string> told = told_names();
  router.remove("Other");
  device.refusals["get Device"] = VK_ETIMEDOUT;
  device.parameters.erase("Device.A");
  EXPECT_EQ(notifications(), nothing());
  EXPECT_EQ(told_names(), told);
  device.refusals.clear();
  device.before["get Device"] = [&] { router.remove("Device"); };
  EXPECT_EQ(notifications(), nothing());
  EXPECT_EQ(told_names(), told);
}

TEST_F(ManagerNotifications, ForWhichThereIsNoRoomWait) {
  set({wish("Device.B.", 1), wish("Device.T.", 1)});
  device.parameters["Device.B.C"] = text(std::string(core::dm::Told::kMostBytes / 2, 'x'));
  EXPECT_NE(notifications(), nothing());
  device.parameters["Device.T.1.Name"] = text(std::string(core::dm::Told::kMostBytes / 2, 'y'));
  EXPECT_EQ(notifications(), nothing());
  device.parameters["Device.B.C"] = text("short");
  EXPECT_NE(notifications(), nothing());
  EXPECT_EQ(told_names().size(), 3U);
  EXPECT_EQ(notifications(), nothing());
}

TEST_F(ManagerNotifications, EndWhenTheyAreTurnedOff) {
  set({wish("Device.A", 1)});
  device.parameters["Device.A"] = text("new");
  set({wish("Device.A", 0)});
  EXPECT_EQ(notifications(), nothing());
}

TEST_F(ManagerNotifications, BeginWithTheValueOfTheTimeWhenTheyAreTurnedOn) {
  set({wish("Device.A", 1)});
  set({wish("Device.A", 0)});
  device.parameters["Device.A"] = text("changed while off");
  set({wish("Device.A", 1)});
  EXPECT_EQ(notifications(), nothing());
}

TEST_F(ManagerNotifications, ThatAreDueStayDueWhenTheirKindChanges) {
  set({wish("Device.A", 1)});
  device.parameters["Device.A"] = text("new");
  set({wish("Device.A", 2)});
  EXPECT_EQ(notifications(), changes(below_device({{"A", text("new")}}), true));
}

TEST_F(ManagerNotifications, AreToldThoughTheyCannotBeSaved) {
  set({wish("Device.A", 1)});
  device.parameters["Device.A"] = text("new");
  records.save_status = VK_EIO;
  EXPECT_EQ(notifications(), changes(below_device({{"A", text("new")}}), false));
  EXPECT_EQ(notifications(), nothing());
}

TEST_F(ManagerNotifications, AreSavedAsSoonAsThatIsPossible) {
  set({wish("Device.A", 1)});
  device.parameters["Device.A"] = text("new");
  records.save_status = VK_EIO;
  notifications();
  records.save_status = VK_EOK;
  EXPECT_EQ(notifications(), nothing());
  restart();
  EXPECT_EQ(notifications(), nothing());
}

TEST_F(ManagerNotifications, TellTheRestIfOneCannotBeHad) {
  set({wish("Device.A", 1), wish("Device.B.C", 1)});
  device.parameters["Device.A"] = text("new");
  device.parameters["Device.B.C"] = text("new");
  device.refusals["get Device.A"] = VK_ETIMEDOUT;
  EXPECT_EQ(notifications(), changes(below_device({{"B", object({{"C", text("new")}})}}), false));
  device.refusals.clear();
  EXPECT_EQ(notifications(), changes(below_device({{"A", text("new")}}), false));
}

TEST_F(ServerWrites, CountAsTold) {
  set({wish("Device.A", 2), wish("Device.B.C", 2)});
  device.parameters["Device.B.C"] = text("by itself");
  EXPECT_EQ(write("Device.A", text("by the server"), 1).status, VK_EOK);
  EXPECT_EQ(notifications(),
            changes(below_device({{"B", object({{"C", text("by itself")}})}}), true));
}

TEST_F(ServerWrites, ThatAreNotTheServersAreTold) {
  set({wish("Device.A", 2)});
  write("Device.A", text("by the user"), 6);
  EXPECT_EQ(notifications(), changes(below_device({{"A", text("by the user")}}), true));
}

// The handler may have made something else of the value.
TEST_F(ServerWrites, CountWithTheValueThatIsThereAfterwards) {
  set({wish("Device.A", 2)});
  device.before["commit Device"] = [&] { device.staged["Device.A"] = text("tidied"); };
  write("Device.A", text(" tidied "), 1);
  EXPECT_EQ(notifications(), nothing());
}

TEST_F(ServerWrites, AreReadBackAndSavedOnlyWhereThatMatters) {
  set({wish("Device.A", 2)});
  const int saves = records.saves;
  write("Device.B.C", text("not watched"), 1);
  EXPECT_EQ(device.count("get Device.B.C"), 0);
  write("Device.A", text("a"), 1);
  EXPECT_EQ(device.count("get Device.A"), 2);
  EXPECT_EQ(records.saves, saves);
}

TEST_F(ServerWrites, OutliveARestart) {
  set({wish("Device.A", 2)});
  write("Device.A", text("by the server"), 1);
  restart();
  EXPECT_EQ(notifications(), nothing());
}

TEST_F(ServerWrites, CountAsToldThoughTheValueBeforeWasBeingRead) {
  watch_many({wish("Device.A", 2)});
  device.parameters["Device.A"] = text("by itself");
  device.before["get Device.A"] = [&] {
    begin_to_write("Device.A", text("a"), 1);
    device.before.clear();
  };
  EXPECT_EQ(notifications(), nothing());
  EXPECT_EQ(notifications(), nothing());
}

TEST_F(ServerWrites, ThatDeleteWhatWasBeingReadAreNotTold) {
  watch_many({wish("Device.T.", 2)});
  const std::vector<std::string> told = told_names();
  device.parameters["Device.T.7.Name"] = text("by itself");
  device.before["get Device.T"] = [&] {
    const Tree request = object({{"ObjectName", text("Device.T.7.")}});
    begin("cwmp.rpc.DeleteObject", request, caller);
    device.before.clear();
  };
  EXPECT_EQ(notifications(), nothing());
  EXPECT_EQ(told_names(), told);
}

// Where the new value can be read before the write is over.
class ServerWritesUnderWay : public ServerWrites {
 protected:
  // What is told while an answer of the device is held; nothing afterwards.
  void expect_told_meanwhile(const std::string& held, const Told& told, const Pending& writing) {
    settle();
    EXPECT_FALSE(writing->has_value()) << held;
    const Pending telling = begin("dmmgr.notification.get", object({}), caller);
    settle();
    ASSERT_TRUE(telling->has_value()) << held;
    EXPECT_EQ(**telling, told) << held;
    router.go_on();
    settle();
    EXPECT_EQ(writing->value().status, VK_EOK) << held;
    EXPECT_EQ(notifications(), nothing()) << held;
  }
};

TEST_F(ServerWritesUnderWay, AreNoNewsWhileOthersAre) {
  set({wish("Device.A", 2), wish("Device.B.C", 2)});
  device.parameters["Device.B.C"] = text("by itself");
  router.hold("commit Device");
  const Pending writing = begin_to_write("Device.A", text("by the server"), 1);
  expect_told_meanwhile(
      "commit", changes(below_device({{"B", object({{"C", text("by itself")}})}}), true), writing);
}

TEST_F(ServerWritesUnderWay, AreNoNewsAtAHandlerThatChangesAtOnce) {
  device.holds = false;
  set({wish("Device.A", 2)});
  router.hold("set Device.A");
  const Pending writing = begin_to_write("Device.A", text("by the server"), 1);
  expect_told_meanwhile("set", nothing(), writing);
}

TEST_F(ServerWritesUnderWay, ThatAddAnInstanceAreNoNews) {
  set({wish("Device.T.", 2)});
  for (const char* const held : {"commit Device", "add Device.T"}) {
    router.hold(held);
    device.holds = held[0] == 'c';
    const Tree table =
        object({{"ObjectName", text("Device.T.")}, {"dm-flags", unsigned_integer(1)}});
    const Pending writing = begin("cwmp.rpc.AddObject", table, caller);
    expect_told_meanwhile(held, nothing(), writing);
  }
}

TEST_F(ServerWritesUnderWay, KeepNobodyFromAskingOnTheirBehalf) {
  set({wish("Device.A", 2)});
  Pending telling;
  device.before["commit Device"] = [&] {
    telling = begin("dmmgr.notification.get", object({}), call_of("device", caller));
  };
  router.hold("commit Device");
  const Pending writing = begin_to_write("Device.A", text("by the server"), 1);
  settle();
  ASSERT_TRUE(telling->has_value());
  EXPECT_EQ(**telling, nothing());
}

TEST_F(ServerWritesUnderWay, ThatAreNotTheServersAreNews) {
  set({wish("Device.A", 2)});
  router.hold("commit Device");
  const Pending writing = begin_to_write("Device.A", text("by the user"), 0);
  expect_told_meanwhile("commit", changes(below_device({{"A", text("by the user")}}), true),
                        writing);
}

TEST_F(ServerWritesUnderWay, ThatDeleteLeaveWhatWasToldUntilTheyAreOver) {
  set({wish("Device.T.", 2)});
  const std::vector<std::string> told = told_names();
  router.hold("commit Device");
  const Tree instance =
      object({{"ObjectName", text("Device.T.1.")}, {"dm-flags", unsigned_integer(1)}});
  const Pending writing = begin("cwmp.rpc.DeleteObject", instance, caller);
  settle();
  begin("dmmgr.notification.get", object({}), caller);
  settle();
  EXPECT_EQ(told_names(), told);
  router.go_on();
  settle();
  EXPECT_EQ(told_names(), std::vector<std::string>{});
}

TEST_F(ServerWrites, ThatAddAnInstanceCountAsTold) {
  set({wish("Device.T.", 2)});
  const auto add = [&](uint32_t flags) {
    ask("cwmp.rpc.AddObject",
        object({{"ObjectName", text("Device.T.")}, {"dm-flags", unsigned_integer(flags)}}));
  };
  add(1);
  EXPECT_EQ(notifications(), nothing());
  add(0);
  EXPECT_EQ(notifications(),
            changes(below_device({{"T", object({{"3", object({{"Name", text("new")}})}})}}), true));
}

TEST_F(ServerWrites, AreDoneThoughTheValueCannotBeReadBack) {
  set({wish("Device.A", 2)});
  device.refusals["get Device.A"] = VK_ETIMEDOUT;
  EXPECT_EQ(write("Device.A", text("new"), 1).status, VK_EOK);
  device.refusals.clear();
  EXPECT_EQ(notifications(), changes(below_device({{"A", text("new")}}), true));
}

}  // namespace
}  // namespace vesk::test
