#include "vesk/dmmgr/frame.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "tests/support/allocation_fault.h"
#include "tests/support/frames.h"
#include "tests/support/log_spy.h"
#include "tests/support/path_trees.h"
#include "vesk/value/array.h"
#include "vesk/value/attribute.h"
#include "vesk/value/leaf.h"
#include "vesk/value/member.h"

namespace vesk::test {
namespace {

using testing::NotNull;
using testing::StrEq;

vk_value* value_of(const OwnedFrame& frame) { return vk_frame2value(frame.get()); }

TEST(DmAction, HasAName) {
  const char* const names[] = {"get",     "set",    "info",     "add",    "del",   "getattr",
                               "setattr", "commit", "rollback", "config", "level", "provide"};
  uint32_t action = 0;
  for (const char* const name : names) EXPECT_THAT(dm_action_to_string(action++), StrEq(name));
  EXPECT_EQ(action, 12U);
}

TEST(DmAction, OutsideTheTableIsUnknown) {
  for (const uint32_t action : {12U, 13U, 0x80000000U, UINT32_MAX}) {
    EXPECT_THAT(dm_action_to_string(action), StrEq("(unknown action)"));
  }
}

TEST(DmAction, HasAConstant) {
  const uint32_t actions[] = {VK_DM_GET,      VK_DM_SET,     VK_DM_INFO,    VK_DM_ADD,
                              VK_DM_DEL,      VK_DM_GETATTR, VK_DM_SETATTR, VK_DM_COMMIT,
                              VK_DM_ROLLBACK, VK_DM_CONFIG,  VK_DM_LEVEL,   VK_DM_PROVIDE};
  uint32_t number = 0;
  for (const uint32_t action : actions) EXPECT_EQ(action, number++);
}

TEST(DmFrame, GivesTheActionOfTheFrame) {
  const OwnedFrame frame = new_frame();
  vk_frame_set_action(frame.get(), VK_DM_LEVEL);
  EXPECT_EQ(dm_frame_get_action(frame.get()), VK_DM_LEVEL);
}

TEST(DmFrame, GivesTheRequestPathBehindItsPrefix) {
  const OwnedFrame frame = new_frame();
  const PathTree tree = path_tree({"dm.Device.Info.", "dm", "cwmp.Device"});
  const auto request_path = [&](const char* path) {
    frame->rq_path = vk_path_set_current(node_at(tree, path))->path_node.next;
    return dm_frame_get_request_path(frame.get());
  };
  const vk_path_node* const device = request_path("dm.Device.Info.");
  ASSERT_THAT(device, NotNull());
  EXPECT_THAT(device->name, StrEq("Device"));
  EXPECT_THAT(device->next->name, StrEq("Info"));
  EXPECT_EQ(request_path("dm"), nullptr);
  EXPECT_EQ(request_path("cwmp.Device"), nullptr);
  frame->rq_path = nullptr;
  EXPECT_EQ(dm_frame_get_request_path(frame.get()), nullptr);
}

TEST(DmFrame, TellsTheNumberOfAnInstance) {
  const OwnedFrame frame = new_frame();
  EXPECT_EQ(dm_frame_set_instance_number(frame.get(), 4000000000U), VK_EOK);
  const vk_value* const member = vk_object_find_item(value_of(frame), "InstanceNumber");
  ASSERT_THAT(member, NotNull());
  EXPECT_EQ(member->type, VK_TYPE_UNSIGNEDINT);
  EXPECT_EQ(member->payload.u32, 4000000000U);
}

TEST(DmFrame, RefusesTheInstanceNumber0) {
  const LogSpy log;
  const OwnedFrame frame = new_frame();
  EXPECT_EQ(dm_frame_set_instance_number(frame.get(), 0), VK_EINVAL);
  EXPECT_EQ(outline(frame), "object/2{}");
  EXPECT_TRUE(log.calls().empty());
}

TEST(DmFlags, AreKeptAsAnUnsignedInt) {
  const OwnedFrame frame = new_frame();
  EXPECT_EQ(dm_frame_get_flags(frame.get()), 0U);
  EXPECT_EQ(dm_frame_set_flags(frame.get(), 6), VK_EOK);
  EXPECT_EQ(dm_frame_get_flags(frame.get()), 6U);
  EXPECT_EQ(vk_object_find_item(value_of(frame), "dm-flags")->type, VK_TYPE_UNSIGNEDINT);
}

TEST(DmFlags, AreNotStoredIfThereAreNone) {
  const OwnedFrame frame = new_frame();
  EXPECT_EQ(dm_frame_set_flags(frame.get(), 0), VK_EOK);
  EXPECT_EQ(outline(frame), "object/2{}");
  EXPECT_EQ(dm_frame_set_flags(frame.get(), 5), VK_EOK);
  EXPECT_EQ(dm_frame_set_flags(frame.get(), 0), VK_EOK);
  EXPECT_EQ(dm_frame_get_flags(frame.get()), 5U);
}

TEST(DmFlags, OfAnotherTypeCountAsNone) {
  const OwnedFrame frame = new_frame();
  EXPECT_EQ(vk_object_set_int(value_of(frame), "dm-flags", 5), VK_EOK);
  EXPECT_EQ(dm_frame_get_flags(frame.get()), 0U);
}

TEST(DmStatus, IsKeptAsAnInt) {
  const OwnedFrame frame = new_frame();
  EXPECT_EQ(dm_frame_set_status(frame.get(), -7), VK_EOK);
  EXPECT_EQ(outline(frame), "object/2{Status: int -7}");
  EXPECT_EQ(dm_frame_get_status(value_of(frame)), -7);
  EXPECT_EQ(vk_frame_get_status(frame.get()), 0);
}

TEST(DmStatus, IsMinus1WhereThereIsNone) {
  const OwnedFrame frame = new_frame();
  EXPECT_EQ(dm_frame_get_status(nullptr), -1);
  EXPECT_EQ(dm_frame_get_status(value_of(frame)), -1);
  EXPECT_EQ(vk_object_set_uint(value_of(frame), "Status", 3), VK_EOK);
  EXPECT_EQ(dm_frame_get_status(value_of(frame)), -1);
  const Value array = new_array();
  EXPECT_EQ(dm_frame_get_status(array.get()), -1);
}

TEST(DmResult, IsTheParameterListWhateverItsType) {
  const OwnedFrame frame = new_frame();
  EXPECT_EQ(vk_object_set_string(value_of(frame), "ParameterList", "text"), VK_EOK);
  EXPECT_EQ(dm_frame_result_value(value_of(frame)),
            vk_object_find_item(value_of(frame), "ParameterList"));
  EXPECT_EQ(outline(frame), "object/2{ParameterList: string 'text'}");
}

TEST(DmResult, IsMadeAsAnEmptyOrderedObject) {
  const OwnedFrame frame = new_frame();
  ASSERT_THAT(dm_frame_result_value(value_of(frame)), NotNull());
  EXPECT_EQ(outline(frame), "object/2{ParameterList: object/2{}}");
}

TEST(DmResult, IsNullForWhatIsNoObjectAndWithoutMemory) {
  const LogSpy log;
  EXPECT_EQ(dm_frame_result_value(nullptr), nullptr);
  const Value array = new_array();
  EXPECT_EQ(dm_frame_result_value(array.get()), nullptr);
  const Value table = new_object(VK_POLICY_INDEXED);
  EXPECT_EQ(dm_frame_result_value(table.get()), nullptr);
  for_every_allocation_fault([](AllocationFault& fault) {
    const OwnedFrame frame = new_frame();
    const vk_value* const result =
        fault.during([&] { return dm_frame_result_value(value_of(frame)); });
    EXPECT_EQ(result == nullptr, fault.struck());
    if (fault.struck()) {
      EXPECT_EQ(outline(frame), "object/2{}");
    }
  });
}

TEST(DmLevel, NamesEachChildOnceInOrder) {
  const OwnedFrame frame = new_frame();
  for (const char* const name : {"A", "B", "A"}) {
    EXPECT_EQ(dm_frame_add_level_item(frame.get(), name), VK_EOK);
  }
  EXPECT_EQ(outline(frame), "object/2{level: object/2{A: any, B: any}}");
}

TEST(DmLevel, BecomesAnObjectAndLosesWhatItHeld) {
  const OwnedFrame frame = new_frame();
  EXPECT_EQ(vk_object_set_string(value_of(frame), "level", "held"), VK_EOK);
  EXPECT_EQ(vk_value_set_error(vk_object_find_item(value_of(frame), "level"), 1), VK_EOK);
  EXPECT_EQ(dm_frame_add_level_item(frame.get(), "A"), VK_EOK);
  EXPECT_EQ(outline(frame), "object/2{level: object/2{A: any}}");
}

// Each state follows from what was asked for before: two blocks for the node that holds the answer,
// its record and its name, and then two for what goes into it.
constexpr std::size_t kBlocksOfHolder = 2;

TEST(DmLevel, StaysAsItWasMadeWithoutMemoryForAName) {
  const LogSpy log;
  std::size_t run = 0;
  for_every_allocation_fault([&](AllocationFault& fault) {
    const OwnedFrame frame = new_frame();
    const vk_error result = fault.during([&] { return dm_frame_add_level_item(frame.get(), "A"); });
    ++run;
    EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
    if (!fault.struck()) {
      EXPECT_EQ(outline(frame), "object/2{level: object/2{A: any}}");
      run = 0;
    } else {
      EXPECT_EQ(outline(frame),
                run <= kBlocksOfHolder ? "object/2{}" : "object/2{level: object/2{}}");
    }
  });
}

TEST(DmInfo, ClearsTheResultUnlessItIsKept) {
  const OwnedFrame frame = new_frame();
  vk_value* const result = dm_frame_result_value(value_of(frame));
  EXPECT_EQ(vk_object_set_int(result, "A", 1), VK_EOK);
  EXPECT_EQ(dm_frame_set_parameter_info(frame.get(), 1, 1), VK_EOK);
  EXPECT_EQ(outline(frame), "object/2{ParameterList: object/2{A: int 1}<Writable: boolean>}");
  EXPECT_EQ(vk_value_set_error(result, 1), VK_EOK);
  EXPECT_EQ(dm_frame_set_parameter_info(frame.get(), 0, 0), VK_EOK);
  EXPECT_EQ(outline(frame), "object/2{ParameterList: any<Writable: boolean>}");
  EXPECT_EQ(vk_value_find_attribute(result, "Writable")->payload.flag, 0);
}

TEST(DmInfo, KeepsTheFlagAsGivenInOneAttribute) {
  const OwnedFrame frame = new_frame();
  EXPECT_EQ(dm_frame_set_parameter_info(frame.get(), 1, 1), VK_EOK);
  EXPECT_EQ(dm_frame_set_parameter_info(frame.get(), 2, 1), VK_EOK);
  EXPECT_EQ(outline(frame), "object/2{ParameterList: object/2{}<Writable: boolean>}");
  const vk_value* const result = vk_object_find_item(value_of(frame), "ParameterList");
  EXPECT_EQ(vk_value_find_attribute(result, "Writable")->payload.flag, 2);
}

TEST(DmInfo, LeavesTheResultAsItWasMadeWithoutMemoryForTheAttribute) {
  const LogSpy log;
  std::size_t run = 0;
  for_every_allocation_fault([&](AllocationFault& fault) {
    const OwnedFrame frame = new_frame();
    const vk_error result =
        fault.during([&] { return dm_frame_set_parameter_info(frame.get(), 1, 1); });
    ++run;
    EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
    if (!fault.struck()) {
      EXPECT_EQ(outline(frame), "object/2{ParameterList: object/2{}<Writable: boolean>}");
      run = 0;
    } else {
      EXPECT_EQ(outline(frame),
                run <= kBlocksOfHolder ? "object/2{}" : "object/2{ParameterList: object/2{}}");
    }
  });
}

TEST(DmSetters, NeedMemory) {
  const LogSpy log;
  for (const auto set : {+[](vk_frame* frame) { return dm_frame_set_instance_number(frame, 1); },
                         +[](vk_frame* frame) { return dm_frame_set_flags(frame, 1); },
                         +[](vk_frame* frame) { return dm_frame_set_status(frame, 1); }}) {
    for_every_allocation_fault([&](AllocationFault& fault) {
      const OwnedFrame frame = new_frame();
      const vk_error result = fault.during([&] { return set(frame.get()); });
      EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
      if (fault.struck()) {
        EXPECT_EQ(outline(frame), "object/2{}");
      }
    });
  }
}

}  // namespace
}  // namespace vesk::test
