#include "vesk/value/node.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <ostream>
#include <string>

#include "tests/support/allocation_fault.h"
#include "tests/support/binaries.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "tests/support/values.h"
#include "vesk/value/array.h"
#include "vesk/value/attribute.h"
#include "vesk/value/leaf.h"
#include "vesk/value/object.h"

// What a clear releases and what it keeps.

namespace vesk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StrEq;

// Ways to fill a fresh node, one for each type.
struct Filling {
  const char* type;
  std::function<void(vk_value*)> fill;
};

std::ostream& operator<<(std::ostream& out, const Filling& filling) { return out << filling.type; }

const Filling kFillings[] = {
    {"any", [](vk_value*) {}},
    {"int", [](vk_value* value) { vk_value_set_int(value, -1); }},
    {"unsignedInt", [](vk_value* value) { vk_value_set_uint(value, 1); }},
    {"long", [](vk_value* value) { vk_value_set_long(value, -1); }},
    {"unsignedLong", [](vk_value* value) { vk_value_set_ulong(value, 1); }},
    {"boolean", [](vk_value* value) { vk_value_set_bool(value, 1); }},
    {"dateTime",
     [](vk_value* value) {
       const vk_datetime datetime = {1, VK_DATETIME_ABSOLUTE, 2};
       vk_value_set_datetime(value, &datetime);
     }},
    {"string", [](vk_value* value) { vk_value_set_string(value, "text"); }},
    {"base64", [](vk_value* value) { vk_value_set_base64(value, Binary("bytes").get()); }},
    {"hexBinary", [](vk_value* value) { vk_value_set_hex(value, Binary("bytes").get()); }},
    {"object",
     [](vk_value* value) {
       vk_object_init_with_policy(value, VK_POLICY_INDEXED);
       for (const char* const name : {"2", "1"}) grow(grow(value, name), "below");
     }},
    {"array",
     [](vk_value* value) {
       vk_array_init(value);
       for (const char* const text : {"one", "two"}) {
         vk_value_set_string(vk_array_add_item(value), text);
       }
     }},
};

class ValueClear : public testing::TestWithParam<Filling> {};

INSTANTIATE_TEST_SUITE_P(Of, ValueClear, testing::ValuesIn(kFillings),
                         [](const auto& filling) { return filling.param.type; });

TEST_P(ValueClear, ReleasesThePayload) {
  const Value value = new_value();
  const std::size_t blocks = live_blocks();
  GetParam().fill(value.get());
  ASSERT_THAT(vk_type_to_string(value->type), StrEq(GetParam().type));
  vk_value_clear(value.get());
  EXPECT_EQ(value->type, VK_TYPE_ANY);
  EXPECT_EQ(live_blocks(), blocks);
}

TEST_P(ValueClear, DropsTheAttributes) {
  const Value value = new_value();
  const std::size_t blocks = live_blocks();
  GetParam().fill(value.get());
  vk_value_set_error(value.get(), 1);
  GetParam().fill(vk_value_add_attribute(value.get(), "same"));
  vk_value_clear(value.get());
  EXPECT_EQ(value->attributes, nullptr);
  EXPECT_EQ(live_blocks(), blocks);
}

TEST_P(ValueClear, LeavesAListOnWhichTheNextAttributeLands) {
  const Value value = new_value();
  GetParam().fill(value.get());
  vk_value_set_error(value.get(), 1);
  vk_value_clear(value.get());
  vk_value_add_attribute(value.get(), "a");
  vk_value_add_attribute(value.get(), "b");
  EXPECT_THAT(attribute_names(value), ElementsAre("a", "b"));
}

