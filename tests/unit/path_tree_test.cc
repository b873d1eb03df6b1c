#include "vesk/path_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "tests/support/path_trees.h"
#include "vesk/mm/stack.h"

namespace vesk::test {
namespace {

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Ne;
using ::testing::NotNull;
using ::testing::StrEq;

// Roots

TEST(PathTreeNew, GivesARootWithoutNameAndIndex) {
  const PathTree tree = new_path_tree();
  ASSERT_THAT(tree, NotNull());
  EXPECT_EQ(tree->path_node.name, nullptr);
  EXPECT_EQ(tree->path_node.index, 0U);
}

TEST(PathTreeNew, LinksTheRootWithNothing) {
  const PathTree tree = new_path_tree();
  EXPECT_EQ(tree->next, nullptr);
  EXPECT_EQ(tree->prev_link, nullptr);
  EXPECT_EQ(tree->first_child, nullptr);
  EXPECT_EQ(tree->parent, nullptr);
  EXPECT_EQ(tree->path_node.next, nullptr);
}

TEST(PathTreeNew, SetsBothMagicWords) {
  const PathTree tree = new_path_tree();
  EXPECT_EQ(tree->name_magic, 0x37E9B121U);
  EXPECT_EQ(tree->node_magic, 0x37E9B1E1U);
}

TEST(PathTreeNew, TakesOneRecordFromTheHeapThatItIsGiven) {
  const Heap heap{vk_mm_heap_new("paths")};
  const AllocationLog log;
  const PathTree tree = new_path_tree(heap.get());
  EXPECT_EQ(tree->allocator, heap.get());
  EXPECT_EQ(owner_of(tree.get()), heap.get());
  ASSERT_EQ(log.count(), 1U);
  EXPECT_EQ(log.size_of(0), sizeof(vk_path_tree) + kOwnerWord);
}

TEST(PathTreeNew, GivesNullWhenTheHeapIsExhausted) {
  for_every_allocation_fault([](AllocationFault& fault) {
    const LogSpy spy;
    const PathTree tree{fault.during([] { return vk_path_tree_new(vk_default_allocator()); })};
    ASSERT_EQ(tree == nullptr, fault.struck());
    if (!fault.struck()) return;
    EXPECT_THAT(spy.lines(), ElementsAre(allocation_failure(sizeof(vk_path_tree), "default")));
  });
}

// Adding, in both forms

class PathTreeAdd : public testing::TestWithParam<PathForm> {
 protected:
  vk_path_tree* add(vk_path_tree* tree, const char* path) const {
    return GetParam().add(tree, Path(path));
  }

