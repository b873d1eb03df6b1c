#include "vesk/value/object.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "tests/support/values.h"
#include "vesk/value/array.h"
#include "vesk/value/attribute.h"
#include "vesk/value/leaf.h"

namespace vesk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::NotNull;
using ::testing::StrEq;

TEST(ObjectInit, MakesAnEmptyObjectOfThePolicy) {
  for (const uint32_t policy : {0U, 1U, 2U, 3U, std::numeric_limits<uint32_t>::max()}) {
    const Value value = new_value();
    vk_object_init_with_policy(value.get(), policy);
    EXPECT_EQ(value->type, VK_TYPE_OBJECT);
    EXPECT_EQ(value->policy, policy);
    EXPECT_THAT(items_of(value), IsEmpty());
  }
}

TEST(ObjectInit, DoesNotClearTheNode) {
  const Value value = object_with({"a"});
  const Value member{vk_object_item_first(value.get())};
  vk_value_set_error(value.get(), 7);
  vk_value_set_id(value.get(), "name");
  const std::size_t blocks = live_blocks();
  vk_object_init_with_policy(value.get(), VK_POLICY_ORDERED);
  EXPECT_EQ(live_blocks(), blocks);
  EXPECT_EQ(outline(value), "name: object/2{}<Error: int 7>");
}

TEST(ObjectNew, MakesAnEmptyObjectOfThePolicyOnTheHeap) {
  const Heap heap{vk_mm_heap_new("own")};
  for (const uint32_t policy : {1U, 2U}) {
    const Value object{vk_object_new_with_policy(heap.get(), policy)};
    EXPECT_EQ(object->heap, heap.get());
    EXPECT_EQ(owner_of(object.get()), heap.get());
    EXPECT_EQ(object->type, VK_TYPE_OBJECT);
    EXPECT_EQ(object->policy, policy);
    EXPECT_EQ(object->id, nullptr);
    EXPECT_THAT(items_of(object), IsEmpty());
  }
}

TEST(ObjectNew, GivesNullWhenTheHeapIsExhausted) {
  for_every_allocation_fault([](AllocationFault& fault) {
    const Value object{fault.during(
        [] { return vk_object_new_with_policy(vk_default_allocator(), VK_POLICY_ORDERED); })};
    EXPECT_EQ(object == nullptr, fault.struck());
  });
}

TEST(ObjectItemFirst, GivesTheFirstMemberOrNull) {
  const Value object = new_object();
  EXPECT_EQ(vk_object_item_first(object.get()), nullptr);
  const vk_value* const a = vk_object_init_item(object.get(), "a");
  vk_object_init_item(object.get(), "b");
  EXPECT_EQ(vk_object_item_first(object.get()), a);
}

TEST(ObjectIsEmpty, IsTrueWhileThereIsNoMember) {
  const Value object = new_object();
  EXPECT_TRUE(vk_object_is_empty(object.get()));
  vk_object_init_item(object.get(), "a");
  EXPECT_FALSE(vk_object_is_empty(object.get()));
  vk_object_delete_item(object.get(), "a");
  EXPECT_TRUE(vk_object_is_empty(object.get()));
}

TEST(ObjectGetSize, CountsMembers) {
  const Value object = new_object();
  EXPECT_EQ(vk_object_get_size(object.get()), 0U);
  for (uint32_t i = 0; i < 10; ++i) {
    vk_object_init_item(object.get(), std::to_string(i).c_str());
    EXPECT_EQ(vk_object_get_size(object.get()), i + 1);
  }
}

TEST(ObjectGetSize, IsToldWithoutCounting) {
  const Value object = object_with({"a", "b"});
  object->payload.items.count = 77;
  EXPECT_EQ(vk_object_get_size(object.get()), 77U);
}

TEST(ObjectFindItem, FindsEveryMember) {
  const Value object = object_with({"a", "b", "c"});
  for (const vk_value* const member : items_of(object)) {
    EXPECT_EQ(vk_object_find_item(object.get(), member->id), member);
  }
}

