#include "vesk/value/leaf.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/binaries.h"
#include "tests/support/datetimes.h"
#include "tests/support/heaps.h"
#include "tests/support/leaves.h"
#include "tests/support/log_spy.h"
#include "tests/support/trees.h"
#include "tests/support/values.h"
#include "vesk/value/attribute.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A tree of each type, with attributes and members that have attributes too.
std::vector<Tree> all_contents() {
  std::vector<Tree> contents = one_of_each_type();
  contents.push_back(object({{"A", text("a").with({{"Error", integer(1)}})}}));
  for (const Tree& tree : std::vector<Tree>(contents)) {
    contents.push_back(tree.with({{"Error", integer(9005)}, {"unit", text("dBm")}}));
  }
  return contents;
}

// Every setter

class LeafSetter : public testing::TestWithParam<LeafKind> {
 protected:
  const LogSpy log_;
};

INSTANTIATE_TEST_SUITE_P(Leaves, LeafSetter, testing::ValuesIn(leaf_kinds()), name_of_kind);

TEST_P(LeafSetter, GivesANodeItsTypeAndPayload) {
  const Value node = new_value();
  EXPECT_EQ(GetParam().set(node.get()), VK_EOK);
  EXPECT_EQ(tree_of(*node), GetParam().sample);
  EXPECT_THAT(log_.calls(), IsEmpty());
}

TEST_P(LeafSetter, ReplacesWhateverTheNodeHeldAndReleasesIt) {
  const std::size_t blocks_of_leaf = GetParam().bytes == 0 ? 1 : 2;
  for (const Tree& before : all_contents()) {
    SCOPED_TRACE(testing::Message() << before);
    const std::size_t blocks = live_blocks();
    const Value node = planted(before);
    EXPECT_EQ(GetParam().set(node.get()), VK_EOK);
    EXPECT_EQ(tree_of(*node), GetParam().sample);
    EXPECT_EQ(live_blocks(), blocks + blocks_of_leaf);
  }
}

TEST_P(LeafSetter, LeavesAListOfAttributesThatCanGrowAgain) {
  const Value node = planted(any().with({{"Error", integer(1)}}));
  ASSERT_EQ(GetParam().set(node.get()), VK_EOK);
  ASSERT_EQ(vk_value_set_error(node.get(), 2), VK_EOK);
  EXPECT_EQ(tree_of(*node), GetParam().sample.with({{"Error", integer(2)}}));
}

TEST_P(LeafSetter, KeepsNameNumberPolicyAndHeap) {
  const Heap heap(vk_mm_heap_new("leaves"));
  const Value node = new_value(heap.get());
  ASSERT_EQ(vk_value_set_id(node.get(), "7"), VK_EOK);
  node->index = 7;
  node->policy = VK_POLICY_INDEXED;
  EXPECT_EQ(GetParam().set(node.get()), VK_EOK);
  EXPECT_STREQ(node->id, "7");
  EXPECT_EQ(node->index, 7U);
  EXPECT_EQ(node->policy, VK_POLICY_INDEXED);
  EXPECT_EQ(node->heap, heap.get());
}

TEST_P(LeafSetter, LeavesTheNodeInItsPlaceInAList) {
  const Value list = planted(array({integer(1), text("two"), integer(3)}));
  EXPECT_EQ(GetParam().set(vk_array_get_item(list.get(), 1)), VK_EOK);
  EXPECT_EQ(tree_of(*list), array({integer(1), GetParam().sample, integer(3)}));
}

TEST_P(LeafSetter, AllocatesNothingButItsPayload) {
  const Value node = new_value();
  const AllocationLog allocations;
  EXPECT_EQ(GetParam().set(node.get()), VK_EOK);
  if (GetParam().bytes == 0) {
    EXPECT_EQ(allocations.count(), 0U);
  } else {
    ASSERT_EQ(allocations.count(), 1U);
    EXPECT_EQ(allocations.size_of(0), kOwnerWord + GetParam().bytes);
  }
}

TEST_P(LeafSetter, TakesItsPayloadFromTheNodesHeap) {
  const Heap heap(vk_mm_heap_new("leaves"));
  const Value node = new_value(heap.get());
  EXPECT_EQ(GetParam().set(node.get()), VK_EOK);
  EXPECT_THAT(heaps_of(*node), ElementsAre(heap.get()));
}

// Numbers, flags and times