  vk_path_tree* add(const PathTree& tree, const char* path) const { return add(tree.get(), path); }
};

INSTANTIATE_TEST_SUITE_P(InBothForms, PathTreeAdd, testing::ValuesIn(kPathForms),
                         testing::PrintToStringParamName());

TEST_P(PathTreeAdd, MakesANodeForEveryComponent) {
  const PathTree tree = new_path_tree();
  add(tree, "A.B.C");
  EXPECT_EQ(shape(tree), "A(B(C))");
}

TEST_P(PathTreeAdd, GivesTheNodeOfTheWholePath) {
  const PathTree tree = new_path_tree();
  const vk_path_tree* const node = add(tree, "A.B");
  ASSERT_THAT(node, NotNull());
  EXPECT_EQ(node, tree->first_child->first_child);
  EXPECT_THAT(node->path_node.name, StrEq("B"));
}

TEST_P(PathTreeAdd, GivesTheSameNodeTheSecondTime) {
  const PathTree tree = new_path_tree();
  const vk_path_tree* const node = add(tree, "A.B");
  EXPECT_EQ(add(tree, "A.B"), node);
  EXPECT_EQ(add(tree, "A"), tree->first_child);
  EXPECT_EQ(shape(tree), "A(B)");
}

TEST_P(PathTreeAdd, CreatesNothingForAPathThatIsThere) {
  const PathTree tree = path_tree({"A.B", "A.C"});
  const LogSpy spy;
  for (const char* const text : {"A.B", "A", "A.C", ""}) {
    const Path path{text};
    const AllocationLog log;
    GetParam().add(tree.get(), path);
    EXPECT_EQ(log.count(), 0U) << text;
  }
  EXPECT_EQ(shape(tree), "A(C B)");
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST_P(PathTreeAdd, GivesTheTreeItselfForAnEmptyPath) {
  const PathTree tree = path_tree({"A.B"});
  EXPECT_EQ(add(tree, ""), tree.get());
  EXPECT_EQ(add(tree->first_child, ""), tree->first_child);
  EXPECT_EQ(shape(tree), "A(B)");
}

TEST_P(PathTreeAdd, BeginsAtAnyNode) {
  const PathTree tree = path_tree({"A.B"});
  const vk_path_tree* const node = add(tree->first_child, "A.C");
  EXPECT_EQ(shape(tree), "A(A(C) B)");
  EXPECT_EQ(node, tree->first_child->first_child->first_child);
}

TEST_P(PathTreeAdd, KeepsChildrenNewestFirst) {
  const PathTree tree = new_path_tree();
  for (const char* const path : {"A.B", "A.C", "X", "A.D.E", "A.D.F", "Y"}) add(tree, path);
  EXPECT_EQ(shape(tree), "Y X A(D(F E) C B)");
}

TEST_P(PathTreeAdd, MovesNothingWhenAPathIsAddedAgain) {
  const PathTree tree = path_tree({"A.B", "A.C", "X"});
  add(tree, "A.B");
  add(tree, "A.B.D");
  EXPECT_EQ(shape(tree), "X A(C B(D))");
}

TEST_P(PathTreeAdd, ExtendsALeaf) {
  const PathTree tree = path_tree({"A.B"});
  const vk_path_tree* const leaf = tree->first_child->first_child;
  const vk_path_tree* const node = add(tree, "A.B.C.D");
  EXPECT_EQ(shape(tree), "A(B(C(D)))");
  EXPECT_EQ(node->parent->parent, leaf);
}

TEST_P(PathTreeAdd, ComparesNamesExactly) {
  const PathTree tree = new_path_tree();
  for (const char* const path : {"Host", "host", "Hosts", "Hos", " Host"}) add(tree, path);
  EXPECT_EQ(shape(tree), " Host Hos Hosts host Host");
}

TEST_P(PathTreeAdd, NeverMatchesByIndex) {
  const PathTree tree = new_path_tree();
  for (const char* const path : {"2", "02", "+2", "0", "00", "x"}) add(tree, path);
  EXPECT_EQ(shape(tree), "x 00 0 +2 02 2");
}

TEST_P(PathTreeAdd, TakesATemplateForAnyOtherName) {
  const PathTree tree = new_path_tree();
  for (const char* const path : {"A.$", "A.5", "B.5", "B.$"}) add(tree, path);
  EXPECT_EQ(shape(tree), "B($ 5) A(5 $)");
}

TEST_P(PathTreeAdd, ReadsTheIndexFromTheName) {
  const std::pair<const char*, uint32_t> rows[] = {
      {"12", 12},        {"007", 7}, {" 7", 7}, {"-1", 4294967295}, {"4294967295", 4294967295},
      {"4294967296", 0}, {"0", 0},   {"1a", 0}, {"$", 0},           {"Host", 0},
  };
  const PathTree tree = new_path_tree();
  for (const auto& [name, index] : rows) {
    EXPECT_EQ(add(tree, name)->path_node.index, index) << name;
  }
}

TEST_P(PathTreeAdd, CopiesTheNames) {
  const PathTree tree = new_path_tree();
  std::string text = "Device.Hosts";
  add(tree, text.c_str());
  text = "overwritten!";
  EXPECT_EQ(shape(tree), "Device(Hosts)");
}

TEST_P(PathTreeAdd, TakesAComponentOf4096Characters) {
  const PathTree tree = new_path_tree();
  const std::string name(4096, 'n');
  EXPECT_EQ(add(tree, name.c_str())->path_node.name, name);
  EXPECT_EQ(add(tree, name.c_str()), tree->first_child);
}

TEST_P(PathTreeAdd, LinksTheNewNodesInNoList) {
  const PathTree tree = new_path_tree();
  const vk_path_tree* const node = add(tree, "A.B");
  EXPECT_EQ(node->path_node.next, nullptr);
  EXPECT_EQ(node->parent->path_node.next, nullptr);
  EXPECT_EQ(tree->path_node.next, nullptr);
}

TEST_P(PathTreeAdd, TakesTheRecordAndThenTheNameOfEachNewNode) {
  const PathTree tree = path_tree({"A"});
  const Path path{"A.Hosts.2"};
  const AllocationLog log;
  GetParam().add(tree.get(), path);
  const std::size_t sizes[] = {sizeof(vk_path_tree), sizeof "Hosts", sizeof(vk_path_tree),
                               sizeof "2"};
  ASSERT_EQ(log.count(), std::size(sizes));
  for (std::size_t i = 0; i < std::size(sizes); ++i) {
    EXPECT_EQ(log.size_of(i), sizes[i] + kOwnerWord);
  }
}

TEST_P(PathTreeAdd, TakesNewNodesFromTheHeapOfTheTree) {
  const Heap heap{vk_mm_heap_new("paths")};
  const PathTree tree = new_path_tree(heap.get());
  add(tree, "A.B");
  EXPECT_EQ(shape(tree), "A(B)");
  EXPECT_EQ(tree->first_child->allocator, heap.get());
}

TEST_P(PathTreeAdd, TakesNewNodesFromTheHeapOfTheDeepestNodeThatThePathHas) {
  const Heap heap{vk_mm_heap_new("paths")};
  const PathTree tree = path_tree({"A.B"});
  vk_path_tree* const reached = node_at(tree, "A.B");
  reached->allocator = heap.get();
  const vk_path_tree* const node = add(tree, "A.B.C.D");
  EXPECT_EQ(node->allocator, heap.get());
  EXPECT_EQ(shape(reached), "C(D)");
}

TEST_P(PathTreeAdd, LeavesTheTreeUnchangedWhenTheHeapIsExhausted) {
  const Path path{"A.C.D.E"};
  for_every_allocation_fault([&](AllocationFault& fault) {
    const PathTree tree = path_tree({"A.B", "X"});
    const vk_path_tree* const newest = tree->first_child;
    const vk_path_tree* const leaf = node_at(tree, "A.B");
    const LogSpy spy;
    const AllocationLog log;
    const vk_path_tree* const node = fault.during([&] { return GetParam().add(tree.get(), path); });
    ASSERT_EQ(node == nullptr, fault.struck());
    if (!fault.struck()) {
      EXPECT_EQ(shape(tree), "X A(C(D(E)) B)");
      return;
    }
    EXPECT_EQ(shape(tree), "X A(B)");
    EXPECT_EQ(tree->first_child, newest);
    EXPECT_EQ(node_at(tree, "A.B"), leaf);
    const std::size_t refused = log.size_of(log.count() - 1) - kOwnerWord;
    EXPECT_THAT(spy.lines(), ElementsAre(allocation_failure(refused, "default")));
  });
}

TEST_P(PathTreeAdd, KeepsAThreadedListWhetherItSucceedsOrNot) {
  const Path path{"A.C.D"};
  for_every_allocation_fault([&](AllocationFault& fault) {
    const PathTree tree = path_tree({"A.B"});
    vk_path_set_current(node_at(tree, "A.B"));
    fault.during([&] { return GetParam().add(tree.get(), path); });
    EXPECT_EQ(threaded(tree), "A.B");
  });
}

// Adding texts

TEST(PathTreeAddPath, AddsTheSameNodesWithAFinalSeparator) {
  const PathTree tree = path_tree({"A.B."});
  EXPECT_EQ(shape(tree), "A(B)");
  EXPECT_EQ(vk_path_tree_add_path(tree.get(), "A.B"), vk_path_tree_add_path(tree.get(), "A.B."));
  EXPECT_EQ(shape(tree), "A(B)");
}

TEST(PathTreeAddPath, EndsAtAnEmptyComponent) {
  const PathTree tree = new_path_tree();
  EXPECT_THAT(node_at(tree, "A..B")->path_node.name, StrEq("A"));
  EXPECT_EQ(shape(tree), "A");
}

TEST(PathTreeAddPath, GivesTheTreeItselfForATextWithoutComponents) {
  const PathTree tree = new_path_tree();
  for (const char* const text : {"", ".", "..", ".A"}) {
    EXPECT_EQ(vk_path_tree_add_path(tree.get(), text), tree.get()) << text;
  }
  EXPECT_EQ(vk_path_tree_add_path(tree.get(), nullptr), tree.get());
  EXPECT_EQ(shape(tree), "");
}

// Adding lists

TEST(PathTreeAddList, GivesTheTreeItselfForNull) {
  const PathTree tree = new_path_tree();
  EXPECT_EQ(vk_path_tree_add(tree.get(), nullptr), tree.get());
  EXPECT_EQ(shape(tree), "");
}

TEST(PathTreeAddList, AddsTheListThatIsThreadedThroughAnotherTree) {
  const PathTree source = path_tree({"Device.Hosts.2"});
  const vk_path_tree* const root = vk_path_set_current(node_at(source, "Device.Hosts.2"));
  const PathTree tree = new_path_tree();
  vk_path_tree_add(tree.get(), root->path_node.next);
  EXPECT_EQ(shape(tree), "Device(Hosts(2))");
}

TEST(PathTreeAddList, BeginsWhereverTheListDoes) {
  const Path path{"Device.Hosts.2"};
  const PathTree tree = new_path_tree();
  vk_path_tree_add(tree.get(), path.list()->next);
  EXPECT_EQ(shape(tree), "Hosts(2)");
}

TEST(PathTreeAddList, TakesNamesAndNotIndexesFromTheList) {
  char name[] = "Host";
  const vk_path_node component = {nullptr, 99, name};
  const PathTree tree = new_path_tree();
  EXPECT_EQ(vk_path_tree_add(tree.get(), &component)->path_node.index, 0U);
  EXPECT_EQ(shape(tree), "Host");
}

TEST(PathTreeAddList, KeepsAComponentWholeWhateverItHolds) {
  const PathTree tree = new_path_tree();
  const Path path{std::vector<std::string>{"a.b", "c."}};
  vk_path_tree_add(tree.get(), path.list());
  EXPECT_EQ(shape(tree), "a.b(c.)");
}

TEST(PathTreeAddList, LeavesTheListAsItIs) {
  const Path path{"A.2"};
  const PathTree tree = new_path_tree();
  vk_path_tree_add(tree.get(), path.list());
  ASSERT_THAT(path.list()->next, NotNull());
  EXPECT_THAT(path.list()->name, AllOf(StrEq("A"), Ne(tree->first_child->path_node.name)));
  EXPECT_EQ(path.list()->next->index, 2U);
  EXPECT_EQ(path.list()->next->next, nullptr);
}

}  // namespace
}  // namespace vesk::test
