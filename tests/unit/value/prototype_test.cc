#include "vesk/value/prototype.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>

#include "tests/support/allocation_fault.h"
#include "tests/support/datetimes.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "tests/support/text_stream.h"
#include "tests/support/trees.h"
#include "vesk/value/object.h"
#include "vesk/value/writer.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StrEq;

const Tree::Named kError = {"Error", integer(9)};

/// What a type makes of a node that held a tree.
Tree prototyped(vk_type type, const Tree& before) {
  const Value value = planted(before);
  EXPECT_EQ(vk_value_set_prototype(value.get(), type), VK_EOK);
  return tree_of(*value);
}

struct Default {
  vk_type type;
  Tree tree;
};

const Default kLeafDefaults[] = {
    {VK_TYPE_BASE64, base64("")},
    {VK_TYPE_BOOLEAN, boolean(0)},
    {VK_TYPE_DATETIME, date(unknown())},
    {VK_TYPE_HEXBINARY, hex("")},
    {VK_TYPE_INT, integer(0)},
    {VK_TYPE_LONG, long_integer(0)},
    {VK_TYPE_STRING, text("")},
    {VK_TYPE_UNSIGNEDINT, unsigned_integer(0)},
    {VK_TYPE_UNSIGNEDLONG, unsigned_long(0)},
};

TEST(ValuePrototype, OfALeafTypeReplacesWhateverTheNodeHeldAndItsAttributes) {
  for (const auto& [type, tree] : kLeafDefaults) {
    for (const Tree& before : one_of_each_type()) {
      EXPECT_EQ(prototyped(type, before.with({kError})), tree) << "instead of " << before;
    }
  }
}

TEST(ValuePrototype, OfALeafTypeReleasesWhatTheNodeHeld) {
  for (const auto& [type, tree] : kLeafDefaults) {
    for (const Tree& before : one_of_each_type()) {
      const std::size_t blocks = live_blocks();
      const Value fresh = planted(tree);
      const std::size_t blocks_of_default = live_blocks() - blocks;
      const Value value = planted(before.with({kError}));
      EXPECT_EQ(vk_value_set_prototype(value.get(), type), VK_EOK);
      EXPECT_EQ(live_blocks() - blocks, 2 * blocks_of_default) << tree << " instead of " << before;
    }
  }
}

TEST(ValuePrototype, OfAnyClearsTheNode) {
  for (const Tree& before : one_of_each_type()) {
    const std::size_t blocks = live_blocks();
    const Value value = planted(before.with({kError}));
    EXPECT_EQ(vk_value_set_prototype(value.get(), VK_TYPE_ANY), VK_EOK);
    EXPECT_EQ(tree_of(*value), any());
    EXPECT_EQ(live_blocks(), blocks + 1);
  }
}

TEST(ValuePrototype, OfAContainerIsAnEmptyOne) {
  EXPECT_EQ(prototyped(VK_TYPE_OBJECT, any()), object({}));
  EXPECT_EQ(prototyped(VK_TYPE_ARRAY, any()), array({}));
}

TEST(ValuePrototype, OfAContainerLeavesTheAttributesAlone) {
  EXPECT_EQ(prototyped(VK_TYPE_OBJECT, integer(1).with({kError})), object({}).with({kError}));
  EXPECT_EQ(prototyped(VK_TYPE_ARRAY, integer(1).with({kError})), array({}).with({kError}));
}

TEST(ValuePrototype, OfAContainerDoesNotReleaseWhatTheNodeHeld) {
  for (const vk_type type : {VK_TYPE_OBJECT, VK_TYPE_ARRAY}) {
    const Value value = planted(text("held"));
    const Block held{value->payload.text};
    EXPECT_EQ(vk_value_set_prototype(value.get(), type), VK_EOK);
    EXPECT_THAT(static_cast<const char*>(held.get()), StrEq("held"));
  }
}

TEST(ValuePrototype, OfAnObjectIsAnOrderedOne) {
  const Value value = planted(indexed({}));
  EXPECT_EQ(vk_value_set_prototype(value.get(), VK_TYPE_OBJECT), VK_EOK);
  EXPECT_EQ(value->policy, VK_POLICY_ORDERED);
}

TEST(ValuePrototype, OfAnArrayLeavesThePolicyAlone) {
  const Value value = planted(indexed({}));
  EXPECT_EQ(vk_value_set_prototype(value.get(), VK_TYPE_ARRAY), VK_EOK);
  EXPECT_EQ(value->policy, VK_POLICY_INDEXED);
}

TEST(ValuePrototype, KeepsTheNodesPlaceNameAndNumber) {
  for (vk_type type = VK_TYPE_ANY; type <= VK_TYPE_UNSIGNEDLONG; ++type) {
    const Value parent = planted(indexed({{"1", any()}, {"2", integer(2)}, {"3", any()}}));
    vk_value* const member = vk_object_find_item(parent.get(), "2");
    EXPECT_EQ(vk_value_set_prototype(member, type), VK_EOK);
    EXPECT_EQ(vk_value_get_type(member), type);
    EXPECT_EQ(defect_of(*parent), "");
    EXPECT_EQ(vk_item_next(member), vk_object_find_item(parent.get(), "3"));
    EXPECT_THAT(member->id, StrEq("2"));
  }
}

TEST(ValuePrototype, OfADateTimeIsTheUnknownTime) {
  const Value value = new_value();
  EXPECT_EQ(vk_value_set_prototype(value.get(), VK_TYPE_DATETIME), VK_EOK);
  TextStream stream;
  vk_value_write(stream.get(), value.get());
  EXPECT_EQ(stream.text(), "0001-01-01T00:00:00Z");
  const vk_datetime& datetime = value->payload.datetime;
  int32_t seconds = 77;
  EXPECT_EQ(vk_datetime_diff(&datetime, &datetime, &seconds), VK_EINVAL);
}

TEST(ValuePrototype, LiesOnTheHeapOfTheNode) {
  const Heap heap{vk_mm_heap_new("own")};
  for (const auto& [type, tree] : kLeafDefaults) {
    const Value value = new_value(heap.get());
    EXPECT_EQ(vk_value_set_prototype(value.get(), type), VK_EOK);
    EXPECT_THAT(heaps_of(*value), ElementsAre(heap.get())) << tree;
  }
}

TEST(ValuePrototype, RefusesANumberThatIsNoTypeAndChangesNothing) {
  for (const vk_type type : {12U, 13U, 255U, 0x80000001U, 0xFFFFFFFFU}) {
    for (const Tree& before : one_of_each_type()) {
      const Value value = planted(before.with({kError}));
      EXPECT_EQ(vk_value_set_prototype(value.get(), type), VK_EINVAL);
      EXPECT_EQ(tree_of(*value), before.with({kError}));
    }
  }
}

TEST(ValuePrototype, LogsNothing) {
  const LogSpy spy;
  const Value value = new_value();
  for (vk_type type = VK_TYPE_ANY; type <= VK_TYPE_UNSIGNEDLONG + 1; ++type) {
    vk_value_set_prototype(value.get(), type);
  }
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST(ValuePrototype, LeavesTheNodeAsItsSetterDoesWhenMemoryRunsOut) {
  const Tree before = object({{"A", integer(1)}}).with({kError});
  for (const auto& [type, after] :
       {std::pair{VK_TYPE_STRING, before}, std::pair{VK_TYPE_BASE64, any()},
        std::pair{VK_TYPE_HEXBINARY, any()}}) {
    expect_after_each_refusal(before, {after}, [type = type](vk_value* value) {
      return vk_value_set_prototype(value, type);
    });
  }
}

}  // namespace
}  // namespace vesk::test
