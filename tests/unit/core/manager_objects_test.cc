#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/manager_bench.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ManagerObjects : public ManagerBench {
 protected:
  Provider& table = router.add({.module = "table",
                                .pattern = "Device.T",
                                .parameters = {{"Device.T.2.Name", text("two")}},
                                .tables = {{"Device.T", 3}}});

  Told add(const std::string& name) {
    return ask("cwmp.rpc.AddObject", object({{"ObjectName", text(name)}}));
  }
  Told del(const std::string& name) {
    return ask("cwmp.rpc.DeleteObject", object({{"ObjectName", text(name)}}));
  }

  static Told added(uint32_t number, int32_t status = 0) {
    return answered({{"InstanceNumber", unsigned_integer(number)}, {"Status", integer(status)}});
  }
  static Told deleted(int32_t status = 0) { return answered({{"Status", integer(status)}}); }

  static Told absent(const std::string& name) { return refused(VK_ENOENT, 9005, {{name, 9005}}); }
};

TEST_F(ManagerObjects, AreAdded) {
  EXPECT_EQ(add("Device.T."), added(3));
  EXPECT_EQ(table.parameters["Device.T.3.Name"], text("new"));
  EXPECT_THAT(table.asked, ElementsAre("provide Device.T", "rollback Device.T", "add Device.T",
                                       "commit Device.T"));
  EXPECT_EQ(add("Device.T"), added(4));
}

TEST_F(ManagerObjects, AreNotChangedWithAKeyThatIsNoText) {
  const std::pair<std::string, Tree> key = {"ParameterKey", integer(1)};
  EXPECT_EQ(ask("cwmp.rpc.AddObject", object({{"ObjectName", text("Device.T.")}, key})),
            refused(VK_EINVAL, 9003));
  EXPECT_EQ(ask("cwmp.rpc.DeleteObject", object({{"ObjectName", text("Device.T.2.")}, key})),
            refused(VK_EINVAL, 9003));
  EXPECT_THAT(table.asked, IsEmpty());
}

TEST_F(ManagerObjects, AreDeleted) {
  EXPECT_EQ(del("Device.T.2."), deleted());
  EXPECT_THAT(table.parameters, IsEmpty());
  EXPECT_THAT(table.asked, ElementsAre("provide Device.T.2", "rollback Device.T", "del Device.T.2",
                                       "commit Device.T"));
}

TEST_F(ManagerObjects, TellTheStatusOfTheirHandlers) {
  table.additions = {{"add Device.T", {"Status", integer(1)}}};
  EXPECT_EQ(add("Device.T."), added(3, 1));
  table.additions = {{"del Device.T.3", {"Status", integer(1)}}};
  EXPECT_EQ(del("Device.T.3"), deleted(1));
}

TEST_F(ManagerObjects, ShowNothingBeforeTheCommit) {
  bool there = true;
  table.before["commit Device.T"] = [&] { there = table.parameters.contains("Device.T.3.Name"); };
  add("Device.T.");
  EXPECT_FALSE(there);
}

TEST_F(ManagerObjects, NeedATableOrAnInstance) {
  for (const char* const name : {"", ".", "Other.", "Device.T.02.", "Device..T."}) {
    EXPECT_EQ(add(name), absent(name));
    EXPECT_EQ(del(name), absent(name));
  }
  for (const char* const name : {"Device.T.", "Device.T.0.", "Device.T.Name", "Device.T.$."}) {
    EXPECT_EQ(del(name), absent(name));
  }
  EXPECT_THAT(table.asked, IsEmpty());
}

TEST_F(ManagerObjects, NeedAHandlerThatKnowsThem) {
  EXPECT_EQ(add("Device.T.2."), refused(VK_ENOENT, 9005, {{"Device.T.2.", 9005}}));
  EXPECT_EQ(del("Device.T.7."), refused(VK_ENOENT, 9005, {{"Device.T.7.", 9005}}));
  EXPECT_EQ(table.count("rollback Device.T"), 2);
}

