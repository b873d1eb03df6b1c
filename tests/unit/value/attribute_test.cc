#include "vesk/value/attribute.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
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
#include "vesk/value/leaf.h"
#include "vesk/value/object.h"

namespace vesk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::NotNull;
using ::testing::StrEq;

// A node with attributes that hold their own names.
Value with_attributes(const Names& names) {
  Value value = new_value();
  for (const std::string& name : names) {
    vk_value_set_string(vk_value_add_attribute(value.get(), name.c_str()), name.c_str());
  }
  return value;
}

TEST(AttributeFirst, GivesTheFirstAttributeOrNull) {
  const Value value = new_value();
  EXPECT_EQ(vk_value_attribute_first(value.get()), nullptr);
  const vk_value* const a = vk_value_add_attribute(value.get(), "a");
  const vk_value* const b = vk_value_add_attribute(value.get(), "b");
  EXPECT_EQ(vk_value_attribute_first(value.get()), a);
  EXPECT_EQ(vk_item_next(a), b);
}

TEST(FindAttribute, FindsEveryAttribute) {
  const Value value = with_attributes({"a", "b", "c"});
  for (const vk_item* item = vk_value_attribute_first(value.get()); item != nullptr;
       item = vk_item_next(item)) {
    EXPECT_EQ(vk_value_find_attribute(value.get(), item->id), item);
  }
}

TEST(FindAttribute, FindsNothingUnderOtherNames) {
  const Value value = with_attributes({"a", "Name"});
  for (const char* const name : {"", "A", "b", "aa", "name", "Nam", "Names", " a"}) {
    EXPECT_EQ(vk_value_find_attribute(value.get(), name), nullptr) << name;
  }
  EXPECT_EQ(vk_value_find_attribute(new_value().get(), "a"), nullptr);
}

TEST(FindAttribute, DoesNotLookAmongMembersNorBelowAttributes) {
  const Value value = new_object();
  vk_object_init_item(value.get(), "member");
  vk_value_add_attribute(vk_value_add_attribute(value.get(), "a"), "below");
  EXPECT_EQ(vk_value_find_attribute(value.get(), "member"), nullptr);
  EXPECT_EQ(vk_value_find_attribute(value.get(), "below"), nullptr);
}

TEST(FindAttribute, GivesTheFirstOfTwoAttributesOfOneName) {
  const Value value = with_attributes({"a", "b", "c"});
  vk_value* const b = vk_value_find_attribute(value.get(), "b");
  vk_value_set_id(vk_value_find_attribute(value.get(), "c"), "b");
  EXPECT_EQ(vk_value_find_attribute(value.get(), "b"), b);
}

TEST(FindAttribute, PassesOverAnAttributeWhoseNameWasTakenAway) {
  const Value value = with_attributes({"a", "b"});
  vk_value* const b = vk_value_find_attribute(value.get(), "b");
  vk_value_set_id(vk_value_find_attribute(value.get(), "a"), nullptr);
  EXPECT_EQ(vk_value_find_attribute(value.get(), "b"), b);
}

