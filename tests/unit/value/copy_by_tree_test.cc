#include "vesk/value/copy_by_tree.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <initializer_list>
#include <optional>

#include "lib/path_tree.h"
#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "tests/support/path_trees.h"
#include "tests/support/trees.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Optional;

const Tree::Named kError = {"Error", integer(9)};

/// What a call makes of an output that held something; nothing if it made that null.
std::optional<Tree> picked(vk_error expected, const Tree& src, const vk_path_tree* node) {
  const Value source = planted(src);
  const Value stray = new_value();
  vk_value* out = stray.get();
  EXPECT_EQ(vk_value_copy_by_tree(vk_default_allocator(), &out, source.get(), node), expected);
  EXPECT_EQ(tree_of(*source), src);
  if (out == nullptr) return std::nullopt;
  EXPECT_NE(out, stray.get());
  return tree_of(*Value(out));
}

std::optional<Tree> picked(const Tree& src, std::initializer_list<const char*> paths) {
  return picked(VK_EOK, src, path_tree(paths).get());
}

// Without paths

TEST(CopyByTree, CopiesAllWhereTheTreeHasNoPaths) {
  for (const Tree& src : one_of_each_type()) EXPECT_THAT(picked(src, {}), Optional(src));
  EXPECT_THAT(picked(object({}), {}), Optional(object({})));
  const Tree src = indexed({{"1", object({}, 77)}, {"2", text("b")}});
  EXPECT_THAT(picked(src, {}), Optional(src));
}

TEST(CopyByTree, CopiesWhatIsOfNoTypeAsAny) {
  EXPECT_THAT(picked(of_no_type(), {}), Optional(any()));
}

TEST(CopyByTree, LeavesAttributesOut) {
  const Tree src = object({{"A", object({{"B", integer(1).with({kError})}}).with({kError})}});
  for (const auto& tree : {path_tree({}), path_tree({"A"}), path_tree({"A.B"})}) {
    EXPECT_THAT(picked(VK_EOK, src.with({kError}), tree.get()), Optional(without_attributes(src)));
  }
}

// With paths

const Tree kSource = object({{"A", integer(1)},
                             {"B", object({{"C", text("c")}, {"D", object({{"E", hex("e")}})}})},
                             {"F", array({integer(2)})},
                             {"G", any()}});

TEST(CopyByTree, CopiesTheNamedMembersOnly) {
  EXPECT_THAT(picked(kSource, {"A"}), Optional(object({{"A", integer(1)}})));
  EXPECT_THAT(picked(kSource, {"F"}), Optional(object({{"F", array({integer(2)})}})));
  EXPECT_THAT(picked(kSource, {"G"}), Optional(object({{"G", any()}})));
}

TEST(CopyByTree, CopiesTheWholeOfAMemberAtTheEndOfAPath) {
  EXPECT_THAT(
      picked(kSource, {"B"}),
      Optional(object({{"B", object({{"C", text("c")}, {"D", object({{"E", hex("e")}})}})}})));
}

TEST(CopyByTree, CopiesTheObjectsOnTheWayToAMember) {
  EXPECT_THAT(picked(kSource, {"B.D.E"}),
              Optional(object({{"B", object({{"D", object({{"E", hex("e")}})}})}})));
}

TEST(CopyByTree, PutsTheNewestPathFirst) {
  EXPECT_THAT(picked(kSource, {"A", "B.C", "F", "B.D"}),
              Optional(object({{"F", array({integer(2)})},
                               {"B", object({{"D", object({{"E", hex("e")}})}, {"C", text("c")}})},
                               {"A", integer(1)}})));
}

TEST(CopyByTree, LetsALongerPathTakeThePlaceOfAShorterOne) {
  for (const auto& tree : {path_tree({"B", "B.C"}), path_tree({"B.C", "B"})}) {
    EXPECT_THAT(picked(VK_EOK, kSource, tree.get()),
                Optional(object({{"B", object({{"C", text("c")}})}})));
  }
}

TEST(CopyByTree, BeginsAtTheNodeThatItIsGiven) {
  const PathTree tree = path_tree({"A", "X.B.C", "X.A", "G"});
  EXPECT_THAT(picked(VK_EOK, kSource, node_at(tree, "X")),
              Optional(object({{"A", integer(1)}, {"B", object({{"C", text("c")}})}})));
  EXPECT_THAT(picked(VK_EOK, kSource, node_at(tree, "X.B.C")), Optional(kSource));
}

