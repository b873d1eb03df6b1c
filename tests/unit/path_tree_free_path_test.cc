#include "vesk/path_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/log_spy.h"
#include "tests/support/path_trees.h"

namespace vesk::test {
namespace {

using ::testing::IsEmpty;

// What is left of some paths when one is removed.
std::string left_of(const std::vector<const char*>& paths, const char* removed, uint32_t prune) {
  const PathTree tree = path_tree(paths);
  vk_path_tree_free_path(tree.get(), removed, prune);
  return shape(tree);
}

TEST(PathTreeFreePath, RemovesTheNodeWithAllThatIsBelow) {
  EXPECT_EQ(left_of({"A.B.C", "A.B.D", "A.X"}, "A.B", 0), "A(X)");
  EXPECT_EQ(left_of({"A.B.C", "X"}, "A", 0), "X");
}

TEST(PathTreeFreePath, KeepsTheAncestorsWithoutPrune) {
  EXPECT_EQ(left_of({"A.B.C"}, "A.B.C", 0), "A(B)");
  EXPECT_EQ(left_of({"A.B"}, "A.B", 0), "A");
  EXPECT_EQ(left_of({"A"}, "A", 0), "");
}

TEST(PathTreeFreePath, RemovesAncestorsThatAreLeftWithoutChildrenWithPrune) {
  EXPECT_EQ(left_of({"A.B.C"}, "A.B.C", 1), "");
  EXPECT_EQ(left_of({"A.B.C", "X"}, "A.B.C", 1), "X");
  EXPECT_EQ(left_of({"A.B.C", "A.X"}, "A.B.C", 1), "A(X)");
  EXPECT_EQ(left_of({"A.B.C", "A.B.X"}, "A.B.C", 1), "A(B(X))");
}

TEST(PathTreeFreePath, KeepsAnAncestorThatHasAnotherChildWithPrune) {
  EXPECT_EQ(left_of({"A.B", "A.D"}, "A.B", 1), "A(D)");
  EXPECT_EQ(left_of({"A.B", "A.D"}, "A.D", 1), "A(B)");
  EXPECT_EQ(left_of({"A.B", "A.C", "A.D"}, "A.C", 1), "A(D B)");
}

TEST(PathTreeFreePath, KeepsAnOlderAndANewerSiblingOfAPrunedAncestor) {
  EXPECT_EQ(left_of({"Old", "A.B.C"}, "A.B.C", 1), "Old");
  EXPECT_EQ(left_of({"A.B.C", "New"}, "A.B.C", 1), "New");
  EXPECT_EQ(left_of({"Old", "A.B.C", "New"}, "A.B.C", 1), "New Old");
}

TEST(PathTreeFreePath, CountsChildrenAndNotWhatIsBelowThemWithPrune) {
  EXPECT_EQ(left_of({"A.B.C", "A.B.D.E"}, "A.B", 1), "");
  EXPECT_EQ(left_of({"A.B.C.D", "A.B.C.E", "X.Y"}, "A.B.C", 1), "X(Y)");
}

TEST(PathTreeFreePath, KeepsTheRootNode) {
  for (const uint32_t prune : {0U, 1U}) {
    const PathTree tree = path_tree({"A.B"});
    vk_path_tree_free_path(tree.get(), "A", prune);
    EXPECT_EQ(shape(tree), "");
    EXPECT_EQ(tree->node_magic, 0x37E9B1E1U);
    node_at(tree, "A.C");
    EXPECT_EQ(shape(tree), "A(C)");
  }
}

TEST(PathTreeFreePath, EmptiesTheTreeForAnEmptyPath) {
  for (const uint32_t prune : {0U, 1U}) {
    for (const char* const path : {"", ".", ".A"}) {
      EXPECT_EQ(left_of({"A.B", "X"}, path, prune), "") << path;
    }
    EXPECT_EQ(left_of({"A.B", "X"}, nullptr, prune), "");
    EXPECT_EQ(left_of({}, "", prune), "");
  }
}

TEST(PathTreeFreePath, MakesNoDifferenceOfAFinalSeparator) {
  EXPECT_EQ(left_of({"A.B", "X"}, "A.B.", 0), "X A");
  EXPECT_EQ(left_of({"A.B", "X"}, "A.B.", 1), "X");
}

TEST(PathTreeFreePath, DoesNothingForAPathThatIsNotThere) {
  for (const uint32_t prune : {0U, 1U}) {
    for (const char* const path : {"X", "B", "A.X", "A.B.X", "A.B.C", "a", "A.02", "A.5"}) {
      EXPECT_EQ(left_of({"A.B", "A.2", "A.$"}, path, prune), "A($ 2 B)") << path;
    }
    EXPECT_EQ(left_of({}, "A", prune), "");
  }
}

TEST(PathTreeFreePath, LooksAtTheLowByteOfPruneOnly) {
  for (const uint32_t prune : {1U, 2U, 0x80U, 0xFFU, 0x101U, 0xFFFFFFFFU}) {
    EXPECT_EQ(left_of({"A.B"}, "A.B", prune), "") << prune;
  }
  for (const uint32_t prune : {0U, 0x100U, 0x80000000U, 0xFFFFFF00U}) {
    EXPECT_EQ(left_of({"A.B"}, "A.B", prune), "A") << prune;
  }
}

TEST(PathTreeFreePath, ClimbsNoHigherThanTheNodeThatItBeganAt) {
  const PathTree tree = path_tree({"A.B.C"});
  vk_path_tree_free_path(node_at(tree, "A"), "B.C", 1);
  EXPECT_EQ(shape(tree), "A");
}

TEST(PathTreeFreePath, KeepsTheNodeThatItBeganAtForAnEmptyPath) {
  for (const uint32_t prune : {0U, 1U}) {
    const PathTree tree = path_tree({"A.B.C"});
    vk_path_tree_free_path(node_at(tree, "A.B"), "", prune);
    EXPECT_EQ(shape(tree), "A(B)");
  }
}

TEST(PathTreeFreePath, EndsTheThreadedListWhereTheNodeIsCutOff) {
  const struct {
    const char* removed;
    uint32_t prune;
    const char* list;
  } rows[] = {{"A.B.C", 0, "A.B"}, {"A.B.C", 1, "A"},   {"A.B", 0, "A"}, {"A", 1, ""},
              {"A.X", 0, "A.B.C"}, {"A.X", 1, "A.B.C"}, {"", 0, ""}};
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << row.removed << " with prune " << row.prune);
    const PathTree tree = path_tree({"A.B.C", "A.X"});
    vk_path_set_current(node_at(tree, "A.B.C"));
    vk_path_tree_free_path(tree.get(), row.removed, row.prune);
    EXPECT_EQ(threaded(tree), row.list);
  }
}

TEST(PathTreeFreePath, ReleasesWhatItRemoves) {
  const PathTree tree = path_tree({"A.B.C", "X"});
  const std::size_t blocks = live_blocks();
  vk_path_tree_free_path(tree.get(), "A.B.C", 0);
  EXPECT_EQ(live_blocks(), blocks - kBlocksOfNode);
  vk_path_tree_free_path(tree.get(), "A.B", 1);
  EXPECT_EQ(live_blocks(), blocks - 3 * kBlocksOfNode);
}

TEST(PathTreeFreePath, AllocatesAndLogsNothing) {
  const PathTree tree = path_tree({"A.B.C", "X", "Y.Z"});
  const LogSpy spy;
  const AllocationLog log;
  vk_path_tree_free_path(tree.get(), "A.B.C", 1);
  vk_path_tree_free_path(tree.get(), "Y.Z", 0);
  vk_path_tree_free_path(tree.get(), "missing", 1);
  vk_path_tree_free_path(tree.get(), "", 0);
  EXPECT_EQ(log.count(), 0U);
  EXPECT_THAT(spy.calls(), IsEmpty());
}

}  // namespace
}  // namespace vesk::test