TEST(AddAttribute, AppendsANodeOfTypeAny) {
  const LogSpy spy;
  const Value value = new_value();
  for (const char* const name : {"b", "a", "c"}) {
    const vk_value* const attribute = vk_value_add_attribute(value.get(), name);
    ASSERT_THAT(attribute, NotNull());
    EXPECT_EQ(attribute->next, nullptr);
    EXPECT_EQ(vk_value_find_attribute(value.get(), name), attribute);
  }
  EXPECT_EQ(outline(value), "any<b: any, a: any, c: any>");
  EXPECT_THAT(attribute_names(value), ElementsAre("b", "a", "c"));
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST(AddAttribute, KeepsTheOrderOfAppendingOnAnIndexedObjectToo) {
  const Value value = new_object(VK_POLICY_INDEXED);
  for (const char* const name : {"2", "x", "1"}) vk_value_add_attribute(value.get(), name);
  EXPECT_EQ(outline(value), "object/1{}<2: any, x: any, 1: any>");
}

TEST(AddAttribute, LeavesWhatTheNodeHolds) {
  const Value value = new_object();
  vk_object_init_item(value.get(), "a");
  vk_value_add_attribute(value.get(), "a");
  EXPECT_EQ(outline(value), "object/2{a: any}<a: any>");
  EXPECT_THAT(member_names(value), ElementsAre("a"));
}

TEST(AddAttribute, MakesTheAttributeOnTheNodesHeap) {
  const Heap heap{vk_mm_heap_new("own")};
  const Value value = new_value(heap.get());
  vk_value* const attribute = vk_value_add_attribute(value.get(), "a");
  EXPECT_EQ(attribute->heap, heap.get());
  EXPECT_EQ(owner_of(attribute), heap.get());
  EXPECT_EQ(owner_of(attribute->id), heap.get());
}

TEST(AddAttribute, ClearsAnExistingAttributeAndGivesIt) {
  const Value value = with_attributes({"a", "b", "c"});
  vk_value* const attribute = vk_value_find_attribute(value.get(), "b");
  vk_value_set_error(attribute, 7);
  const AllocationLog log;
  EXPECT_EQ(vk_value_add_attribute(value.get(), "b"), attribute);
  EXPECT_EQ(outline(value), "any<a: string 'a', b: any, c: string 'c'>");
  EXPECT_THAT(attribute_names(value), ElementsAre("a", "b", "c"));
  EXPECT_EQ(log.count(), 0U);
}

TEST(AddAttribute, GivesANodeThatTakesAnyTypeAndAttributesOfItsOwn) {
  const Value value = new_value();
  vk_value* const object = vk_value_add_attribute(value.get(), "object");
  vk_object_init_with_policy(object, VK_POLICY_ORDERED);
  vk_object_init_item(object, "member");
  vk_array_add_item(vk_object_init_array(object, "array"));
  vk_value_set_error(object, 7);
  EXPECT_EQ(outline(value), "any<object: object/2{member: any, array: array{any}}<Error: int 7>>");
}

TEST(AddAttribute, LeavesTheNodeWhenTheHeapIsExhausted) {
  for (const Names& names : {Names{}, Names{"a", "b"}}) {
    for_every_allocation_fault([&names](AllocationFault& fault) {
      const Value value = with_attributes(names);
      const vk_value* const attribute =
          fault.during([&value] { return vk_value_add_attribute(value.get(), "new"); });
      ASSERT_EQ(attribute == nullptr, fault.struck());
      if (!fault.struck()) return;
      EXPECT_THAT(attribute_names(value), ElementsAreArray(names));
      vk_value_add_attribute(value.get(), "z");
      EXPECT_THAT(attribute_names(value).back(), StrEq("z"));
    });
  }
}

class AttributeRemoval : public testing::TestWithParam<std::size_t> {
 protected:
  Names names() const {
    const Names all = {"a", "b", "c", "d"};
    return {all.begin(), all.begin() + static_cast<std::ptrdiff_t>(GetParam())};
  }
};

INSTANTIATE_TEST_SUITE_P(From, AttributeRemoval, testing::Range<std::size_t>(0, 5));

TEST_P(AttributeRemoval, OfEachLeavesTheOthersAndATailForTheNext) {
  for (const std::string& name : names()) {
    SCOPED_TRACE(name);
    const Value value = with_attributes(names());
    vk_value_del_attribute(value.get(), name.c_str());
    Names expected = names();
    std::erase(expected, name);
    EXPECT_THAT(attribute_names(value), ElementsAreArray(expected));
    vk_value_add_attribute(value.get(), "z");
    expected.push_back("z");
    EXPECT_THAT(attribute_names(value), ElementsAreArray(expected));
  }
}

TEST_P(AttributeRemoval, OneByOneInAnyDirectionLeavesNoneAndATailForTheNext) {
  for (const bool backwards : {false, true}) {
    Names order = names();
    if (backwards) std::reverse(order.begin(), order.end());
    const Value value = with_attributes(names());
    for (const std::string& name : order) vk_value_del_attribute(value.get(), name.c_str());
    EXPECT_THAT(attribute_names(value), IsEmpty());
    vk_value_add_attribute(value.get(), "z");
    EXPECT_THAT(attribute_names(value), ElementsAre("z"));
  }
}

TEST_P(AttributeRemoval, OfAnAbsentOneChangesNothing) {
  const Value value = with_attributes(names());
  vk_object_init_with_policy(value.get(), VK_POLICY_ORDERED);
  vk_object_init_item(value.get(), "absent");
  vk_value_del_attribute(value.get(), "absent");
  EXPECT_THAT(attribute_names(value), ElementsAreArray(names()));
  EXPECT_THAT(member_names(value), ElementsAre("absent"));
}

TEST_P(AttributeRemoval, OfAllAtOnceLeavesATailForTheNext) {
  const Value value = with_attributes(names());
  vk_value_clean_attribute(value.get());
  EXPECT_THAT(attribute_names(value), IsEmpty());
  vk_value_add_attribute(value.get(), "z");
  EXPECT_THAT(attribute_names(value), ElementsAre("z"));
}

TEST(CleanAttribute, ReleasesAllOfThemAndAsksForNoMemory) {
  const Value value = new_value();
  const std::size_t blocks = live_blocks();
  for (const char* const name : {"a", "b"}) {
    vk_value_set_typename(vk_value_add_attribute(value.get(), name), "text");
  }
  {
    const AllocationLog log;
    vk_value_clean_attribute(value.get());
    EXPECT_EQ(log.count(), 0U);
  }
  EXPECT_EQ(live_blocks(), blocks);
}

TEST(CleanAttribute, LeavesWhatTheNodeHolds) {
  const Value value = new_object();
  vk_object_init_item(value.get(), "member");
  vk_value_set_error(value.get(), 7);
  vk_value_clean_attribute(value.get());
  EXPECT_EQ(outline(value), "object/2{member: any}");
}

TEST(DelAttribute, ReleasesTheAttributeWithAllBelowIt) {
  const Value value = with_attributes({"a"});
  const std::size_t blocks = live_blocks();
  vk_value* const attribute = vk_value_add_attribute(value.get(), "b");
  vk_object_init_with_policy(attribute, VK_POLICY_ORDERED);
  vk_value_set_string(vk_object_init_item(attribute, "member"), "text");
  vk_value_set_error(attribute, 7);
  vk_value_del_attribute(value.get(), "b");
  EXPECT_EQ(live_blocks(), blocks);
}

TEST(DelAttribute, TakesTheFirstOfTwoAttributesOfOneName) {
  const Value value = with_attributes({"a", "b"});
  vk_value_set_id(vk_value_find_attribute(value.get(), "b"), "a");
  vk_value_del_attribute(value.get(), "a");
  EXPECT_EQ(outline(value), "any<a: string 'b'>");
}

TEST(DelAttribute, MayBeGivenTheAttributesOwnName) {
  const Value value = with_attributes({"a", "b"});
  vk_value_del_attribute(value.get(), vk_value_attribute_first(value.get())->id);
  EXPECT_THAT(attribute_names(value), ElementsAre("b"));
}

TEST(SetError, SetsTheIntAttributeError) {
  for (const int32_t code :
       {0, 1, -1, 9005, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()}) {
    const Value value = with_attributes({"a"});
    EXPECT_EQ(vk_value_set_error(value.get(), code), VK_EOK);
    EXPECT_EQ(outline(value), "any<a: string 'a', Error: int " + std::to_string(code) + ">");
    EXPECT_EQ(vk_value_get_error(value.get()), code);
  }
}

TEST(SetError, ReplacesTheAttributeInItsPlace) {
  const Value value = with_attributes({"Error", "a"});
  EXPECT_EQ(vk_value_set_error(value.get(), 7), VK_EOK);
  EXPECT_EQ(outline(value), "any<Error: int 7, a: string 'a'>");
}

TEST(SetError, LeavesWhatTheNodeHolds) {
  const Value value = new_value();
  vk_value_set_string(value.get(), "text");
  vk_value_set_error(value.get(), 7);
  EXPECT_EQ(outline(value), "string 'text'<Error: int 7>");
}

TEST(SetError, IsLostWhenTheValueIsSetAfterIt) {
  const Value value = new_value();
  vk_value_set_error(value.get(), 7);
  vk_value_set_int(value.get(), 1);
  EXPECT_EQ(vk_value_get_error(value.get()), 0);
  EXPECT_EQ(outline(value), "int 1");
}

TEST(SetError, LeavesTheNodeWhenTheHeapIsExhausted) {
  for_every_allocation_fault([](AllocationFault& fault) {
    const Value value = with_attributes({"a"});
    const vk_error result = fault.during([&value] { return vk_value_set_error(value.get(), 7); });
    EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
    EXPECT_EQ(outline(value),
              fault.struck() ? "any<a: string 'a'>" : "any<a: string 'a', Error: int 7>");
    vk_value_add_attribute(value.get(), "z");
    EXPECT_THAT(attribute_names(value).back(), StrEq("z"));
  });
}

TEST(GetError, Gives0WithoutTheAttribute) {
  EXPECT_EQ(vk_value_get_error(new_value().get()), 0);
  EXPECT_EQ(vk_value_get_error(with_attributes({"error", "ERROR"}).get()), 0);
}

TEST(GetError, Gives0ForAnAttributeThatIsNoInt) {
  const Value value = with_attributes({"Error"});
  EXPECT_EQ(vk_value_get_error(value.get()), 0);
  vk_value_set_uint(vk_value_find_attribute(value.get(), "Error"), 7);
  EXPECT_EQ(vk_value_get_error(value.get()), 0);
  vk_value_set_long(vk_value_find_attribute(value.get(), "Error"), 7);
  EXPECT_EQ(vk_value_get_error(value.get()), 0);
}

TEST(GetError, GivesAnIntHoweverItWasSet) {
  const Value value = new_value();
  vk_value_set_int(vk_value_add_attribute(value.get(), "Error"), -9);
  EXPECT_EQ(vk_value_get_error(value.get()), -9);
}

TEST(SetTypename, SetsTheStringAttributeType) {
  const Value value = with_attributes({"a"});
  char name[] = "xsd:int";
  EXPECT_EQ(vk_value_set_typename(value.get(), name), VK_EOK);
  name[0] = '?';
  EXPECT_EQ(outline(value), "any<a: string 'a', type: string 'xsd:int'>");
  EXPECT_THAT(vk_value_get_typename(value.get()), StrEq("xsd:int"));
}

TEST(SetTypename, ReplacesTheAttributeInItsPlace) {
  const Value value = new_value();
  vk_value_set_typename(value.get(), "old");
  vk_value_set_error(value.get(), 7);
  const std::size_t blocks = live_blocks();
  EXPECT_EQ(vk_value_set_typename(value.get(), ""), VK_EOK);
  EXPECT_EQ(outline(value), "any<type: string '', Error: int 7>");
  EXPECT_EQ(live_blocks(), blocks);
}

TEST(SetTypename, TakesTheAttributeThatItMadeOutAgainWhenTheHeapIsExhausted) {
  for (const Names& names : {Names{}, Names{"a", "b"}}) {
    for_every_allocation_fault([&names](AllocationFault& fault) {
      const Value value = with_attributes(names);
      const vk_error result =
          fault.during([&value] { return vk_value_set_typename(value.get(), "name"); });
      EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
      if (!fault.struck()) return;
      EXPECT_THAT(attribute_names(value), ElementsAreArray(names));
      vk_value_add_attribute(value.get(), "z");
      EXPECT_THAT(attribute_names(value).back(), StrEq("z"));
    });
  }
}

TEST(SetTypename, LeavesAnExistingAttributeClearedWhenTheHeapIsExhausted) {
  for_every_allocation_fault([](AllocationFault& fault) {
    const Value value = with_attributes({"a", "type", "b"});
    const vk_error result =
        fault.during([&value] { return vk_value_set_typename(value.get(), "name"); });
    EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
    EXPECT_EQ(outline(value), fault.struck()
                                  ? "any<a: string 'a', type: any, b: string 'b'>"
                                  : "any<a: string 'a', type: string 'name', b: string 'b'>");
  });
}

TEST(SetTypename, TakesNullForExhaustedMemory) {
  const Value value = with_attributes({"a"});
  EXPECT_EQ(vk_value_set_typename(value.get(), nullptr), VK_ENOMEM);
  EXPECT_EQ(outline(value), "any<a: string 'a'>");
  vk_value_set_typename(value.get(), "name");
  EXPECT_EQ(vk_value_set_typename(value.get(), nullptr), VK_ENOMEM);
  EXPECT_EQ(outline(value), "any<a: string 'a', type: any>");
}

TEST(GetTypename, GivesNullWithoutTheAttribute) {
  EXPECT_EQ(vk_value_get_typename(new_value().get()), nullptr);
  EXPECT_EQ(vk_value_get_typename(with_attributes({"Type", "TYPE"}).get()), nullptr);
}

TEST(GetTypename, GivesNullForAnAttributeThatIsNoString) {
  const Value value = new_value();
  vk_value* const attribute = vk_value_add_attribute(value.get(), "type");
  EXPECT_EQ(vk_value_get_typename(value.get()), nullptr);
  vk_value_set_int(attribute, 7);
  EXPECT_EQ(vk_value_get_typename(value.get()), nullptr);
}

TEST(GetTypename, GivesTheTextThatTheAttributeOwns) {
  const Value value = with_attributes({"type"});
  EXPECT_EQ(vk_value_get_typename(value.get()),
            vk_value_find_attribute(value.get(), "type")->payload.text);
}

}  // namespace
}  // namespace vesk::test
