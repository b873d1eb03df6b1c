#include "vesk/path_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "tests/support/path_trees.h"
#include "vesk/mm/gta.h"
#include "vesk/mm/stack.h"

namespace vesk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::Pair;

// Enumerating

using Visits = std::vector<std::string>;

void note_visit(const char* path, vk_path_tree*, void* context) {
  const Unwatched unwatched;
  static_cast<Visits*>(context)->emplace_back(path);
}

class PathTreeEnumerate : public testing::Test {
 protected:
  PathTreeEnumerate() { vk_gta_init(); }
  ~PathTreeEnumerate() override { vk_gta_destroy(); }

  static Visits visits(vk_path_tree* tree, const char* prefix = "") {
    Visits visits;
    EXPECT_EQ(vk_path_tree_enumerate(tree, prefix, note_visit, &visits), VK_EOK);
    return visits;
  }

  static Visits visits(const PathTree& tree, const char* prefix = "") {
    return visits(tree.get(), prefix);
  }
};

TEST_F(PathTreeEnumerate, VisitsParentsBeforeChildrenAndTheNewestFirst) {
  EXPECT_THAT(visits(path_tree({"A.B", "A.C"})), ElementsAre("A", "A.C", "A.B"));
}

TEST_F(PathTreeEnumerate, FinishesWhatIsBelowANodeBeforeItsSibling) {
  EXPECT_THAT(visits(path_tree({"X", "A.B", "A.C.D", "A.C.E", "Y.2"})),
              ElementsAre("Y", "Y.2", "A", "A.C", "A.C.E", "A.C.D", "A.B", "X"));
}

TEST_F(PathTreeEnumerate, VisitsNothingInAnEmptyTree) {
  const PathTree tree = new_path_tree();
  EXPECT_THAT(visits(tree), IsEmpty());
  EXPECT_THAT(visits(tree, "A"), IsEmpty());
}

TEST_F(PathTreeEnumerate, BeginsEachPathWithThePrefix) {
  EXPECT_THAT(visits(path_tree({"A.B"}), "dm"), ElementsAre("dm.A", "dm.A.B"));
  EXPECT_THAT(visits(path_tree({"A.B"}), "dm.Device"), ElementsAre("dm.Device.A", "dm.Device.A.B"));
}

TEST_F(PathTreeEnumerate, DropsNoSeparatorOfThePrefix) {
  EXPECT_THAT(visits(path_tree({"A.B"}), "dm."), ElementsAre("dm..A", "dm..A.B"));
}

TEST_F(PathTreeEnumerate, VisitsWhatIsBelowAnInnerNodeOnly) {
  const PathTree tree = path_tree({"A.B.C", "X"});
  EXPECT_THAT(visits(node_at(tree, "A")), ElementsAre("B", "B.C"));
  EXPECT_THAT(visits(node_at(tree, "A"), "A"), ElementsAre("A.B", "A.B.C"));
  EXPECT_THAT(visits(node_at(tree, "A.B.C"), "A.B.C"), IsEmpty());
}

TEST_F(PathTreeEnumerate, ShowsNamesAsTheyAre) {
  EXPECT_THAT(visits(path_tree({"Host.$", "Host.02"})), ElementsAre("Host", "Host.02", "Host.$"));
}

TEST_F(PathTreeEnumerate, GivesEachPathWithItsNode) {
  const PathTree tree = path_tree({"A.B", "A.C"});
  std::vector<std::pair<std::string, vk_path_tree*>> visits;
  const auto note = [](const char* path, vk_path_tree* node, void* context) {
    static_cast<decltype(visits)*>(context)->emplace_back(path, node);
  };
  ASSERT_EQ(vk_path_tree_enumerate(tree.get(), "", note, &visits), VK_EOK);
  EXPECT_THAT(visits, ElementsAre(Pair("A", node_at(tree, "A")), Pair("A.C", node_at(tree, "A.C")),
                                  Pair("A.B", node_at(tree, "A.B"))));
}

