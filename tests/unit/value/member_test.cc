#include "vesk/value/member.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tests/support/allocation_fault.h"
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

using Extent = AllocationFault::Extent;

const char kName[] = "Leaf";

// Every setter

class MemberSetter : public testing::TestWithParam<LeafKind> {};

INSTANTIATE_TEST_SUITE_P(Leaves, MemberSetter, testing::ValuesIn(leaf_kinds()), name_of_kind);

TEST_P(MemberSetter, InsertsANewMemberByTheObjectsPolicy) {
  const LogSpy log;
  const Value ordered = planted(object({{"3", integer(3)}, {"1", integer(1)}}));
  EXPECT_EQ(GetParam().set_member(ordered.get(), "2"), VK_EOK);
  EXPECT_EQ(tree_of(*ordered),
            object({{"3", integer(3)}, {"1", integer(1)}, {"2", GetParam().sample}}));
  EXPECT_THAT(log.calls(), IsEmpty());

  const Value by_index = planted(indexed({{"3", integer(3)}, {"1", integer(1)}}));
  EXPECT_EQ(GetParam().set_member(by_index.get(), "2"), VK_EOK);
  EXPECT_EQ(tree_of(*by_index),
            indexed({{"1", integer(1)}, {"2", GetParam().sample}, {"3", integer(3)}}));
}

TEST_P(MemberSetter, ClearsAndReusesAMemberOfThatName) {
  const LogSpy log;
  std::vector<Tree> contents = one_of_each_type();
  contents.push_back(text("x").with({{"Error", integer(9005)}, {"type", text("t")}}));
  for (const Tree& before : contents) {
    SCOPED_TRACE(testing::Message() << before);
    const std::size_t blocks = live_blocks();
    const Value node = planted(object({{"A", integer(1)}, {kName, before}, {"Z", text("z")}}));
    const vk_value* const member = vk_object_find_item(node.get(), kName);
    EXPECT_EQ(GetParam().set_member(node.get(), kName), VK_EOK);
    EXPECT_EQ(tree_of(*node),
              object({{"A", integer(1)}, {kName, GetParam().sample}, {"Z", text("z")}}));
    EXPECT_EQ(vk_object_find_item(node.get(), kName), member);
    // The object, three members with their names, a text, and what the leaf takes.
    EXPECT_EQ(live_blocks(), blocks + 8 + (GetParam().bytes == 0 ? 0 : 1));
  }
  EXPECT_THAT(log.calls(), IsEmpty());
}

TEST_P(MemberSetter, TakesNamesExactly) {
  const Value node = planted(object({{"leaf", any()}, {"Leaf ", any()}}));
  EXPECT_EQ(GetParam().set_member(node.get(), kName), VK_EOK);
  EXPECT_EQ(tree_of(*node),
            object({{"leaf", any()}, {"Leaf ", any()}, {kName, GetParam().sample}}));
}

TEST_P(MemberSetter, LeavesTheAttributesOfTheObject) {
  const Value node = planted(object({}).with({{"Error", integer(1)}}));
  EXPECT_EQ(GetParam().set_member(node.get(), kName), VK_EOK);
  EXPECT_EQ(tree_of(*node), object({{kName, GetParam().sample}}).with({{"Error", integer(1)}}));
}

TEST_P(MemberSetter, MakesANewMemberOnTheObjectsHeap) {
  const Heap heap(vk_mm_heap_new("object"));
  const Value node = planted(object({}), heap.get());
  EXPECT_EQ(GetParam().set_member(node.get(), kName), VK_EOK);
  EXPECT_THAT(heaps_of(*node), ElementsAre(heap.get()));
}

TEST_P(MemberSetter, LeavesAnExistingMemberOnItsOwnHeap) {
  const Heap heap(vk_mm_heap_new("member"));
  const Value node = new_object();
  Value member = planted(text("before"), heap.get());
  ASSERT_EQ(vk_object_insert(node.get(), kName, member.get()), VK_EOK);
  EXPECT_EQ(GetParam().set_member(node.get(), kName), VK_EOK);
  EXPECT_THAT(heaps_of(*member.release()), ElementsAre(heap.get()));
}

