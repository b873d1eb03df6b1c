#include "vesk/value/by_path.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/log_spy.h"
#include "tests/support/path_trees.h"
#include "tests/support/trees.h"
#include "vesk/value/leaf.h"
#include "vesk/value/object.h"

namespace vesk::test {
namespace {

using testing::IsEmpty;
using testing::StrEq;

Tree sample() {
  return object({{"A", text("a")},
                 {"B", object({{"C", integer(1)}, {"D", object({{"E", hex("e")}})}})},
                 {"F", array({integer(2), object({{"G", any()}})})},
                 {"H", indexed({{"1", object({{"Name", text("one")}})}, {"02", any()}})},
                 {"I", any()}});
}

// Finding

struct Finder {
  const char* name;
  vk_value* (*find)(vk_value* root, const Path& path);
};

std::ostream& operator<<(std::ostream& out, const Finder& finder) { return out << finder.name; }

class FindByPath : public testing::TestWithParam<Finder> {
 protected:
  static vk_value* find(vk_value* root, const char* path) {
    return GetParam().find(root, Path{path});
  }
  static vk_value* find(const Value& root, const char* path) { return find(root.get(), path); }
};

INSTANTIATE_TEST_SUITE_P(Of, FindByPath,
                         testing::Values(Finder{"Texts",
                                                [](vk_value* root, const Path& path) {
                                                  return vk_value_find_by_path(root, path.text());
                                                }},
                                         Finder{"Lists",
                                                [](vk_value* root, const Path& path) {
                                                  return vk_value_find_by_path_node(root,
                                                                                    path.list());
                                                }}),
                         [](const auto& finder) { return finder.param.name; });

TEST_P(FindByPath, GivesTheMemberThatThePathNames) {
  const Value root = planted(sample());
  const std::vector<std::pair<const char*, Tree>> rows = {
      {"A", text("a")},
      {"B.C", integer(1)},
      {"B.D", object({{"E", hex("e")}})},
      {"B.D.E", hex("e")},
      {"F", array({integer(2), object({{"G", any()}})})},
      {"H.1.Name", text("one")},
      {"H.02", any()},
      {"I", any()},
  };
  for (const auto& [path, tree] : rows) {
    const vk_value* const found = find(root, path);
    ASSERT_NE(found, nullptr) << path;
    EXPECT_EQ(tree_of(*found), tree) << path;
  }
  EXPECT_EQ(tree_of(*root), sample());
}

TEST_P(FindByPath, GivesTheNodeItself) {
  const Value root = planted(object({{"A", object({{"B", any()}})}}));
  vk_value* const a = vk_object_find_item(root.get(), "A");
  EXPECT_EQ(find(root, "A"), a);
  EXPECT_EQ(find(root, "A.B"), vk_object_find_item(a, "B"));
}

TEST_P(FindByPath, GivesTheRootForTheEmptyPath) {
  for (const Tree& tree : one_of_each_type()) {
    const Value root = planted(tree);
    EXPECT_EQ(find(root, ""), root.get());
  }
  EXPECT_EQ(find(nullptr, ""), nullptr);
}

TEST_P(FindByPath, GivesNullForAMemberThatIsNotThere) {
  const Value root = planted(sample());
  for (const char* const path : {"X", "X.A", "X.Y.Z", "B.X", "B.X.C", "B.D.X", "H.3", "C", "E"}) {
    EXPECT_EQ(find(root, path), nullptr) << path;
  }
}

TEST_P(FindByPath, GivesNullBelowANodeThatIsNoObject) {
  const Value root = planted(sample());
  for (const char* const path : {"A.B", "A.A", "B.C.D", "B.D.E.F.G", "I.A"}) {
    EXPECT_EQ(find(root, path), nullptr) << path;
  }
  for (const Tree& tree : one_of_each_type()) {
    if (tree.type == VK_TYPE_OBJECT) continue;
    EXPECT_EQ(find(planted(tree), "A"), nullptr) << tree;
  }
  EXPECT_EQ(find(planted(of_no_type()), "A"), nullptr);
}

TEST_P(FindByPath, DoesNotIndexArrays) {
  const Value root = planted(sample());
  for (const char* const path : {"F.0", "F.1", "F.1.G", "F.G", "F.2"}) {
    EXPECT_EQ(find(root, path), nullptr) << path;
  }
}

TEST_P(FindByPath, KnowsNoWildcards) {
  const Value root = planted(sample());
  for (const char* const path : {"$", "*", "H.$", "H.$.Name", "H.*.Name"}) {
    EXPECT_EQ(find(root, path), nullptr) << path;
  }
}

TEST_P(FindByPath, ComparesNamesExactly) {
  const Value root = planted(sample());
  for (const char* const path : {"a", "b.C", "B.c", "H.01", "H.2", "H.1.name", "H.1.Nam", " A"}) {
    EXPECT_EQ(find(root, path), nullptr) << path;
  }
}

TEST_P(FindByPath, GivesNullInNoTree) {
  EXPECT_EQ(find(nullptr, "A"), nullptr);
  EXPECT_EQ(find(nullptr, "A.B"), nullptr);
}

TEST_P(FindByPath, ChangesAndLogsNothing) {
  const Value root = planted(sample());
  const LogSpy spy;
  const AllocationLog log;
  for (const char* const path : {"B.D.E", "B.X", "A.B", ""}) find(root, path);
  EXPECT_EQ(log.count(), 0U);
  EXPECT_THAT(spy.calls(), IsEmpty());
  EXPECT_EQ(tree_of(*root), sample());
}

TEST(FindByPathText, GivesTheRootForAPathWithoutComponents) {
  const Value root = planted(sample());
  for (const char* const path : {"", ".", ".A", "..", "..A.B"}) {
    EXPECT_EQ(vk_value_find_by_path(root.get(), path), root.get()) << path;
  }
  EXPECT_EQ(vk_value_find_by_path(root.get(), nullptr), root.get());
}

TEST(FindByPathText, EndsAtAnEmptyComponent) {
  const Value root = planted(sample());
  const vk_value* const d = vk_value_find_by_path(root.get(), "B.D");
  for (const char* const path : {"B.D.", "B.D..", "B.D..E", "B.D..X"}) {
    EXPECT_EQ(vk_value_find_by_path(root.get(), path), d) << path;
  }
}

TEST(FindByPathList, TakesComponentsAsTheyAre) {
  const Value root = planted(object({{"A.B", integer(1)}, {"", object({{".", integer(2)}})}}));
  const auto find = [&](const std::vector<std::string>& names) {
    return vk_value_find_by_path_node(root.get(), Path{names}.list());
  };
  EXPECT_EQ(tree_of(*find({"A.B"})), integer(1));
  EXPECT_EQ(tree_of(*find({"", "."})), integer(2));
  EXPECT_EQ(find({"A", "B"}), nullptr);
}

// Taking out

/// What a call takes out of a tree and what it leaves.
std::pair<Tree, Tree> extracted(const Tree& tree, const char* path) {
  const Value root = planted(tree);
  const Value taken(vk_value_extract_by_path(root.get(), path));
  EXPECT_NE(taken, nullptr) << path;
  return {tree_of(*taken), tree_of(*root)};
}

std::pair<Tree, Tree> both(const Tree& taken, const Tree& left) { return {taken, left}; }

TEST(ExtractByPath, DetachesTheNodeThatThePathNames) {
  EXPECT_EQ(extracted(object({{"A", object({{"B", object({{"C", text("c")}, {"D", any()}})}})}}),
                      "A.B.C"),
            both(text("c"), object({{"A", object({{"B", object({{"D", any()}})}})}})));
}

TEST(ExtractByPath, DetachesAMemberOfTheRoot) {
  EXPECT_EQ(extracted(object({{"A", any()}, {"B", array({integer(1)})}}), "B"),
            both(array({integer(1)}), object({{"A", any()}})));
}

TEST(ExtractByPath, TakesAllThatBelongsToTheNodeAlong) {
  const Tree taken = object({{"C", integer(1)}, {"D", text("d")}}).with({{"Error", integer(9)}});
  EXPECT_EQ(extracted(object({{"A", object({{"B", taken}})}}), "A.B"),
            both(taken, object({{"A", object({})}})));
}

TEST(ExtractByPath, DetachesFromIndexedObjects) {
  EXPECT_EQ(extracted(indexed({{"1", any()}, {"2", indexed({{"7", text("a")}})}}), "2.7"),
            both(text("a"), indexed({{"1", any()}, {"2", indexed({})}})));
}

TEST(ExtractByPath, LeavesAnObjectThatCanGrow) {
  const Tree abc = object({{"A", integer(1)}, {"B", integer(2)}, {"C", integer(3)}});
  for (std::size_t which = 0; which < abc.items.size(); ++which) {
    Tree left = abc;
    left.items.erase(left.items.begin() + static_cast<std::ptrdiff_t>(which));
    left.items.push_back(integer(4));
    left.items.back().name = "D";

    const Value root = planted(object({{"O", abc}}));
    vk_value* const parent = vk_object_find_item(root.get(), "O");
    const Value taken(vk_value_extract_by_path(root.get(), ("O." + abc.items[which].name).c_str()));
    EXPECT_EQ(vk_object_get_size(parent), 2U);
    vk_value_set_int(vk_object_init_item(parent, "D"), 4);
    EXPECT_EQ(tree_of(*root), object({{"O", left}}));
  }
}

TEST(ExtractByPath, LeavesAnEmptyObjectThatCanGrow) {
  const Value root = planted(object({{"O", object({{"A", any()}})}}));
  vk_value* const parent = vk_object_find_item(root.get(), "O");
  const Value taken(vk_value_extract_by_path(root.get(), "O.A"));
  EXPECT_TRUE(vk_object_is_empty(parent));
  EXPECT_EQ(vk_object_get_size(parent), 0U);
  vk_object_init_item(parent, "B");
  EXPECT_EQ(tree_of(*root), object({{"O", object({{"B", any()}})}}));
}

TEST(ExtractByPath, KeepsTheNameOfTheNode) {
  const Value root = planted(object({{"A", object({{"B", any()}})}}));
  EXPECT_THAT(Value(vk_value_extract_by_path(root.get(), "A.B"))->id, StrEq("B"));
  EXPECT_THAT(Value(vk_value_extract_by_path(root.get(), "A"))->id, StrEq("A"));
}

TEST(ExtractByPath, HandsTheNodeToTheCaller) {
  Value root = planted(object({{"A", object({{"B", text("b")}})}}));
  const Value taken(vk_value_extract_by_path(root.get(), "A.B"));
  root.reset();
  EXPECT_EQ(tree_of(*taken), text("b"));
}

TEST(ExtractByPath, GivesTheRootStillInItsPlaceForAPathWithoutComponents) {
  const Tree tree = object({{"A", any()}, {"B", object({{"C", any()}})}, {"D", any()}});
  const Value parent = planted(tree);
  vk_value* const root = vk_object_find_item(parent.get(), "B");
  for (const char* const path : {"", ".", ".C", "..C"}) {
    EXPECT_EQ(vk_value_extract_by_path(root, path), root) << path;
  }
  EXPECT_EQ(vk_value_extract_by_path(root, nullptr), root);
  EXPECT_EQ(tree_of(*parent), tree);
}

TEST(ExtractByPath, GivesARootOfAnyTypeForTheEmptyPath) {
  for (const Tree& tree : one_of_each_type()) {
    const Value root = planted(tree);
    EXPECT_EQ(vk_value_extract_by_path(root.get(), ""), root.get());
    EXPECT_EQ(vk_value_extract_by_path(root.get(), nullptr), root.get());
  }
  EXPECT_EQ(vk_value_extract_by_path(nullptr, ""), nullptr);
  EXPECT_EQ(vk_value_extract_by_path(nullptr, nullptr), nullptr);
}

TEST(ExtractByPath, EndsAtAnEmptyComponent) {
  const Tree tree = object({{"A", object({{"B", any()}})}, {"C", any()}});
  for (const char* const path : {"A.", "A..B", "A..X"}) {
    EXPECT_EQ(extracted(tree, path), both(object({{"B", any()}}), object({{"C", any()}}))) << path;
  }
}

TEST(ExtractByPath, GivesNullAndChangesNothingWhereThereIsNoSuchNode) {
  const Value root = planted(sample());
  for (const char* const path : {"X", "X.A", "B.X", "B.X.Y", "A.B", "B.C.D", "F.0", "F.1.G", "I.A",
                                 "H.$", "H.01", "H.2", "b"}) {
    EXPECT_EQ(vk_value_extract_by_path(root.get(), path), nullptr) << path;
  }
  EXPECT_EQ(tree_of(*root), sample());
}

TEST(ExtractByPath, GivesNullFromARootThatIsNoObject) {
  for (const Tree& tree : one_of_each_type()) {
    if (tree.type == VK_TYPE_OBJECT) continue;
    const Value root = planted(tree);
    EXPECT_EQ(vk_value_extract_by_path(root.get(), "A"), nullptr);
    EXPECT_EQ(tree_of(*root), tree);
  }
  EXPECT_EQ(vk_value_extract_by_path(nullptr, "A"), nullptr);
}

TEST(ExtractByPath, AsksForNoMemoryAndLogsNothing) {
  const Value root = planted(sample());
  const LogSpy spy;
  const AllocationLog log;
  const Value taken(vk_value_extract_by_path(root.get(), "B.D.E"));
  vk_value_extract_by_path(root.get(), "B.D.E");
  EXPECT_EQ(log.count(), 0U);
  EXPECT_THAT(spy.calls(), IsEmpty());
}

}  // namespace
}  // namespace vesk::test
