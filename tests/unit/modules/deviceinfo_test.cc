#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/allocation_fault.h"
#include "tests/support/libc_fakes.h"
#include "tests/support/trees.h"
#include "tests/unit/modules/program.h"

// The module that serves Device.DeviceInfo.

namespace vesk::test {
namespace {

const std::string kRoot = "dm.Device.DeviceInfo";
const std::string kCode = kRoot + ".ProvisioningCode";

class DeviceInfo : public testing::Test {
 protected:
  DeviceInfo() {
    libc_.uptime = 100;
    program_.environment.write("/sys/class/dmi/id/product_name", "first\n");
  }

  void start() { ASSERT_EQ(program_.start(), VK_EOK); }
  Tree model() { return program_.value_at(kRoot + ".ModelName"); }

  // Whether a node can be written; -1 if it is not there.
  int writable(const std::string& path) {
    const Answer answer = program_.ask(VK_DM_INFO, path);
    if (answer.result != VK_EOK) return -1;
    return std::get<uint8_t>(answer.value.items.at(0).attributes.at(0).payload);
  }

  LibcFakes libc_;
  Program program_{deviceinfo_main};
};

TEST_F(DeviceInfo, HasOneHandler) {
  start();
  EXPECT_STREQ(program_.descriptor().name, "deviceinfo");
  ASSERT_EQ(program_.hooks.registrations.size(), 1U);
  EXPECT_EQ(program_.hooks.registrations[0].what, "add " + kRoot);
}

TEST_F(DeviceInfo, IsASnapshotWithTheProvisioningCode) {
  start();
  const Tree all = program_.value_at(kRoot);
  ASSERT_EQ(all.items.size(), 12U);
  EXPECT_EQ(all.items.front().name, "Manufacturer");
  EXPECT_EQ(all.items.back().name, "ProvisioningCode");
  EXPECT_EQ(program_.value_at(kCode), text(""));
  EXPECT_EQ(program_.value_at(kRoot + ".UpTime"), unsigned_integer(100));
}

TEST_F(DeviceInfo, IsNeverOlderThanASecond) {
  start();
  EXPECT_EQ(model(), text("first"));
  program_.environment.write("/sys/class/dmi/id/product_name", "second\n");
  EXPECT_EQ(model(), text("first"));
  libc_.uptime = 101;
  EXPECT_EQ(model(), text("second"));
}

TEST_F(DeviceInfo, NamesItsProcessesAndHoldsThemAsTheyComeAndGo) {
  start();
  const std::string table = kRoot + ".ProcessStatus.Process";
  EXPECT_EQ(program_.ask(VK_DM_LEVEL, table), (Answer{VK_EOK, object({})}));
  program_.environment.write("/proc/7/stat",
                             "7 (a) S 1 1 1 1 1 1 1 1 1 1 1 1 1 1 20 0 1 0 1 1 1\n");
  EXPECT_EQ(program_.ask(VK_DM_PROVIDE, table + ".7").result, VK_ENOANSWER);
  libc_.uptime = 101;
  EXPECT_EQ(program_.ask(VK_DM_LEVEL, table),
            (Answer{VK_EOK, object({{"level", object({{"7", any()}})}})}));
  EXPECT_EQ(program_.ask(VK_DM_PROVIDE, table + ".7").result, VK_EOK);
  EXPECT_EQ(program_.value_at(table + ".7.Command"), text("a"));
  program_.environment.remove("/proc/7");
  libc_.uptime = 102;
  EXPECT_EQ(program_.ask(VK_DM_INFO, table + ".7").result, VK_ENOANSWER);
}

TEST_F(DeviceInfo, CanBeWrittenInItsProvisioningCodeOnly) {
  start();
  EXPECT_EQ(writable(kCode), 1);
  for (const char* const path :
       {"", ".ModelName", ".MemoryStatus", ".MemoryStatus.Total", ".ProcessStatus.Process"}) {
    EXPECT_EQ(writable(kRoot + path), 0) << path;
    EXPECT_EQ(program_.set(kRoot + path, text("new")), VK_ERO) << path;
  }
  EXPECT_EQ(writable(kCode + ".Below"), -1);
  EXPECT_EQ(writable(kRoot + ".Missing"), -1);
  EXPECT_EQ(program_.set(kCode + ".Below", text("new")), VK_ERO);
  for (const uint32_t action : {VK_DM_ADD, VK_DM_DEL}) {
    EXPECT_EQ(program_.ask(action, kRoot + ".ProcessStatus.Process").result, VK_ENOANSWER);
  }
}

TEST_F(DeviceInfo, ShowsAProvisioningCodeFromItsCommitOn) {
  start();
  EXPECT_EQ(program_.set(kCode, text("TLCO.GRP2")), VK_EOK);
  EXPECT_EQ(program_.value_at(kCode), text(""));
  EXPECT_TRUE(program_.stored.empty());
  EXPECT_EQ(program_.commit(kRoot), VK_EOK);
  EXPECT_EQ(program_.value_at(kCode), text("TLCO.GRP2"));
  EXPECT_EQ(program_.stored["deviceinfo"], object({{"ProvisioningCode", text("TLCO.GRP2")}}));
}

TEST_F(DeviceInfo, ForgetsAProvisioningCodeThatIsRolledBack) {
  start();
  EXPECT_EQ(program_.set(kCode, text("new")), VK_EOK);
  EXPECT_EQ(program_.rollback(kRoot), VK_EOK);
  EXPECT_EQ(program_.commit(kRoot), VK_EOK);
  EXPECT_EQ(program_.value_at(kCode), text(""));
  EXPECT_TRUE(program_.stored.empty());
}

TEST_F(DeviceInfo, KeepsTheOldProvisioningCodeIfTheNewOneCannotBeSaved) {
  program_.stored["deviceinfo"] = object({{"ProvisioningCode", text("old")}});
  start();
  program_.save_result = VK_EBUSY;
  EXPECT_EQ(program_.set(kCode, text("new")), VK_EOK);
  EXPECT_EQ(program_.commit(kRoot), VK_EBUSY);
  EXPECT_EQ(program_.value_at(kCode), text("old"));
  program_.save_result = VK_EOK;
  EXPECT_EQ(program_.commit(kRoot), VK_EOK);
  EXPECT_EQ(program_.value_at(kCode), text("old"));
}

TEST_F(DeviceInfo, ServesTheProvisioningCodeThatWasSavedWhateverComesMeanwhile) {
  start();
  EXPECT_EQ(program_.set(kCode, text("first")), VK_EOK);
  program_.while_saving = [this] {
    EXPECT_EQ(program_.value_at(kCode), text(""));
    EXPECT_EQ(program_.set(kCode, text("second")), VK_EOK);
  };
  EXPECT_EQ(program_.commit(kRoot), VK_EOK);
  EXPECT_EQ(program_.value_at(kCode), text("first"));
  program_.while_saving = [] {};
  EXPECT_EQ(program_.commit(kRoot), VK_EOK);
  EXPECT_EQ(program_.value_at(kCode), text("second"));
}

TEST_F(DeviceInfo, TakesProvisioningCodesOf64CharactersAtMost) {
  start();
  EXPECT_EQ(program_.set(kCode, text(std::string(65, 'a'))), VK_EVALUE);
  EXPECT_EQ(program_.set(kCode, text(std::string(64, 'a'))), VK_EOK);
  EXPECT_EQ(program_.set(kCode, unsigned_integer(1)), VK_ETYPE);
  EXPECT_EQ(program_.ask(VK_DM_SET, kCode).result, VK_ETYPE);
  EXPECT_EQ(program_.commit(kRoot), VK_EOK);
  EXPECT_EQ(program_.value_at(kCode), text(std::string(64, 'a')));
}

TEST_F(DeviceInfo, LoadsTheProvisioningCode) {
  program_.stored["deviceinfo"] = object({{"ProvisioningCode", text("old")}});
  start();
  EXPECT_EQ(program_.value_at(kCode), text("old"));
}

TEST(DeviceInfoStorage, GivesNoProvisioningCodeWhereNoneCanBeMadeOfIt) {
  const Tree trees[] = {text("a"), array({}), object({}),
                        object({{"ProvisioningCode", unsigned_integer(1)}}),
                        object({{"ProvisioningCode", text(std::string(65, 'a'))}})};
  for (const Tree& tree : trees) {
    Program program(deviceinfo_main);
    program.stored["deviceinfo"] = tree;
    EXPECT_EQ(program.start(), VK_EOK);
    EXPECT_EQ(program.value_at(kCode), text("")) << tree;
    EXPECT_EQ(program.environment.log().lines().size(), 1U) << tree;
  }
}

TEST_F(DeviceInfo, IsServedIfWhatWasSavedIsDamagedButNotIfItCannotBeReadJustNow) {
  for (const uint32_t result : {VK_EBUSY, VK_EIO}) {
    program_.load_result = result;
    EXPECT_EQ(program_.start(), result);
    EXPECT_TRUE(program_.hooks.registrations.empty());
  }
  EXPECT_EQ(program_.environment.log().lines().size(), 0U);
  program_.load_result = VK_EVALUE;
  EXPECT_EQ(program_.start(), VK_EOK);
  EXPECT_EQ(program_.environment.log().lines().size(), 1U);
}

TEST_F(DeviceInfo, IsNotServedIfItsHandlerIsRefused) {
  program_.hooks.results = {VK_EEXIST};
  EXPECT_EQ(program_.start(), VK_EEXIST);
}

TEST(DeviceInfoWithoutMemory, IsNotStarted) {
  for_every_allocation_fault([](AllocationFault& fault) {
    Program program(deviceinfo_main);
    const vk_error result = fault.during([&] { return program.start(); });
    EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
  });
}

// Half a snapshot must never be seen.
TEST(DeviceInfoWithoutMemory, IsNotServed) {
  for_every_allocation_fault([](AllocationFault& fault) {
    Program program(deviceinfo_main);
    ASSERT_EQ(program.start(), VK_EOK);
    Request request(program, VK_DM_PROVIDE, kRoot + ".ModelName", object({}));
    const uint32_t result = fault.during([&] { return request.send(); });
    EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
    EXPECT_EQ(program.value_at(kRoot).items.size(), 12U);
  });
}

TEST(DeviceInfoWithoutMemory, KeepsItsProvisioningCode) {
  for_every_allocation_fault([](AllocationFault& fault) {
    Program program(deviceinfo_main);
    ASSERT_EQ(program.start(), VK_EOK);
    ASSERT_EQ(program.set(kCode, text("new")), VK_EOK);
    Request request(program, VK_DM_COMMIT, kRoot, object({}));
    const uint32_t result = fault.during([&] { return request.send(); });
    EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
    EXPECT_EQ(program.value_at(kCode), text(fault.struck() ? "" : "new"));
  });
}

TEST(DeviceInfoWithoutMemory, CanStillBeRolledBack) {
  Program program(deviceinfo_main);
  ASSERT_EQ(program.start(), VK_EOK);
  ASSERT_EQ(program.set(kCode, text("new")), VK_EOK);
  AllocationFault all(1, AllocationFault::Extent::kAllFromThere);
  Request request(program, VK_DM_ROLLBACK, kRoot, object({}));
  EXPECT_EQ(all.during([&] { return request.send(); }), VK_EOK);
  EXPECT_EQ(program.commit(kRoot), VK_EOK);
  EXPECT_EQ(program.value_at(kCode), text(""));
}

}  // namespace
}  // namespace vesk::test