TEST(CopyByTree, ComparesNamesExactly) {
  const Tree src = object({{"1", integer(1)}, {"01", integer(2)}, {"$", integer(3)}, {"a", any()}});
  EXPECT_THAT(picked(src, {"01"}), Optional(object({{"01", integer(2)}})));
  EXPECT_THAT(picked(src, {"$"}), Optional(object({{"$", integer(3)}})));
  EXPECT_EQ(picked(src, {"A", "001", "*"}), std::nullopt);
}

TEST(CopyByTree, TakesNoTemplateForAnInstance) {
  const Tree src = object({{"Host", indexed({{"1", integer(1)}})}});
  EXPECT_EQ(picked(src, {"Host.$", "Host.$.Name"}), std::nullopt);
}

TEST(CopyByTree, TakesTheFirstMemberOfAName) {
  const Value source = planted(object({{"A", integer(1)}, {"B", integer(2)}}));
  rename_member(*source, "B", "A");
  vk_value* out = nullptr;
  vk_value_copy_by_tree(vk_default_allocator(), &out, source.get(), path_tree({"A"}).get());
  EXPECT_EQ(tree_of(*Value(out)), object({{"A", integer(1)}}));
}

TEST(CopyByTree, GivesOrderedObjectsOnTheWayWhateverTheSourceIs) {
  const Tree src = indexed({{"1", indexed({{"2", indexed({{"3", any()}})}})}, {"4", any()}});
  EXPECT_THAT(picked(src, {"1.2", "4"}),
              Optional(object({{"4", any()}, {"1", object({{"2", indexed({{"3", any()}})}})}})));
}

// What is not there

TEST(CopyByTree, PassesOverPathsThatTheSourceLacks) {
  EXPECT_THAT(picked(kSource, {"X", "A", "X.Y", "Z.A"}), Optional(object({{"A", integer(1)}})));
}

TEST(CopyByTree, GivesNullWithoutAnErrorWhenNothingIsFound) {
  EXPECT_EQ(picked(kSource, {"X", "Y.A"}), std::nullopt);
  EXPECT_EQ(picked(object({}), {"A"}), std::nullopt);
}

TEST(CopyByTree, LeavesOutBranchesInWhichNothingIsFound) {
  EXPECT_EQ(picked(kSource, {"B.X", "B.D.X"}), std::nullopt);
  EXPECT_THAT(picked(kSource, {"B.X", "B.D.X", "A"}), Optional(object({{"A", integer(1)}})));
  EXPECT_THAT(picked(kSource, {"B.D.X", "B.C"}),
              Optional(object({{"B", object({{"C", text("c")}})}})));
}

TEST(CopyByTree, KeepsAnEmptyObjectAtTheEndOfAPath) {
  EXPECT_THAT(picked(object({{"A", object({})}}), {"A"}), Optional(object({{"A", object({})}})));
}

TEST(CopyByTree, AsksForNoMemoryWhenNothingIsFound) {
  const Value source = planted(kSource);
  const PathTree tree = path_tree({"X", "B.X", "B.D.X.Y"});
  const AllocationLog log;
  vk_value* out = source.get();
  EXPECT_EQ(vk_value_copy_by_tree(vk_default_allocator(), &out, source.get(), tree.get()), VK_EOK);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(log.count(), 0U);
}

// Failures

TEST(CopyByTree, RefusesPathsIntoASourceThatIsNoObject) {
  for (const Tree& src : one_of_each_type()) {
    if (src.type == VK_TYPE_OBJECT) continue;
    EXPECT_EQ(picked(VK_EINVAL, src, path_tree({"A"}).get()), std::nullopt);
  }
  EXPECT_EQ(picked(VK_EINVAL, array({integer(1)}), path_tree({"0"}).get()), std::nullopt);
  EXPECT_EQ(picked(VK_EINVAL, of_no_type(), path_tree({"A"}).get()), std::nullopt);
}

TEST(CopyByTree, RefusesPathsIntoAMemberThatIsNoObject) {
  for (const char* const path : {"A.X", "F.0", "G.X", "B.C.X", "B.C.X.Y"}) {
    EXPECT_EQ(picked(VK_EINVAL, kSource, path_tree({path}).get()), std::nullopt) << path;
  }
}

