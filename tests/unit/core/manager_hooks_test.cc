#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/manager_bench.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ManagerHooks : public ManagerBench {
 protected:
  Provider& device = router.add({.module = "device",
                                 .pattern = "Device",
                                 .parameters = {{"Device.A", text("a")}, {"Device.B", text("b")}},
                                 .writable = {"Device.A", "Device.B"},
                                 .tables = {{"Device.T", 1}}});
  core::CallPtr module_call = call_of("watcher");
  std::vector<Tree> heard;  // what the hook "watch.it" was called with
  std::vector<core::CallPtr> parents;

  ManagerHooks() {
    router.on("watch.it", [this](const Asked& asked) {
      heard.push_back(asked.value);
      parents.push_back(asked.parent);
      return core::Answer{};
    });
  }

  static Tree hook(const std::string& event, const std::string& path = "watch.it") {
    return object({{"Event", text(event)}, {"Hook", text(path)}});
  }

  Told add(const std::string& event, const std::string& path = "watch.it") {
    return ask("dmmgr.hook.add", hook(event, path), module_call);
  }
  Told del(const std::string& event) { return ask("dmmgr.hook.del", hook(event), module_call); }

  static Tree call(const std::string& event, const std::vector<std::string>& names) {
    return object({{"Event", text(event)}, {"Names", texts(names)}});
  }

  Told write(const std::vector<std::string>& names, bool trial = false) {
    std::vector<Tree> elements;
    for (const std::string& name : names) {
      elements.push_back(object({{"Name", text(name)}, {"Value", text("new")}}));
    }
    return ask("cwmp.rpc.SetParameterValues", object({{"ParameterList", array(std::move(elements))},
                                                      {"Try", boolean(trial ? 1 : 0)}}));
  }

  Told instance(const char* request, const std::string& name) {
    return ask(request, object({{"ObjectName", text(name)}}));
  }
};

TEST_F(ManagerHooks, AreCalledWithTheNamesThatChanged) {
  EXPECT_EQ(add("changed"), acknowledged());
  write({"Device.A", "Device.B"});
  EXPECT_THAT(heard, ElementsAre(call("changed", {"Device.A", "Device.B"})));
}

TEST_F(ManagerHooks, AreCalledForObjects) {
  add("added");
  add("deleted");
  instance("cwmp.rpc.AddObject", "Device.T.");
  instance("cwmp.rpc.DeleteObject", "Device.T.1");
  EXPECT_THAT(heard, ElementsAre(call("added", {"Device.T.1."}), call("deleted", {"Device.T.1."})));
}

TEST_F(ManagerHooks, AreCalledAfterTheCommitAndNotAwaited) {
  add("changed");
  Tree seen;
  Pending nested;
  router.on("watch.it", [&](const Asked& asked) {
    seen = device.parameters["Device.A"];
    // Its call descends from the write, which is no longer under way.
    nested =
        begin("cwmp.rpc.SetParameterValues",
              object({{"ParameterList",
                       array({object({{"Name", text("Device.B")}, {"Value", text("too")}})})}}),
              call_of("watcher", asked.parent));
    router.on("watch.it", [](const Asked&) { return core::Answer{}; });
    return core::Answer{VK_EIO};
  });
  EXPECT_EQ(write({"Device.A"}).status, VK_EOK);
  EXPECT_EQ(seen, text("new"));
  ASSERT_TRUE(nested && *nested);
  EXPECT_EQ((*nested)->status, VK_EOK);
}

TEST_F(ManagerHooks, AreCalledOnBehalfOfTheWriterSoThatChainsEnd) {
  add("changed");
  write({"Device.A"});
  EXPECT_THAT(parents, ElementsAre(caller));
}

TEST_F(ManagerHooks, AreNotCalledWhereNothingChanged) {
  add("changed");
  add("added");
  write({"Device.A"}, true);
  write({"Device.Nothing"});
  write({});
  instance("cwmp.rpc.AddObject", "Device.A.");
  EXPECT_THAT(heard, IsEmpty());
}

TEST_F(ManagerHooks, AreCalledForWhatWasCommittedOnly) {
  Provider& other = router.add({.module = "other",
                                .pattern = "Other",
                                .parameters = {{"Other.A", text("a")}},
                                .writable = {"Other.A"}});
  other.refusals["commit Other"] = VK_EIO;
  add("changed");
  add("added");
  write({"Device.A", "Other.A"});
  device.refusals["commit Device"] = VK_EIO;
  instance("cwmp.rpc.AddObject", "Device.T.");
  EXPECT_THAT(heard, ElementsAre(call("changed", {"Device.A"})));
}

TEST_F(ManagerHooks, AreCalledForChangesThatModulesTellOf) {
  add("changed");
  const auto tell = [&](const Tree& names) {
    return ask("dmmgr.changed", object({{"Names", names}}), call_of("device"));
  };
  EXPECT_EQ(tell(texts({"Device.A", "Device.T."})), acknowledged());
  EXPECT_EQ(tell(texts({})), acknowledged());
  EXPECT_THAT(heard, ElementsAre(call("changed", {"Device.A", "Device.T."})));
  EXPECT_EQ(tell(text("Device.A")), refused(VK_EINVAL, 9003));
  EXPECT_EQ(tell(texts({"Device..A"})), refused(VK_ENOENT, 9005, {{"Device..A", 9005}}));
}