TEST_F(ManagerObjects, NeedAName) {
  for (const char* const request : {"cwmp.rpc.AddObject", "cwmp.rpc.DeleteObject"}) {
    EXPECT_EQ(ask(request, object({})), refused(VK_EINVAL, 9003));
    EXPECT_EQ(ask(request, object({{"ObjectName", integer(1)}})), refused(VK_EINVAL, 9003));
  }
}

TEST_F(ManagerObjects, AreRolledBackIfTheirHandlerRefuses) {
  table.refusals = {{"add Device.T", VK_ENOMEM}, {"del Device.T.2", VK_ERO}};
  EXPECT_EQ(add("Device.T."), refused(VK_ENOMEM, 9004, {{"Device.T.", 9004}}));
  EXPECT_EQ(del("Device.T.2."), refused(VK_ERO, 9008, {{"Device.T.2.", 9008}}));
  EXPECT_EQ(table.count("rollback Device.T"), 4);
  EXPECT_EQ(table.count("commit Device.T"), 0);
}

TEST_F(ManagerObjects, NeedANumber) {
  table.tables["Device.T"] = 0;
  EXPECT_EQ(add("Device.T."), refused(VK_EPROVIDER, 9002, {{"Device.T.", 9002}}));
  EXPECT_TRUE(table.staged.empty());
}

TEST_F(ManagerObjects, OfAHandlerThatCannotHoldBackChangeAtOnce) {
  table.holds = false;
  EXPECT_EQ(add("Device.T."), added(3));
  EXPECT_EQ(del("Device.T.3."), deleted());
}

TEST_F(ManagerObjects, AreNotDoneIfTheCommitIsLost) {
  table.before["commit Device.T"] = [&] { router.remove("Device.T"); };
  EXPECT_EQ(add("Device.T."), refused(VK_EIO, 9002, {{"Device.T.", 9002}}));
}

TEST_F(ManagerObjects, TellTheirNumberThoughNothingCouldBeSaved) {
  records.save_status = VK_EIO;
  const Told told = ask("cwmp.rpc.AddObject",
                        object({{"ObjectName", text("Device.T.")}, {"ParameterKey", text("k")}}));
  Told expected = refused(VK_EIO, 9002);
  expected.value.items.push_back(object({{"InstanceNumber", unsigned_integer(3)}}).items[0]);
  EXPECT_EQ(told, expected);
}

TEST_F(ManagerObjects, MoveTheParameterKey) {
  const auto with_key = [&](const char* request, const char* name, const char* key) {
    ask(request, object({{"ObjectName", text(name)}, {"ParameterKey", text(key)}}));
    return ask("dmmgr.inform.get", object({})).value.items.at(1);
  };
  EXPECT_EQ(with_key("cwmp.rpc.AddObject", "Device.T.", "a"),
            object({{"ParameterKey", text("a")}}).items[0]);
  EXPECT_EQ(with_key("cwmp.rpc.DeleteObject", "Device.T.3.", "d"),
            object({{"ParameterKey", text("d")}}).items[0]);
  EXPECT_EQ(with_key("cwmp.rpc.DeleteObject", "Device.T.3.", "refused"),
            object({{"ParameterKey", text("d")}}).items[0]);
}

TEST_F(ManagerObjects, AreWrittenOneAfterAnother) {
  const Tree request = object({{"ObjectName", text("Device.T.")}});
  Pending nested;
  table.before["add Device.T"] = [&] {
    nested = begin("cwmp.rpc.AddObject", request, call_of("table", table.requests.back().parent));
    table.before.clear();
  };
  const Pending first = begin("cwmp.rpc.AddObject", request, call_of("one"));
  const Pending second =
      begin("cwmp.rpc.DeleteObject", object({{"ObjectName", text("Device.T.3.")}}), call_of("two"));
  run();
  EXPECT_EQ(*first, added(3));
  EXPECT_EQ(*second, deleted());
  EXPECT_EQ(*nested, refused(VK_EBUSY, 9004));
}

TEST_F(ManagerObjects, PassFlagsOn) {
  ask("cwmp.rpc.AddObject",
      object({{"ObjectName", text("Device.T.")}, {"dm-flags", unsigned_integer(3)}}));
  EXPECT_EQ(table.requests.at(2).value, object({{"dm-flags", unsigned_integer(2)}}));
}

}  // namespace
}  // namespace vesk::test