TEST_F(PathTreeEnumerate, LaysThePathsOnGta) {
  const auto note = [](const char* path, vk_path_tree*, void* context) {
    EXPECT_NE(vk_gta()->ops->owns(vk_gta(), path), 0);
    ++*static_cast<int*>(context);
  };
  int visited = 0;
  const Heap heap{vk_mm_heap_new("paths")};
  const PathTree tree = path_tree({"A.B"}, heap.get());
  ASSERT_EQ(vk_path_tree_enumerate(tree.get(), "", note, &visited), VK_EOK);
  EXPECT_EQ(visited, 2);
}

TEST_F(PathTreeEnumerate, LeavesTheTreeAndItsThreadedListAsTheyAre) {
  const PathTree tree = path_tree({"A.B", "A.C"});
  vk_path_set_current(node_at(tree, "A.B"));
  visits(tree);
  EXPECT_EQ(shape(tree), "A(C B)");
  EXPECT_EQ(threaded(tree), "A.B");
}

// A "gta" that takes its texts straight from malloc, so that each can be refused and none may leak,
// and that notes what is given back.
class PathTreeEnumerateTexts : public PathTreeEnumerate {
 protected:
  PathTreeEnumerateTexts() {
    ops_ = *vk_default_allocator()->ops;
    ops_.free = note_and_free;
    ops_.destroy = vk_gta()->ops->destroy;
    vk_gta()->ops = &ops_;
    events = &events_;
  }
  ~PathTreeEnumerateTexts() override { vk_gta_destroy(); }

  Visits events_;

 private:
  static void note_and_free(vk_allocator*, void* block) {
    const char* const text = static_cast<const char*>(block) + kOwnerWord;
    {
      const Unwatched unwatched;
      events->push_back("released " + std::string(text));
    }
    vk_default_allocator()->ops->free(vk_default_allocator(), block);
  }

  static inline Visits* events = nullptr;

  vk_alloc_ops ops_;
};

TEST_F(PathTreeEnumerateTexts, AreReleasedOnceWhatIsBelowHasBeenVisited) {
  const PathTree tree = path_tree({"A.B", "A.C"});
  EXPECT_EQ(vk_path_tree_enumerate(tree.get(), "", note_visit, &events_), VK_EOK);
  EXPECT_THAT(events_, ElementsAre("A", "A.C", "released A.C", "A.B", "released A.B",  //
                                   "released A"));
}

TEST_F(PathTreeEnumerateTexts, AreAllThatIsAllocated) {
  const PathTree tree = path_tree({"A.B", "Hosts"});
  const AllocationLog log;
  EXPECT_EQ(vk_path_tree_enumerate(tree.get(), "", note_visit, &events_), VK_EOK);
  ASSERT_EQ(log.count(), 3U);
  EXPECT_EQ(log.size_of(0), sizeof "Hosts" + kOwnerWord);
  EXPECT_EQ(log.size_of(1), sizeof "A" + kOwnerWord);
  EXPECT_EQ(log.size_of(2), sizeof "A.B" + kOwnerWord);
}

// Enumerates a tree whose paths are `all`, each of which asks malloc for memory, while memory
// fails: the walk must have ended at the path that was refused.
void expect_end_at_refusal(AllocationFault& fault, const PathTree& tree, const Visits& all) {
  const LogSpy spy;
  const AllocationLog log;
  Visits visits;
  const vk_error result =
      fault.during([&] { return vk_path_tree_enumerate(tree.get(), "", note_visit, &visits); });
  ASSERT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
  if (!fault.struck()) {
    EXPECT_EQ(visits, all);
    return;
  }
  const std::size_t visited = log.count() - 1;
  EXPECT_EQ(visits, Visits(all.begin(), all.begin() + static_cast<std::ptrdiff_t>(visited)));
  EXPECT_THAT(spy.lines(), ElementsAre(allocation_failure(all[visited].size() + 1, "gta")));
}

