#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "tests/support/frames.h"
#include "tests/support/requests.h"
#include "vesk/dmmgr/frame.h"
#include "vesk/dmmgr/request.h"
#include "vesk/mm/stack.h"

// The value of a parameter.

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::NotNull;
using testing::StrEq;

class DmValue : public RequestTest {
 protected:
  Outcome ask(const char* name) {
    return outcome_of(
        [&](vk_value** out) { return vk_dmmgr_get_parameter_value(frame_.get(), name, out); });
  }

  OwnedFrame frame_ = new_frame();
};

const Tree kInfo = object({{"Name", text("x")}, {"Uptime", integer(5)}});
const Tree kList = object({{"Device", object({{"Info", kInfo}})}, {"X", boolean(1)}});

Request request_for(const char* name) {
  return {"cwmp.rpc.GetParameterValues", 0, object({{"ParameterNames", array({text(name)})}})};
}

TEST_F(DmValue, IsAskedForByName) {
  const Core core;
  ask("Device.Info.Name");
  ask("");
  EXPECT_THAT(core.requests, ElementsAre(request_for("Device.Info.Name"), request_for("")));
}

TEST_F(DmValue, IsAskedForOnTheHeapOfTheFrame) {
  const Core core;
  ask("X");
  EXPECT_THAT(core.heaps, ElementsAre(frame_->heap));
}

TEST_F(DmValue, IsAskedForWithTheFlagsOfTheFrame) {
  const Core core;
  EXPECT_EQ(dm_frame_set_flags(frame_.get(), 6), VK_EOK);
  ask("X");
  const Tree value =
      object({{"dm-flags", unsigned_integer(6)}, {"ParameterNames", array({text("X")})}});
  EXPECT_THAT(core.requests, ElementsAre(Request{"cwmp.rpc.GetParameterValues", 0, value}));
}

TEST_F(DmValue, IsAskedForWithoutFlagsThatAreNoneOrOfAnotherType) {
  const Core core;
  EXPECT_EQ(vk_object_set_uint(vk_frame2value(frame_.get()), "dm-flags", 0), VK_EOK);
  ask("X");
  EXPECT_EQ(vk_object_set_int(vk_frame2value(frame_.get()), "dm-flags", 6), VK_EOK);
  ask("X");
  EXPECT_THAT(core.requests, ElementsAre(request_for("X"), request_for("X")));
}

TEST_F(DmValue, IsAskedForWithNothingElseOfTheFrame) {
  Core core(list_of(kList));
  core.result = VK_EPROVIDER;
  EXPECT_EQ(vk_object_set_int(vk_frame2value(frame_.get()), "Own", 1), VK_EOK);
  vk_frame_set_action(frame_.get(), VK_DM_SET);
  vk_frame_set_status(frame_.get(), -5);
  ask("X");
  EXPECT_THAT(core.requests, ElementsAre(request_for("X")));
  EXPECT_EQ(outline(frame_), "object/2{Own: int 1}");
  EXPECT_EQ(vk_frame_get_action(frame_.get()), VK_DM_SET);
  EXPECT_EQ(vk_frame_get_status(frame_.get()), -5);
}

TEST_F(DmValue, NeedsAFrame) {
  const Core core(list_of(kList));
  frame_.reset();
  EXPECT_EQ(ask("X"), (Outcome{VK_EINVAL, Untouched{}}));
  EXPECT_THAT(core.requests, IsEmpty());
}

TEST_F(DmValue, IsThePartOfTheListAtTheName) {
  struct Row {
    const char* name;
    Tree part;
  };
  const Row rows[] = {{"Device.Info.Name", text("x")},
                      {"Device.Info.", kInfo},
                      {"X", boolean(1)},
                      {"", kList},
                      {".", kList}};
  const Core core(list_of(kList));
  for (const Row& row : rows) EXPECT_EQ(ask(row.name), (Outcome{VK_EOK, row.part})) << row.name;
}

