#include "vesk/value/copy.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/datetimes.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "tests/support/trees.h"
#include "vesk/value/array.h"
#include "vesk/value/leaf.h"
#include "vesk/value/object.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using std::string_literals::operator""s;

const Tree::Named kError = {"Error", integer(9)};

/// What a node that held one tree holds once another, which stays as it was, has been copied to it.
Tree copied(const Tree& src, const Tree& dst = any()) {
  const Value source = planted(src);
  const Value copy = planted(dst);
  EXPECT_EQ(vk_value_copy(copy.get(), source.get()), VK_EOK);
  EXPECT_EQ(tree_of(*source), src);
  return tree_of(*copy);
}

TEST(ValueCopy, TakesEveryType) {
  for (const Tree& src : one_of_each_type()) EXPECT_EQ(copied(src), src);
}

TEST(ValueCopy, TakesLeavesAsTheyAre) {
  const Tree leaves[] = {
      base64(""),
      base64("\0bytes\0"s),
      hex(""),
      hex("\0bytes\xFF"s),
      text(""),
      text("two words\n\xC3\xA4"),
      boolean(0),
      boolean(2),
      boolean(255),
      integer(INT32_MIN),
      unsigned_integer(UINT32_MAX),
      long_integer(INT64_MIN),
      long_integer(INT64_MAX),
      unsigned_long(UINT64_MAX),
      date(absolute(-1, 999999)),
      date(relative(kLatestTime)),
      date(unknown()),
      date({kEarliestTime, 77, 2'000'000}),
  };
  for (const Tree& src : leaves) EXPECT_EQ(copied(src), src);
}

TEST(ValueCopy, ReplacesWhateverTheNodeHeldAndItsAttributes) {
  for (const Tree& src : one_of_each_type()) {
    for (const Tree& dst : one_of_each_type()) {
      EXPECT_EQ(copied(src, dst.with({kError, {"A", dst}})), src) << "onto " << dst;
    }
  }
}

TEST(ValueCopy, ReleasesWhatTheNodeHeld) {
  for (const Tree& src : one_of_each_type()) {
    for (const Tree& dst : one_of_each_type()) {
      const std::size_t before = live_blocks();
      const Value source = planted(src);
      const std::size_t blocks_of_source = live_blocks() - before;
      const Value copy = planted(dst.with({kError, {"A", dst}}));
      vk_value_copy(copy.get(), source.get());
      EXPECT_EQ(live_blocks() - before, 2 * blocks_of_source) << src << " onto " << dst;
    }
  }
}

TEST(ValueCopy, LeavesTheAttributesOfTheSourceOutAtEveryLevel) {
  for (const Tree& src : one_of_each_type()) EXPECT_EQ(copied(src.with({kError})), src);
  const Tree src = object({{"A", integer(1).with({kError})},
                           {"B", array({text("b").with({kError}), any().with({kError})})}});
  EXPECT_EQ(copied(src.with({kError})), without_attributes(src));
}

TEST(ValueCopy, KeepsElementsInOrder) {
  const Tree src = array({integer(3), integer(1), any(), array({integer(2), array({})})});
  EXPECT_EQ(copied(src), src);
}

TEST(ValueCopy, KeepsMembersInOrder) {
  const Tree src = object({{"B", integer(1)}, {"A", object({{"2", any()}, {"1", any()}})}});
  EXPECT_EQ(copied(src), src);
}

TEST(ValueCopy, OfAnIndexedObjectIsOneWithTheSameMembersInTheSameOrder) {
  const Tree src = indexed({{"1", text("a")}, {"02", text("b")}, {"2", text("c")}, {"10", any()}});
  EXPECT_EQ(copied(src), src);
}

TEST(ValueCopy, KeepsPoliciesAtEveryLevel) {
  for (const uint32_t policy : {0U, 1U, 2U, 3U, UINT32_MAX}) {
    const Tree src = object({{"1", object({{"2", array({object({}, policy)})}}, policy)}}, policy);
    EXPECT_EQ(copied(src), src);
    EXPECT_EQ(copied(src, indexed({})), src);
  }
}

TEST(ValueCopy, LeavesThePolicyOfANodeAloneThatBecomesAnArray) {
  const Value source = planted(array({}));
  const Value copy = planted(indexed({}));
  vk_value_copy(copy.get(), source.get());
  EXPECT_EQ(copy->policy, VK_POLICY_INDEXED);
}

TEST(ValueCopy, OfANumberThatIsNoTypeChangesNothing) {
  for (const vk_type type : {12U, 13U, 0x80000001U, 0xFFFFFFFFU}) {
    for (const Tree& dst : one_of_each_type()) {
      EXPECT_EQ(copied(of_no_type(type), dst.with({kError})), dst.with({kError}));
    }
  }
}

TEST(ValueCopy, MakesMembersAndElementsOfNoTypeAny) {
  EXPECT_EQ(copied(object({{"A", of_no_type()}, {"B", array({of_no_type(), integer(1)})}})),
            object({{"A", any()}, {"B", array({any(), integer(1)})}}));
}

TEST(ValueCopy, KeepsTheNodesPlaceNameAndNumber) {
  for (const Tree& src : one_of_each_type()) {
    const Value parent = planted(indexed({{"1", any()}, {"2", text("two")}, {"3", any()}}));
    vk_value* const member = vk_object_find_item(parent.get(), "2");
    const Value source = planted(object({{"9", src}}));
    EXPECT_EQ(vk_value_copy(member, vk_object_find_item(source.get(), "9")), VK_EOK);
    EXPECT_EQ(tree_of(*parent), indexed({{"1", any()}, {"2", src}, {"3", any()}}));
    EXPECT_EQ(member->index, 2U);
  }
}