TEST_F(ManagerHooks, AreCalledWhenModulesComeAndGo) {
  add("module-start");
  add("module-end");
  router.attach("other");
  router.end("other");
  run();
  EXPECT_THAT(heard, ElementsAre(call("module-start", {"other"}), call("module-end", {"other"})));
  EXPECT_THAT(parents, ElementsAre(nullptr, nullptr));
}

TEST_F(ManagerHooks, AreToldOnceThatTheCoreHasBegun) {
  EXPECT_EQ(add("boot"), acknowledged());
  EXPECT_THAT(heard, ElementsAre(call("boot", {})));
  bool other_heard = false;
  router.on("watch.other", [&](const Asked&) {
    other_heard = true;
    return core::Answer{};
  });
  add("boot", "watch.other");
  EXPECT_TRUE(other_heard);
  router.end("watcher");
  EXPECT_EQ(add("boot"), acknowledged());
  EXPECT_EQ(heard.size(), 1U);
  restart();
  EXPECT_EQ(add("boot"), acknowledged());
  EXPECT_EQ(heard.size(), 2U);
}

TEST_F(ManagerHooks, ForTheBootAreNotRememberedWithoutEnd) {
  const auto path = [](int number) { return "watch." + std::to_string(number); };
  for (int number = 1; number <= 64; ++number) {
    ASSERT_EQ(add("boot", path(number)), acknowledged());
    ASSERT_EQ(ask("dmmgr.hook.del", hook("boot", path(number)), module_call), acknowledged());
  }
  EXPECT_EQ(add("boot"), refused(VK_EBUSY, 9004));
  EXPECT_THAT(heard, IsEmpty());
  EXPECT_EQ(add("boot", path(1)), acknowledged());
  EXPECT_EQ(ask("dmmgr.hook.add", hook("boot"), call_of("other")), acknowledged());
}

TEST_F(ManagerHooks, ForTheBootAreNotRememberedForModulesWithoutEnd) {
  const auto add_of = [&](int module, int number) {
    const core::CallPtr call = call_of("m" + std::to_string(module));
    const std::string path = "watch." + std::to_string(number + 1);
    const Told told = ask("dmmgr.hook.add", hook("boot", path), call);
    router.end(call->module);
    return told;
  };
  for (int at = 0; at != 64 * 64; ++at) ASSERT_EQ(add_of(at / 64, at % 64), acknowledged());
  EXPECT_EQ(add_of(64, 0), refused(VK_EBUSY, 9004));
  EXPECT_EQ(add_of(63, 0), acknowledged());
}

TEST_F(ManagerHooks, EndWithTheirModule) {
  add("changed");
  add("module-end");
  ask("dmmgr.hook.add", hook("changed"), call_of("stays"));
  router.end("watcher");
  run();
  write({"Device.A"});
  EXPECT_THAT(heard, ElementsAre(call("changed", {"Device.A"})));
}

TEST_F(ManagerHooks, AreDeleted) {
  add("changed");
  add("added");
  EXPECT_EQ(del("changed"), acknowledged());
  EXPECT_EQ(del("changed"), refused(VK_ENOENT, 9005));
  write({"Device.A"});
  EXPECT_THAT(heard, IsEmpty());
  instance("cwmp.rpc.AddObject", "Device.T.");
  EXPECT_EQ(heard.size(), 1U);
}

TEST_F(ManagerHooks, OfAnotherModuleAreNotDeleted) {
  add("changed");
  EXPECT_EQ(ask("dmmgr.hook.del", hook("changed"), call_of("other")), refused(VK_ENOENT, 9005));
  write({"Device.A"});
  EXPECT_EQ(heard.size(), 1U);
}

TEST_F(ManagerHooks, AreThereOnceAndNotWithoutEnd) {
  add("changed");
  EXPECT_EQ(add("changed"), refused(VK_EEXIST, 9002));
  for (int number = 1; number != 64; ++number) {
    EXPECT_EQ(add("changed", "watch." + std::to_string(number)), acknowledged());
  }
  EXPECT_EQ(add("changed", "watch.one-too-many"), refused(VK_EBUSY, 9004));
  EXPECT_EQ(ask("dmmgr.hook.add", hook("changed"), call_of("other")), acknowledged());
}

TEST_F(ManagerHooks, BelongToModulesAndStayOutOfTheCore) {
  const Told denied = refused(VK_EAUTH, 9001);
  EXPECT_EQ(ask("dmmgr.hook.add", hook("changed")), denied);
  EXPECT_EQ(ask("dmmgr.hook.add", hook("changed"), nullptr), denied);
  for (const char* const path : {"sys.persistent.erase", "cwmp.rpc.SetParameterValues",
                                 "dmmgr.changed", "veskd.anything", "sys"}) {
    EXPECT_EQ(add("changed", path), denied);
  }
}

TEST_F(ManagerHooks, NeedAnEventAndAPath) {
  const Told malformed = refused(VK_EINVAL, 9003);
  EXPECT_EQ(add("no such event"), malformed);
  for (const char* const path : {"", ".", "watch..it"}) EXPECT_EQ(add("changed", path), malformed);
  for (const Tree& value :
       {any(), object({{"Event", text("changed")}}), object({{"Hook", text("watch.it")}})}) {
    EXPECT_EQ(ask("dmmgr.hook.add", value, module_call), malformed);
    EXPECT_EQ(ask("dmmgr.hook.del", value, module_call), malformed);
  }
}

}  // namespace
}  // namespace vesk::test
