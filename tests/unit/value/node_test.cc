#include "vesk/value/node.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <type_traits>

#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "tests/support/values.h"
#include "vesk/value/array.h"
#include "vesk/value/attribute.h"
#include "vesk/value/leaf.h"
#include "vesk/value/object.h"

namespace vesk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::NotNull;
using ::testing::StrEq;

TEST(ValueNew, MakesANodeThatHoldsNothing) {
  const auto probe = probe_heap();
  vk_value* const value = vk_value_new(&probe->head);
  ASSERT_THAT(value, NotNull());
  EXPECT_EQ(value->heap, &probe->head);
  EXPECT_EQ(value->policy, 2U);
  EXPECT_EQ(value->id, nullptr);
  EXPECT_EQ(value->index, 0U);
  EXPECT_EQ(value->type, VK_TYPE_ANY);
  EXPECT_EQ(value->attributes, nullptr);
  EXPECT_EQ(value->attributes_tail, &value->attributes);
  EXPECT_EQ(value->magic, 0x37E9B321U);
  vk_value_delete(value);
}

TEST(ValueNew, TakesOneBlockFromTheHeap) {
  const Heap heap{vk_mm_heap_new("own")};
  const AllocationLog log;
  const Value value = new_value(heap.get());
  EXPECT_EQ(owner_of(value.get()), heap.get());
  ASSERT_EQ(log.count(), 1U);
  EXPECT_EQ(log.size_of(0), sizeof(vk_value) + kOwnerWord);
}

TEST(ValueNew, GivesNullWhenTheHeapIsExhausted) {
  for_every_allocation_fault([](AllocationFault& fault) {
    const LogSpy spy;
    const Value value{fault.during([] { return vk_value_new(vk_default_allocator()); })};
    ASSERT_EQ(value == nullptr, fault.struck());
    if (value == nullptr) {
      EXPECT_THAT(spy.lines(), ElementsAre(allocation_failure(sizeof(vk_value), "default")));
    }
  });
}

