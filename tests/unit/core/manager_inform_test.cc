#include <gtest/gtest.h>

#include <string>

#include "tests/support/manager_bench.h"

namespace vesk::test {
namespace {

class ManagerInform : public ManagerBench {
 protected:
  Provider& device = router.add({.module = "device",
                                 .pattern = "Device",
                                 .parameters = {{"Device.DeviceInfo.HardwareVersion", text("hw")},
                                                {"Device.DeviceInfo.SoftwareVersion", text("sw")},
                                                {"Device.DeviceInfo.Other", text("o")},
                                                {"Device.RootDataModelVersion", text("2.11")}}});

  Told inform() { return ask("dmmgr.inform.get", object({})); }

  static Told values(const Tree& list) {
    return answered({{"ParameterList", list}, {"ParameterKey", text("")}});
  }
};

TEST_F(ManagerInform, HoldsThoseOfTheDefaultNamesThatAreThere) {
  EXPECT_EQ(
      inform(),
      values(object(
          {{"Device", object({{"RootDataModelVersion", text("2.11")},
                              {"DeviceInfo", object({{"HardwareVersion", text("hw")},
                                                     {"SoftwareVersion", text("sw")}})}})}})));
}

TEST_F(ManagerInform, HoldsTheNamesOfTheOptions) {
  options.inform_names = {"Device.DeviceInfo.Other", "Device.Nothing", "Device..Bad", "Device.01"};
  EXPECT_EQ(inform(),
            values(object({{"Device", object({{"DeviceInfo", object({{"Other", text("o")}})}})}})));
}

TEST_F(ManagerInform, HoldsWhatCanBeHad) {
  options.inform_names = {"Device.DeviceInfo.Other", "Device.RootDataModelVersion"};
  device.refusals["get Device.DeviceInfo.Other"] = VK_ETIMEDOUT;
  EXPECT_EQ(inform(),
            values(object({{"Device", object({{"RootDataModelVersion", text("2.11")}})}})));
}

TEST_F(ManagerInform, OfNothingIsEmpty) {
  options.inform_names = {};
  EXPECT_EQ(inform(), values(object({})));
}

TEST_F(ManagerInform, IsOneOfTheServices) {
  restart();
  const std::vector<std::string> services = router.services();
  EXPECT_EQ(
      services,
      (std::vector<std::string>{
          "cwmp.rpc.GetParameterNames", "cwmp.rpc.GetParameterValues",
          "cwmp.rpc.SetParameterValues", "cwmp.rpc.AddObject", "cwmp.rpc.DeleteObject",
          "cwmp.rpc.GetParameterAttributes", "cwmp.rpc.SetParameterAttributes", "dmmgr.inform.get",
          "dmmgr.notification.get", "dmmgr.changed", "dmmgr.hook.add", "dmmgr.hook.del"}));
}

}  // namespace
}  // namespace vesk::test
