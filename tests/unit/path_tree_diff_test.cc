#include "vesk/path_tree_diff.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "lib/path_tree.h"
#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "tests/support/path_trees.h"
#include "tests/support/recording_heap.h"
#include "tests/support/trees.h"

namespace vesk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::NotNull;
using ::testing::StrEq;

// What the result points at before the call.
vk_path_tree stray_tree;

// The tree of what differs; null if nothing does.
PathTree difference(const Value& a, const Value& b, vk_allocator* heap = vk_default_allocator()) {
  vk_path_tree* result = &stray_tree;
  EXPECT_EQ(vk_path_tree_by_diff_value(heap, &result, a.get(), b.get()), VK_EOK);
  EXPECT_NE(result, &stray_tree);
  return PathTree(result);
}

// Its shape; "none" if nothing differs. The values stay as they are.
std::string diff(const Tree& a, const Tree& b) {
  const Value first = planted(a);
  const Value second = planted(b);
  const PathTree tree = difference(first, second);
  EXPECT_EQ(tree_of(*first), a);
  EXPECT_EQ(tree_of(*second), b);
  return tree == nullptr ? "none" : shape(tree);
}

// Leaves and arrays

TEST(PathTreeDiff, OfEqualLeavesIsNone) {
  for (const Tree& leaf : one_of_each_leaf()) {
    EXPECT_EQ(diff(leaf, leaf), "none") << leaf;
  }
  EXPECT_EQ(diff(any(), any()), "none");
}

TEST(PathTreeDiff, OfTwoNodesOfOneNumberThatIsNoTypeIsAnEmptyTree) {
  const Value a = new_value();
  const Value b = new_value();
  a->type = 12;
  b->type = 12;
  const PathTree tree = difference(a, b);
  ASSERT_THAT(tree, NotNull());
  EXPECT_EQ(tree->first_child, nullptr);
}

TEST(PathTreeDiff, OfDifferentLeavesIsAnEmptyTree) {
  const std::pair<Tree, Tree> rows[] = {
      {base64("one"), base64("two")},
      {boolean(1), boolean(2)},
      {date({1, VK_DATETIME_ABSOLUTE, 2}), date({1, VK_DATETIME_ABSOLUTE, 3})},
      {hex("one"), hex("two")},
      {integer(-1), integer(1)},
      {long_integer(1), long_integer(0x1'0000'0001)},
      {text("text"), text("Text")},
      {unsigned_integer(1), unsigned_integer(2)},
      {unsigned_long(1), unsigned_long(0x1'0000'0001)},
  };
  for (const auto& [a, b] : rows) EXPECT_EQ(diff(a, b), "") << a;
}

TEST(PathTreeDiff, OfArraysIsAnEmptyTreeAlways) {
  EXPECT_EQ(diff(array({}), array({})), "");
  EXPECT_EQ(diff(array({integer(1)}), array({integer(1)})), "");
  const Value list = planted(array({}));
  EXPECT_EQ(shape(difference(list, list)), "");
}

TEST(PathTreeDiff, OfDifferentTypesIsNone) {
  const std::vector<Tree> trees = one_of_each_type();
  for (const Tree& a : trees) {
    for (const Tree& b : trees) {
      if (a.type == b.type) continue;
      EXPECT_EQ(diff(a, b), "none") << a << " and " << b;
    }
  }
}

TEST(PathTreeDiff, GivesARootLikeThatOfAnyTree) {
  const PathTree tree = difference(planted(integer(1)), planted(integer(2)));
  ASSERT_THAT(tree, NotNull());
  EXPECT_EQ(tree->path_node.name, nullptr);
  EXPECT_EQ(tree->path_node.index, 0U);
  EXPECT_EQ(tree->parent, nullptr);
  EXPECT_EQ(tree->next, nullptr);
  EXPECT_EQ(tree->name_magic, 0x37E9B121U);
  EXPECT_EQ(tree->node_magic, 0x37E9B1E1U);
}

// Objects

TEST(PathTreeDiff, OfEqualObjectsIsNone) {
  EXPECT_EQ(diff(object({}), object({})), "none");
  const Tree tree = object({{"x", integer(1)}, {"Host", object({{"Name", text("n")}})}});
  EXPECT_EQ(diff(tree, tree), "none");
}

TEST(PathTreeDiff, NamesTheMemberThatDiffers) {
  EXPECT_EQ(diff(object({{"x", integer(1)}, {"y", integer(1)}}),
                 object({{"x", integer(2)}, {"y", integer(1)}})),
            "x");
}

