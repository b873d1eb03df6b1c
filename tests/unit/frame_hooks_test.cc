#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>

#include "lib/frame.h"
#include "tests/support/allocation_fault.h"
#include "tests/support/frames.h"
#include "tests/support/log_spy.h"
#include "tests/support/module_process.h"
#include "tests/support/recording_hooks.h"
#include "vesk/frame.h"
#include "vesk/mm/gta.h"
#include "vesk/path_tree.h"
#include "vesk/value/member.h"

// Calls and registrations through the installed hooks.

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Registration = RecordingHooks::Registration;

uint32_t handler(void*, vk_frame*, void*) { return VK_EOK; }
uint32_t other_handler(void*, vk_frame*, void*) { return VK_EOK; }

// Path texts are taken apart on "gta".
class FrameCall : public testing::Test {
 protected:
  FrameCall() { EXPECT_EQ(vk_gta_init(), VK_EOK); }
  ~FrameCall() override { vk_gta_destroy(); }
};

TEST_F(FrameCall, IsAnsweredByNobodyUntilHooksAreInstalled) {
  const OwnedFrame frame = new_frame();
  EXPECT_EQ(vk_frame_call("a.b", frame.get()), VK_ENOANSWER);
  EXPECT_EQ(vk_frame_get_status(frame.get()), 23);
  EXPECT_EQ(vk_frame_call2("a.b", 0, nullptr), VK_ENOANSWER);
  EXPECT_EQ(vk_frame_call_path2(nullptr, 0, nullptr), VK_ENOANSWER);
}

TEST(FrameHandler, IsRefusedUntilHooksAreInstalled) {
  int data = 0;
  EXPECT_EQ(vk_frame_handler_register("a", handler, &data), VK_ENOSYS);
  EXPECT_EQ(vk_frame_handler_unregister("a", handler, &data), VK_ENOSYS);
}

uint32_t answer_seven(const vk_path_node*, uint32_t, vk_value*) { return 7; }
vk_error answer_eight(const char*, vk_frame_handler, void*) { return 8; }
vk_error answer_nine(const char*, vk_frame_handler, void*) { return 9; }

TEST(FrameHandlerSetup, InstallsTheThreeHooks) {
  const LogSpy log;
  const RecordingHooks put_back_afterwards;
  const vk_frame_handler_ops ops = {answer_seven, answer_eight, answer_nine};
  EXPECT_EQ(vk_frame_handler_setup(&ops), VK_EOK);
  EXPECT_EQ(vk_frame_call_path2(nullptr, 0, nullptr), 7U);
  EXPECT_EQ(vk_frame_handler_register("a", handler, nullptr), 8U);
  EXPECT_EQ(vk_frame_handler_unregister("a", handler, nullptr), 9U);
  EXPECT_THAT(log.calls(), IsEmpty());
}

TEST(FrameHandlerSetup, TakesNullHooksAsTheyAre) {
  const LogSpy log;
  const RecordingHooks put_back_afterwards;
  const vk_frame_handler_ops ops = {};
  EXPECT_EQ(vk_frame_handler_setup(&ops), VK_EOK);
  EXPECT_EQ(frame_hooks.call_path, nullptr);
  EXPECT_EQ(frame_hooks.register_handler, nullptr);
  EXPECT_EQ(frame_hooks.unregister_handler, nullptr);
}

TEST(FrameHandlerSetup, IsPrecededByOneFunctionForBothKindsOfRegistration) {
  EXPECT_EQ(kNoFrameHooks.register_handler, kNoFrameHooks.unregister_handler);
}

TEST(FrameHandlerSetup, IsRefusedInAModule) {
  const LogSpy log;
  const ModuleProcess module("wlan");
  const vk_frame_handler_ops ops = {answer_seven, answer_eight, answer_nine};
  EXPECT_EQ(vk_frame_handler_setup(&ops), VK_EFAULT);
  EXPECT_EQ(vk_frame_call_path2(nullptr, 0, nullptr), VK_ENOANSWER);
  EXPECT_EQ(vk_frame_handler_register("a", handler, nullptr), VK_ENOSYS);
  EXPECT_EQ(vk_frame_handler_unregister("a", handler, nullptr), VK_ENOSYS);
  EXPECT_THAT(log.calls(), ElementsAre(LogCall{0, 3, "lib/frame", 0, "vk_frame_handler_setup",
                                               "Frame handlers should be setup from core"}));
  EXPECT_THAT(log.lines(),
              ElementsAre(LogLine{3, "wlan: Frame handlers should be setup from core"}));
}

