// Requests that nobody waits for any more.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <variant>
#include <vector>

#include "tests/support/manager_watches.h"

namespace vesk::test {
namespace {

class ManagerAbandoned : public ManagerWatches {
 protected:
  ManagerAbandoned() { caller = client; }

  // A request whose client goes when the device is asked; the others have answered by then, or will
  // not be asked.
  void ask_and_go(const std::string& at, const std::string& path, const Tree& value) {
    device.before[at] = [this] { client->over = true; };
    other.asked.clear();
    ask(path, value);
    device.before.clear();
    client->over = false;
  }

  // Sets a parameter of each module.
  static Tree assignments() {
    const Tree mine = object({{"Name", text("Device.A")}, {"Value", text("new")}});
    const Tree others = object({{"Name", text("Other.A")}, {"Value", text("new")}});
    return object({{"ParameterList", array({mine, others})},
                   {"ParameterKey", text("key")},
                   {"dm-flags", unsigned_integer(1)}});
  }
  void set_and_go(const std::string& at) {
    ask_and_go(at, "cwmp.rpc.SetParameterValues", assignments());
  }

  void expect_nothing_changed(const std::string& at) {
    EXPECT_EQ(device.parameters["Device.A"], text("a")) << at;
    EXPECT_EQ(other.parameters["Other.A"], text("a")) << at;
    EXPECT_TRUE(device.staged.empty()) << at;
    EXPECT_TRUE(other.staged.empty()) << at;
    EXPECT_EQ(key(), "") << at;
  }

  std::string key() {
    const Told inform = ask("dmmgr.inform.get", object({}));
    return std::get<std::string>(inform.value.items.at(1).payload);
  }

