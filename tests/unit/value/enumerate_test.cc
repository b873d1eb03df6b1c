#include "vesk/value/enumerate.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/text_stream.h"
#include "tests/support/trees.h"
#include "tests/support/values.h"
#include "vesk/value/leaf.h"
#include "vesk/value/writer.h"

namespace vesk::test {
namespace {

// The walk over a tree.

using testing::ElementsAre;

using Visitor = std::function<int32_t(vk_value*)>;

int32_t walk(const Value& value, Visitor visitor) {
  const auto visit = [](vk_value* node, void* context) {
    return (*static_cast<Visitor*>(context))(node);
  };
  return vk_value_enumerate(value.get(), visit, &visitor);
}

// The result of a walk, and the names of the nodes that were visited.
struct Walk {
  int32_t result;
  std::vector<std::string> visited;

  bool operator==(const Walk&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Walk& walk) {
  return out << walk.result << " after " << testing::PrintToString(walk.visited);
}

// A walk whose callback gives a number for the nodes of one name and 0 for all others.
Walk walk_with(const Tree& tree, const std::string& name, int32_t result) {
  Walk walked = {};
  walked.result = walk(planted(tree), [&](vk_value* node) {
    walked.visited.push_back(name_of(*node));
    return walked.visited.back() == name ? result : 0;
  });
  return walked;
}

const char kRoot[] = "";  // a root has no name

Tree forest() {
  return object({{"A", integer(1)},
                 {"B", object({{"C", text("c")}, {"D", object({})}, {"E", boolean(1)}})},
                 {"F", any()}});
}

TEST(Enumerate, VisitsParentsBeforeTheirChildrenInOrder) {
  EXPECT_EQ(walk_with(forest(), kRoot, 0), (Walk{0, {"", "A", "B", "C", "D", "E", "F"}}));
}

TEST(Enumerate, GivesTheNodesThemselves) {
  const Value root = planted(array({integer(1), array({integer(2), any()}), integer(3)}));
  const vk_value* const first = vk_array_item_first(root.get());
  const vk_value* const inner = vk_item_next(first);
  const vk_value* const two = vk_array_item_first(inner);
  std::vector<const vk_value*> visited;
  EXPECT_EQ(walk(root,
                 [&](vk_value* node) {
                   visited.push_back(node);
                   return 0;
                 }),
            0);
  EXPECT_THAT(visited,
              ElementsAre(root.get(), first, inner, two, vk_item_next(two), vk_item_next(inner)));
}

TEST(Enumerate, VisitsEveryTypeOfNode) {
  for (const Tree& tree : one_of_each_leaf()) {
    EXPECT_EQ(walk_with(tree, kRoot, 5), (Walk{5, {""}}));
    EXPECT_EQ(walk_with(object({{"A", tree}}), "A", 5), (Walk{5, {"", "A"}}));
  }
  EXPECT_EQ(walk_with(any(), kRoot, 5), (Walk{5, {""}}));
  EXPECT_EQ(walk_with(of_no_type(), kRoot, 5), (Walk{5, {""}}));
}

TEST(Enumerate, DoesNotVisitAttributes) {
  const auto attributes = {Tree::Named{"Error", integer(1)}, Tree::Named{"type", text("t")}};
  EXPECT_EQ(walk_with(object({{"A", integer(1).with(attributes)}}).with(attributes), "Error", 7),
            (Walk{0, {"", "A"}}));
}

TEST(Enumerate, GivesTheResultForALeaf) {
  for (const int32_t result : {INT32_MIN, -1, 0, 1, 7, INT32_MAX}) {
    EXPECT_EQ(walk_with(integer(1), kRoot, result), (Walk{result, {""}}));
  }
}

TEST(Enumerate, GivesTheResultForAnEmptyContainer) {
  EXPECT_EQ(walk_with(object({}), kRoot, 7), (Walk{7, {""}}));
  EXPECT_EQ(walk_with(array({}), kRoot, -7), (Walk{-7, {""}}));
}

TEST(Enumerate, ReplacesTheResultForAContainerByThoseOfItsMembers) {
  const Tree two_leaves = object({{"A", integer(1)}, {"B", integer(2)}});
  EXPECT_EQ(walk_with(two_leaves, kRoot, 7), (Walk{0, {"", "A", "B"}}));
  EXPECT_EQ(walk_with(array({integer(1)}), kRoot, -1), (Walk{-1, {"", ""}}));
  EXPECT_EQ(walk_with(object({{"A", array({})}}), kRoot, 7), (Walk{0, {"", "A"}}));
}

TEST(Enumerate, GoesOnBehindAContainerWhoseOwnResultIsNotZero) {
  EXPECT_EQ(walk_with(forest(), "B", 7), (Walk{0, {"", "A", "B", "C", "D", "E", "F"}}));
}

TEST(Enumerate, EndsAtALeafWhoseResultIsNotZero) {
  EXPECT_EQ(walk_with(forest(), "A", 7), (Walk{7, {"", "A"}}));
  EXPECT_EQ(walk_with(forest(), "C", -1), (Walk{-1, {"", "A", "B", "C"}}));
  EXPECT_EQ(walk_with(forest(), "F", 7), (Walk{7, {"", "A", "B", "C", "D", "E", "F"}}));
}

TEST(Enumerate, EndsAtAnEmptyContainerWhoseResultIsNotZero) {
  EXPECT_EQ(walk_with(forest(), "D", INT32_MIN), (Walk{INT32_MIN, {"", "A", "B", "C", "D"}}));
}

TEST(Enumerate, LetsTheCallbackSetTheLeavesThatItVisits) {
  const Value root = planted(array({any(), array({any()}), any()}));
  int32_t count = 0;
  EXPECT_EQ(walk(root,
                 [&](vk_value* node) {
                   if (node->type == VK_TYPE_ANY) vk_value_set_int(node, ++count);
                   return 0;
                 }),
            0);
  EXPECT_EQ(tree_of(*root), array({integer(1), array({integer(2)}), integer(3)}));
}

TEST(Enumerate, PassesAnyContextOnAsItIs) {
  const auto give_first = [](vk_value*, void* context) {
    return context == nullptr ? -1 : *static_cast<int32_t*>(context);
  };
  const Value node = planted(integer(1));
  int32_t seven = 7;
  EXPECT_EQ(vk_value_enumerate(node.get(), give_first, &seven), 7);
  EXPECT_EQ(vk_value_enumerate(node.get(), give_first, nullptr), -1);
}

TEST(Enumerate, RendersATreeLeafByLeaf) {
  TextStream stream;
  const auto write = [](vk_value* node, void* context) {
    vk_value_write(static_cast<vk_stream*>(context), node);
    return 0;
  };
  vk_value_enumerate(planted(forest()).get(), write, stream.get());
  EXPECT_THAT(stream.writes(), ElementsAre("1", "c", "true", "NIL"));
}

}  // namespace
}  // namespace vesk::test
