#include "vesk/value/by_path.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <cstddef>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "tests/support/path_trees.h"
#include "tests/support/trees.h"
#include "vesk/value/object.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StrEq;

const Tree::Named kError = {"Error", integer(9)};

struct Inserted {
  vk_error result;
  Tree tree;

  bool operator==(const Inserted&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Inserted& inserted) {
  return out << vk_strerror(inserted.result) << " and " << inserted.tree;
}

Inserted done(const Tree& tree) { return {VK_EOK, tree}; }
Inserted failed(vk_error result, const Tree& tree) { return {result, tree}; }

/// Inserts a node, which the tree owns from then on, or else is still the caller's as it was.
vk_error insert(vk_value* root, const Path& path, Value child) {
  const Tree before = tree_of(*child);
  const std::string name = name_of(*child);
  const vk_error result = vk_value_insert_by_path(root, path.list(), child.get());
  if (result == VK_EOK) {
    static_cast<void>(child.release());
  } else {
    EXPECT_EQ(tree_of(*child), before);
    EXPECT_EQ(name_of(*child), name);
  }
  return result;
}

Inserted inserted(const Tree& tree, const Path& path, const Tree& child) {
  const Value root = planted(tree);
  const vk_error result = insert(root.get(), path, planted(child));
  return {result, tree_of(*root)};
}

Inserted inserted(const Tree& tree, const char* path, const Tree& child) {
  return inserted(tree, Path{path}, child);
}

TEST(InsertByPath, PutsAMemberIntoTheRoot) {
  EXPECT_EQ(inserted(object({}), "A", integer(1)), done(object({{"A", integer(1)}})));
  EXPECT_EQ(inserted(object({{"B", any()}}), "A", integer(1)),
            done(object({{"B", any()}, {"A", integer(1)}})));
}

TEST(InsertByPath, DoesNotAskWhetherTheLastParentIsAnObject) {
  const Value root = planted(array({}));
  const Path path{"A"};
  ASSERT_EQ(insert(root.get(), path, planted(integer(1))), VK_EOK);
  EXPECT_EQ(vk_value_get_type(root.get()), VK_TYPE_ARRAY);
  EXPECT_THAT(member_names(root), ElementsAre("A"));
}

TEST(InsertByPath, TakesTheObjectsOnTheWay) {
  EXPECT_EQ(
      inserted(object({{"A", object({{"B", object({{"C", any()}}).with({kError})}})}}), "A.B.D",
               text("d")),
      done(object(
          {{"A", object({{"B", object({{"C", any()}, {"D", text("d")}}).with({kError})}})}})));
}

TEST(InsertByPath, MakesTheObjectsOnTheWayOrderedOnes) {
  EXPECT_EQ(inserted(object({}), "X.Y.Z", text("z")),
            done(object({{"X", object({{"Y", object({{"Z", text("z")}})}})}})));
}

TEST(InsertByPath, MakesTheObjectsThatAreMissingOnTheWay) {
  EXPECT_EQ(inserted(object({{"A", object({{"B", any()}})}, {"C", any()}}), "A.X.Y", integer(1)),
            done(object({{"A", object({{"B", any()}, {"X", object({{"Y", integer(1)}})}})},
                         {"C", any()}})));
}

// The names of levels that were just made can be those of members above.
TEST(InsertByPath, LooksForEachComponentInItsOwnLevelOnly) {
  EXPECT_EQ(inserted(object({{"A", object({{"B", any()}})}, {"B", any()}}), "X.A.B", integer(1)),
            done(object({{"A", object({{"B", any()}})},
                         {"B", any()},
                         {"X", object({{"A", object({{"B", integer(1)}})}})}})));
}

TEST(InsertByPath, TakesChildrenOfEachTypeWithAllThatBelongsToThem) {
  for (const Tree& child : one_of_each_type()) {
    EXPECT_EQ(inserted(object({}), "A.B", child.with({kError})),
              done(object({{"A", object({{"B", child.with({kError})}})}})));
  }
}

TEST(InsertByPath, TakesComponentsAsTheyAre) {
  EXPECT_EQ(inserted(object({{"", object({})}}), Path{{"", "A.B", "$"}}, any()),
            done(object({{"", object({{"A.B", object({{"$", any()}})}})}})));
}

TEST(InsertByPath, NamesTheChildAnew) {
  const Value root = new_object();
  const Value other = planted(object({{"Old", any()}}));
  Value child(vk_object_extract(other.get(), "Old"));
  vk_value* const node = child.get();
  EXPECT_EQ(insert(root.get(), Path{"A.B"}, std::move(child)), VK_EOK);
  EXPECT_EQ(vk_value_find_by_path(root.get(), "A.B"), node);
  EXPECT_THAT(node->id, StrEq("B"));
}

TEST(InsertByPath, LeavesAChildWithTheCallerWhereThereIsAMemberOfThatName) {
  const Tree tree = object({{"X", object({{"Y", object({{"Z", text("z")}})}})}});
  const Value root = new_object();
  EXPECT_EQ(insert(root.get(), Path{"X.Y.Z"}, planted(text("z"))), VK_EOK);
  EXPECT_EQ(insert(root.get(), Path{"X.Y.Z"}, planted(text("again"))), VK_EEXIST);
  EXPECT_EQ(tree_of(*root), tree);
  EXPECT_EQ(inserted(tree, "X.Y", any()), failed(VK_EEXIST, tree));
  EXPECT_EQ(inserted(tree, "X", object({})), failed(VK_EEXIST, tree));
}

TEST(InsertByPath, RefusesAWayThroughSomethingThatIsNoObjectAndMakesNothing) {
  EXPECT_EQ(VK_ENOENT, 1U);
  std::vector<Tree> others = one_of_each_type();
  others.push_back(of_no_type());
  for (const Tree& other : others) {
    if (other.type == VK_TYPE_OBJECT) continue;
    const Tree tree = object({{"A", other.with({kError})}, {"B", object({{"C", other}})}});
    for (const char* const path : {"A.X.Y", "A.A.A.A", "B.C.X.Y"}) {
      EXPECT_EQ(inserted(tree, path, integer(1)), failed(VK_ENOENT, tree)) << path;
    }
  }
}

TEST(InsertByPath, RefusesAWayFromARootThatIsNoObject) {
  for (const Tree& tree : one_of_each_type()) {
    if (tree.type == VK_TYPE_OBJECT) continue;
    EXPECT_EQ(inserted(tree, "A.B", integer(1)), failed(VK_ENOENT, tree));
    EXPECT_EQ(inserted(tree, "A.B.C", integer(1)), failed(VK_ENOENT, tree));
  }
}

TEST(InsertByPath, RefusesAWayFromNoRoot) {
  EXPECT_EQ(insert(nullptr, Path{"A.B"}, planted(integer(1))), VK_ENOENT);
  EXPECT_EQ(insert(nullptr, Path{"A.B.C"}, planted(integer(1))), VK_ENOENT);
}

// Indexed objects

TEST(InsertByPath, PutsInstancesWhereTheirNumbersBelong) {
  const Tree::Named one = {"1", any()};
  const Tree::Named three = {"3", any()};
  EXPECT_EQ(inserted(object({{"Host", indexed({one, three})}}), "Host.2", integer(2)),
            done(object({{"Host", indexed({one, {"2", integer(2)}, three})}})));
}

TEST(InsertByPath, MakesMissingInstancesOrderedObjectsWhereTheirNumbersBelong) {
  const Tree::Named one = {"1", any()};
  const Tree::Named three = {"3", any()};
  EXPECT_EQ(inserted(indexed({one, three}), "2.10.x", integer(2)),
            done(indexed({one, {"2", object({{"10", object({{"x", integer(2)}})}})}, three})));
}

TEST(InsertByPath, RefusesAnInstanceThatIsNoNumber) {
  const Tree tree = object({{"Host", indexed({{"1", any()}})}});
  for (const char* const path : {"Host.x", "Host.0", "Host.1a", "Host.4294967296"}) {
    EXPECT_EQ(inserted(tree, path, integer(1)), failed(VK_EINVAL, tree)) << path;
  }
}

TEST(InsertByPath, AnswersForAnObjectOnTheWayThatCannotBeMadeAsForMemory) {
  const Tree tree = object({{"Host", indexed({{"1", any()}})}});
  EXPECT_EQ(inserted(tree, "Host.x.Name", integer(1)), failed(VK_ENOMEM, tree));
  EXPECT_EQ(inserted(tree, "Host.0.Name.x", integer(1)), failed(VK_ENOMEM, tree));
}

TEST(InsertByPath, LogsTheInsertionsIntoAnIndexedObject) {
  const Value root = planted(indexed({{"2", indexed({})}}));
  const LogSpy spy;
  insert(root.get(), Path{"3.A"}, planted(any()));
  insert(root.get(), Path{"2.1"}, planted(any()));
  EXPECT_THAT(spy.lines(), ElementsAre(LogLine{LOG_INFO, "NONE: Insert '3' after '2'"},
                                       LogLine{LOG_INFO, "NONE: Insert HEAD"}));
}

TEST(InsertByPath, LogsNothingOfOtherObjects) {
  const LogSpy spy;
  inserted(object({}), "X.Y.Z", any());
  inserted(object({{"A", any()}}), "A", any());
  inserted(object({{"A", any()}}), "A.B.C", any());
  inserted(indexed({}), "x", any());
  EXPECT_THAT(spy.calls(), IsEmpty());
}

// Heaps

TEST(InsertByPath, TakesTheNameFromTheHeapOfTheChildAndTheWayFromThatOfTheObjectAbove) {
  const Heap above{vk_mm_heap_new("above")};
  const Heap below{vk_mm_heap_new("below")};
  const Value root = planted(object({}), above.get());
  EXPECT_EQ(insert(root.get(), Path{"A.B"}, planted(object({}), below.get())), VK_EOK);
  EXPECT_EQ(insert(root.get(), Path{"A.B.C.D"}, planted(text("d"), above.get())), VK_EOK);

  EXPECT_EQ(tree_of(*root),
            object({{"A", object({{"B", object({{"C", object({{"D", text("d")}})}})}})}}));
  struct {
    const char* path;
    vk_allocator* heap;
  } const rows[] = {
      {"A", above.get()}, {"A.B", below.get()}, {"A.B.C", below.get()}, {"A.B.C.D", above.get()}};
  for (const auto& [path, heap] : rows) {
    vk_value* const node = vk_value_find_by_path(root.get(), path);
    EXPECT_EQ(node->heap, heap) << path;
    EXPECT_EQ(owner_of(node), heap) << path;
    EXPECT_EQ(owner_of(node->id), heap) << path;
  }
}

// Memory

/// Expects each state when an allocation is refused; the child is then still the caller's.
void expect_states_at_each_refusal(const Tree& before, const char* text,
                                   const std::vector<Tree>& after) {
  const Path path{text};
  const auto insert_child = [&](vk_value* root) {
    Value child;
    {
      const Unwatched unwatched;
      child = new_value();
    }
    vk_value* const node = child.get();
    const vk_error result = vk_value_insert_by_path(root, path.list(), node);
    EXPECT_EQ(node->id == nullptr, result != VK_EOK);
    if (result == VK_EOK) static_cast<void>(child.release());
    return result;
  };
  expect_after_each_refusal(before, after, insert_child);
}

TEST(InsertByPath, KeepsTheObjectsThatWereMadeWhenMemoryRunsOut) {
  const Tree::Named a = {"A", integer(1)};
  const std::vector<Tree> states = {
      object({a}),                                      // the node of X
      object({a}),                                      // its name
      object({a, {"X", object({})}}),                   // the node of Y
      object({a, {"X", object({})}}),                   // its name
      object({a, {"X", object({{"Y", object({})}})}}),  // the name of the child
  };
  expect_states_at_each_refusal(object({a}), "X.Y.Z", states);
}

TEST(InsertByPath, ChangesNothingWhenThereIsNoMemoryForTheNameOfTheChild) {
  const Tree tree = object({{"A", object({{"B", any()}})}});
  expect_states_at_each_refusal(tree, "A.C", {tree});
}

}  // namespace
}  // namespace vesk::test