  const std::shared_ptr<core::Call> client =
      std::make_shared<core::Call>(core::Call{nullptr, 1, {0, 0, 1, true}, ""});
  Provider& other = router.add({.module = "other",
                                .pattern = "Other",
                                .parameters = {{"Other.A", text("a")}},
                                .writable = {"Other.A"}});
};

TEST_F(ManagerAbandoned, AskNoFurtherModule) {
  options.inform_names = {"Device.A", "Other.A"};
  const Tree names = object({{"ParameterNames", texts({"Device.A", "Other.A"})}});
  ask_and_go("get Device.A", "cwmp.rpc.GetParameterValues", names);
  EXPECT_EQ(other.asked, std::vector<std::string>{});
  ask_and_go("get Device.A", kGetAttributes, names);
  EXPECT_EQ(other.asked, std::vector<std::string>{});
  ask_and_go("get Device.A", "dmmgr.inform.get", object({}));
  EXPECT_EQ(other.asked, std::vector<std::string>{});
  ask_and_go("level Device", "cwmp.rpc.GetParameterNames", object({{"ParameterPath", text("")}}));
  EXPECT_EQ(other.asked, std::vector<std::string>{});
}

TEST_F(ManagerAbandoned, TellNothing) {
  set({wish("Device.A", 2), wish("Other.A", 2)});
  device.parameters["Device.A"] = text("new");
  other.parameters["Other.A"] = text("new");
  ask_and_go("get Device.A", "dmmgr.notification.get", object({}));
  EXPECT_EQ(other.asked, std::vector<std::string>{});
  other.before["get Other.A"] = [this] { client->over = true; };
  notifications();
  client->over = false;
  other.before.clear();
  EXPECT_EQ(notifications(), changes(object({{"Device", object({{"A", text("new")}})},
                                             {"Other", object({{"A", text("new")}})}}),
                                     true));
}

TEST_F(ManagerAbandoned, ChangeNothingBeforeTheyCommit) {
  for (const char* const at : {"provide Device.A", "rollback Device", "set Device.A"}) {
    set_and_go(at);
    EXPECT_EQ(other.count("set Other.A"), 0) << at;
    EXPECT_EQ(device.count("commit Device"), 0) << at;
    expect_nothing_changed(at);
  }
}

TEST_F(ManagerAbandoned, ChangeNothingThoughAllIsHeld) {
  other.before["set Other.A"] = [this] { client->over = true; };
  ask("cwmp.rpc.SetParameterValues", assignments());
  client->over = false;
  EXPECT_EQ(other.count("rollback Other"), 2);
  EXPECT_EQ(device.count("rollback Device"), 2);
  expect_nothing_changed("all");
}

TEST_F(ManagerAbandoned, AreRolledBackEverywhereThoughTheClientGoesMeanwhile) {
  device.refusals["set Device.A"] = VK_EVALUE;
  int rollbacks = 0;
  device.before["rollback Device"] = [&] { client->over = ++rollbacks == 2; };
  ask("cwmp.rpc.SetParameterValues", assignments());
  EXPECT_EQ(rollbacks, 2);
  EXPECT_EQ(other.count("rollback Other"), 2);
  EXPECT_TRUE(other.staged.empty());
}

TEST_F(ManagerAbandoned, AreFinishedOnceTheyCommit) {
  set({wish("Device.A", 2), wish("Other.A", 2)});
  set_and_go("commit Device");
  EXPECT_EQ(device.parameters["Device.A"], text("new"));
  EXPECT_EQ(other.parameters["Other.A"], text("new"));
  EXPECT_EQ(key(), "key");
  EXPECT_EQ(notifications(), nothing());
}

TEST_F(ManagerAbandoned, AreFinishedOnceAHandlerThatChangesAtOnceIsAsked) {
  device.holds = false;
  set({wish("Device.A", 2)});
  const Tree mine = object({{"Name", text("Device.A")}, {"Value", text("new")}});
  ask_and_go("set Device.A", "cwmp.rpc.SetParameterValues",
             object({{"ParameterList", array({mine})},
                     {"ParameterKey", text("key")},
                     {"dm-flags", unsigned_integer(1)}}));
  EXPECT_EQ(device.parameters["Device.A"], text("new"));
  EXPECT_EQ(key(), "key");
  EXPECT_EQ(notifications(), nothing());
}

TEST_F(ManagerAbandoned, AddAndDeleteNothingBeforeTheyCommit) {
  ask_and_go("add Device.T", "cwmp.rpc.AddObject", object({{"ObjectName", text("Device.T.")}}));
  ask_and_go("del Device.T.1", "cwmp.rpc.DeleteObject",
             object({{"ObjectName", text("Device.T.1.")}}));
  EXPECT_EQ(device.count("commit Device"), 0);
  EXPECT_EQ(device.count("rollback Device"), 4);
  EXPECT_TRUE(device.staged.empty());
  EXPECT_TRUE(device.staged_deletions.empty());
}

TEST_F(ManagerAbandoned, SetNoAttributes) {
  ask_and_go("setattr Device.A", kSetAttributes,
             object({{"ParameterList", array({wish("Device.A", 2)})}}));
  EXPECT_EQ(get({"Device.A"}), rows({{"Device.A", 0}}));
}

// Another write holds the turn until the client has gone.
class ManagerAbandonedInTheQueue : public ManagerAbandoned {
 protected:
  void wait_and_go(const Tree& request) {
    router.hold("commit Device");
    const Tree mine = object({{"Name", text("Device.A")}, {"Value", text("first")}});
    const Pending first = begin("cwmp.rpc.SetParameterValues",
                                object({{"ParameterList", array({mine})}}), call_of(""));
    const Pending second = begin("cwmp.rpc.SetParameterValues", request, client);
    settle();
    client->over = true;
    router.go_on();
    settle();
    client->over = false;
    EXPECT_EQ(first->value().status, VK_EOK);
    EXPECT_TRUE(second->has_value());
  }
};

TEST_F(ManagerAbandonedInTheQueue, AskNobodyWhenTheirTurnComes) {
  wait_and_go(assignments());
  EXPECT_EQ(device.count("provide Device.A"), 1);
  EXPECT_EQ(device.parameters["Device.A"], text("first"));
}

TEST_F(ManagerAbandonedInTheQueue, DoNotSetTheKeyAlone) {
  wait_and_go(object({{"ParameterList", array({})}, {"ParameterKey", text("key")}}));
  EXPECT_EQ(key(), "");
}

}  // namespace
}  // namespace vesk::test