TEST(PathTreeDiff, InsertsWhatItMeetsInTheFirstObjectAtTheHead) {
  const Tree a = object({{"x", integer(1)}, {"y", integer(1)}, {"z", integer(1)}});
  const Tree b = object({{"z", integer(2)}, {"x", integer(2)}, {"y", integer(2)}});
  EXPECT_EQ(diff(a, b), "z y x");
  EXPECT_EQ(diff(b, a), "y x z");
}

TEST(PathTreeDiff, IgnoresMembersThatOnlyOneObjectHas) {
  const Tree one = object({{"x", integer(1)}});
  const Tree both = object({{"x", integer(1)}, {"y", integer(1)}});
  EXPECT_EQ(diff(one, both), "none");
  EXPECT_EQ(diff(both, one), "none");
  EXPECT_EQ(diff(one, object({{"X", integer(2)}})), "none");
  EXPECT_EQ(diff(both, object({{"y", integer(2)}})), "y");
}

TEST(PathTreeDiff, ComparesMembersByNameInAnyOrder) {
  EXPECT_EQ(diff(object({{"x", integer(1)}, {"y", integer(2)}}),
                 object({{"y", integer(2)}, {"x", integer(1)}})),
            "none");
}

TEST(PathTreeDiff, DoesNotCountAMemberWhoseTypeChanged) {
  EXPECT_EQ(diff(object({{"x", integer(1)}, {"y", integer(1)}}),
                 object({{"x", text("1")}, {"y", integer(2)}})),
            "y");
}

TEST(PathTreeDiff, GivesAnObjectsPathAndTheMembersBelowIt) {
  const auto tree = [](int32_t count, int32_t name, int32_t x) {
    const Tree host = object({{"Name", integer(name)}, {"Same", integer(7)}});
    return object({{"Host", object({{"1", host}, {"Count", integer(count)}})},
                   {"Other", object({{"x", integer(x)}})}});
  };
  EXPECT_EQ(diff(tree(1, 1, 1), tree(1, 1, 1)), "none");
  EXPECT_EQ(diff(tree(1, 1, 1), tree(1, 2, 1)), "Host(1(Name))");
  EXPECT_EQ(diff(tree(1, 1, 1), tree(2, 2, 1)), "Host(Count 1(Name))");
  EXPECT_EQ(diff(tree(1, 1, 1), tree(2, 2, 2)), "Other(x) Host(Count 1(Name))");
}

TEST(PathTreeDiff, AlwaysNamesMembersThatAreArrays) {
  const Tree tree = object({{"x", integer(1)}, {"list", array({integer(1)})}});
  EXPECT_EQ(diff(tree, tree), "list");
}

TEST(PathTreeDiff, ComparesNeitherPoliciesNorAttributes) {
  const Tree table = indexed({{"2", integer(1)}, {"3", integer(1)}});
  EXPECT_EQ(diff(table, object({{"2", integer(1)}, {"3", integer(1)}})), "none");
  EXPECT_EQ(diff(table, indexed({{"2", integer(1)}, {"3", integer(2)}})), "3");
  EXPECT_EQ(diff(object({{"x", integer(1)}}).with({{"type", text("t")}}),
                 object({{"x", integer(1).with({{"type", text("t")}})}})),
            "none");
}

TEST(PathTreeDiff, KeepsAMembersNameWholeWhateverItHolds) {
  EXPECT_EQ(diff(object({{"a.b", integer(1)}}), object({{"a.b", integer(2)}})), "a.b");
}

TEST(PathTreeDiff, ReadsTheIndexFromTheMembersName) {
  const PathTree tree =
      difference(planted(object({{"12", integer(1)}})), planted(object({{"12", integer(2)}})));
  EXPECT_EQ(shape(tree), "12");
  EXPECT_EQ(tree->first_child->path_node.index, 12U);
}

TEST(PathTreeDiff, TakesTheTreeFromTheHeapThatItIsGivenAndOutlivesTheValues) {
  const Heap heap{vk_mm_heap_new("paths")};
  const PathTree tree =
      difference(planted(object({{"Host", object({{"Name", integer(1)}})}})),
                 planted(object({{"Host", object({{"Name", integer(2)}})}})), heap.get());
  EXPECT_EQ(shape(tree), "Host(Name)");
  EXPECT_EQ(tree->allocator, heap.get());
  EXPECT_EQ(owner_of(tree.get()), heap.get());
}

