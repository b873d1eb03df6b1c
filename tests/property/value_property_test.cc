#include <gtest/gtest.h>
#include <rapidcheck.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/property/tree_generators.h"
#include "tests/support/path_trees.h"
#include "tests/support/text_stream.h"
#include "tests/support/trees.h"
#include "vesk/value/by_path.h"
#include "vesk/value/compare.h"
#include "vesk/value/copy.h"
#include "vesk/value/merge.h"
#include "vesk/value/text.h"
#include "vesk/value/writer.h"

namespace vesk::test {
namespace {

// Random leaves

rc::Gen<int32_t> numbers_from_0() {
  return gen::suchThat(numbers<int32_t>(), [](int32_t number) { return number >= 0; });
}

rc::Gen<vk_datetime> datetimes(const rc::Gen<int32_t>& times, uint32_t kind) {
  return gen::construct<vk_datetime>(
      times, gen::just(kind), gen::oneOf(gen::just(0U), gen::inRange<uint32_t>(0, 1'000'000)));
}

/// The leaves that a text can say: of flags 0 and 1; of dateTimes the unknown one without more,
/// times since boot from 0 on, and all absolute times but the second that stands for a failure.
rc::Gen<Tree> any_leaf_with_a_text() {
  return leaves(
      gen::inRange<uint8_t>(0, 2),
      gen::oneOf(datetimes(gen::distinctFrom(numbers<int32_t>(), -1), VK_DATETIME_ABSOLUTE),
                 datetimes(numbers_from_0(), VK_DATETIME_RELATIVE),
                 gen::just(vk_datetime{0, VK_DATETIME_UNKNOWN, 0})));
}

// Random trees

const rc::Gen<Tree> kTrees = trees({}, 3);
const rc::Gen<Tree> kSmallTrees = trees({}, 1);

// The nodes themselves

RC_GTEST_PROP(PlantedTree, IsReadBack, ()) {
  const Tree tree = *kTrees;
  RC_ASSERT(tree_of(*planted(tree)) == tree);
}

// Copies

RC_GTEST_PROP(CopiedTree, IsItsSourceButForTheAttributes, ()) {
  const Tree tree = *kTrees;
  const Value source = planted(tree);
  const Value copy = planted(*kTrees);
  RC_ASSERT(vk_value_copy(copy.get(), source.get()) == VK_EOK);
  RC_ASSERT(tree_of(*copy) == without_attributes(tree));
  RC_ASSERT(tree_of(*source) == tree);
}

RC_GTEST_PROP(CopiedTree, EqualsItsSourceUnlessThereAreArraysInIt, ()) {
  const Tree tree = *kTrees;
  const Value source = planted(tree);
  const Value copy = new_value();
  RC_ASSERT(vk_value_copy(copy.get(), source.get()) == VK_EOK);
  RC_ASSERT(vk_value_equal(copy.get(), source.get()) == !has_array(tree));
  RC_ASSERT(vk_value_equal(source.get(), copy.get()) == !has_array(tree));
}

// Equality

/// A tree with all that equality passes over made the same: the order of members, policies,
/// attributes.
Tree essence(Tree tree) {
  tree.attributes.clear();
  tree.policy = 0;
  for (Tree& item : tree.items) item = essence(std::move(item));
  std::sort(tree.items.begin(), tree.items.end(),
            [](const Tree& a, const Tree& b) { return a.name < b.name; });
  return tree;
}

/// Another tree with the same essence.
Tree disguised(Tree tree) {
  tree.attributes.clear();
  for (Tree& item : tree.items) item = disguised(std::move(item));
  if (tree.type != VK_TYPE_OBJECT) return tree;
  std::reverse(tree.items.begin(), tree.items.end());
  tree.policy = VK_POLICY_ORDERED;
  return tree;
}

std::size_t count_nodes(const Tree& tree) {
  std::size_t count = 1;
  for (const Tree& item : tree.items) count += count_nodes(item);
  return count;
}

/// Replaces one node of a tree, counted with the parents first.
void replace(Tree& tree, std::size_t which, const Tree& other) {
  if (which == 0) {
    const std::string name = tree.name;
    tree = other;
    tree.name = name;
    return;
  }
  --which;
  for (Tree& item : tree.items) {
    const std::size_t nodes = count_nodes(item);
    if (which < nodes) return replace(item, which, other);
    which -= nodes;
  }
}

const rc::Gen<Tree> kComparableTrees = trees({.arrays = false}, 2);

RC_GTEST_PROP(EqualTrees, AreThoseThatDifferInOrderPoliciesAndAttributesOnly, ()) {
  const Tree tree = *kTrees;
  const Value a = planted(tree);
  const Value b = planted(disguised(tree));
  RC_ASSERT(vk_value_equal(a.get(), b.get()) == !has_array(tree));
}

RC_GTEST_PROP(EqualTrees, AreThoseOfOneEssence, ()) {
  const Tree tree = *kComparableTrees;
  Tree other = disguised(tree);
  if (*gen::arbitrary<bool>()) {
    replace(other, *gen::inRange<std::size_t>(0, count_nodes(tree)), *kComparableTrees);
  }
  const Value a = planted(tree);
  const Value b = planted(other);
  const bool same = essence(tree) == essence(other);
  RC_ASSERT(vk_value_equal(a.get(), b.get()) == same);
  RC_ASSERT(vk_value_equal(b.get(), a.get()) == same);
}

// Texts

RC_GTEST_PROP(WrittenLeaf, IsParsedAsAnEqualLeaf, ()) {
  const Tree leaf = *any_leaf_with_a_text();
  const Value written = planted(leaf);
  TextStream stream;
  vk_value_write(stream.get(), written.get());
  RC_ASSERT(stream.error() == VK_EOK);
  const Value parsed = new_value();
  RC_ASSERT(vk_value_set_from_string(parsed.get(), leaf.type, stream.text().c_str()) == VK_EOK);
  RC_ASSERT(vk_value_equal(parsed.get(), written.get()));
  RC_ASSERT(tree_of(*parsed) == leaf);
}

// Merging

const Kinds kMergeable = {.arrays = false, .indexed = false};
const rc::Gen<Tree> kMergeableObjects = objects(kMergeable, 3);
const rc::Gen<Tree> kMergeableTrees = trees(kMergeable, 3);

RC_GTEST_PROP(MergedTree, IsACopyInAnEmptyObject, ()) {
  const Tree tree = *kMergeableObjects;
  const Value source = planted(tree);
  const Value merged = new_object();
  const Value copy = new_value();
  RC_ASSERT(vk_value_merge(merged.get(), source.get()) == VK_EOK);
  RC_ASSERT(vk_value_copy(copy.get(), source.get()) == VK_EOK);
  RC_ASSERT(tree_of(*merged) == tree_of(*copy));
  RC_ASSERT(vk_value_equal(merged.get(), copy.get()));
}

// What merging makes of a tree, member by member.
void merge(Tree& dst, const Tree& src, bool create) {
  if (src.type == VK_TYPE_ANY) return;
  if (src.type != VK_TYPE_OBJECT || dst.type != VK_TYPE_OBJECT) {
    const std::string name = dst.name;
    dst = src.type == VK_TYPE_OBJECT ? object({}) : without_attributes(src);
    dst.name = name;
  }
  for (const Tree& member : src.items) {
    Tree* below = find(dst.items, member.name);
    if (below == nullptr && create) below = &insert(dst, member.name, any());
    if (below != nullptr) merge(*below, member, create);
  }
}

RC_GTEST_PROP(MergedTree, IsWhatMergingMemberByMemberMakes, ()) {
  const Tree before = *kMergeableTrees;
  const Tree src = *kMergeableTrees;
  const bool create = *gen::arbitrary<bool>();
  const Value source = planted(src);
  const Value merged = planted(before);
  const auto apply = create ? vk_value_merge : vk_value_update;
  RC_ASSERT(apply(merged.get(), source.get()) == VK_EOK);
  Tree expected = before;
  merge(expected, src, create);
  RC_ASSERT(tree_of(*merged) == expected);
}

// Paths

/// Names so few that a random path often leads along members.
rc::Gen<std::string> path_names() { return gen::element<std::string>("A", "B", "1", "2"); }

rc::Gen<std::vector<std::string>> paths() {
  return gen::nonEmpty(gen::resize(4, gen::container<std::vector<std::string>>(path_names())));
}

const rc::Gen<Tree> kTreesWithPaths =
    objects({.names = path_names(), .instances = gen::element<std::string>("1", "2", "02")}, 3);

struct Way {
  vk_error result;  // of inserting at its end
  Tree tree;        // with the objects on the way
  bool to_object;   // whether what shall hold the child is an object; otherwise nothing is promised
};

Way way_through(Tree tree, const std::vector<std::string>& names) {
  Tree* current = &tree;
  const auto cannot_hold = [&](const std::string& name) {
    return current->policy == VK_POLICY_INDEXED && vk_path_str_to_index(name.c_str()) == 0;
  };
  for (std::size_t i = 0; i + 1 < names.size(); ++i) {
    if (current->type != VK_TYPE_OBJECT) return {VK_ENOENT, tree, true};
    Tree* below = find(current->items, names[i]);
    if (below == nullptr && cannot_hold(names[i])) return {VK_ENOMEM, tree, true};
    current = below != nullptr ? below : &insert(*current, names[i], object({}));
  }
  const bool to_object = current->type == VK_TYPE_OBJECT;
  if (find(current->items, names.back()) != nullptr) return {VK_EEXIST, tree, to_object};
  return {cannot_hold(names.back()) ? VK_EINVAL : VK_EOK, tree, to_object};
}

RC_GTEST_PROP(InsertedTree, IsTakenOutAgainAndLeavesTheObjectsOnTheWay, ()) {
  const Tree tree = *kTreesWithPaths;
  const std::vector<std::string> names = *paths();
  const Tree belongings = *kSmallTrees;
  const Way way = way_through(tree, names);
  RC_PRE(way.to_object);

  const Path path{names};
  const Value root = planted(tree);
  Value child = planted(belongings);
  const vk_error result = vk_value_insert_by_path(root.get(), path.list(), child.get());
  RC_ASSERT(result == way.result);
  if (result == VK_EOK) {
    vk_value* const node = child.release();
    RC_ASSERT(vk_value_find_by_path(root.get(), path.text()) == node);
    RC_ASSERT(vk_value_find_by_path_node(root.get(), path.list()) == node);
    child.reset(vk_value_extract_by_path(root.get(), path.text()));
    RC_ASSERT(child.get() == node);
    RC_ASSERT(name_of(*child) == names.back());
  }
  RC_ASSERT(tree_of(*child) == belongings);
  RC_ASSERT(tree_of(*root) == way.tree);
}

}  // namespace
}  // namespace vesk::test