TEST(FrameHandler, IsRegisteredAndUnregisteredWithTheArgumentsAsGiven) {
  RecordingHooks hooks;
  hooks.results = {VK_EEXIST, VK_ENOENT};
  int data = 0;
  EXPECT_EQ(vk_frame_handler_register("a.$", handler, &data), VK_EEXIST);
  EXPECT_EQ(vk_frame_handler_unregister("a.$", handler, &data), VK_ENOENT);
  EXPECT_THAT(hooks.registrations, ElementsAre(Registration{"add a.$", handler, &data},
                                               Registration{"del a.$", handler, &data}));
}

const vk_frame_handler_entry kThree[] = {
    {"first", handler}, {"second", other_handler}, {"third", handler}, {nullptr, nullptr}};

TEST(FrameHandlerList, IsRegisteredInOrder) {
  const RecordingHooks hooks;
  int data = 0;
  EXPECT_EQ(vk_frame_handler_list_register(kThree, &data), VK_EOK);
  EXPECT_THAT(hooks.registrations, ElementsAre(Registration{"add first", handler, &data},
                                               Registration{"add second", other_handler, &data},
                                               Registration{"add third", handler, &data}));
}

TEST(FrameHandlerList, UndoesWhatWentBeforeARefusalFromTheFirstOn) {
  RecordingHooks hooks;
  hooks.results = {VK_EOK, VK_EOK, VK_EBUSY, VK_EIO, VK_EIO};
  int data = 0;
  EXPECT_EQ(vk_frame_handler_list_register(kThree, &data), VK_EBUSY);
  EXPECT_THAT(hooks.registrations, ElementsAre(Registration{"add first", handler, &data},
                                               Registration{"add second", other_handler, &data},
                                               Registration{"add third", handler, &data},
                                               Registration{"del first", handler, &data},
                                               Registration{"del second", other_handler, &data}));
}

TEST(FrameHandlerList, UndoesNothingWhenTheFirstIsRefused) {
  RecordingHooks hooks;
  hooks.results = {VK_EBUSY};
  EXPECT_EQ(vk_frame_handler_list_register(kThree, nullptr), VK_EBUSY);
  EXPECT_THAT(hooks.registrations, SizeIs(1));
}

TEST(FrameHandlerList, MayBeEmpty) {
  const RecordingHooks hooks;
  const vk_frame_handler_entry none[] = {{nullptr, handler}};
  EXPECT_EQ(vk_frame_handler_list_register(none, nullptr), VK_EOK);
  EXPECT_THAT(hooks.registrations, IsEmpty());
}

TEST_F(FrameCall, HandsOnTheComponentsTheActionAndTheValue) {
  RecordingHooks hooks;
  hooks.answer = [](const RecordingHooks::Call&) { return 4000000000U; };
  const Value value = new_object();
  EXPECT_EQ(vk_frame_call2("Device.Hosts.2.", 4000000001U, value.get()), 4000000000U);
  ASSERT_THAT(hooks.calls, SizeIs(1));
  EXPECT_EQ(hooks.calls[0].path, "Device.Hosts.2#2");
  EXPECT_EQ(hooks.calls[0].action, 4000000001U);
  EXPECT_EQ(hooks.calls[0].value, value.get());
}

TEST_F(FrameCall, MayGoWithoutAValue) {
  const RecordingHooks hooks;
  EXPECT_EQ(vk_frame_call2("a", 1, nullptr), VK_EOK);
  ASSERT_THAT(hooks.calls, SizeIs(1));
  EXPECT_EQ(hooks.calls[0].value, nullptr);
}

TEST_F(FrameCall, GoesOutWithTheComponentsBeforeAnEmptyOne) {
  const RecordingHooks hooks;
  for (const char* const path : {"a..b", ".a", "", "."}) {
    EXPECT_EQ(vk_frame_call2(path, 0, nullptr), VK_EOK);
  }
  ASSERT_THAT(hooks.calls, SizeIs(4));
  EXPECT_EQ(hooks.calls[0].path, "a");
  for (std::size_t i = 1; i < 4; ++i) EXPECT_EQ(hooks.calls[i].path, "");
}

// What the hook below was last given.
const vk_path_node* seen_path;
uint32_t seen_action;
vk_value* seen_value;