TEST(ObjectFindItem, FindsNothingUnderOtherNames) {
  const Value object = object_with({"a", "Name"});
  for (const char* const name : {"", "A", "b", "aa", "name", "Nam", "Names", " a"}) {
    EXPECT_EQ(vk_object_find_item(object.get(), name), nullptr) << name;
  }
  EXPECT_EQ(vk_object_find_item(new_object().get(), "a"), nullptr);
}

TEST(ObjectFindItem, DoesNotLookIntoMembersNorAtAttributes) {
  const Value object = new_object();
  vk_value* const below = vk_object_init_object_with_policy(object.get(), "a", VK_POLICY_ORDERED);
  vk_object_init_item(below, "b");
  vk_value_add_attribute(object.get(), "x");
  EXPECT_EQ(vk_object_find_item(object.get(), "b"), nullptr);
  EXPECT_EQ(vk_object_find_item(object.get(), "x"), nullptr);
}

TEST(ObjectFindItem, GivesTheFirstOfTwoMembersOfOneName) {
  const Value object = object_with({"a", "b", "c"});
  vk_value_set_id(vk_object_find_item(object.get(), "c"), "b");
  EXPECT_EQ(vk_object_find_item(object.get(), "b"), items_of(object).at(1));
}

TEST(ObjectFindItem, PassesOverAMemberWhoseNameWasTakenAway) {
  const Value object = object_with({"a", "b"});
  vk_value_set_id(vk_object_find_item(object.get(), "a"), nullptr);
  EXPECT_EQ(vk_object_find_item(object.get(), "b"), items_of(object).at(1));
}

TEST(ObjectFindItem, DoesNotAskForTheType) {
  const Value array = new_array();
  vk_array_add_item(array.get());
  vk_value* const element = vk_array_add_item(array.get());
  vk_value_set_id(element, "named");
  EXPECT_EQ(vk_object_find_item(array.get(), "named"), element);
}

TEST(ObjectInsert, TakesTheNumberOfAnInstanceAwayInAnOrderedObject) {
  const Value table = new_object(VK_POLICY_INDEXED);
  ASSERT_THAT(vk_object_init_item(table.get(), "7"), NotNull());
  const Value object = new_object();
  vk_value* const instance = vk_object_extract(table.get(), "7");
  EXPECT_EQ(vk_object_insert(object.get(), "7", instance), VK_EOK);
  EXPECT_EQ(instance->index, 0U);
}

TEST(ObjectInsert, AppendsTheChildUnderItsName) {
  const Value object = object_with({"3"});
  vk_value* const child = vk_value_new(vk_default_allocator());
  vk_value_set_string(child, "kept");
  vk_value_set_error(child, 7);
  ASSERT_EQ(vk_object_insert(object.get(), "2", child), VK_EOK);
  EXPECT_EQ(outline(object), "object/2{3: string '3', 2: string 'kept'<Error: int 7>}");
  EXPECT_EQ(items_of(object).at(1), child);
}

TEST(ObjectInsert, KeepsTheOrderOfInsertionForEveryPolicyButIndexed) {
  for (const uint32_t policy : {0U, 2U, 3U, std::numeric_limits<uint32_t>::max()}) {
    SCOPED_TRACE(policy);
    const LogSpy spy;
    const Value object = new_object(policy);
    for (const char* const name : {"3", "1", "x", "2"}) {
      ASSERT_EQ(vk_object_insert(object.get(), name, new_value().release()), VK_EOK);
    }
    EXPECT_THAT(member_names(object), ElementsAre("3", "1", "x", "2"));
    for (const vk_value* const member : items_of(object)) EXPECT_EQ(member->index, 0U);
    EXPECT_THAT(spy.calls(), IsEmpty());
  }
}

TEST(ObjectInsert, EndsTheListAtTheChildWhateverItsNextWas) {
  const Value object = object_with({"a"});
  vk_value* const child = vk_value_new(vk_default_allocator());
  child->next = object.get();
  ASSERT_EQ(vk_object_insert(object.get(), "b", child), VK_EOK);
  EXPECT_EQ(child->next, nullptr);
}