TEST(SetInt, KeepsEveryNumber) {
  for (const int32_t number : {INT32_MIN, -65536, -1, 0, 1, 65536, INT32_MAX}) {
    const Value node = new_value();
    EXPECT_EQ(vk_value_set_int(node.get(), number), VK_EOK);
    EXPECT_EQ(tree_of(*node), integer(number));
  }
}

TEST(SetUint, KeepsEveryNumber) {
  for (const uint32_t number : {0U, 1U, 0x7FFFFFFFU, 0x80000000U, UINT32_MAX}) {
    const Value node = new_value();
    EXPECT_EQ(vk_value_set_uint(node.get(), number), VK_EOK);
    EXPECT_EQ(tree_of(*node), unsigned_integer(number));
  }
}

TEST(SetLong, KeepsEveryNumber) {
  for (const int64_t number : {INT64_MIN, -INT64_C(4294967296), INT64_C(-1), INT64_C(0), INT64_C(1),
                               INT64_C(4294967296), INT64_MAX}) {
    const Value node = new_value();
    EXPECT_EQ(vk_value_set_long(node.get(), number), VK_EOK);
    EXPECT_EQ(tree_of(*node), long_integer(number));
  }
}

TEST(SetUlong, KeepsEveryNumber) {
  for (const uint64_t number :
       {UINT64_C(0), UINT64_C(1), UINT64_C(4294967296), UINT64_C(1) << 63, UINT64_MAX}) {
    const Value node = new_value();
    EXPECT_EQ(vk_value_set_ulong(node.get(), number), VK_EOK);
    EXPECT_EQ(tree_of(*node), unsigned_long(number));
  }
}

TEST(SetBool, KeepsTheFlagByteAsGiven) {
  for (const uint8_t flag : std::array<uint8_t, 6>{0, 1, 2, 127, 128, 255}) {
    const Value node = new_value();
    EXPECT_EQ(vk_value_set_bool(node.get(), flag), VK_EOK);
    EXPECT_EQ(tree_of(*node), boolean(flag));
  }
}

TEST(SetDatetime, CopiesTheWholeRecordWhateverItHolds) {
  for (const vk_datetime& datetime :
       {absolute(kEarliestTime), absolute(-1), relative(100, 999999), unknown(), kStrayDatetime}) {
    const Value node = new_value();
    EXPECT_EQ(vk_value_set_datetime(node.get(), &datetime), VK_EOK);
    EXPECT_EQ(tree_of(*node), date(datetime));
  }
}

TEST(SetDatetime, DoesNotFollowLaterChangesOfTheOriginal) {
  vk_datetime original = kSampleTime;
  const Value node = new_value();
  ASSERT_EQ(vk_value_set_datetime(node.get(), &original), VK_EOK);
  original = unknown();
  EXPECT_EQ(tree_of(*node), date(kSampleTime));
}

// Strings

TEST(SetString, CopiesTheText) {
  std::string original = "text";
  const Value node = new_value();
  ASSERT_EQ(vk_value_set_string(node.get(), original.c_str()), VK_EOK);
  original = "gone";
  EXPECT_EQ(tree_of(*node), text("text"));
}

TEST(SetString, TakesAnyTextAsItIs) {
  for (const std::string& original : {std::string(), std::string(" "), std::string("100%s"),
                                      every_byte().substr(1), std::string(100000, 'x')}) {
    const Value node = new_value();
    EXPECT_EQ(vk_value_set_string(node.get(), original.c_str()), VK_EOK);
    EXPECT_EQ(tree_of(*node), text(original));
  }
}

TEST(SetString, MayBeGivenTheNodesOwnText) {
  const std::size_t blocks = live_blocks();
  const Value node = planted(text("own text").with({{"Error", integer(1)}}));
  EXPECT_EQ(vk_value_set_string(node.get(), node->payload.text), VK_EOK);
  EXPECT_EQ(tree_of(*node), text("own text"));
  EXPECT_EQ(live_blocks(), blocks + 2);
}

TEST(SetString, MayBeGivenAPartOfTheNodesOwnText) {
  const Value node = planted(text("own text"));
  EXPECT_EQ(vk_value_set_string(node.get(), node->payload.text + 4), VK_EOK);
  EXPECT_EQ(tree_of(*node), text("text"));
}

TEST(SetString, MayBeGivenATextThatTheNodeReleases) {
  const Value node = planted(object({{"A", text("of a member")}}));
  const char* const of_member = vk_object_find_item(node.get(), "A")->payload.text;
  EXPECT_EQ(vk_value_set_string(node.get(), of_member), VK_EOK);
  EXPECT_EQ(tree_of(*node), text("of a member"));
}