TEST(ValueCopy, LiesWhollyOnTheHeapOfTheNode) {
  const Heap heap{vk_mm_heap_new("own")};
  const Tree src = object({{"A", array(one_of_each_type())}});
  const Value source = planted(src);
  const Value copy = planted(any(), heap.get());
  EXPECT_EQ(vk_value_copy(copy.get(), source.get()), VK_EOK);
  EXPECT_EQ(tree_of(*copy), src);
  EXPECT_THAT(heaps_of(*copy), ElementsAre(heap.get()));
  EXPECT_THAT(heaps_of(*source), ElementsAre(vk_default_allocator()));
}

TEST(ValueCopy, SharesNeitherTextNorBytesWithItsSource) {
  const Value source = planted(object({{"A", text("a")}, {"B", base64("b")}, {"C", hex("c")}}));
  const Value copy = new_value();
  vk_value_copy(copy.get(), source.get());
  vk_object_find_item(source.get(), "A")->payload.text[0] = 'x';
  vk_object_find_item(source.get(), "B")->payload.binary.data[0] = 'x';
  vk_object_find_item(source.get(), "C")->payload.binary.data[0] = 'x';
  EXPECT_EQ(tree_of(*copy), object({{"A", text("a")}, {"B", base64("b")}, {"C", hex("c")}}));
}

TEST(ValueCopy, CanGrow) {
  const Value source = planted(object({{"A", array({integer(1)})}}));
  const Value copy = new_value();
  vk_value_copy(copy.get(), source.get());
  vk_value_set_int(vk_array_add_item(vk_object_find_item(copy.get(), "A")), 2);
  vk_value_set_int(vk_object_init_item(copy.get(), "B"), 3);
  EXPECT_EQ(tree_of(*copy), object({{"A", array({integer(1), integer(2)})}, {"B", integer(3)}}));
}

// Only a renaming in place gives two members one name.
TEST(ValueCopy, OfMembersOfOneNameTakesTheLastAtThePlaceOfTheFirst) {
  const Value source = planted(object({{"A", text("1")}, {"B", integer(2)}, {"C", integer(3)}}));
  rename_member(*source, "C", "A");
  const Value copy = new_value();
  EXPECT_EQ(vk_value_copy(copy.get(), source.get()), VK_EOK);
  EXPECT_EQ(tree_of(*copy), object({{"A", integer(3)}, {"B", integer(2)}}));
}

TEST(ValueCopy, OfAnIndexedObjectGivesUpAtAMemberThatIsNoInstance) {
  const Value source = planted(indexed({{"1", integer(1)}, {"2", integer(2)}, {"3", integer(3)}}));
  rename_member(*source, "2", "two");
  const Value copy = planted(text("before").with({kError}));
  EXPECT_EQ(vk_value_copy(copy.get(), source.get()), VK_ENOMEM);
  EXPECT_EQ(tree_of(*copy), indexed({{"1", integer(1)}}));
}

TEST(ValueCopy, LogsTheInsertionsIntoAnIndexedObject) {
  const Value source = planted(indexed({{"3", any()}, {"1", any()}, {"03", any()}}));
  const LogSpy spy;
  const Value copy = new_value();
  vk_value_copy(copy.get(), source.get());
  EXPECT_THAT(spy.lines(), ElementsAre(LogLine{LOG_INFO, "NONE: Insert HEAD"},
                                       LogLine{LOG_INFO, "NONE: Insert '3' after '1'"},
                                       LogLine{LOG_INFO, "NONE: Insert '3' after '3'"}));
}

TEST(ValueCopy, LogsNothingOfOtherTrees) {
  const LogSpy spy;
  for (const Tree& src : one_of_each_type()) copied(src);
  copied(of_no_type());
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST(ValueCopy, LeavesThePartThatWasMadeWhenMemoryRunsOut) {
  const Value source = planted(
      object({{"A", text("a")}, {"B", array({base64("b"), object({}), hex("c")})}, {"C", any()}}));
  const auto with_b = [](const Tree& b) { return object({{"A", text("a")}, {"B", b}}); };
  const std::vector<Tree> states = {
      object({}),                                          // the node of A
      object({}),                                          // its name
      object({{"A", any()}}),                              // its text
      object({{"A", text("a")}}),                          // the node of B
      object({{"A", text("a")}}),                          // its name
      with_b(array({})),                                   // its first element
      with_b(array({any()})),                              // the bytes of that
      with_b(array({base64("b")})),                        // its second element
      with_b(array({base64("b"), object({})})),            // its third element
      with_b(array({base64("b"), object({}), any()})),     // the bytes of that
      with_b(array({base64("b"), object({}), hex("c")})),  // the node of C
      with_b(array({base64("b"), object({}), hex("c")})),  // its name
  };
  expect_after_each_refusal(text("before").with({kError}), states,
                            [&](vk_value* copy) { return vk_value_copy(copy, source.get()); });
}

// A text is copied before the node is cleared, bytes after that.
TEST(ValueCopy, LeavesTheNodeAsItsSetterDoesWhenMemoryRunsOut) {
  const Tree before = object({{"A", integer(1)}}).with({kError});
  for (const auto& [leaf, after] :
       {std::pair{text("a"), before}, std::pair{base64("a"), any()}, std::pair{hex("a"), any()}}) {
    const Value source = planted(leaf);
    expect_after_each_refusal(before, {after},
                              [&](vk_value* copy) { return vk_value_copy(copy, source.get()); });
  }
}

// The default values of types

}  // namespace
}  // namespace vesk::test
