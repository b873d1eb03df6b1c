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
#include "tests/support/recording_heap.h"
#include "tests/support/small_stack.h"
#include "vesk/mm/stack.h"

namespace vesk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Freeing

void free_at(const PathTree& tree, const char* path) { vk_path_tree_free(node_at(tree, path)); }

TEST(PathTreeFree, IgnoresNull) {
  const LogSpy spy;
  const std::size_t blocks = live_blocks();
  vk_path_tree_free(nullptr);
  EXPECT_EQ(live_blocks(), blocks);
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST(PathTreeFree, ReleasesATreeWithAllThatIsBelow) {
  PathTree tree = path_tree({"A.B.C", "A.D", "X", "Host.$.Name"});
  const std::size_t blocks = live_blocks();
  tree.reset();
  EXPECT_EQ(live_blocks(), blocks - 1 - 8 * kBlocksOfNode);
}

TEST(PathTreeFree, AllocatesAndLogsNothing) {
  PathTree tree = path_tree({"A.B.C", "A.D", "X"});
  const LogSpy spy;
  const AllocationLog log;
  vk_path_tree_free(vk_path_tree_find_path(tree.get(), "A.B"));
  vk_path_tree_clean(tree.get());
  tree.reset();
  EXPECT_EQ(log.count(), 0U);
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST(PathTreeFree, TakesANodeWithAllThatIsBelowOutOfItsParent) {
  const PathTree tree = path_tree({"A.B.C", "A.B.D.E", "A.X"});
  const std::size_t blocks = live_blocks();
  free_at(tree, "A.B");
  EXPECT_EQ(shape(tree), "A(X)");
  EXPECT_EQ(live_blocks(), blocks - 4 * kBlocksOfNode);
}

TEST(PathTreeFree, KeepsAParentThatIsLeftWithoutChildren) {
  const PathTree tree = path_tree({"A.B"});
  free_at(tree, "A.B");
  EXPECT_EQ(shape(tree), "A");
  free_at(tree, "A");
  EXPECT_EQ(shape(tree), "");
}

TEST(PathTreeFree, LeavesTheSiblingsLinkedWhereverTheNodeWas) {
  const std::pair<const char*, const char*> rows[] = {
      {"A.new", "A(middle old)"},
      {"A.middle", "A(new old)"},
      {"A.old", "A(new middle)"},
  };
  for (const auto& [path, left] : rows) {
    SCOPED_TRACE(path);
    const PathTree tree = path_tree({"A.old", "A.middle", "A.new"});
    free_at(tree, path);
    EXPECT_EQ(shape(tree), left);
  }
}

TEST(PathTreeFree, LeavesPlaceForNewNodes) {
  const PathTree tree = path_tree({"A", "B", "C"});
  for (const char* const path : {"C", "A", "B"}) {
    free_at(tree, path);
    node_at(tree, path);
  }
  EXPECT_EQ(shape(tree), "B A C");
}

// Each name and each record of a tree, under the names "A's name" and "A".
void name_blocks(RecordingHeap& heap, const vk_path_tree* tree) {
  const char* const name = tree->path_node.name;
  heap.name(tree, name == nullptr ? "root" : name);
  if (name != nullptr) heap.name(name, std::string(name) + "'s name");
  for (const vk_path_tree* child = tree->first_child; child != nullptr; child = child->next) {
    name_blocks(heap, child);
  }
}

TEST(PathTreeFree, ReleasesChildrenBeforeParentsTheNewestFirstAndNamesBeforeRecords) {
  RecordingHeap heap;
  PathTree tree = path_tree({"A.B", "A.C", "D"}, heap.get());
  name_blocks(heap, tree.get());
  tree.reset();
  EXPECT_THAT(heap.released(), ElementsAre("D's name", "D",                                    //
                                           "C's name", "C", "B's name", "B", "A's name", "A",  //
                                           "root"));
}

TEST(PathTreeFree, MarksTheNameBeforeItIsReleasedAndThenUnlinksTheNode) {
  RecordingHeap heap;
  const PathTree tree = path_tree({"A", "B"}, heap.get());
  name_blocks(heap, tree.get());
  const vk_path_tree* const node = tree->first_child;
  heap.on_release = [&](const std::string& block) {
    if (block == "B's name") {
      EXPECT_EQ(node->name_magic, 0xDEADBEAFU);
      EXPECT_EQ(node->node_magic, 0x37E9B1E1U);
      EXPECT_EQ(tree->first_child, node);
    } else {
      EXPECT_EQ(block, "B");
      EXPECT_EQ(node->node_magic, 0xDEADBEAFU);
      EXPECT_EQ(shape(tree), "A");
    }
  };
  free_at(tree, "B");
  EXPECT_THAT(heap.released(), ElementsAre("B's name", "B"));
  heap.on_release = nullptr;
}

TEST(PathTreeFree, UnlinksEachNodeBelowOnItsOwn) {
  RecordingHeap heap;
  const PathTree tree = path_tree({"A.B", "A.C.D"}, heap.get());
  name_blocks(heap, tree.get());
  std::vector<std::string> left;
  heap.on_release = [&](const std::string& block) {
    if (block.size() == 1) left.push_back(shape(tree));
  };
  free_at(tree, "A");
  EXPECT_THAT(left, ElementsAre("A(C B)", "A(B)", "A", ""));
  heap.on_release = nullptr;
}

// A stack keeps what is given back to it readable.
TEST(PathTreeFree, OverwritesBothMagicWordsOfEveryNode) {
  const Heap stack{vk_mm_stack_new("kept")};
  PathTree tree = path_tree({"A.B", "A.C", "X"}, stack.get());
  std::vector<const vk_path_tree*> nodes = {tree.get()};
  for (const char* const path : {"A", "A.B", "A.C", "X"}) nodes.push_back(node_at(tree, path));
  tree.reset();
  for (const vk_path_tree* const node : nodes) {
    EXPECT_EQ(node->name_magic, 0xDEADBEAFU);
    EXPECT_EQ(node->node_magic, 0xDEADBEAFU);
  }
}

// Freeing with a threaded list

TEST(PathTreeFree, EndsTheThreadedListAtTheParent) {
  const std::pair<const char*, const char*> rows[] = {{"A.B.C", "A.B"}, {"A.B", "A"}, {"A", ""}};
  for (const auto& [freed, list] : rows) {
    SCOPED_TRACE(freed);
    const PathTree tree = path_tree({"A.B.C", "A.X"});
    vk_path_set_current(node_at(tree, "A.B.C"));
    free_at(tree, freed);
    EXPECT_EQ(threaded(tree), list);
  }
}

TEST(PathTreeFree, KeepsAThreadedListThatDoesNotGoThroughTheNode) {
  const PathTree tree = path_tree({"A.B.C", "A.B.D", "A.X", "Y"});
  vk_path_set_current(node_at(tree, "A.B.C"));
  for (const char* const path : {"A.B.D", "A.X", "Y"}) {
    free_at(tree, path);
    EXPECT_EQ(threaded(tree), "A.B.C") << path;
  }
}

TEST(PathTreeFree, ClearsALinkThatAnEarlierThreadingLeft) {
  const PathTree tree = path_tree({"A.B", "X"});
  vk_path_set_current(node_at(tree, "A.B"));
  vk_path_set_current(node_at(tree, "X"));
  free_at(tree, "A.B");
  EXPECT_EQ(node_at(tree, "A")->path_node.next, nullptr);
  EXPECT_EQ(threaded(tree), "X");
}

// Cleaning

TEST(PathTreeClean, ReleasesAllThatIsBelowAndKeepsTheNode) {
  const PathTree tree = path_tree({"A.B.C", "A.D", "X"});
  const std::size_t blocks = live_blocks();
  vk_path_tree_clean(tree.get());
  EXPECT_EQ(shape(tree), "");
  EXPECT_EQ(live_blocks(), blocks - 5 * kBlocksOfNode);
  EXPECT_EQ(tree->name_magic, 0x37E9B121U);
  EXPECT_EQ(tree->node_magic, 0x37E9B1E1U);
}

TEST(PathTreeClean, KeepsAnInnerNodeWhereItIs) {
  const PathTree tree = path_tree({"X", "A.B.C", "A.D", "Y"});
  vk_path_tree_clean(node_at(tree, "A"));
  EXPECT_EQ(shape(tree), "Y A X");
}

TEST(PathTreeClean, DoesNothingToANodeWithoutChildren) {
  const PathTree tree = path_tree({"A"});
  const LogSpy spy;
  const std::size_t blocks = live_blocks();
  vk_path_tree_clean(tree->first_child);
  EXPECT_EQ(shape(tree), "A");
  EXPECT_EQ(live_blocks(), blocks);
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST(PathTreeClean, LeavesATreeThatCanBeFilledAgain) {
  const PathTree tree = path_tree({"A.B"});
  vk_path_tree_clean(tree.get());
  node_at(tree, "A.C");
  EXPECT_EQ(shape(tree), "A(C)");
}

TEST(PathTreeClean, ReleasesInTheOrderOfFree) {
  RecordingHeap heap;
  const PathTree tree = path_tree({"A.B", "A.C", "D"}, heap.get());
  name_blocks(heap, tree.get());
  vk_path_tree_clean(tree.get());
  EXPECT_THAT(heap.released(), ElementsAre("D's name", "D",  //
                                           "C's name", "C", "B's name", "B", "A's name", "A"));
}

TEST(PathTreeClean, EndsTheThreadedListAtTheNode) {
  const PathTree tree = path_tree({"A.B.C"});
  vk_path_set_current(node_at(tree, "A.B.C"));
  vk_path_tree_clean(node_at(tree, "A"));
  EXPECT_EQ(threaded(tree), "A");
}

// Deep trees

constexpr std::size_t kDepth = 1'000'000;

// A tree with one node on every level, on a stack, which keeps it readable when it is freed.
class DeepPathTree : public testing::Test {
 protected:
  DeepPathTree() {
    nodes_.reserve(kDepth);
    vk_path_tree* last = tree_;
    for (std::size_t i = 0; i < kDepth; ++i) {
      last = vk_path_tree_add_path(last, "m");
      nodes_.push_back(last);
    }
  }

  void expect_all_dead() const {
    std::size_t dead = 0;
    for (const vk_path_tree* const node : nodes_) {
      if (node->name_magic == 0xDEADBEAFU && node->node_magic == 0xDEADBEAFU) ++dead;
    }
    EXPECT_EQ(dead, kDepth);
  }

  Heap stack_{vk_mm_stack_new("kept")};
  vk_path_tree* tree_ = vk_path_tree_new(stack_.get());
  std::vector<const vk_path_tree*> nodes_;
};

TEST_F(DeepPathTree, IsFreedWithLittleStack) {
  on_small_stack([this] { vk_path_tree_free(tree_); });
  expect_all_dead();
  EXPECT_EQ(tree_->node_magic, 0xDEADBEAFU);
}

TEST_F(DeepPathTree, IsCleanedWithLittleStack) {
  on_small_stack([this] { vk_path_tree_clean(tree_); });
  expect_all_dead();
  EXPECT_EQ(tree_->first_child, nullptr);
  EXPECT_EQ(tree_->node_magic, 0x37E9B1E1U);
}

}  // namespace
}  // namespace vesk::test