TEST(CopyByTree, ReleasesWhatItHasCopiedWhenItRefuses) {
  for (const auto& tree : {path_tree({"A.X", "B.D", "F"}), path_tree({"B.C.X", "B.D", "G"})}) {
    const std::size_t before = live_blocks();
    EXPECT_EQ(picked(VK_EINVAL, kSource, tree.get()), std::nullopt);
    EXPECT_EQ(live_blocks(), before);
  }
}

TEST(CopyByTree, EndsAtTheFirstError) {
  const Value source = planted(kSource);
  const PathTree tree = path_tree({"B", "A.X"});
  const AllocationLog log;
  vk_value* out = source.get();
  EXPECT_EQ(vk_value_copy_by_tree(vk_default_allocator(), &out, source.get(), tree.get()),
            VK_EINVAL);
  EXPECT_EQ(out, nullptr);
  EXPECT_EQ(log.count(), 0U);
}

// A tree that was built by adding paths has no two children of one name.
TEST(CopyByTree, RefusesTwoChildrenOfOneName) {
  const PathTree tree = path_tree({"A", "F", "G"});
  ASSERT_EQ(rename(*node_at(tree, "A"), "G"), VK_EOK);
  const std::size_t before = live_blocks();
  EXPECT_EQ(picked(VK_EEXIST, kSource, tree.get()), std::nullopt);
  EXPECT_EQ(live_blocks(), before);
}

TEST(CopyByTree, GivesNullAndLeavesNothingBehindWheneverMemoryRunsOut) {
  const Value source = planted(kSource);
  const PathTree tree = path_tree({"B.C", "F", "B.D.E"});
  std::size_t refused = 0;
  for_every_allocation_fault([&](AllocationFault& fault) {
    const LogSpy spy;
    const AllocationLog log;
    vk_value* out = source.get();
    const vk_error error = fault.during([&] {
      return vk_value_copy_by_tree(vk_default_allocator(), &out, source.get(), tree.get());
    });
    const std::size_t asked = log.count();
    EXPECT_EQ(tree_of(*source), kSource);
    if (!fault.struck()) {
      EXPECT_EQ(error, VK_EOK);
      EXPECT_EQ(asked, refused);
      EXPECT_NE(out, nullptr);
      vk_value_delete(out);
      refused = 0;
      return;
    }
    EXPECT_EQ(error, VK_ENOMEM);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(asked, ++refused) << "the call went on";
    EXPECT_THAT(spy.lines(),
                ElementsAre(allocation_failure(log.size_of(asked - 1) - kOwnerWord, "default")));
  });
}

// Where it lies, and what it leaves alone

TEST(CopyByTree, LiesWhollyOnTheHeapThatItIsGiven) {
  const Heap heap{vk_mm_heap_new("own")};
  const Value source = planted(kSource);
  for (const auto& tree : {path_tree({}), path_tree({"A", "B.C", "B.D.E"})}) {
    vk_value* out = nullptr;
    EXPECT_EQ(vk_value_copy_by_tree(heap.get(), &out, source.get(), tree.get()), VK_EOK);
    EXPECT_THAT(heaps_of(*Value(out)), ElementsAre(heap.get()));
  }
}

TEST(CopyByTree, HasNoName) {
  const Value parent = planted(object({{"X", kSource}}));
  for (const auto& tree : {path_tree({}), path_tree({"A"})}) {
    vk_value* out = nullptr;
    vk_value_copy_by_tree(vk_default_allocator(), &out, parent->payload.items.first, tree.get());
    EXPECT_EQ(Value(out)->id, nullptr);
  }
}

TEST(CopyByTree, LeavesThePathTreeAlone) {
  const PathTree tree = path_tree({"B.C", "A", "X"});
  vk_path_set_current(node_at(tree, "B.C"));
  picked(VK_EOK, kSource, tree.get());
  EXPECT_EQ(shape(tree), "X A B(C)");
  EXPECT_EQ(threaded(tree), "B.C");
}

TEST(CopyByTree, LogsNothingOfOrderedObjects) {
  const LogSpy spy;
  picked(kSource, {"A", "B.D", "X"});
  picked(VK_EINVAL, kSource, path_tree({"A.X"}).get());
  EXPECT_THAT(spy.calls(), IsEmpty());
}

}  // namespace
}  // namespace vesk::test
