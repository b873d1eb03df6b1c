#include "vesk/path_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "tests/support/path_trees.h"

namespace vesk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using Paths = std::vector<const char*>;

// Merging

std::string merged(const Paths& destination, const Paths& source) {
  const PathTree to = path_tree(destination);
  const PathTree from = path_tree(source);
  const std::string before = shape(from);
  EXPECT_EQ(vk_path_tree_merge(to.get(), from.get()), VK_EOK);
  EXPECT_EQ(shape(from), before);
  return shape(to);
}

TEST(PathTreeMerge, AddsEveryPathOfTheSource) {
  EXPECT_EQ(merged({}, {"A.B.C"}), "A(B(C))");
  EXPECT_EQ(merged({"A.B"}, {"X.Y"}), "X(Y) A(B)");
  EXPECT_EQ(merged({"A.B"}, {"A.C"}), "A(C B)");
  EXPECT_EQ(merged({"A.B", "X"}, {"A.C.D", "A.B", "Y"}), "Y X A(C(D) B)");
}

TEST(PathTreeMerge, InsertsAtTheHeadWhatItMeetsInTheOrderOfTheSource) {
  EXPECT_EQ(merged({}, {"A", "B", "C"}), "A B C");
  EXPECT_EQ(merged({"old"}, {"A.1", "A.2", "B.3", "B.4"}), "A(1 2) B(3 4) old");
}

TEST(PathTreeMerge, KeepsTheOrderOfWhatTheDestinationHas) {
  EXPECT_EQ(merged({"A", "B", "C"}, {"C", "A", "D", "B"}), "D C B A");
}

TEST(PathTreeMerge, ExtendsLeavesOfTheDestination) {
  EXPECT_EQ(merged({"A"}, {"A.B.C"}), "A(B(C))");
  EXPECT_EQ(merged({"A.B", "X"}, {"A.B.C", "X.Y"}), "X(Y) A(B(C))");
}

TEST(PathTreeMerge, KeepsWhatIsBelowALeafOfTheSource) {
  EXPECT_EQ(merged({"A.B.C"}, {"A"}), "A(B(C))");
  EXPECT_EQ(merged({"A.B.C"}, {}), "A(B(C))");
  EXPECT_EQ(merged({}, {}), "");
}

TEST(PathTreeMerge, ComparesNamesExactly) {
  EXPECT_EQ(merged({"2", "Host", "$"}, {"host", "02", "2", "5"}), "host 02 5 $ Host 2");
}

