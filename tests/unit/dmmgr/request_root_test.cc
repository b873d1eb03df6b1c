#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>

#include "lib/dmmgr/request.h"
#include "tests/support/requests.h"

// The root of the data model.

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsNull;
using testing::SizeIs;
using testing::StrEq;

const char* const root_at_start = dm_root;

LogCall message(const std::string& text) {
  return {0, 3, "lib/dmmgr/datamodel", 0, "vk_dmmgr_get_dm_root", text};
}
const LogCall kFailed = message("Failed to get datamodel root element");
const LogCall kUnexpected = message("Unexpected datamodel root element");

class DmRoot : public RequestTest {
 protected:
  DmRoot() { dm_root = nullptr; }
  ~DmRoot() override { dm_root = nullptr; }
};

const Tree kDevice = object({{"Device", any()}});
const Tree kGateway = object({{"InternetGatewayDevice", any()}});
const Tree kNeither = object({{"device", any()}, {"Devices", any()}, {"dm", kDevice}});

TEST_F(DmRoot, IsUnknownInAFreshProcess) { EXPECT_THAT(root_at_start, IsNull()); }

TEST_F(DmRoot, IsAskedForAsTheNamesOfTheTopLevelOnGta) {
  const Core core(list_of(kDevice));
  EXPECT_THAT(vk_dmmgr_get_dm_root(), StrEq("Device"));
  const Tree value = object({{"ParameterPath", text(".")}, {"NextLevel", boolean(1)}});
  EXPECT_THAT(core.requests, ElementsAre(Request{"cwmp.rpc.GetParameterNames", 0, value}));
  EXPECT_THAT(core.heaps, ElementsAre(vk_gta()));
}

TEST_F(DmRoot, IsOneOfTwo) {
  struct Row {
    Tree list;
    const char* root;
  };
  const Row rows[] = {
      {kDevice, "Device"},
      {kGateway, "InternetGatewayDevice"},
      {object({{"Device", any()}, {"InternetGatewayDevice", any()}}), "InternetGatewayDevice"},
      {object({{"InternetGatewayDevice", any()}, {"Device", any()}}), "InternetGatewayDevice"},
      {object({{"X", any()}, {"Device", object({{"Info", any()}})}}), "Device"},
      {object({{"Device", text("of any type")}}), "Device"},
  };
  for (const Row& row : rows) {
    dm_root = nullptr;
    const Core core(list_of(row.list));
    EXPECT_THAT(vk_dmmgr_get_dm_root(), StrEq(row.root)) << row.list;
  }
  EXPECT_THAT(log_.calls(), IsEmpty());
}

TEST_F(DmRoot, IsNotAskedForAgainOnceItIsKnown) {
  Core core(list_of(kDevice));
  const char* const root = vk_dmmgr_get_dm_root();
  core.answer = list_of(kGateway);
  EXPECT_EQ(vk_dmmgr_get_dm_root(), root);
  EXPECT_THAT(core.requests, SizeIs(1));
}

TEST_F(DmRoot, StaysWhenHooksAndGtaAreGone) {
  {
    const Core core(list_of(kGateway));
    EXPECT_EQ(vk_gta()->ops->owns(vk_gta(), vk_dmmgr_get_dm_root()), 0);
  }
  vk_gta_destroy();
  EXPECT_THAT(vk_dmmgr_get_dm_root(), StrEq("InternetGatewayDevice"));
  EXPECT_THAT(log_.calls(), IsEmpty());
}

TEST_F(DmRoot, IsUnexpectedIfItIsNeitherAndIsAskedForAgain) {
  Core core;
  for (const Tree& list : {kNeither, object({})}) {
    log_.forget();
    core.answer = list_of(list);
    EXPECT_THAT(vk_dmmgr_get_dm_root(), IsNull());
    EXPECT_THAT(log_.calls(), ElementsAre(kUnexpected));
  }
  core.answer = list_of(kDevice);
  EXPECT_THAT(vk_dmmgr_get_dm_root(), StrEq("Device"));
  EXPECT_THAT(core.requests, SizeIs(3));
}

TEST_F(DmRoot, IsNullIfTheCallFailedAndIsAskedForAgain) {
  Core core(list_of(kDevice));
  core.result = VK_EPROVIDER;
  EXPECT_THAT(vk_dmmgr_get_dm_root(), IsNull());
  EXPECT_THAT(log_.calls(), ElementsAre(kFailed));
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine{3, "NONE: " + kFailed.text}));
  core.result = VK_EOK;
  EXPECT_THAT(vk_dmmgr_get_dm_root(), StrEq("Device"));
  EXPECT_THAT(core.requests, SizeIs(2));
}

TEST_F(DmRoot, IsNullIfTheAnswerHasNoListThatIsAnObject) {
  Core core;
  for (const Answer& answer : {Answer(no_list), Answer(no_object), list_of(array({kDevice}))}) {
    log_.forget();
    core.answer = answer;
    EXPECT_THAT(vk_dmmgr_get_dm_root(), IsNull());
    EXPECT_THAT(log_.calls(), ElementsAre(kFailed));
  }
}

TEST_F(DmRoot, IsNullWithoutGtaAndWithoutACall) {
  const Core core(list_of(kDevice));
  vk_gta_destroy();
  EXPECT_THAT(vk_dmmgr_get_dm_root(), IsNull());
  EXPECT_THAT(core.requests, IsEmpty());
  EXPECT_THAT(log_.calls(), ElementsAre(kFailed));
}

TEST_F(DmRoot, IsToldByNobodyWithoutHooks) {
  EXPECT_THAT(vk_dmmgr_get_dm_root(), IsNull());
  EXPECT_THAT(log_.calls(), ElementsAre(kFailed));
}

// What was deleted on a stack can still be looked at.
TEST_F(DmRoot, DeletesTheListWhateverItHolds) {
  for (const Tree& list : {kDevice, kNeither}) {
    dm_root = nullptr;
    const vk_value* sent = nullptr;
    const Core core([&](vk_value& value) {
      list_of(list)(value);
      sent = vk_object_find_item(&value, "ParameterList");
    });
    vk_dmmgr_get_dm_root();
    EXPECT_EQ(sent->magic, VK_MAGIC_DEAD) << list;
    EXPECT_EQ(core.values.front()->magic, VK_MAGIC_DEAD) << list;
  }
}

TEST_F(DmRoot, IsNullWithoutMemory) {
  expect_sent_whole_or_not_at_all(
      [&] {
        log_.forget();
        dm_root = nullptr;
        const char* const root = vk_dmmgr_get_dm_root();
        EXPECT_EQ(dm_root, root);
        EXPECT_EQ(!log_.calls().empty() && log_.calls().back() == kFailed, root == nullptr);
        return root == nullptr ? VK_ENOMEM : VK_EOK;
      },
      list_of(kDevice));
}

}  // namespace
}  // namespace vesk::test