TEST_F(DmValue, IsTheCallersOnTheHeapOfTheFrame) {
  const Core core(list_of(kList));
  for (const char* const name : {"Device.Info", ""}) {
    vk_value* out = nullptr;
    EXPECT_EQ(vk_dmmgr_get_parameter_value(frame_.get(), name, &out), VK_EOK);
    const Value value(out);
    ASSERT_THAT(value, NotNull());
    EXPECT_THAT(heaps_of(*value), ElementsAre(frame_->heap));
    EXPECT_THAT(value->id, StrEq(*name == '\0' ? "ParameterList" : "Info"));
  }
}

TEST_F(DmValue, IsNullButNoErrorIfTheListLacksTheName) {
  const Core core(list_of(kList));
  for (const char* const name : {"Y", "Device.Info.Y", "X.Y", "ParameterList"}) {
    EXPECT_EQ(ask(name), (Outcome{VK_EOK, Null{}})) << name;
  }
  EXPECT_THAT(log_.calls(), IsEmpty());
}

TEST_F(DmValue, IsUntouchedIfTheAnswerHasNoListThatIsAnObject) {
  for (const char* const path : {"", "X"}) {
    expect_untouched_without_a_list([&] { return ask(path); });
  }
  EXPECT_THAT(log_.calls(), IsEmpty());
}

TEST_F(DmValue, IsUntouchedIfTheCallFailed) {
  expect_untouched_by_a_failed_call([&] { return ask("X"); }, kList);
  EXPECT_THAT(log_.calls(), IsEmpty());
}

TEST_F(DmValue, IsToldByNobodyWithoutHooks) {
  EXPECT_EQ(ask("X"), (Outcome{VK_ENOANSWER, Untouched{}}));
}

TEST_F(DmValue, IsNotAskedForWithoutMemory) {
  EXPECT_EQ(dm_frame_set_flags(frame_.get(), 6), VK_EOK);
  const auto ask_for_info = [&] {
    const Outcome outcome = ask("Device.Info");
    EXPECT_EQ(outcome.out, outcome.error == VK_EOK ? Out(kInfo) : Out(Untouched{}));
    return outcome.error;
  };
  expect_sent_whole_or_not_at_all(ask_for_info, list_of(kList));
}

// The deleted frames in a stack's memory that held a value: what was deleted on a stack can still
// be looked at.
std::vector<vk_frame> deleted_frames_of(const vk_value* value, vk_allocator* stack) {
  const vk_mm_region& region = reinterpret_cast<const vk_mm_stack*>(stack)->region;
  std::vector<vk_frame> frames;
  const char* place = reinterpret_cast<const char*>(region.chunk + 1);
  for (; place + sizeof(vk_frame) <= region.next_free; place += alignof(vk_frame)) {
    vk_frame frame;
    std::memcpy(&frame, place, sizeof frame);
    const bool found = frame.magic == VK_MAGIC_DEAD && frame.value == value;
    if (found && frame.heap == stack) frames.push_back(frame);
  }
  return frames;
}

TEST_F(DmValue, ComesByAChildFrameThatHasTheResultAsItsStatusAndIsDeleted) {
  for (const uint32_t result : {VK_EOK, VK_EPROVIDER}) {
    const Heap stack(vk_mm_stack_new("frames"));
    vk_frame parent = {};
    parent.heap = stack.get();
    const OwnedFrame frame = new_frame(&parent);
    Core core;
    core.result = result;
    vk_value* out = nullptr;
    EXPECT_NE(vk_dmmgr_get_parameter_value(frame.get(), "X", &out), VK_EOK);
    EXPECT_EQ(core.values.front()->magic, VK_MAGIC_DEAD);
    const std::vector<vk_frame> children = deleted_frames_of(core.values.front(), stack.get());
    ASSERT_EQ(children.size(), 1U);
    EXPECT_EQ(children[0].status, static_cast<int32_t>(result));
    EXPECT_EQ(children[0].owns_heap, 0);
  }
}

}  // namespace
}  // namespace vesk::test