TEST_F(PathTreeEnumerateTexts, EndTheWalkWhereOneIsRefused) {
  const PathTree tree = path_tree({"X", "A.B", "A.C.D"});
  for_every_allocation_fault([&](AllocationFault& fault) {
    expect_end_at_refusal(fault, tree, {"A", "A.C", "A.C.D", "A.B", "X"});
  });
  EXPECT_EQ(shape(tree), "A(C(D) B) X");
}

TEST_F(PathTreeEnumerate, EndsWhereGtaHasNoRoomForAPath) {
  const std::string wide(VK_PATH_COMPONENT_MAX, 'w');
  const PathTree tree = path_tree({wide.c_str(), (wide + ".B").c_str(), (wide + ".B.C").c_str()});
  for_every_allocation_fault([&](AllocationFault& fault) {
    vk_gta_destroy();
    vk_gta_init();
    expect_end_at_refusal(fault, tree, {wide, wide + ".B", wide + ".B.C"});
    vk_mm_stack_clear(vk_gta());
  });
}

// Threading

TEST(PathTreeThread, LinksThePathOfANodeFromTheRoot) {
  const PathTree tree = path_tree({"A.B.C", "A.X"});
  EXPECT_EQ(vk_path_set_current(node_at(tree, "A.B.C")), tree.get());
  EXPECT_EQ(threaded(tree), "A.B.C");
}

TEST(PathTreeThread, LinksTheComponentsOfTheNodesThemselves) {
  const PathTree tree = path_tree({"Host.2"});
  vk_path_set_current(node_at(tree, "Host.2"));
  const vk_path_node* const first = tree->path_node.next;
  ASSERT_EQ(first, &node_at(tree, "Host")->path_node);
  ASSERT_EQ(first->next, &node_at(tree, "Host.2")->path_node);
  EXPECT_EQ(first->next->next, nullptr);
  EXPECT_EQ(first->index, 0U);
  EXPECT_EQ(first->next->index, 2U);
}

TEST(PathTreeThread, GivesAnEmptyListForTheRoot) {
  const PathTree tree = path_tree({"A.B"});
  vk_path_set_current(node_at(tree, "A.B"));
  EXPECT_EQ(vk_path_set_current(tree.get()), tree.get());
  EXPECT_EQ(tree->path_node.next, nullptr);
}

TEST(PathTreeThread, EndsTheListAtTheNode) {
  const PathTree tree = path_tree({"A.B.C"});
  vk_path_set_current(node_at(tree, "A.B.C"));
  EXPECT_EQ(vk_path_set_current(node_at(tree, "A.B")), tree.get());
  EXPECT_EQ(threaded(tree), "A.B");
  vk_path_set_current(node_at(tree, "A"));
  EXPECT_EQ(threaded(tree), "A");
}

TEST(PathTreeThread, MayGoDeeperAgain) {
  const PathTree tree = path_tree({"A.B.C"});
  for (const char* const path : {"A", "A.B.C", "A.B", "A.B.C"}) {
    vk_path_set_current(node_at(tree, path));
    EXPECT_EQ(threaded(tree), path);
  }
}

TEST(PathTreeThread, OverwritesTheLinksAlongTheNewWayOnly) {
  const PathTree tree = path_tree({"A.B.C", "A.D", "X"});
  vk_path_set_current(node_at(tree, "A.B.C"));
  vk_path_set_current(node_at(tree, "X"));
  EXPECT_EQ(threaded(tree), "X");
  EXPECT_EQ(threaded(node_at(tree, "A")), "B.C");
  vk_path_set_current(node_at(tree, "A.D"));
  EXPECT_EQ(threaded(tree), "A.D");
  EXPECT_EQ(threaded(node_at(tree, "A.B")), "C");
}

TEST(PathTreeThread, ChangesNothingElse) {
  const PathTree tree = path_tree({"A.B", "A.C"});
  const LogSpy spy;
  const AllocationLog log;
  vk_path_set_current(vk_path_tree_find_path(tree.get(), "A.B"));
  EXPECT_EQ(log.count(), 0U);
  EXPECT_EQ(shape(tree), "A(C B)");
  EXPECT_THAT(spy.calls(), IsEmpty());
}

}  // namespace
}  // namespace vesk::test
