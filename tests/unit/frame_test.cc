#include "vesk/frame.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>

#include "tests/support/allocation_fault.h"
#include "tests/support/frames.h"
#include "tests/support/log_spy.h"
#include "vesk/mm/stack.h"
#include "vesk/value/leaf.h"
#include "vesk/value/member.h"

namespace vesk::test {
namespace {

using testing::NotNull;
using testing::StrEq;

TEST(FrameNew, HasNoPathsNoStatusNoActionAndItsMagic) {
  const OwnedFrame frame = new_frame();
  EXPECT_EQ(vk_frame_get_extra_path(frame.get()), nullptr);
  EXPECT_EQ(vk_frame_get_rq_path(frame.get()), nullptr);
  EXPECT_EQ(vk_frame_get_status(frame.get()), 0);
  EXPECT_EQ(vk_frame_get_action(frame.get()), 0U);
  EXPECT_EQ(frame->magic, 0x37E9B3A1U);
}

TEST(FrameNew, HasAnEmptyOrderedObjectAsItsValue) {
  const OwnedFrame frame = new_frame();
  const vk_value* const value = vk_frame2value(frame.get());
  EXPECT_EQ(outline(*value), "object/2{}");
  EXPECT_EQ(value->heap, frame->heap);
}

TEST(FrameNew, MakesAHeapOfItsOwnWithoutAParent) {
  const OwnedFrame frame = new_frame();
  EXPECT_THAT(frame->heap->name, StrEq("frame"));
  EXPECT_NE(frame->heap, vk_default_allocator());
  EXPECT_EQ(frame->owns_heap, 1);
}

TEST(FrameNew, SharesTheHeapOfItsParent) {
  const OwnedFrame parent = new_frame();
  const OwnedFrame child = new_frame(parent.get());
  EXPECT_EQ(child->heap, parent->heap);
  EXPECT_EQ(vk_frame2value(child.get())->heap, parent->heap);
  EXPECT_EQ(child->owns_heap, 0);
}

TEST(FrameNew, GivesNullAndLeaksNothingWithoutMemory) {
  const LogSpy log;
  for_every_allocation_fault([](AllocationFault& fault) {
    const OwnedFrame frame(fault.during([] { return vk_frame_new(nullptr); }));
    EXPECT_EQ(frame == nullptr, fault.struck());
  });
}

TEST(FrameNew, GivesNullAndKeepsTheParentsHeapWithoutMemory) {
  const LogSpy log;
  const OwnedFrame parent = new_frame();
  for_every_allocation_fault([&](AllocationFault& fault) {
    const OwnedFrame child(fault.during([&] { return vk_frame_new(parent.get()); }));
    EXPECT_EQ(child == nullptr, fault.struck());
    EXPECT_EQ(parent->heap->magic, VK_MAGIC_ALLOCATOR);
  });
}

TEST(FrameNew, LogsNothingOfItsOwn) {
  for_every_allocation_fault([](AllocationFault& fault) {
    const LogSpy log;
    const OwnedFrame frame(fault.during([] { return vk_frame_new(nullptr); }));
    for (const LogCall& call : log.calls()) EXPECT_EQ(call.function, "vk_alloc");
    EXPECT_EQ(log.calls().empty(), !fault.struck());
  });
}

TEST(FrameDelete, TakesItsHeapAlong) {
  const std::size_t before = live_blocks();
  vk_frame* const frame = vk_frame_new(nullptr);
  ASSERT_THAT(frame, NotNull());
  EXPECT_EQ(vk_object_set_string(vk_frame2value(frame), "text", "x"), VK_EOK);
  vk_frame_delete(frame);
  EXPECT_EQ(live_blocks(), before);
}

TEST(FrameDelete, LeavesTheHeapOfItsParentAndMarksTheFrame) {
  // On a stack nothing is really freed, so that the deleted frame can be looked at.
  vk_allocator* const stack = vk_mm_stack_new("frames");
  ASSERT_THAT(stack, NotNull());
  vk_frame parent = {};
  parent.heap = stack;
  vk_frame* const child = vk_frame_new(&parent);
  ASSERT_THAT(child, NotNull());
  const vk_value* const value = vk_frame2value(child);
  vk_frame_delete(child);
  EXPECT_EQ(child->magic, 0xDEADBEAFU);
  EXPECT_EQ(value->magic, VK_MAGIC_DEAD);
  EXPECT_EQ(stack->magic, VK_MAGIC_ALLOCATOR);
  vk_allocator_delete(stack);
}

TEST(FrameDelete, DoesNotTouchThePaths) {
  char name[] = "name";
  vk_path_node path = {nullptr, 0, name};
  OwnedFrame frame = new_frame();
  frame->rq_path = &path;
  frame->extra_path = &path;
  frame.reset();
  EXPECT_THAT(path.name, StrEq("name"));
}

TEST(FrameClear, EmptiesTheValue) {
  const OwnedFrame frame = new_frame();
  vk_value* const value = vk_frame2value(frame.get());
  EXPECT_EQ(vk_object_set_int(value, "member", 1), VK_EOK);
  EXPECT_EQ(vk_value_set_string(value, "no object at all"), VK_EOK);
  vk_frame_clear(frame.get());
  EXPECT_EQ(vk_frame2value(frame.get()), value);
  EXPECT_EQ(outline(*value), "object/2{}");
}

TEST(FrameClear, KeepsPathsStatusAndAction) {
  char name[] = "name";
  vk_path_node path = {nullptr, 0, name};
  const OwnedFrame frame = new_frame();
  frame->rq_path = &path;
  frame->extra_path = &path;
  vk_frame_set_status(frame.get(), -5);
  vk_frame_set_action(frame.get(), 4000000000U);
  vk_frame_clear(frame.get());
  EXPECT_EQ(vk_frame_get_rq_path(frame.get()), &path);
  EXPECT_EQ(vk_frame_get_extra_path(frame.get()), &path);
  EXPECT_EQ(vk_frame_get_status(frame.get()), -5);
  EXPECT_EQ(vk_frame_get_action(frame.get()), 4000000000U);
}

}  // namespace
}  // namespace vesk::test