TEST_P(ValueClear, KeepsNameNumberPolicyAndHeap) {
  const Heap heap{vk_mm_heap_new("own")};
  const Value table = new_object(VK_POLICY_INDEXED, heap.get());
  vk_value* const value = vk_object_init_item(table.get(), "17");
  GetParam().fill(value);
  value->policy = 77;
  vk_value_clear(value);
  EXPECT_THAT(value->id, StrEq("17"));
  EXPECT_EQ(value->index, 17U);
  EXPECT_EQ(value->policy, 77U);
  EXPECT_EQ(value->heap, heap.get());
  EXPECT_EQ(value->magic, VK_MAGIC_VALUE);
}

TEST_P(ValueClear, LeavesTheNodeInItsList) {
  const Value object = new_object();
  for (const char* const name : {"a", "b", "c"}) {
    GetParam().fill(vk_object_init_item(object.get(), name));
  }
  vk_value_clear(vk_object_find_item(object.get(), "b"));
  EXPECT_THAT(member_names(object), ElementsAre("a", "b", "c"));
}

TEST_P(ValueClear, LeavesANodeThatTakesTheSameAgain) {
  const Value value = new_value();
  GetParam().fill(value.get());
  const std::string before = outline(value);
  vk_value_clear(value.get());
  GetParam().fill(value.get());
  EXPECT_EQ(outline(value), before);
}

TEST_P(ValueClear, ChangesNothingTheSecondTime) {
  const Value value = new_value();
  GetParam().fill(value.get());
  vk_value_clear(value.get());
  const std::size_t blocks = live_blocks();
  vk_value_clear(value.get());
  EXPECT_EQ(value->type, VK_TYPE_ANY);
  EXPECT_EQ(live_blocks(), blocks);
}

TEST_P(ValueClear, LogsNothingAndAsksForNoMemory) {
  const Value value = new_value();
  GetParam().fill(value.get());
  const LogSpy spy;
  const AllocationLog log;
  vk_value_clear(value.get());
  EXPECT_EQ(log.count(), 0U);
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST(ValueClearOfAContainer, LeavesAnEmptyListAndTheCount) {
  const Value object = new_object();
  for (const char* const name : {"a", "b", "c"}) grow(object.get(), name);
  vk_value_clear(object.get());
  EXPECT_EQ(object->payload.items.first, nullptr);
  EXPECT_EQ(object->payload.items.tail, &object->payload.items.first);
  EXPECT_EQ(object->payload.items.count, 3U);

  const Value array = new_array();
  for (int i = 0; i < 5; ++i) vk_array_add_item(array.get());
  vk_value_clear(array.get());
  EXPECT_EQ(array->payload.items.first, nullptr);
  EXPECT_EQ(array->payload.items.tail, &array->payload.items.first);
  EXPECT_EQ(array->payload.items.count, 5U);
}

TEST(ValueClearOfAContainer, LeavesACountThatTheNextInitSets) {
  const Value value = new_object();
  for (const char* const name : {"a", "b", "c"}) grow(value.get(), name);
  vk_value_clear(value.get());
  vk_array_init(value.get());
  EXPECT_EQ(vk_array_get_len(value.get()), 0U);
  vk_array_add_item(value.get());
  EXPECT_EQ(vk_array_get_len(value.get()), 1U);
  vk_value_clear(value.get());
  vk_object_init_with_policy(value.get(), VK_POLICY_ORDERED);
  EXPECT_EQ(vk_object_get_size(value.get()), 0U);
}

TEST(ValueClearOfABinary, DestroysIt) {
  const Value value = new_value();
  vk_value_set_base64(value.get(), Binary("bytes").get());
  vk_value_clear(value.get());
  EXPECT_EQ(value->payload.binary.magic, VK_MAGIC_DEAD);
}

TEST(ValueClearOfAnUnknownType, ReleasesOnlyTheAttributes) {
  const Value value = new_value();
  const std::size_t blocks = live_blocks();
  vk_value_set_error(value.get(), 1);
  value->type = 12;
  vk_value_clear(value.get());
  EXPECT_EQ(value->type, VK_TYPE_ANY);
  EXPECT_EQ(live_blocks(), blocks);
}

}  // namespace
}  // namespace vesk::test
