// A module asks for parameters while it serves a frame, and another process answers.

#include <gtest/gtest.h>
#include <vesk/vesk.h>

#include <cstddef>
#include <iterator>
#include <string>

#include "tests/e2e/typical_request.h"

namespace vesk::test {
namespace {

// Counts the blocks of a tree, all of which must lie on this heap.
std::size_t blocks_on(const vk_allocator* heap, const vk_value& value) {
  EXPECT_EQ(heap, value.heap);
  std::size_t blocks = 1 + (value.id != nullptr ? 1 : 0);
  if (value.type == VK_TYPE_STRING) ++blocks;
  if (value.type == VK_TYPE_HEXBINARY || value.type == VK_TYPE_BASE64) ++blocks;
  if (value.type != VK_TYPE_OBJECT) return blocks;
  for (const vk_item* item = vk_object_item_first(&value); item != nullptr;
       item = vk_item_next(item))
    blocks += blocks_on(heap, *item);
  return blocks;
}

TEST_F(TypicalRequest, HandsOutTheValueOfAParameter) {
  answerer.start("serve");
  const Value value = value_of("Device.DeviceInfo.UpTime");
  EXPECT_EQ(VK_EOK, error);
  ASSERT_NE(nullptr, value);
  EXPECT_EQ(VK_TYPE_UNSIGNEDINT, value->type);
  EXPECT_EQ(4242U, value->payload.u32);
  EXPECT_STREQ("UpTime", value->id);
}

TEST_F(TypicalRequest, HandsOutASubtreeWithLeavesOfAllTypes) {
  answerer.start("serve");
  const Value value = value_of("Device.DeviceInfo.");
  EXPECT_EQ(VK_EOK, error);
  ASSERT_NE(nullptr, value);
  EXPECT_EQ(std::size(kDeviceInfo), vk_object_get_size(value.get()));
  EXPECT_TRUE(
      vk_value_equal(vk_value_find_by_path(data_model.get(), "Device.DeviceInfo"), value.get()));
}

TEST_F(TypicalRequest, HandsOutTheWholeListForTheEmptyName) {
  answerer.start("serve");
  const Value value = value_of("");
  EXPECT_EQ(VK_EOK, error);
  ASSERT_NE(nullptr, value);
  EXPECT_STREQ("ParameterList", value->id);
  EXPECT_TRUE(vk_value_equal(data_model.get(), value.get()));
}

TEST_F(TypicalRequest, LeavesTheSubtreeOnTheHeapOfTheServedFrameAndNothingElse) {
  answerer.start("serve");
  const std::size_t before = served.heap.live();
  const std::size_t before_ever = served.heap.ever();
  Value value = value_of("Device");
  ASSERT_NE(nullptr, value);
  EXPECT_EQ(before + blocks_on(served.heap.get(), *value), served.heap.live());
  EXPECT_LT(served.heap.live() - before, served.heap.ever() - before_ever)
      << "the request was not made on this heap";
  value.reset();
  EXPECT_EQ(before, served.heap.live());
}

TEST_F(TypicalRequest, LeavesTheServedFrameAsItIs) {
  answerer.start("serve");
  const std::string before = outline(*vk_frame2value(served.get()));
  ASSERT_NE(nullptr, value_of("Device"));
  EXPECT_EQ(before, outline(*vk_frame2value(served.get())));
  EXPECT_EQ(int32_t{VK_ENOANSWER}, vk_frame_get_status(served.get()));
}

TEST_F(TypicalRequest, ArrivesWithTagPathActionFlagsAndName) {
  answerer.start("serve");
  ASSERT_NE(nullptr, value_of("Device.DeviceInfo.UpTime"));
  EXPECT_EQ(
      "tag 1001, cwmp.rpc.GetParameterValues, get "
      "{dm-flags: unsignedInt 6, ParameterNames: [string Device.DeviceInfo.UpTime]}\n",
      answerer.end());
}

TEST_F(TypicalRequest, ArrivesWithoutFlagsIfTheServedFrameHasNone) {
  const ServedFrame without_flags(0);
  vk_value* out = nullptr;
  answerer.start("serve");
  EXPECT_EQ(VK_EOK, vk_dmmgr_get_parameter_value(without_flags.get(), "Device", &out));
  vk_value_delete(out);
  EXPECT_EQ("tag 1001, cwmp.rpc.GetParameterValues, get {ParameterNames: [string Device]}\n",
            answerer.end());
}

TEST_F(TypicalRequest, GivesNullForANameThatTheAnswerLacks) {
  answerer.start("serve");
  ASSERT_NE(nullptr, value_of("Device.DeviceInfo.Name"));
  const std::size_t before = served.heap.live();
  vk_value* out = data_model.get();
  EXPECT_EQ(VK_EOK, vk_dmmgr_get_parameter_value(served.get(), "Device.Absent", &out));
  EXPECT_EQ(nullptr, out);
  EXPECT_EQ(before, served.heap.live());
  EXPECT_EQ(
      "tag 1001, cwmp.rpc.GetParameterValues, get "
      "{dm-flags: unsignedInt 6, ParameterNames: [string Device.DeviceInfo.Name]}\n"
      "tag 1002, cwmp.rpc.GetParameterValues, get "
      "{dm-flags: unsignedInt 6, ParameterNames: [string Device.Absent]}\n",
      answerer.end());
}

TEST_F(TypicalRequest, BringsBackThatNoHandlerAnswered) {
  answerer.start("serve");
  vk_value* out = data_model.get();
  EXPECT_EQ(VK_ENOANSWER, vk_dmmgr_get_notification(served.heap.get(), &out));
  EXPECT_EQ(data_model.get(), out);
  EXPECT_EQ("tag 1001, dmmgr.notification.get, get {}\n", answerer.end());
}

// A frame of the module's own, whose path goes on below the handler's.
class CallBelowTheHandler : public TypicalRequest {
 protected:
  uint32_t call(uint32_t action) {
    vk_frame_set_action(frame, action);
    return vk_frame_call("cwmp.rpc.GetParameterValues.Device.DeviceInfo", frame);
  }
  ~CallBelowTheHandler() override { vk_frame_delete(frame); }