TEST(SetString, LeavesTheNodeAsItWasWhenMemoryIsOut) {
  for (const Tree& before : all_contents()) {
    SCOPED_TRACE(testing::Message() << before);
    for_every_allocation_fault([&](AllocationFault& fault) {
      const LogSpy log;
      const Value node = planted(before);
      const vk_error result =
          fault.during([&] { return vk_value_set_string(node.get(), "new text"); });
      if (!fault.struck()) {
        EXPECT_EQ(result, VK_EOK);
        EXPECT_EQ(tree_of(*node), text("new text"));
        return;
      }
      EXPECT_EQ(result, VK_ENOMEM);
      EXPECT_EQ(tree_of(*node), before);
      EXPECT_THAT(log.lines(), ElementsAre(allocation_failure(sizeof "new text", "default")));
    });
  }
}

TEST(SetString, KeepsTheVeryTextWhenMemoryIsOut) {
  const LogSpy log;
  const Value node = planted(text("kept"));
  const char* const kept = node->payload.text;
  AllocationFault fault{1, AllocationFault::Extent::kOne};
  EXPECT_EQ(fault.during([&] { return vk_value_set_string(node.get(), kept); }), VK_ENOMEM);
  EXPECT_EQ(node->payload.text, kept);
  EXPECT_STREQ(kept, "kept");
}

TEST(SetString, AnswersENOMEMToANullTextAndLeavesTheNodeAsItWas) {
  const LogSpy log;
  for (const Tree& before : all_contents()) {
    SCOPED_TRACE(testing::Message() << before);
    const Value node = planted(before);
    EXPECT_EQ(vk_value_set_string(node.get(), nullptr), VK_ENOMEM);
    EXPECT_EQ(tree_of(*node), before);
  }
  EXPECT_THAT(log.calls(), IsEmpty());
}

// Bytes

struct BinarySetter {
  const char* name;
  vk_error (*set)(vk_value* node, const vk_binary* binary);
  Tree (*tree)(const std::string& bytes);
};

class SetBinary : public testing::TestWithParam<BinarySetter> {};

INSTANTIATE_TEST_SUITE_P(Setters, SetBinary,
                         testing::Values(BinarySetter{"Hex", &vk_value_set_hex, &hex},
                                         BinarySetter{"Base64", &vk_value_set_base64, &base64}),
                         [](const auto& setter) { return setter.param.name; });

TEST_P(SetBinary, CopiesTheBytes) {
  for (const std::string& bytes : {std::string("Man"), every_byte(), std::string(100000, '\0')}) {
    const Value node = new_value();
    EXPECT_EQ(GetParam().set(node.get(), Binary{bytes}.get()), VK_EOK);
    EXPECT_EQ(tree_of(*node), GetParam().tree(bytes));
  }
}

TEST_P(SetBinary, LeavesTheSourceWithTheCaller) {
  const Binary source{"Man"};
  const Value node = new_value();
  ASSERT_EQ(GetParam().set(node.get(), source.get()), VK_EOK);
  EXPECT_NE(node->payload.binary.data, source.get()->data);
  EXPECT_EQ(content(*source.get()), "Man");
  EXPECT_EQ(source.get()->magic, VK_MAGIC_BINARY);
}

TEST_P(SetBinary, MakesAnEmptyBinaryOfAnEmptyOne) {
  const vk_binary without_buffer = {0, nullptr, VK_MAGIC_BINARY};
  const Binary with_buffer{""};
  for (const vk_binary* const empty : {&without_buffer, with_buffer.get()}) {
    const Value node = new_value();
    EXPECT_EQ(GetParam().set(node.get(), empty), VK_EOK);
    EXPECT_EQ(tree_of(*node), GetParam().tree(""));
    EXPECT_NE(node->payload.binary.data, nullptr);
    EXPECT_NE(node->payload.binary.data, empty->data);
  }
}

TEST_P(SetBinary, LeavesTheNodeClearedWhenMemoryIsOut) {
  for (const Tree& before : all_contents()) {
    SCOPED_TRACE(testing::Message() << before);
    for_every_allocation_fault([&](AllocationFault& fault) {
      const LogSpy log;
      const std::size_t blocks = live_blocks();
      const Value node = planted(before);
      const vk_error result =
          fault.during([&] { return GetParam().set(node.get(), &kSampleBinary); });
      if (!fault.struck()) {
        EXPECT_EQ(result, VK_EOK);
        EXPECT_EQ(tree_of(*node), GetParam().tree("Man"));
        return;
      }
      EXPECT_EQ(result, VK_ENOMEM);
      EXPECT_EQ(tree_of(*node), any());
      EXPECT_EQ(live_blocks(), blocks + 1);
      EXPECT_THAT(log.lines(), ElementsAre(allocation_failure(3, "default")));
    });
  }
}