TEST(ObjectInsert, LeavesTheChildOnItsOwnHeap) {
  const Heap heap{vk_mm_heap_new("own")};
  const Value object = new_object();
  vk_value* const child = vk_value_new(heap.get());
  ASSERT_EQ(vk_object_insert(object.get(), "a", child), VK_EOK);
  EXPECT_EQ(child->heap, heap.get());
  EXPECT_EQ(owner_of(child), heap.get());
  EXPECT_EQ(owner_of(child->id), heap.get());
}

TEST(ObjectInsert, ReplacesTheNameThatTheChildHad) {
  const Value object = new_object();
  vk_value* const child = vk_value_new(vk_default_allocator());
  vk_value_set_id(child, "old");
  const std::size_t blocks = live_blocks();
  ASSERT_EQ(vk_object_insert(object.get(), "new", child), VK_EOK);
  EXPECT_THAT(child->id, StrEq("new"));
  EXPECT_EQ(live_blocks(), blocks);
}

TEST(ObjectInsert, TakesAnExtractedChildBackUnderTheNameThatItBears) {
  const Value object = object_with({"a", "b"});
  vk_value* const child = vk_object_extract(object.get(), "a");
  ASSERT_EQ(vk_object_insert(object.get(), child->id, child), VK_EOK);
  EXPECT_THAT(member_names(object), ElementsAre("b", "a"));
}

