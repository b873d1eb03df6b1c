#include <gtest/gtest.h>

#include <string>

#include "tests/support/manager_bench.h"

namespace vesk::test {
namespace {

class ManagerNames : public ManagerBench {
 protected:
  Told names(const std::string& path, bool next_level) {
    return ask("cwmp.rpc.GetParameterNames",
               object({{"ParameterPath", text(path)}, {"NextLevel", boolean(next_level ? 1 : 0)}}));
  }

  static Told listed(const Tree& list, std::vector<Tree> objects = {}) {
    return answered({{"ParameterList", list}, {"Objects", array(std::move(objects))}});
  }

  static Tree entry(const std::string& name, bool writable) {
    return object({{"Name", text(name)}, {"Writable", boolean(writable ? 1 : 0)}});
  }

  // A parameter that can be written and one that cannot, and a table with two instances.
  void add_device() {
    router.add({.module = "device",
                .pattern = "Device",
                .parameters = {{"Device.Hosts.1.Name", text("a")},
                               {"Device.Hosts.4.Name", text("b")},
                               {"Device.Info.Model", text("m")},
                               {"Device.Info.Label", text("l")}},
                .writable = {"Device.Info.Label", "Device.Hosts", "Device.Hosts.4"},
                .tables = {{"Device.Hosts", 5}}});
  }
};

TEST_F(ManagerNames, ListEverythingBelowAPath) {
  add_device();
  const Tree host = object({{"Name", boolean(0)}});
  const Tree info = object({{"Label", boolean(1)}, {"Model", boolean(0)}});
  EXPECT_EQ(names("Device.", false),
            listed(object({{"Device", object({{"Hosts", object({{"1", host}, {"4", host}})},
                                              {"Info", info}})}}),
                   {entry("Device.Hosts.", true), entry("Device.Hosts.1.", false),
                    entry("Device.Hosts.4.", true)}));
}

TEST_F(ManagerNames, ListOneLevelWithoutTheObjectItself) {
  add_device();
  EXPECT_EQ(names("Device.", true),
            listed(object({{"Device", object({{"Hosts", object({})}, {"Info", object({})}})}}),
                   {entry("Device.Hosts.", true)}));
}

TEST_F(ManagerNames, NeedABooleanToTellTheLevels) {
  EXPECT_EQ(ask("cwmp.rpc.GetParameterNames",
                object({{"ParameterPath", text("")}, {"NextLevel", integer(1)}})),
            refused(VK_EINVAL, 9003));
}

TEST_F(ManagerNames, TakeTheRootInEitherForm) {
  add_device();
  const Told root = listed(object({{"Device", object({})}}));
  EXPECT_EQ(names("", true), root);
  EXPECT_EQ(names(".", true), root);
}

TEST_F(ManagerNames, OfAnEmptyDeviceAreNone) {
  EXPECT_EQ(names("", true), listed(object({})));
  EXPECT_EQ(names("", false), listed(object({})));
}

TEST_F(ManagerNames, TakeAnObjectWithoutItsFinalDot) {
  add_device();
  EXPECT_EQ(names("Device.Info", false), names("Device.Info.", false));
  EXPECT_EQ(names("Device.Hosts", true), names("Device.Hosts.", true));
}

TEST_F(ManagerNames, OfAParameterAreThatParameter) {
  add_device();
  const Told label =
      listed(object({{"Device", object({{"Info", object({{"Label", boolean(1)}})}})}}));
  EXPECT_EQ(names("Device.Info.Label", false), label);
  EXPECT_EQ(names("Device.Info.Label", true), label);
}

TEST_F(ManagerNames, WithoutNextLevelGoAllTheWay) {
  add_device();
  EXPECT_EQ(ask("cwmp.rpc.GetParameterNames", object({{"ParameterPath", text("Device.Info")}})),
            names("Device.Info", false));
}

TEST_F(ManagerNames, AreRefusedWhereNothingIs) {
  add_device();
  for (const char* const path :
       {"Device.Nothing", "Device.Nothing.", "Device.Info.Label.", "Device.Hosts.2.", "Other."}) {
    for (const bool next_level : {false, true}) {
      EXPECT_EQ(names(path, next_level), refused(VK_ENOENT, 9005, {{path, 9005}}));
    }
  }
}

TEST_F(ManagerNames, KnowOneWayToWriteAPath) {
  add_device();
  for (const char* const path :
       {"Device.Hosts.01.", "Device.Hosts.+1.", "Device.Hosts. 1.", "Device.Hosts.-1.",
        "Device.Hosts.0.", "Device.Hosts.1a.", "Device.Hosts.4294967296.",
        "Device.Hosts.99999999999.", "Device..Info.", "Device.Info..", ".Device", "..",
        "Device.Hosts.$."}) {
    EXPECT_EQ(names(path, false), refused(VK_ENOENT, 9005, {{path, 9005}}));
  }
}

TEST_F(ManagerNames, NeedAPath) {
  const Told malformed = refused(VK_EINVAL, 9003);
  EXPECT_EQ(ask("cwmp.rpc.GetParameterNames", object({})), malformed);
  EXPECT_EQ(ask("cwmp.rpc.GetParameterNames", any()), malformed);
  EXPECT_EQ(ask("cwmp.rpc.GetParameterNames", object({{"ParameterPath", integer(1)}})), malformed);
}

// A module with the default handlers of the library has no info.
TEST_F(ManagerNames, WithoutInfoCannotBeWritten) {
  Provider& device = router.add({.module = "device",
                                 .pattern = "Device",
                                 .parameters = {{"Device.A", text("a")}},
                                 .writable = {"Device.A"}});
  device.refusals["info Device.A"] = VK_ENOANSWER;
  EXPECT_EQ(names("Device.A", false), listed(object({{"Device", object({{"A", boolean(0)}})}})));
}

TEST_F(ManagerNames, AskTheHandlerThatWouldBeToldToWrite) {
  router.add({.module = "above",
              .pattern = "Device",
              .parameters = {{"Device.A", text("a")}},
              .writable = {"Device.A"}});
  router.add({.module = "deeper", .pattern = "Device.A", .parameters = {{"Device.A", text("a")}}});
  EXPECT_EQ(names("Device.A", false), listed(object({{"Device", object({{"A", boolean(0)}})}})));
}

TEST_F(ManagerNames, OfATemplateAreThoseOfItsInstances) {
  router.add(
      {.module = "table", .pattern = "Device.T", .parameters = {{"Device.T.6.Name", text("six")}}});
  router.add({.module = "more",
              .pattern = "Device.T.$.More",
              .parameters = {{"Device.T.6.More.X", text("x")}}});
  const Tree six = object({{"Name", boolean(0)}, {"More", object({{"X", boolean(0)}})}});
  EXPECT_EQ(names("Device.", false),
            listed(object({{"Device", object({{"T", object({{"6", six}})}})}}),
                   {entry("Device.T.", false), entry("Device.T.6.", false)}));
}

TEST_F(ManagerNames, OfAnEmptyTableAreToldByItsTemplate) {
  router.add({.module = "table", .pattern = "Device.T", .objects = {"Device.T", "Device.O"}});
  const Provider& instances = router.add({.module = "table", .pattern = "Device.T.$"});
  EXPECT_EQ(names("Device.", true),
            listed(object({{"Device", object({{"T", object({})}})}}), {entry("Device.T.", false)}));
  EXPECT_TRUE(instances.asked.empty());
}

TEST_F(ManagerNames, OfAnEmptyObjectAreNoTable) {
  router.add({.module = "device",
              .pattern = "Device",
              .objects = {"Device.Empty", "Device.Table"},
              .writable = {"Device.Table"}});
  EXPECT_EQ(names("Device.", true),
            listed(object({{"Device", object({{"Empty", object({})}, {"Table", object({})}})}}),
                   {entry("Device.Table.", true)}));
}

TEST_F(ManagerNames, AreLeftOutWhenTheirModuleVanishes) {
  add_device();
  Provider& other =
      router.add({.module = "other",
                  .pattern = "Device.Other",
                  .parameters = {{"Device.Other.A", text("a")}, {"Device.Other.B", text("b")}}});
  other.before["info Device.Other.B"] = [&] { router.remove("Device.Other"); };
  const Told all = names("Device.", false);
  ASSERT_EQ(all.status, VK_EOK);
  const Tree device = all.value.items[0].items[0];
  EXPECT_EQ(device.items[2], object({{"Other", object({{"A", boolean(0)}})}}).items[0]);
}

TEST_F(ManagerNames, OfAnInstanceThatVanishesAreLeftOut) {
  Provider& device = router.add(
      {.module = "device",
       .pattern = "Device",
       .parameters = {{"Device.Hosts.1.Name", text("a")}, {"Device.Hosts.2.Name", text("b")}}});
  device.before["level Device.Hosts.2"] = [&] { device.parameters.erase("Device.Hosts.2.Name"); };
  EXPECT_EQ(names("Device.Hosts.", true),
            listed(object({{"Device", object({{"Hosts", object({{"1", object({})}})}})}}),
                   {entry("Device.Hosts.1.", false)}));
}

TEST_F(ManagerNames, PassOnWhyAHandlerFailed) {
  Provider& device = router.add(
      {.module = "device", .pattern = "Device", .parameters = {{"Device.A", text("a")}}});
  for (const char* const key : {"level Device.A", "provide Device.A", "info Device.A"}) {
    device.refusals = {{key, VK_ETIMEDOUT}};
    EXPECT_EQ(names("Device.", false), refused(VK_ETIMEDOUT, 9002, {{"Device.A", 9002}}));
  }
}

TEST_F(ManagerNames, OfATreeWithoutEndAreBeyondTheDepth) {
  Provider& device = router.add({.module = "device", .pattern = "Device"});
  std::string name = "Device";
  for (int depth = 0; depth != 40; ++depth) name += ".A";
  device.parameters[name] = text("deep");
  EXPECT_EQ(names("Device.", false), refused(VK_ENOMEM, 9004));
  EXPECT_EQ(device.count("level " + name.substr(0, name.size() - 8)), 0) << "it went on";
  EXPECT_EQ(names("Device.", true).status, VK_EOK);
}

TEST_F(ManagerNames, ThatAreFarTooManyAreNotAllAskedFor) {
  Provider& device = router.add({.module = "device", .pattern = "Device"});
  for (int number = 0; number != 40; ++number) {
    device.parameters["Device.A" + std::to_string(number)] = text("a");
  }
  options.limits.nodes = 5;
  EXPECT_EQ(names("Device.", false), refused(VK_ENOMEM, 9004));
  EXPECT_LT(device.asked.size(), 80U);
}

}  // namespace
}  // namespace vesk::test