TEST(ValueDelete, IgnoresNull) {
  const LogSpy spy;
  const std::size_t blocks = live_blocks();
  vk_value_delete(nullptr);
  EXPECT_EQ(live_blocks(), blocks);
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST(ValueDelete, MarksTheNodeAndFreesIt) {
  const auto probe = probe_heap();
  vk_value* const value = vk_value_new(&probe->head);
  vk_value_delete(value);
  EXPECT_EQ(value->magic, VK_MAGIC_DEAD);
  EXPECT_EQ(value->magic, 0xDEADBEAFU);
  EXPECT_EQ(probe->freed, header_of(value));
}

TEST(ValueDelete, ReleasesAllThatTheNodeOwns) {
  const std::size_t blocks = live_blocks();
  vk_value* const root = vk_object_new_with_policy(vk_default_allocator(), VK_POLICY_ORDERED);
  vk_value_set_id(root, "root");
  for (const char* const name : {"a", "b", "c"}) grow(grow(root, name), "below");
  vk_value_delete(root);
  EXPECT_EQ(live_blocks(), blocks);
}

// The one block of the probe heap can still be looked at after its release.
TEST(ValueDelete, DoesNotUnlinkTheNode) {
  const auto probe = probe_heap();
  const Value object = new_object();
  vk_value* const member = vk_value_new(&probe->head);
  member->id = nullptr;
  object->payload.items.first = member;
  vk_value_delete(member);
  EXPECT_EQ(object->payload.items.first, member);
  vk_object_init_with_policy(object.get(), VK_POLICY_ORDERED);
}

TEST(ValueDelete, GivesEachBlockBackToItsOwnHeap) {
  const auto probe = probe_heap();
  const std::size_t blocks = live_blocks();
  vk_value* const root = vk_value_new(&probe->head);
  vk_object_init_with_policy(root, VK_POLICY_ORDERED);
  ASSERT_EQ(vk_object_insert(root, "child", vk_value_new(vk_default_allocator())), VK_EOK);
  vk_value_delete(root);
  EXPECT_EQ(live_blocks(), blocks);
  EXPECT_EQ(probe->freed, header_of(root));
}

TEST(ValueDelete, LogsNothing) {
  const LogSpy spy;
  Value root = new_object();
  grow(root.get(), "a");
  root.reset();
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST(ValueGetType, GivesTheType) {
  const Value value = new_value();
  EXPECT_EQ(vk_value_get_type(value.get()), VK_TYPE_ANY);
  vk_value_set_uint(value.get(), 1);
  EXPECT_EQ(vk_value_get_type(value.get()), VK_TYPE_UNSIGNEDINT);
  vk_value_clear(value.get());
  vk_array_init(value.get());
  EXPECT_EQ(vk_value_get_type(value.get()), VK_TYPE_ARRAY);
}

TEST(ValueSetId, CopiesTheNameToTheNodesHeap) {
  const Heap heap{vk_mm_heap_new("own")};
  const Value value = new_value(heap.get());
  char name[] = "a name";
  ASSERT_EQ(vk_value_set_id(value.get(), name), VK_EOK);
  name[0] = 'X';
  EXPECT_THAT(value->id, StrEq("a name"));
  EXPECT_EQ(owner_of(value->id), heap.get());
}

TEST(ValueSetId, FreesTheOldName) {
  const Value value = new_value();
  vk_value_set_id(value.get(), "old");
  const std::size_t blocks = live_blocks();
  ASSERT_EQ(vk_value_set_id(value.get(), "new and longer"), VK_EOK);
  EXPECT_THAT(value->id, StrEq("new and longer"));
  EXPECT_EQ(live_blocks(), blocks);
}

TEST(ValueSetId, TakesTheEmptyTextForAName) {
  const Value value = new_value();
  ASSERT_EQ(vk_value_set_id(value.get(), ""), VK_EOK);
  EXPECT_THAT(value->id, StrEq(""));
}

TEST(ValueSetId, TakesTheNameAwayWithNull) {
  const Value value = new_value();
  const std::size_t blocks = live_blocks();
  vk_value_set_id(value.get(), "old");
  const AllocationLog log;
  EXPECT_EQ(vk_value_set_id(value.get(), nullptr), VK_EOK);
  EXPECT_EQ(value->id, nullptr);
  EXPECT_EQ(live_blocks(), blocks);
  EXPECT_EQ(log.count(), 0U);
}

TEST(ValueSetId, TakesNoNameAwayFromANodeWithoutOne) {
  const Value value = new_value();
  EXPECT_EQ(vk_value_set_id(value.get(), nullptr), VK_EOK);
  EXPECT_EQ(value->id, nullptr);
}

TEST(ValueSetId, MayBeGivenTheNodesOwnNameOrItsEnd) {
  const Value value = new_value();
  vk_value_set_id(value.get(), "a name");
  ASSERT_EQ(vk_value_set_id(value.get(), value->id), VK_EOK);
  EXPECT_THAT(value->id, StrEq("a name"));
  ASSERT_EQ(vk_value_set_id(value.get(), value->id + 2), VK_EOK);
  EXPECT_THAT(value->id, StrEq("name"));
}

TEST(ValueSetId, LeavesTheRestOfTheNode) {
  const Value value = new_value();
  vk_value_set_string(value.get(), "text");
  vk_value_set_error(value.get(), 7);
  vk_value_set_id(value.get(), "5");
  EXPECT_EQ(outline(value), "5: string 'text'<Error: int 7>");
  EXPECT_EQ(value->index, 0U);
}

TEST(ValueSetId, KeepsTheOldNameWhenTheHeapIsExhausted) {
  for_every_allocation_fault([](AllocationFault& fault) {
    const LogSpy spy;
    const Value value = new_value();
    vk_value_set_id(value.get(), "old");
    const vk_error result = fault.during([&] { return vk_value_set_id(value.get(), "other"); });
    EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
    EXPECT_THAT(value->id, StrEq(fault.struck() ? "old" : "other"));
    if (!fault.struck()) return;
    EXPECT_THAT(spy.lines(), ElementsAre(allocation_failure(sizeof "other", "default")));
  });
}

TEST(ValueSetId, LeavesANodeWithoutANameWhenTheHeapIsExhausted) {
  for_every_allocation_fault([](AllocationFault& fault) {
    const Value value = new_value();
    const vk_error result = fault.during([&] { return vk_value_set_id(value.get(), "name"); });
    EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
    EXPECT_EQ(value->id == nullptr, fault.struck());
  });
}

TEST(Item, IsANodeSeenAsALink) { static_assert(std::is_same_v<vk_item, vk_value>); }

TEST(ItemNext, StepsThroughMembersElementsAndAttributesAlike) {
  const Value object = new_object();
  const Value array = new_array();
  for (const char* const name : {"a", "b"}) {
    vk_object_init_item(object.get(), name);
    vk_array_add_item(array.get());
    vk_value_add_attribute(object.get(), name);
  }
  for (const vk_item* first : {vk_object_item_first(object.get()), vk_array_item_first(array.get()),
                               vk_value_attribute_first(object.get())}) {
    const vk_item* const second = vk_item_next(first);
    EXPECT_EQ(second, first->next);
    ASSERT_THAT(second, NotNull());
    EXPECT_EQ(vk_item_next(second), nullptr);
  }
}

}  // namespace
}  // namespace vesk::test