TEST(ObjectInsert, RefusesANameThatExistsAndLeavesTheChildToTheCaller) {
  const LogSpy spy;
  const Value object = object_with({"a", "b"});
  const Value child = new_value();
  vk_value_set_id(child.get(), "mine");
  const std::string before = outline(object);
  EXPECT_EQ(vk_object_insert(object.get(), "a", child.get()), VK_EEXIST);
  EXPECT_EQ(VK_EEXIST, 5U);
  EXPECT_EQ(outline(object), before);
  EXPECT_THAT(member_names(object), ElementsAre("a", "b"));
  EXPECT_EQ(outline(child), "mine: any");
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST(ObjectInsert, UnlinksTheChildAgainWhenItCannotBeNamed) {
  for (const Names& names : {Names{}, Names{"a"}, Names{"a", "b"}}) {
    for_every_allocation_fault([&](AllocationFault& fault) {
      const LogSpy spy;
      const Value object = object_with(names);
      Value child = new_value();
      vk_value_set_id(child.get(), "mine");
      const vk_error result =
          fault.during([&] { return vk_object_insert(object.get(), "child", child.get()); });
      EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
      if (!fault.struck()) return static_cast<void>(child.release());
      EXPECT_THAT(member_names(object), ElementsAreArray(names));
      EXPECT_EQ(outline(child), "mine: any");
      EXPECT_THAT(spy.lines(), ElementsAre(allocation_failure(sizeof "child", "default")));
      vk_object_init_item(object.get(), "z");
      EXPECT_THAT(member_names(object).back(), StrEq("z"));
    });
  }
}

TEST(ObjectInitItem, AppendsANewMemberOfTypeAny) {
  const Value object = object_with({"a"});
  const vk_value* const member = vk_object_init_item(object.get(), "b");
  EXPECT_EQ(items_of(object).at(1), member);
  EXPECT_EQ(outline(object), "object/2{a: string 'a', b: any}");
  EXPECT_EQ(member->policy, VK_POLICY_ORDERED);
  EXPECT_EQ(member->index, 0U);
}

TEST(ObjectInitItem, MakesTheMemberOnTheObjectsHeap) {
  const Heap heap{vk_mm_heap_new("own")};
  const Value object = new_object(VK_POLICY_ORDERED, heap.get());
  const vk_value* const member = vk_object_init_item(object.get(), "a");
  EXPECT_EQ(member->heap, heap.get());
  EXPECT_EQ(owner_of(const_cast<vk_value*>(member)), heap.get());
  EXPECT_EQ(owner_of(member->id), heap.get());
}

TEST(ObjectInitItem, ClearsAnExistingMemberAndGivesIt) {
  const Value object = object_with({"a", "b", "c"});
  vk_value* const member = vk_object_find_item(object.get(), "b");
  vk_value_set_error(member, 7);
  const AllocationLog log;
  EXPECT_EQ(vk_object_init_item(object.get(), "b"), member);
  EXPECT_EQ(outline(object), "object/2{a: string 'a', b: any, c: string 'c'}");
  EXPECT_THAT(member_names(object), ElementsAre("a", "b", "c"));
  EXPECT_EQ(log.count(), 0U);
}

TEST(ObjectInitItem, MayBeGivenAMembersOwnName) {
  const Value object = object_with({"a"});
  vk_value* const member = vk_object_item_first(object.get());
  EXPECT_EQ(vk_object_init_item(object.get(), member->id), member);
  EXPECT_EQ(outline(object), "object/2{a: any}");
}

TEST(ObjectInitItem, LeavesTheObjectWhenTheHeapIsExhausted) {
  for (const Names& names : {Names{}, Names{"a", "b"}}) {
    for_every_allocation_fault([&](AllocationFault& fault) {
      const Value object = object_with(names);
      const vk_value* const member =
          fault.during([&] { return vk_object_init_item(object.get(), "new"); });
      ASSERT_EQ(member == nullptr, fault.struck());
      if (!fault.struck()) return;
      EXPECT_THAT(member_names(object), ElementsAreArray(names));
      vk_object_init_item(object.get(), "z");
      EXPECT_THAT(member_names(object).back(), StrEq("z"));
    });
  }
}

TEST(ObjectInitObject, MakesAMemberAnObjectOfThePolicy) {
  const Value object = object_with({"a"});
  for (const uint32_t policy : {1U, 2U}) {
    const std::string name = "of policy " + std::to_string(policy);
    const vk_value* const member =
        vk_object_init_object_with_policy(object.get(), name.c_str(), policy);
    ASSERT_THAT(member, NotNull());
    EXPECT_EQ(member, vk_object_find_item(object.get(), name.c_str()));
  }
  EXPECT_EQ(outline(object),
            "object/2{a: string 'a', of policy 1: object/1{}, of policy 2: object/2{}}");
}

TEST(ObjectInitObject, ReplacesWhatAnExistingMemberHeld) {
  const Value object = object_with({"a", "b"});
  vk_value* const member = vk_object_init_object_with_policy(object.get(), "a", 2);
  vk_object_init_item(member, "below");
  vk_value_set_error(member, 7);
  EXPECT_EQ(vk_object_init_object_with_policy(object.get(), "a", 1), member);
  EXPECT_EQ(outline(object), "object/2{a: object/1{}, b: string 'b'}");
  EXPECT_EQ(vk_object_get_size(member), 0U);
}

TEST(ObjectInitArray, MakesAMemberAnArray) {
  const Value object = object_with({"a"});
  const vk_value* const member = vk_object_init_array(object.get(), "list");
  EXPECT_EQ(member, vk_object_find_item(object.get(), "list"));
  EXPECT_EQ(outline(object), "object/2{a: string 'a', list: array{}}");
}

TEST(ObjectInitArray, ReplacesWhatAnExistingMemberHeld) {
  const Value object = object_with({"a", "b"});
  vk_value* const member = vk_object_init_array(object.get(), "a");
  vk_array_add_item(member);
  vk_value_set_error(member, 7);
  EXPECT_EQ(vk_object_init_array(object.get(), "a"), member);
  EXPECT_EQ(outline(object), "object/2{a: array{}, b: string 'b'}");
  EXPECT_EQ(vk_array_get_len(member), 0U);
}

TEST(ObjectInitContainer, LeavesTheObjectWhenTheHeapIsExhausted) {
  const auto init_object = [](vk_value* object, const char* name) {
    return vk_object_init_object_with_policy(object, name, VK_POLICY_ORDERED);
  };
  for (vk_value* (*const init)(vk_value*, const char*) : {+init_object, &vk_object_init_array}) {
    for_every_allocation_fault([init](AllocationFault& fault) {
      const Value object = object_with({"a"});
      const vk_value* const member = fault.during([&] { return init(object.get(), "new"); });
      EXPECT_EQ(member == nullptr, fault.struck());
      EXPECT_EQ(vk_object_get_size(object.get()), fault.struck() ? 1U : 2U);
      EXPECT_EQ(member_names(object).size(), vk_object_get_size(object.get()));
    });
  }
}

}  // namespace
}  // namespace vesk::test