TEST_P(MemberSetter, AnswersENOMEMToANameThatIsNoInstanceNumber) {
  LogSpy log;
  const Value node = planted(indexed({{"1", integer(1)}}));
  log.forget();
  const std::size_t blocks = live_blocks();
  for (const char* const name : {"x", "", "0", "1x", "$", "99999999999"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(GetParam().set_member(node.get(), name), VK_ENOMEM);
    EXPECT_EQ(tree_of(*node), indexed({{"1", integer(1)}}));
  }
  EXPECT_EQ(live_blocks(), blocks);
  EXPECT_THAT(log.calls(), IsEmpty());
}

TEST_P(MemberSetter, SetsEveryMemberOfItsObjectInTurn) {
  const Value node = new_object();
  for (const char* const name : {"A", "B", "C", "B"}) {
    EXPECT_EQ(GetParam().set_member(node.get(), name), VK_EOK);
  }
  const Tree& sample = GetParam().sample;
  EXPECT_EQ(tree_of(*node), object({{"A", sample}, {"B", sample}, {"C", sample}}));
}

// What a call leaves of an object when memory is out, and the size that it was refused.
void expect_refused(const LeafKind& kind, const Tree& before, std::size_t strike_at,
                    const Tree& after, std::size_t size) {
  for (const Extent extent : {Extent::kOne, Extent::kAllFromThere}) {
    const LogSpy log;
    const Value node = planted(before);
    AllocationFault fault{strike_at, extent};
    EXPECT_EQ(fault.during([&] { return kind.set_member(node.get(), kName); }), VK_ENOMEM);
    EXPECT_EQ(tree_of(*node), after);
    EXPECT_THAT(log.lines(), ElementsAre(allocation_failure(size, "default")));
  }
}

TEST_P(MemberSetter, LeavesNoMemberThatCouldNotBeMade) {
  const Tree before = object({{"A", integer(1)}}).with({{"Error", integer(1)}});
  expect_refused(GetParam(), before, 1, before, sizeof(vk_value));
  expect_refused(GetParam(), before, 2, before, sizeof kName);
}

TEST_P(MemberSetter, AnswersENOMEMWhereverMemoryIsOut) {
  for_every_allocation_fault([](AllocationFault& fault) {
    const LogSpy log;
    const Value node = planted(object({{"A", text("a")}}));
    const vk_error result = fault.during([&] { return GetParam().set_member(node.get(), kName); });
    if (!fault.struck()) {
      EXPECT_EQ(result, VK_EOK);
      EXPECT_EQ(tree_of(*node), object({{"A", text("a")}, {kName, GetParam().sample}}));
      return;
    }
    EXPECT_EQ(result, VK_ENOMEM);
    const Value copy = planted(tree_of(*node));
    vk_object_delete_item(copy.get(), kName);
    EXPECT_EQ(tree_of(*copy), object({{"A", text("a")}}));
  });
}

TEST_P(MemberSetter, NeedsNoMemoryForAMemberThatIsThereButItsPayload) {
  const Value node = planted(object({{kName, any()}}));
  const AllocationLog allocations;
  EXPECT_EQ(GetParam().set_member(node.get(), kName), VK_EOK);
  EXPECT_EQ(allocations.count(), GetParam().bytes == 0 ? 0U : 1U);
}

// Those whose payload can fail

class BlockMemberSetter : public testing::TestWithParam<LeafKind> {};

INSTANTIATE_TEST_SUITE_P(Leaves, BlockMemberSetter, testing::ValuesIn(block_kinds()), name_of_kind);

TEST_P(BlockMemberSetter, LeavesANewMemberOfTypeAnyWhenItsPayloadCannotBeHad) {
  expect_refused(GetParam(), object({{"A", integer(1)}}), 3,
                 object({{"A", integer(1)}, {kName, any()}}), GetParam().bytes);
}

TEST_P(BlockMemberSetter, LeavesAnExistingMemberClearedWhenItsPayloadCannotBeHad) {
  const Tree full = object({{"B", text("b")}}).with({{"Error", integer(1)}});
  expect_refused(GetParam(), object({{kName, full}, {"Z", integer(1)}}), 1,
                 object({{kName, any()}, {"Z", integer(1)}}), GetParam().bytes);
}

// Single setters

TEST(ObjectSetBool, PassesOnlyTheLowByteOfItsFlag) {
  struct Row {
    uint32_t given;
    uint8_t kept;
  };
  for (const Row& row : {Row{0, 0}, Row{1, 1}, Row{2, 2}, Row{0xFF, 0xFF}, Row{0x100, 0},
                         Row{0x102, 2}, Row{0xFFFFFF00, 0}, Row{0x80000001, 1}}) {
    SCOPED_TRACE(row.given);
    const Value node = new_object();
    EXPECT_EQ(vk_object_set_bool(node.get(), kName, row.given), VK_EOK);
    EXPECT_EQ(tree_of(*node), object({{kName, boolean(row.kept)}}));
  }
}

TEST(ObjectSetString, LeavesOneMemberWithTheSecondTextAndNoAttribute) {
  const Value node = new_object();
  ASSERT_EQ(vk_object_set_string(node.get(), kName, "first"), VK_EOK);
  ASSERT_EQ(vk_value_set_error(vk_object_find_item(node.get(), kName), 9005), VK_EOK);
  ASSERT_EQ(vk_object_set_string(node.get(), kName, "second"), VK_EOK);
  EXPECT_EQ(tree_of(*node), object({{kName, text("second")}}));
}

TEST(ObjectSetString, AnswersENOMEMToANullTextAndLeavesTheMemberOfTypeAny) {
  const LogSpy log;
  const Value node = planted(object({{"Old", text("old").with({{"Error", integer(1)}})}}));
  EXPECT_EQ(vk_object_set_string(node.get(), "New", nullptr), VK_ENOMEM);
  EXPECT_EQ(vk_object_set_string(node.get(), "Old", nullptr), VK_ENOMEM);
  EXPECT_EQ(tree_of(*node), object({{"Old", any()}, {"New", any()}}));
  EXPECT_THAT(log.calls(), IsEmpty());
}

TEST(ObjectSetString, LeavesNoMemberForANullTextUnderANameThatIsNoInstanceNumber) {
  const Value node = new_object(VK_POLICY_INDEXED);
  EXPECT_EQ(vk_object_set_string(node.get(), "x", nullptr), VK_ENOMEM);
  EXPECT_EQ(tree_of(*node), indexed({}));
}

}  // namespace
}  // namespace vesk::test