uint32_t see(const vk_path_node* path, uint32_t action, vk_value* value) {
  seen_path = path;
  seen_action = action;
  seen_value = value;
  return VK_EOK;
}

TEST_F(FrameCall, PassesAChainOnUnchanged) {
  char name[] = "a";
  const vk_path_node path = {nullptr, 0, name};
  const Value value = new_object();
  const RecordingHooks put_back_afterwards;
  frame_hooks.call_path = see;
  EXPECT_EQ(vk_frame_call_path2(&path, 4000000000U, value.get()), VK_EOK);
  EXPECT_EQ(seen_path, &path);
  EXPECT_EQ(seen_action, 4000000000U);
  EXPECT_EQ(seen_value, value.get());
}

TEST_F(FrameCall, TakesThePathApartOnGtaAndFreesItAfterwards) {
  const RecordingHooks put_back_afterwards;
  frame_hooks.call_path = see;
  EXPECT_EQ(vk_frame_call2("a", 0, nullptr), VK_EOK);
  // What was freed on a stack can still be looked at.
  const auto* const node = reinterpret_cast<const vk_path_tree*>(
      reinterpret_cast<const char*>(seen_path) - offsetof(vk_path_tree, path_node));
  EXPECT_EQ(node->allocator, vk_gta());
  EXPECT_EQ(node->node_magic, VK_MAGIC_DEAD);
  EXPECT_EQ(node->parent->node_magic, VK_MAGIC_DEAD);
}

TEST_F(FrameCall, StoresAStatusAboveTheSignedRangeAsItsNegative) {
  RecordingHooks hooks;
  hooks.answer = [](const RecordingHooks::Call&) { return 0xFFFFFFFBU; };
  const OwnedFrame frame = new_frame();
  EXPECT_EQ(vk_frame_call("a", frame.get()), 0xFFFFFFFBU);
  EXPECT_EQ(vk_frame_get_status(frame.get()), -5);
}

// Keeps its arguments in its data.
TEST_F(FrameCall, KeepsItsPathWholeWhileItsHookMakesAnother) {
  RecordingHooks hooks;
  std::string outer_afterwards;
  hooks.answer = [&](const RecordingHooks::Call& call) {
    if (call.path == "inner.path") return VK_EBUSY;
    const uint32_t result = vk_frame_call2("inner.path", 0, nullptr);
    outer_afterwards = text_of(call.first);
    return result;
  };
  EXPECT_EQ(vk_frame_call2("a.1.b", 0, nullptr), VK_EBUSY);
  EXPECT_EQ(outer_afterwards, "a.1#1.b");
}

TEST_F(FrameCall, TakesTheActionAndValueOfAFrameAndStoresItsStatus) {
  RecordingHooks hooks;
  hooks.answer = [](const RecordingHooks::Call& call) {
    return vk_object_set_int(call.value, "answer", 1) + VK_EBUSY;
  };
  const OwnedFrame frame = new_frame();
  vk_frame_set_action(frame.get(), 10);
  EXPECT_EQ(vk_frame_call("a.b", frame.get()), VK_EBUSY);
  ASSERT_THAT(hooks.calls, SizeIs(1));
  EXPECT_EQ(hooks.calls[0].path, "a.b");
  EXPECT_EQ(hooks.calls[0].action, 10U);
  EXPECT_EQ(hooks.calls[0].value, vk_frame2value(frame.get()));
  EXPECT_EQ(vk_frame_get_status(frame.get()), static_cast<int32_t>(VK_EBUSY));
  EXPECT_EQ(outline(frame), "object/2{answer: int 1}");
}

TEST(FrameCallWithoutMemory, IsNotMade) {
  const LogSpy log;
  RecordingHooks hooks;
  for_every_allocation_fault([&](AllocationFault& fault) {
    // "gta" has its record but no chunk, so that the path has to ask for one.
    AllocationFault no_chunk(2, AllocationFault::Extent::kAllFromThere);
    ASSERT_EQ(no_chunk.during([] { return vk_gta_init(); }), VK_EOK);
    hooks.calls.clear();
    const OwnedFrame frame = new_frame();
    vk_frame_set_status(frame.get(), -5);
    const uint32_t result = fault.during([&] { return vk_frame_call("a.b", frame.get()); });
    EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
    EXPECT_EQ(vk_frame_get_status(frame.get()), static_cast<int32_t>(result));
    EXPECT_EQ(hooks.calls.empty(), fault.struck());
    vk_gta_destroy();
  });
}

}  // namespace
}  // namespace vesk::test