  vk_frame* frame = vk_frame_new(nullptr);
};

TEST_F(CallBelowTheHandler, GetsTheNodeAtTheExtraPath) {
  answerer.start("serve");
  EXPECT_EQ(VK_EOK, call(VK_DM_GET));
  EXPECT_EQ(int32_t{VK_EOK}, vk_frame_get_status(frame));
  const vk_value* const list = vk_object_find_item(vk_frame2value(frame), "ParameterList");
  ASSERT_NE(nullptr, list);
  EXPECT_TRUE(vk_value_equal(vk_value_find_by_path(data_model.get(), "Device.DeviceInfo"), list));
}

TEST_F(CallBelowTheHandler, ReachesTheHandlerOfItsAction) {
  answerer.start("serve");
  EXPECT_EQ(VK_EOK, call(VK_DM_PROVIDE));
  EXPECT_TRUE(vk_object_is_empty(vk_frame2value(frame)));
  EXPECT_EQ(VK_EOK, call(VK_DM_LEVEL));
  const vk_value* const level = vk_object_find_item(vk_frame2value(frame), "level");
  ASSERT_NE(nullptr, level);
  ASSERT_EQ(std::size(kDeviceInfo), vk_object_get_size(level));
  const vk_item* item = vk_object_item_first(level);
  for (const Parameter& parameter : kDeviceInfo) {
    EXPECT_STREQ(parameter.name, item->id);
    item = vk_item_next(item);
  }
}

TEST_F(CallBelowTheHandler, KeepsTheRefusalOfAnActionWithoutHandlerAsItsStatus) {
  answerer.start("serve");
  EXPECT_EQ(VK_ENOANSWER, call(VK_DM_SET));
  EXPECT_EQ(int32_t{VK_ENOANSWER}, vk_frame_get_status(frame));
}

}  // namespace
}  // namespace vesk::test