TEST_P(SetBinary, KeepsTheNameWhenMemoryIsOut) {
  const LogSpy log;
  const Value node = planted(text("before"));
  ASSERT_EQ(vk_value_set_id(node.get(), "name"), VK_EOK);
  AllocationFault fault{1, AllocationFault::Extent::kOne};
  EXPECT_EQ(fault.during([&] { return GetParam().set(node.get(), &kSampleBinary); }), VK_ENOMEM);
  EXPECT_STREQ(node->id, "name");
}

// Counting leaves

uint32_t leaves_of(const Tree& tree, uint32_t count_any = 0) {
  return vk_value_get_leaf_number(planted(tree).get(), count_any);
}

TEST(LeafNumber, IsOneForALeafOfAnyType) {
  for (const Tree& leaf : one_of_each_leaf()) {
    SCOPED_TRACE(testing::Message() << leaf);
    EXPECT_EQ(leaves_of(leaf, 0), 1U);
    EXPECT_EQ(leaves_of(leaf, 1), 1U);
  }
}

TEST(LeafNumber, CountsAnyIfAsked) {
  EXPECT_EQ(leaves_of(any(), 0), 0U);
  EXPECT_EQ(leaves_of(any(), 1), 1U);
}

TEST(LeafNumber, TakesTheLowByteOfTheQuestionOnly) {
  for (const uint32_t yes : {2U, 0x80U, 0xFFU, 0x101U, UINT32_MAX}) {
    EXPECT_EQ(leaves_of(any(), yes), 1U) << yes;
  }
  for (const uint32_t no : {0x100U, 0x8000U, 0x80000000U, 0xFFFFFF00U}) {
    EXPECT_EQ(leaves_of(any(), no), 0U) << no;
  }
}

TEST(LeafNumber, IsZeroForAnEmptyContainer) {
  for (const Tree& empty : {object({}), array({}), object({{"Empty", object({})}}),
                            object({{"Empty", array({})}}), array({array({}), object({})})}) {
    SCOPED_TRACE(testing::Message() << empty);
    EXPECT_EQ(leaves_of(empty, 0), 0U);
    EXPECT_EQ(leaves_of(empty, 1), 0U);
  }
}

TEST(LeafNumber, IsTheSumOverMembersAndElementsAtEveryLevel) {
  const Tree tree = object({{"A", integer(1)},
                            {"B", object({{"C", text("c")}, {"D", array({boolean(1), any()})}})},
                            {"E", any()},
                            {"F", indexed({{"1", object({{"G", any()}})}})},
                            {"H", object({})}});
  EXPECT_EQ(leaves_of(tree, 0), 3U);
  EXPECT_EQ(leaves_of(tree, 1), 6U);
  EXPECT_EQ(leaves_of(tree, 0x100), 3U);
}

TEST(LeafNumber, CountsAnAnyInAnObjectIfAsked) {
  EXPECT_EQ(leaves_of(object({{"Any", any()}}), 0), 0U);
  EXPECT_EQ(leaves_of(object({{"Any", any()}}), 1), 1U);
}

TEST(LeafNumber, LeavesAttributesOut) {
  const auto attributes = {Tree::Named{"Error", integer(1)}, Tree::Named{"type", text("t")}};
  EXPECT_EQ(leaves_of(integer(1).with(attributes), 1), 1U);
  EXPECT_EQ(leaves_of(any().with(attributes), 0), 0U);
  EXPECT_EQ(leaves_of(object({{"A", integer(1).with(attributes)}}).with(attributes), 1), 1U);
}

TEST(LeafNumber, IsZeroForATypeThatIsNone) {
  for (const vk_type type : {VK_TYPE_UNSIGNEDLONG + 1, 0x107U, UINT32_MAX}) {
    EXPECT_EQ(leaves_of(of_no_type(type), 1), 0U);
    EXPECT_EQ(leaves_of(array({of_no_type(type), integer(1)}), 1), 1U);
  }
}

}  // namespace
}  // namespace vesk::test
