#include "modules/deviceinfo/snapshot.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/utsname.h>

#include <cstdint>
#include <string>

#include "tests/support/allocation_fault.h"
#include "tests/support/libc_fakes.h"
#include "tests/support/trees.h"
#include "tests/unit/modules/environment.h"
#include "vesk/value/by_path.h"

namespace vesk::test {
namespace {

using modules::ProcessorTime;

class Snapshot : public testing::Test {
 protected:
  Value taken() {
    Value info = new_object();
    EXPECT_EQ(modules::take_snapshot(info.get(), last_), VK_EOK);
    return info;
  }

  // The text of a parameter, or "-" if it is not there.
  std::string text_of(const char* parameter) {
    const Value info = taken();
    const vk_value* const value = vk_object_find_item(info.get(), parameter);
    return value == nullptr ? "-" : value->payload.text;
  }

  // What stands at a path; any if nothing does.
  Tree value_at(const char* path) {
    const Value info = taken();
    const vk_value* const value = vk_value_find_by_path(info.get(), path);
    return value == nullptr ? any() : tree_of(*value);
  }

  Environment environment_;
  ProcessorTime last_;
};

std::string kernel() {
  utsname system{};
  EXPECT_EQ(uname(&system), 0);
  return std::string(system.sysname) + ' ' + system.release;
}

TEST_F(Snapshot, HasTheseParameters) {
  EXPECT_EQ(member_names(taken()),
            (Names{"Manufacturer", "ModelName", "ProductClass", "SerialNumber", "HardwareVersion",
                   "SoftwareVersion", "AdditionalSoftwareVersion", "AdditionalHardwareVersion",
                   "UpTime", "MemoryStatus", "ProcessStatus"}));
}

TEST_F(Snapshot, IdentifiesAPcByItsFirmware) {
  environment_.write("/sys/class/dmi/id/sys_vendor", "Maker & Sons, Ltd.\n");
  environment_.write("/sys/class/dmi/id/product_name", "Box 7\n");
  environment_.write("/sys/class/dmi/id/product_serial", "S-1\n");
  environment_.write("/sys/class/dmi/id/product_version", "rev 2\n");
  environment_.write("/proc/device-tree/model", "not asked");
  EXPECT_EQ(text_of("Manufacturer"), "Maker & Sons, Ltd.");
  EXPECT_EQ(text_of("ModelName"), "Box 7");
  EXPECT_EQ(text_of("ProductClass"), "Box 7");
  EXPECT_EQ(text_of("SerialNumber"), "S-1");
  EXPECT_EQ(text_of("HardwareVersion"), "rev 2");
}

TEST_F(Snapshot, IdentifiesABoardByItsDeviceTree) {
  environment_.write("/proc/device-tree/compatible", std::string("maker,box\0maker,soc\0", 20));
  environment_.write("/proc/device-tree/model", std::string("Maker Box, small\0", 17));
  environment_.write("/proc/device-tree/serial-number", std::string("S-2\0", 4));
  EXPECT_EQ(text_of("Manufacturer"), "maker");
  EXPECT_EQ(text_of("ModelName"), "Maker Box, small");
  EXPECT_EQ(text_of("ProductClass"), "Maker Box, small");
  EXPECT_EQ(text_of("SerialNumber"), "S-2");
  EXPECT_EQ(text_of("HardwareVersion"), "Maker Box, small");
}

TEST_F(Snapshot, TakesTheDeviceTreeForWhatTheFirmwareLeavesEmpty) {
  environment_.write("/sys/class/dmi/id/product_serial", " \n");
  environment_.write("/proc/device-tree/serial-number", "S-3");
  EXPECT_EQ(text_of("SerialNumber"), "S-3");
}

TEST_F(Snapshot, HasEmptyTextsWhereNothingIdentifies) {
  for (const char* const parameter :
       {"Manufacturer", "ModelName", "ProductClass", "SerialNumber", "HardwareVersion"}) {
    EXPECT_EQ(text_of(parameter), "") << parameter;
  }
}

TEST_F(Snapshot, IsIdentifiedBetterByParametersOfTheModule) {
  environment_.write("/sys/class/dmi/id/sys_vendor", "Maker\n");
  for (const char* const parameter : {"Manufacturer", "ManufacturerOUI", "ModelName",
                                      "ProductClass", "SerialNumber", "HardwareVersion"}) {
    environment_.set_parameter(parameter, std::string("set ") + parameter);
    EXPECT_EQ(text_of(parameter), std::string("set ") + parameter);
  }
}

TEST_F(Snapshot, HasAManufacturerOuiOnlyIfItIsSet) {
  EXPECT_EQ(text_of("ManufacturerOUI"), "-");
  environment_.set_parameter("ManufacturerOUI", "00005E");
  EXPECT_EQ(text_of("ManufacturerOUI"), "00005E");
}

TEST_F(Snapshot, NamesTheSystemAsTheReleaseFileDoes) {
  environment_.write("/usr/lib/os-release", "PRETTY_NAME=\"Vendor's\"\n");
  EXPECT_EQ(text_of("SoftwareVersion"), "Vendor's");
  environment_.write("/etc/os-release", "NAME=Other\nPRETTY_NAME='Own 1.2 (first)'\n");
  EXPECT_EQ(text_of("SoftwareVersion"), "Own 1.2 (first)");
}

TEST_F(Snapshot, NamesTheKernelWhereTheSystemHasNoName) {
  EXPECT_EQ(text_of("SoftwareVersion"), kernel());
  environment_.write("/etc/os-release", "PRETTY_NAME=\n");
  EXPECT_EQ(text_of("SoftwareVersion"), kernel());
}

TEST_F(Snapshot, NamesKernelAndMachine) {
  utsname system{};
  ASSERT_EQ(uname(&system), 0);
  EXPECT_EQ(text_of("AdditionalSoftwareVersion"), kernel());
  EXPECT_EQ(text_of("AdditionalHardwareVersion"), system.machine);
}

TEST_F(Snapshot, TellsTheUptime) {
  LibcFakes libc;
  libc.uptime = 4711;
  EXPECT_EQ(value_at("UpTime"), unsigned_integer(4711));
}

TEST_F(Snapshot, TellsMemoryInKibibytes) {
  environment_.write("/proc/meminfo",
                     "MemTotal:       16316412 kB\nMemFree:           12 kB\nMemAvailable: 9 kB\n");
  EXPECT_EQ(value_at("MemoryStatus.Total"), unsigned_integer(16316412));
  EXPECT_EQ(value_at("MemoryStatus.Free"), unsigned_integer(12));
}

TEST_F(Snapshot, TellsTheLargestNumberForMoreMemory) {
  environment_.write("/proc/meminfo", "MemTotal: 4294967296 kB\n");
  EXPECT_EQ(value_at("MemoryStatus.Total"), unsigned_integer(UINT32_MAX));
  EXPECT_EQ(value_at("MemoryStatus.Free"), unsigned_integer(0));
}

TEST_F(Snapshot, HoldsTheProcesses) {
  EXPECT_EQ(value_at("ProcessStatus.CPUUsage"), unsigned_integer(0));
  EXPECT_EQ(value_at("ProcessStatus.ProcessNumberOfEntries"), unsigned_integer(0));
  EXPECT_EQ(value_at("ProcessStatus.Process"), object({}));
}

TEST(SnapshotWithoutMemory, IsAFailure) {
  Environment environment;
  environment.set_parameter("ManufacturerOUI", "00005E");
  for_every_allocation_fault([](AllocationFault& fault) {
    const Value info = new_object();
    ProcessorTime last;
    const vk_error result = fault.during([&] { return modules::take_snapshot(info.get(), last); });
    EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
  });
}

}  // namespace
}  // namespace vesk::test
