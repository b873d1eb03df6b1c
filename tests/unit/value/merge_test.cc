#include "vesk/value/merge.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <utility>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "tests/support/trees.h"
#include "vesk/value/copy.h"
#include "vesk/value/leaf.h"
#include "vesk/value/object.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const Tree::Named kError = {"Error", integer(9)};

using Apply = vk_error (*)(vk_value*, const vk_value*);

struct Applied {
  vk_error result;
  Tree tree;

  bool operator==(const Applied&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Applied& applied) {
  return out << vk_strerror(applied.result) << " and " << applied.tree;
}

Applied done(const Tree& tree) { return {VK_EOK, tree}; }
Applied failed(vk_error result, const Tree& tree) { return {result, tree}; }

/// What a source, which stays as it was, makes of a destination.
Applied applied(Apply apply, const Tree& dst, const Tree& src) {
  const Value destination = planted(dst);
  const Value source = planted(src);
  const vk_error result = apply(destination.get(), source.get());
  EXPECT_EQ(tree_of(*source), src);
  return {result, tree_of(*destination)};
}

Applied updated(const Tree& dst, const Tree& src) { return applied(vk_value_update, dst, src); }
Applied merged(const Tree& dst, const Tree& src) { return applied(vk_value_merge, dst, src); }

// What holds of both.
struct Function {
  const char* name;
  Apply apply;
};

class ValueApply : public testing::TestWithParam<Function> {
 protected:
  static Apply apply() { return GetParam().apply; }
  static Applied applied(const Tree& dst, const Tree& src) {
    return vesk::test::applied(apply(), dst, src);
  }
};

INSTANTIATE_TEST_SUITE_P(Both, ValueApply,
                         testing::Values(Function{"Update", vk_value_update},
                                         Function{"Merge", vk_value_merge}),
                         [](const auto& function) { return function.param.name; });

TEST_P(ValueApply, OfNothingChangesNothing) {
  for (const Tree& dst : one_of_each_type()) {
    EXPECT_EQ(applied(dst.with({kError}), any()), done(dst.with({kError})));
  }
}

TEST_P(ValueApply, OfANumberThatIsNoTypeChangesNothing) {
  for (const vk_type type : {12U, 13U, 0x80000001U, 0xFFFFFFFFU}) {
    for (const Tree& dst : one_of_each_type()) {
      EXPECT_EQ(applied(dst.with({kError}), of_no_type(type)), done(dst.with({kError})));
    }
  }
}

TEST_P(ValueApply, RefusesAnArrayAsAbsentAndChangesNothing) {
  EXPECT_EQ(VK_ENOENT, 1U);
  for (const Tree& dst : one_of_each_type()) {
    EXPECT_EQ(applied(dst.with({kError}), array({integer(1)})),
              failed(VK_ENOENT, dst.with({kError})));
    EXPECT_EQ(applied(dst, array({})), failed(VK_ENOENT, dst));
  }
}

TEST_P(ValueApply, OfALeafReplacesWhateverTheNodeHeldAndItsAttributes) {
  for (const Tree& src : one_of_each_leaf()) {
    for (const Tree& dst : one_of_each_type()) {
      EXPECT_EQ(applied(dst.with({kError}), src), done(src)) << "onto " << dst;
    }
  }
}

TEST_P(ValueApply, OfALeafReleasesWhatTheNodeHeld) {
  for (const Tree& src : one_of_each_leaf()) {
    for (const Tree& dst : one_of_each_type()) {
      const std::size_t before = live_blocks();
      const Value source = planted(src);
      const std::size_t blocks_of_source = live_blocks() - before;
      const Value destination = planted(dst.with({kError}));
      EXPECT_EQ(apply()(destination.get(), source.get()), VK_EOK);
      EXPECT_EQ(live_blocks() - before, 2 * blocks_of_source) << src << " onto " << dst;
    }
  }
}

TEST_P(ValueApply, KeepsAFlagAsItIs) { EXPECT_EQ(applied(any(), boolean(2)), done(boolean(2))); }

TEST_P(ValueApply, GivesMembersTheTypeOfTheSource) {
  EXPECT_EQ(applied(object({{"A", text("a")}}), object({{"A", integer(1)}})),
            done(object({{"A", integer(1)}})));
  EXPECT_EQ(applied(object({{"A", object({{"B", any()}})}}), object({{"A", text("a")}})),
            done(object({{"A", text("a")}})));
}

TEST_P(ValueApply, DropsTheAttributesOfMembersThatAreSet) {
  EXPECT_EQ(applied(object({{"A", text("a").with({kError})}}), object({{"A", text("b")}})),
            done(object({{"A", text("b")}})));
}

TEST_P(ValueApply, LeavesTheAttributesOfTheSourceOut) {
  const Tree dst = object({{"A", object({{"B", integer(1)}})}, {"C", any()}});
  const Tree src = object({{"A", object({{"B", integer(2).with({kError})}}).with({kError})},
                           {"C", any().with({kError})}});
  EXPECT_EQ(applied(dst, src.with({kError})),
            done(object({{"A", object({{"B", integer(2)}})}, {"C", any()}})));
}

TEST_P(ValueApply, KeepsWhatTheSourceLacks) {
  const Tree dst = object({{"A", integer(1)}, {"B", array({text("b")}).with({kError})}});
  EXPECT_EQ(applied(dst, object({})), done(dst));
  EXPECT_EQ(applied(dst, object({{"A", integer(2)}})),
            done(object({{"A", integer(2)}, {"B", array({text("b")}).with({kError})}})));
}

TEST_P(ValueApply, KeepsTheAttributesOfObjects) {
  const auto tree = [](int32_t number) {
    return object({{"A", object({{"B", integer(number)}}).with({{"A", any()}})}}).with({kError});
  };
  EXPECT_EQ(applied(tree(1), object({{"A", object({{"B", integer(2)}})}})), done(tree(2)));
}

TEST_P(ValueApply, KeepsTheOrderOfTheMembers) {
  const auto abc = [](int32_t a, int32_t b, int32_t c) {
    return object({{"A", integer(a)}, {"B", integer(b)}, {"C", integer(c)}});
  };
  EXPECT_EQ(applied(abc(1, 2, 3), object({{"C", integer(6)}, {"A", integer(4)}})),
            done(abc(4, 2, 6)));
}

TEST_P(ValueApply, OfAMemberThatHoldsNothingLeavesThatMemberAlone) {
  const Tree dst = object({{"A", text("a").with({kError})}});
  EXPECT_EQ(applied(dst, object({{"A", any()}})), done(dst));
  EXPECT_EQ(applied(dst, object({{"A", of_no_type()}})), done(dst));
}

TEST_P(ValueApply, OfAnObjectClearsADestinationThatIsNone) {
  for (const Tree& dst : one_of_each_type()) {
    if (dst.type == VK_TYPE_OBJECT) continue;
    const std::size_t blocks = live_blocks();
    const Value destination = planted(dst.with({kError}));
    const Value source = planted(object({}));
    EXPECT_EQ(apply()(destination.get(), source.get()), VK_EOK);
    EXPECT_EQ(tree_of(*destination), object({})) << "instead of " << dst;
    EXPECT_EQ(live_blocks(), blocks + 2);
  }
}

TEST_P(ValueApply, MakesANodeOfAnyPolicyAnOrderedObject) {
  const Value destination = new_value();
  destination->policy = VK_POLICY_INDEXED;
  const Value source = planted(object({}));
  EXPECT_EQ(apply()(destination.get(), source.get()), VK_EOK);
  EXPECT_EQ(tree_of(*destination), object({}));
}

TEST_P(ValueApply, RefusesAllPoliciesButTheOrderedOneAndChangesNothing) {
  const Tree::Named one = {"1", integer(1)};
  for (const uint32_t dst : {0U, 1U, 2U, 3U, UINT32_MAX}) {
    for (const uint32_t src : {0U, 1U, 2U, 3U, UINT32_MAX}) {
      if (dst == VK_POLICY_ORDERED && src == VK_POLICY_ORDERED) continue;
      const Tree before = object({one}, dst).with({kError});
      EXPECT_EQ(applied(before, object({{"1", integer(2)}, {"2", integer(3)}}, src)),
                failed(VK_EINVAL, before))
          << "of a source of policy " << src;
    }
  }
}

TEST_P(ValueApply, RefusesEvenEmptyIndexedObjects) {
  EXPECT_EQ(applied(indexed({}), indexed({})), failed(VK_EINVAL, indexed({})));
  EXPECT_EQ(applied(object({}), indexed({})), failed(VK_EINVAL, object({})));
  EXPECT_EQ(applied(indexed({}), object({})), failed(VK_EINVAL, indexed({})));
}

TEST_P(ValueApply, HasMadeTheDestinationAnObjectWhenItRefusesAPolicy) {
  EXPECT_EQ(applied(text("a").with({kError}), indexed({{"1", integer(1)}})),
            failed(VK_EINVAL, object({})));
}

TEST_P(ValueApply, EndsAtTheFirstErrorAndKeepsWhatWasDone) {
  const Tree dst = object({{"A", integer(1)}, {"B", object({})}, {"C", integer(3)}});
  const auto after_a = [](const Tree& b) {
    return object({{"A", integer(4)}, {"B", b}, {"C", integer(3)}});
  };
  const auto src = [](const Tree& b) {
    return object({{"A", integer(4)}, {"B", b}, {"C", integer(6)}});
  };
  EXPECT_EQ(applied(dst, src(array({}))), failed(VK_ENOENT, after_a(object({}))));
  EXPECT_EQ(applied(dst, src(indexed({}))), failed(VK_EINVAL, after_a(object({}))));
}

TEST_P(ValueApply, GivesTheErrorOfALevelBelow) {
  const auto tree = [](const Tree& deepest) {
    return object({{"A", object({{"B", object({{"C", deepest}})}})}});
  };
  EXPECT_EQ(applied(tree(any()), tree(array({}))), failed(VK_ENOENT, tree(any())));
  EXPECT_EQ(applied(tree(object({})), tree(indexed({}))), failed(VK_EINVAL, tree(object({}))));
}

// Only a renaming in place gives two members one name.
TEST_P(ValueApply, SetsTheFirstMemberOfAName) {
  const Value destination = planted(object({{"A", integer(1)}, {"B", integer(2)}}));
  rename_member(*destination, "B", "A");
  const Value source = planted(object({{"A", integer(3)}}));
  EXPECT_EQ(apply()(destination.get(), source.get()), VK_EOK);
  EXPECT_EQ(tree_of(*destination), object({{"A", integer(3)}, {"A", integer(2)}}));
}

TEST_P(ValueApply, KeepsTheNodesPlaceNameAndNumber) {
  const Value parent = planted(indexed({{"1", any()}, {"2", any()}, {"3", any()}}));
  vk_value* const member = vk_object_find_item(parent.get(), "2");
  const Value source = planted(text("a"));
  EXPECT_EQ(apply()(member, source.get()), VK_EOK);
  EXPECT_EQ(tree_of(*parent), indexed({{"1", any()}, {"2", text("a")}, {"3", any()}}));
}

TEST_P(ValueApply, LogsNothing) {
  const LogSpy spy;
  for (const Tree& src : one_of_each_type()) {
    for (const Tree& dst : one_of_each_type()) applied(dst, src);
  }
  applied(object({}), indexed({}));
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST_P(ValueApply, LeavesTheNodeAsItsSetterDoesWhenMemoryRunsOut) {
  const Tree before = object({{"A", integer(1)}}).with({kError});
  for (const auto& [leaf, after] :
       {std::pair{text("a"), before}, std::pair{base64("a"), any()}, std::pair{hex("a"), any()}}) {
    const Value source = planted(leaf);
    expect_after_each_refusal(
        before, {after}, [&](vk_value* destination) { return apply()(destination, source.get()); });
  }
}

TEST_P(ValueApply, KeepsWhatWasDoneWhenMemoryRunsOut) {
  const auto tree = [](const Tree& a, const Tree& b, const Tree& c) {
    return object({{"A", a}, {"X", any()}, {"B", object({{"C", b}, {"D", c}})}});
  };
  const Value source = planted(tree(text("a"), hex("b"), text("c")));
  const std::vector<Tree> states = {
      tree(integer(1), integer(2), integer(3)),  // the text of A
      tree(text("a"), any(), integer(3)),        // the bytes of C
      tree(text("a"), hex("b"), integer(3)),     // the text of D
  };
  expect_after_each_refusal(
      tree(integer(1), integer(2), integer(3)), states,
      [&](vk_value* destination) { return apply()(destination, source.get()); });
}

// Where they differ

TEST(ValueUpdate, PassesOverWhatTheDestinationLacks) {
  const Tree dst = object({{"A", integer(1)}, {"B", object({{"C", integer(2)}})}});
  const Tree src = object(
      {{"D", integer(3)}, {"B", object({{"E", integer(4)}, {"C", integer(5)}})}, {"F", any()}});
  EXPECT_EQ(updated(dst, object({{"D", integer(3)}})), done(dst));
  EXPECT_EQ(updated(dst, src),
            done(object({{"A", integer(1)}, {"B", object({{"C", integer(5)}})}})));
}

TEST(ValueUpdate, PassesOverWhatItWouldRefuseWhereTheDestinationLacksIt) {
  const Tree src = object({{"A", array({})}, {"B", indexed({})}, {"C", integer(1)}});
  EXPECT_EQ(updated(object({{"C", any()}}), src), done(object({{"C", integer(1)}})));
}

TEST(ValueUpdate, MakesNoMembersInADestinationThatBecomesAnObject) {
  EXPECT_EQ(updated(integer(1), object({{"A", integer(1)}})), done(object({})));
  EXPECT_EQ(updated(object({{"A", text("a")}}), object({{"A", object({{"B", any()}})}})),
            done(object({{"A", object({})}})));
}

TEST(ValueMerge, MakesWhatTheDestinationLacks) {
  const Tree dst = object({{"A", integer(1)}, {"B", object({{"C", integer(2)}})}});
  const Tree src = object(
      {{"D", integer(3)}, {"B", object({{"E", integer(4)}, {"C", integer(5)}})}, {"F", any()}});
  EXPECT_EQ(merged(dst, src), done(object({{"A", integer(1)},
                                           {"B", object({{"C", integer(5)}, {"E", integer(4)}})},
                                           {"D", integer(3)},
                                           {"F", any()}})));
}

TEST(ValueMerge, MakesMembersInADestinationThatBecomesAnObject) {
  EXPECT_EQ(merged(integer(1), object({{"A", integer(1)}})), done(object({{"A", integer(1)}})));
  EXPECT_EQ(merged(object({{"A", text("a")}}), object({{"A", object({{"B", any()}})}})),
            done(object({{"A", object({{"B", any()}})}})));
}

TEST(ValueMerge, MakesAMemberOfEachLeafType) {
  for (const Tree& leaf : one_of_each_leaf()) {
    EXPECT_EQ(merged(object({}), object({{"A", leaf}})), done(object({{"A", leaf}})));
  }
}

TEST(ValueMerge, MakesMembersOfNoTypeAny) {
  EXPECT_EQ(merged(object({}), object({{"A", of_no_type()}})), done(object({{"A", any()}})));
}

TEST(ValueMerge, OfAnOrderedTreeIntoAnEmptyObjectIsACopy) {
  const Tree src = object(
      {{"B", integer(1)}, {"A", object({{"D", object({})}, {"C", base64("c")}, {"E", any()}})}});
  EXPECT_EQ(merged(object({}), src), done(src));
}

TEST(ValueMerge, IntoAnIndexedObjectChangesNothing) {
  const Tree dst = indexed({{"1", integer(1)}});
  EXPECT_EQ(merged(dst, object({{"1", integer(2)}, {"2", integer(3)}})), failed(VK_EINVAL, dst));
}

TEST(ValueMerge, HasMadeTheMemberThatItThenCannotSet) {
  const Tree dst = object({{"A", integer(1)}});
  EXPECT_EQ(merged(dst, object({{"B", array({})}, {"C", any()}})),
            failed(VK_ENOENT, object({{"A", integer(1)}, {"B", any()}})));
  EXPECT_EQ(merged(dst, object({{"B", indexed({})}, {"C", any()}})),
            failed(VK_EINVAL, object({{"A", integer(1)}, {"B", object({})}})));
}

TEST(ValueMerge, LiesWhollyOnTheHeapOfTheDestination) {
  const Heap heap{vk_mm_heap_new("own")};
  const Value destination = planted(object({{"A", text("a")}}), heap.get());
  const Value source = planted(object({{"A", text("b")}, {"B", object({{"C", hex("c")}})}}));
  EXPECT_EQ(vk_value_merge(destination.get(), source.get()), VK_EOK);
  EXPECT_EQ(tree_of(*destination), tree_of(*source));
  EXPECT_THAT(heaps_of(*destination), ElementsAre(heap.get()));
}

TEST(ValueMerge, KeepsThePartThatWasMadeWhenMemoryRunsOut) {
  const Tree::Named a = {"A", text("a")};
  const Value source = planted(object({a, {"B", object({{"C", base64("c")}})}, {"D", any()}}));
  const auto with_b = [&](const Tree& b) { return object({a, {"B", b}}).with({kError}); };
  const std::vector<Tree> states = {
      object({{"A", integer(1)}}).with({kError}),  // the text of A
      object({a}).with({kError}),                  // the node of B
      object({a}).with({kError}),                  // its name
      with_b(object({})),                          // the node of C
      with_b(object({})),                          // its name
      with_b(object({{"C", any()}})),              // its bytes
      with_b(object({{"C", base64("c")}})),        // the node of D
      with_b(object({{"C", base64("c")}})),        // its name
  };
  expect_after_each_refusal(
      object({{"A", integer(1)}}).with({kError}), states,
      [&](vk_value* destination) { return vk_value_merge(destination, source.get()); });
}

}  // namespace
}  // namespace vesk::test
