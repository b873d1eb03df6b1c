#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

#include "tests/support/requests.h"
#include "vesk/dmmgr/request.h"

// Changes of a parameter's attributes.

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DmAttributes : public ModuleRequestTest {};

vk_error set_some() { return vk_dmmgr_set_parameter_attributes("Device.X", 1, 2, 0); }

TEST_F(DmAttributes, AreSentAsAListOfOneChange) {
  const Core core;
  EXPECT_EQ(set_some(), VK_EOK);
  const Tree change = object({{"Name", text("Device.X")},
                              {"NotificationChange", boolean(1)},
                              {"Notification", integer(2)},
                              {"AccessListChange", boolean(0)}});
  const Tree value = object({{"ParameterList", array({change})}});
  EXPECT_THAT(core.requests, ElementsAre(Request{"cwmp.rpc.GetParameterAttributes", 0, value}));
}

TEST_F(DmAttributes, AreSentAsTheyAreGiven) {
  constexpr int32_t kLeast = std::numeric_limits<int32_t>::min();
  const Core core;
  EXPECT_EQ(vk_dmmgr_set_parameter_attributes("", 0, kLeast, 255), VK_EOK);
  const Tree change = object({{"Name", text("")},
                              {"NotificationChange", boolean(0)},
                              {"Notification", integer(kLeast)},
                              {"AccessListChange", boolean(255)}});
  const Tree value = object({{"ParameterList", array({change})}});
  EXPECT_THAT(core.requests, ElementsAre(Request{"cwmp.rpc.GetParameterAttributes", 0, value}));
}

TEST_F(DmAttributes, AreSentFromTheHeapOfTheModule) {
  const Core core;
  EXPECT_EQ(set_some(), VK_EOK);
  EXPECT_THAT(core.heaps, ElementsAre(heap_.get()));
}

TEST_F(DmAttributes, GiveTheAnswerAsItIsAndKeepNothing) {
  Core core;
  for (const auto answer : {no_list, no_object}) {
    core.answer = answer;
    for (const uint32_t result : {VK_EOK, VK_ERO, UINT32_C(4000000000)}) {
      core.result = result;
      EXPECT_EQ(set_some(), result);
    }
  }
  EXPECT_THAT(log_.calls(), IsEmpty());
}

TEST_F(DmAttributes, AreAnsweredByNobodyWithoutHooks) { EXPECT_EQ(set_some(), VK_ENOANSWER); }

TEST_F(DmAttributes, AreNotSentWithoutMemory) { expect_sent_whole_or_not_at_all(set_some); }

}  // namespace
}  // namespace vesk::test