TEST(PathTreeMerge, CreatesNothingThatIsThere) {
  const PathTree to = path_tree({"A.B", "A.C", "X"});
  const PathTree from = path_tree({"X", "A.C", "A.B"});
  const LogSpy spy;
  const AllocationLog log;
  EXPECT_EQ(vk_path_tree_merge(to.get(), from.get()), VK_EOK);
  EXPECT_EQ(vk_path_tree_merge(to.get(), to.get()), VK_EOK);
  EXPECT_EQ(log.count(), 0U);
  EXPECT_EQ(shape(to), "X A(C B)");
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST(PathTreeMerge, KeepsTheNodesThatAreThere) {
  const PathTree to = path_tree({"A.B"});
  const vk_path_tree* const node = node_at(to, "A.B");
  const PathTree from = path_tree({"A.B.C", "A.D"});
  ASSERT_EQ(vk_path_tree_merge(to.get(), from.get()), VK_EOK);
  EXPECT_EQ(node_at(to, "A.B"), node);
}

TEST(PathTreeMerge, TakesNewNodesFromTheHeapOfTheDestination) {
  const Heap heap{vk_mm_heap_new("paths")};
  const PathTree to = path_tree({"A"}, heap.get());
  const PathTree from = path_tree({"A.B.C", "X"});
  ASSERT_EQ(vk_path_tree_merge(to.get(), from.get()), VK_EOK);
  EXPECT_EQ(shape(to), "X A(B(C))");
  EXPECT_EQ(to->first_child->allocator, heap.get());
}

TEST(PathTreeMerge, WorksBelowAnyTwoNodes) {
  const PathTree to = path_tree({"A.B", "X"});
  const PathTree from = path_tree({"P.Q.R", "S"});
  ASSERT_EQ(vk_path_tree_merge(node_at(to, "A"), node_at(from, "P")), VK_EOK);
  EXPECT_EQ(shape(to), "X A(Q(R) B)");
}

TEST(PathTreeMerge, ExtendsTheFirstOfTwoChildrenOfOneName) {
  const PathTree to = path_tree({"A", "B"});
  to->first_child->path_node.name[0] = 'A';
  const PathTree from = path_tree({"A.C"});
  ASSERT_EQ(vk_path_tree_merge(to.get(), from.get()), VK_EOK);
  EXPECT_EQ(shape(to), "A(C) A");
}

TEST(PathTreeMerge, JoinsTwoChildrenOfOneNameInTheSource) {
  const PathTree from = path_tree({"A.old", "B.new"});
  from->first_child->path_node.name[0] = 'A';
  const PathTree to = new_path_tree();
  ASSERT_EQ(vk_path_tree_merge(to.get(), from.get()), VK_EOK);
  EXPECT_EQ(shape(to), "A(old new)");
}

TEST(PathTreeMerge, AddsANameWithASeparatorAsThePathThatItReadsAs) {
  const PathTree from = new_path_tree();
  vk_path_tree_add(from.get(), Path(std::vector<std::string>{"A.B", "C"}).list());
  ASSERT_EQ(shape(from), "A.B(C)");
  const PathTree to = new_path_tree();
  ASSERT_EQ(vk_path_tree_merge(to.get(), from.get()), VK_EOK);
  EXPECT_EQ(shape(to), "A(B(C))");
}

TEST(PathTreeMerge, AddsWhatIsBelowAnEmptyNameToTheDestinationItself) {
  const PathTree source = new_path_tree();
  const Path path{std::vector<std::string>{"", "A"}};
  ASSERT_NE(vk_path_tree_add(source.get(), path.list()), nullptr);
  const PathTree destination = new_path_tree();
  EXPECT_EQ(vk_path_tree_merge(destination.get(), source.get()), VK_EOK);
  EXPECT_EQ(shape(destination), shape(path_tree({"A"})));
}

TEST(PathTreeMerge, FindsANameWithASeparatorAsTheWholeThatItIs) {
  const Path path{std::vector<std::string>{"A.B"}};
  const PathTree from = new_path_tree();
  const PathTree to = new_path_tree();
  for (const PathTree* const tree : {&from, &to}) vk_path_tree_add(tree->get(), path.list());
  ASSERT_EQ(vk_path_tree_merge(to.get(), from.get()), VK_EOK);
  EXPECT_EQ(shape(to), "A.B");
}

TEST(PathTreeMerge, KeepsTheThreadedListsOfBoth) {
  const PathTree to = path_tree({"A.B"});
  const PathTree from = path_tree({"A.C.D"});
  vk_path_set_current(node_at(to, "A.B"));
  vk_path_set_current(node_at(from, "A.C"));
  ASSERT_EQ(vk_path_tree_merge(to.get(), from.get()), VK_EOK);
  EXPECT_EQ(threaded(to), "A.B");
  EXPECT_EQ(threaded(from), "A.C");
}

TEST(PathTreeMerge, StopsWhereTheHeapIsExhaustedAndKeepsWhatWasDone) {
  // The destination as each new node finds it, and in the end; a node takes two blocks.
  const char* const states[] = {"A(B)",        "A(D B)",        "A(D(E) B)",
                                "A(C D(E) B)", "X A(C D(E) B)", "X(Y) A(C D(E) B)"};
  const PathTree from = path_tree({"X.Y", "A.C", "A.B", "A.D.E"});
  ASSERT_EQ(shape(from), "A(D(E) B C) X(Y)");
  for_every_allocation_fault([&](AllocationFault& fault) {
    const PathTree to = path_tree({"A.B"});
    const LogSpy spy;
    const AllocationLog log;
    const vk_error result = fault.during([&] { return vk_path_tree_merge(to.get(), from.get()); });
    ASSERT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
    const std::size_t taken = fault.struck() ? log.count() - 1 : log.count();
    EXPECT_EQ(shape(to), states[taken / 2]);
    if (!fault.struck()) return;
    const std::size_t refused = log.size_of(taken) - kOwnerWord;
    EXPECT_THAT(spy.lines(), ElementsAre(allocation_failure(refused, "default")));
  });
  EXPECT_EQ(shape(from), "A(D(E) B C) X(Y)");
}

// Intersecting

bool intersect(const Paths& a, const Paths& b) {
  return vk_path_tree_intersect(path_tree(a).get(), path_tree(b).get());
}

TEST(PathTreeIntersect, IsTrueWhenSomePathEndsAtALeafInBoth) {
  const std::pair<Paths, Paths> rows[] = {
      {{"A"}, {"A"}},
      {{"A.B"}, {"A.B"}},
      {{"A.B.C", "X"}, {"Y", "A.B.C"}},
      {{"Host.$"}, {"Host.$"}},
  };
  for (const auto& [a, b] : rows) {
    SCOPED_TRACE(testing::PrintToString(std::pair(shape(path_tree(a)), shape(path_tree(b)))));
    EXPECT_TRUE(intersect(a, b));
    EXPECT_TRUE(intersect(b, a));
  }
}

TEST(PathTreeIntersect, IsFalseWhenNoPathDoes) {
  const std::pair<Paths, Paths> rows[] = {
      {{}, {}},
      {{}, {"A"}},
      {{"A.B"}, {"A.C"}},
      {{"A"}, {"X"}},
      {{"A.B"}, {"B.A"}},
      {{"A.B"}, {"X.B"}},
      {{"A", "B"}, {"a", "b", "AB"}},
      {{"2"}, {"02"}},
      {{"Host.$"}, {"Host.2"}},
  };
  for (const auto& [a, b] : rows) {
    SCOPED_TRACE(testing::PrintToString(std::pair(shape(path_tree(a)), shape(path_tree(b)))));
    EXPECT_FALSE(intersect(a, b));
    EXPECT_FALSE(intersect(b, a));
  }
}

TEST(PathTreeIntersect, DoesNotCountALeafThatIsAnInnerNodeInTheOther) {
  EXPECT_FALSE(intersect({"A"}, {"A.B"}));
  EXPECT_FALSE(intersect({"A.B"}, {"A"}));
  EXPECT_FALSE(intersect({"A.B", "X"}, {"A.B.C", "X.Y"}));
}

TEST(PathTreeIntersect, GoesOnBehindWhatDoesNotIntersect) {
  EXPECT_TRUE(intersect({"common", "only a"}, {"only b", "common"}));
  EXPECT_TRUE(intersect({"A.B", "leaf", "A.C"}, {"leaf.below", "A.X", "A.B"}));
  EXPECT_TRUE(intersect({"common", "A.B"}, {"common", "A.C"}));
  EXPECT_TRUE(intersect({"common", "A"}, {"common", "A.B"}));
}

TEST(PathTreeIntersect, WorksBelowAnyTwoNodes) {
  const PathTree a = path_tree({"A.leaf"});
  const PathTree b = path_tree({"B.leaf", "B.more"});
  EXPECT_TRUE(vk_path_tree_intersect(a->first_child, b->first_child));
  EXPECT_FALSE(vk_path_tree_intersect(a.get(), b->first_child));
  EXPECT_FALSE(vk_path_tree_intersect(node_at(a, "A.leaf"), node_at(b, "B.leaf")));
}

TEST(PathTreeIntersect, LooksAtTheFirstOfTwoChildrenOfOneNameInTheSecondTree) {
  const PathTree a = path_tree({"A"});
  const PathTree b = path_tree({"A", "B.C"});
  b->first_child->path_node.name[0] = 'A';
  EXPECT_FALSE(vk_path_tree_intersect(a.get(), b.get()));
  EXPECT_TRUE(vk_path_tree_intersect(b.get(), a.get()));
}

TEST(PathTreeIntersect, AllocatesAndLogsNothingAndChangesNothing) {
  const PathTree a = path_tree({"A.B", "X"});
  const PathTree b = path_tree({"A.C", "X"});
  const LogSpy spy;
  const AllocationLog log;
  EXPECT_TRUE(vk_path_tree_intersect(a.get(), b.get()));
  EXPECT_EQ(log.count(), 0U);
  EXPECT_EQ(shape(a), "X A(B)");
  EXPECT_EQ(shape(b), "X A(C)");
  EXPECT_THAT(spy.calls(), IsEmpty());
}

// Covering

bool is_root(const Paths& paths, const char* path) {
  return vk_path_tree_is_root(path_tree(paths).get(), Path(path).list());
}

TEST(PathTreeIsRoot, IsTrueForALeafAndWhatLiesBelowOne) {
  for (const char* const path : {"A.B", "A.B.C", "A.B.C.D", "X", "X.2", "X.X"}) {
    EXPECT_TRUE(is_root({"A.B", "X"}, path)) << path;
  }
}

TEST(PathTreeIsRoot, IsFalseForAnInnerNode) {
  EXPECT_FALSE(is_root({"A.B"}, "A"));
  EXPECT_FALSE(is_root({"A.B.C", "A.D"}, "A.B"));
  EXPECT_FALSE(is_root({"A.B"}, ""));
}

TEST(PathTreeIsRoot, IsFalseForAPathThatLeavesTheTreeAtAnInnerNode) {
  for (const char* const path : {"X", "A.C", "A.C.B", "B", "a.B", "A.b", "A.BB"}) {
    EXPECT_FALSE(is_root({"A.B"}, path)) << path;
  }
}

TEST(PathTreeIsRoot, IsTrueForEveryPathInAnEmptyTree) {
  for (const char* const path : {"", "A", "A.B.C"}) EXPECT_TRUE(is_root({}, path)) << path;
}

TEST(PathTreeIsRoot, TakesATemplateForAnyOtherNameAndNeverMatchesByIndex) {
  EXPECT_FALSE(is_root({"Host.$"}, "Host.5"));
  EXPECT_TRUE(is_root({"Host.$"}, "Host.$.Name"));
  EXPECT_FALSE(is_root({"Host.2"}, "Host.02"));
}

TEST(PathTreeIsRoot, CoversMoreThanAnIntersectionDoes) {
  EXPECT_TRUE(is_root({"A"}, "A.B"));
  EXPECT_FALSE(intersect({"A"}, {"A.B"}));
  EXPECT_TRUE(is_root({}, "A"));
  EXPECT_FALSE(intersect({}, {"A"}));
}

TEST(PathTreeIsRoot, BeginsAtAnyNode) {
  const PathTree tree = path_tree({"A.B.C", "A.X"});
  EXPECT_TRUE(vk_path_tree_is_root(node_at(tree, "A.B"), Path("C").list()));
  EXPECT_FALSE(vk_path_tree_is_root(node_at(tree, "A"), Path("B").list()));
  EXPECT_TRUE(vk_path_tree_is_root(node_at(tree, "A.X"), nullptr));
}

TEST(PathTreeIsRoot, FollowsTheFirstOfTwoChildrenOfOneName) {
  const PathTree tree = path_tree({"A.B", "C"});
  tree->first_child->path_node.name[0] = 'A';
  EXPECT_TRUE(vk_path_tree_is_root(tree.get(), Path("A").list()));
}

TEST(PathTreeIsRoot, AllocatesAndLogsNothingAndChangesNothing) {
  const PathTree tree = path_tree({"A.B"});
  const Path path{"A.B.C"};
  const LogSpy spy;
  const AllocationLog log;
  EXPECT_TRUE(vk_path_tree_is_root(tree.get(), path.list()));
  EXPECT_EQ(log.count(), 0U);
  EXPECT_EQ(shape(tree), "A(B)");
  EXPECT_THAT(spy.calls(), IsEmpty());
}

}  // namespace
}  // namespace vesk::test