TEST(PathTreeDiff, LeavesNothingBehindWhereNothingDiffers) {
  const Value a = planted(object({{"x", integer(1)}, {"Host", object({{"y", integer(1)}})}}));
  const LogSpy spy;
  const std::size_t blocks = live_blocks();
  EXPECT_EQ(difference(a, a), nullptr);
  EXPECT_EQ(live_blocks(), blocks);
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST(PathTreeDiff, AllocatesNothingForEqualLeavesAndDifferentTypes) {
  const Value one = planted(integer(1));
  const Value same = planted(integer(1));
  const Value other = planted(text("1"));
  const AllocationLog log;
  EXPECT_EQ(difference(one, same), nullptr);
  EXPECT_EQ(difference(one, other), nullptr);
  EXPECT_EQ(log.count(), 0U);
}

// Exhausted heaps

// Compares at every refused allocation; `shape_of_difference` is what comes of it without.
void expect_null_at_every_refusal(const Value& a, const Value& b,
                                  const std::string& shape_of_difference) {
  for_every_allocation_fault([&](AllocationFault& fault) {
    const LogSpy spy;
    const AllocationLog log;
    vk_path_tree* result = &stray_tree;
    const vk_error error = fault.during([&] {
      return vk_path_tree_by_diff_value(vk_default_allocator(), &result, a.get(), b.get());
    });
    ASSERT_EQ(error, fault.struck() ? VK_ENOMEM : VK_EOK);
    if (!fault.struck()) {
      EXPECT_EQ(shape(PathTree(result)), shape_of_difference);
      return;
    }
    EXPECT_EQ(result, nullptr);
    const std::size_t refused = log.size_of(log.count() - 1) - kOwnerWord;
    EXPECT_THAT(spy.lines(), ElementsAre(allocation_failure(refused, "default")));
  });
}

TEST(PathTreeDiff, GivesNullWhenTheHeapIsExhaustedForALeafOrAnArray) {
  expect_null_at_every_refusal(planted(text("one")), planted(text("two")), "");
  expect_null_at_every_refusal(planted(array({})), planted(array({})), "");
}

TEST(PathTreeDiff, GivesNullWhereverTheHeapIsExhaustedForAnObject) {
  const auto tree = [](int32_t number) {
    const Tree host = object({{"Name", integer(number)}, {"2", integer(number)}});
    return object(
        {{"before", integer(number)}, {"Host", host}, {"Equal", object({})}, {"list", array({})}});
  };
  const Value a = planted(tree(1));
  const Value b = planted(tree(2));
  expect_null_at_every_refusal(a, b, "list Host(2 Name) before");
  EXPECT_EQ(tree_of(*a), tree(1));
  EXPECT_EQ(tree_of(*b), tree(2));
}

// Renaming, by which the difference of a member gets the member's name

TEST(PathTreeRename, CopiesTheNameAndReadsTheIndexAnew) {
  const PathTree tree = path_tree({"Host.Name"});
  std::string name = "12";
  EXPECT_EQ(rename(*tree->first_child, name.c_str()), VK_EOK);
  name = "99";
  EXPECT_EQ(shape(tree), "12(Name)");
  EXPECT_EQ(tree->first_child->path_node.index, 12U);
  EXPECT_EQ(rename(*tree->first_child, "Host"), VK_EOK);
  EXPECT_EQ(tree->first_child->path_node.index, 0U);
}

TEST(PathTreeRename, NamesARoot) {
  const PathTree tree = new_path_tree();
  EXPECT_EQ(rename(*tree, "Host"), VK_EOK);
  EXPECT_THAT(tree->path_node.name, StrEq("Host"));
}

TEST(PathTreeRename, ReleasesTheOldNameAndNothingElse) {
  RecordingHeap heap;
  const PathTree tree = path_tree({"Host"}, heap.get());
  heap.name(tree->first_child->path_node.name, "the old name");
  const std::size_t asked = heap.asked();
  EXPECT_EQ(rename(*tree->first_child, "Hosts"), VK_EOK);
  EXPECT_EQ(heap.asked(), asked + 1);
  EXPECT_THAT(heap.released(), ElementsAre("the old name"));
  EXPECT_EQ(shape(tree), "Hosts");
}

TEST(PathTreeRename, KeepsTheOldNameWhenTheHeapIsExhausted) {
  for_every_allocation_fault([](AllocationFault& fault) {
    const PathTree tree = path_tree({"7"});
    const LogSpy spy;
    const vk_error error = fault.during([&] { return rename(*tree->first_child, "Host"); });
    ASSERT_EQ(error, fault.struck() ? VK_ENOMEM : VK_EOK);
    EXPECT_EQ(shape(tree), fault.struck() ? "7" : "Host");
    EXPECT_EQ(spy.lines().size(), fault.struck() ? 1U : 0U);
  });
}

}  // namespace
}  // namespace vesk::test
