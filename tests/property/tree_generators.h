#pragma once

// Random value trees.

#include <rapidcheck.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/trees.h"
#include "vesk/path.h"

namespace vesk::test {

namespace gen = rc::gen;

// Random leaves

/// Numbers of any size, small ones and the ends of the range alike.
template <typename Number>
rc::Gen<Number> numbers() {
  using Limits = std::numeric_limits<Number>;
  return gen::oneOf(gen::resize(rc::kNominalSize, gen::arbitrary<Number>()),
                    gen::inRange<Number>(0, 4),
                    gen::element<Number>(Limits::min(), static_cast<Number>(Limits::min() + 1),
                                         static_cast<Number>(Limits::max() - 1), Limits::max()));
}

inline rc::Gen<std::string> texts_of(const rc::Gen<char>& characters) {
  return gen::resize(10, gen::container<std::string>(characters));
}

inline rc::Gen<std::string> any_text() {
  return texts_of(gen::distinctFrom(numbers<char>(), '\0'));
}

inline rc::Gen<Tree> leaves(const rc::Gen<uint8_t>& flags, const rc::Gen<vk_datetime>& datetimes) {
  const rc::Gen<std::string> bytes = texts_of(numbers<char>());
  return gen::oneOf(
      gen::map(bytes, base64), gen::map(bytes, hex), gen::map(any_text(), text),
      gen::map(flags, boolean), gen::map(datetimes, date), gen::map(numbers<int32_t>(), integer),
      gen::map(numbers<uint32_t>(), unsigned_integer), gen::map(numbers<int64_t>(), long_integer),
      gen::map(numbers<uint64_t>(), unsigned_long));
}

inline rc::Gen<Tree> any_leaf() {
  return leaves(
      numbers<uint8_t>(),
      gen::construct<vk_datetime>(numbers<int32_t>(), numbers<uint32_t>(), numbers<uint32_t>()));
}

// Random trees

using Trees = std::vector<Tree>;

inline Tree* find(Trees& trees, const std::string& name) {
  const auto found =
      std::find_if(trees.begin(), trees.end(), [&](const Tree& tree) { return tree.name == name; });
  return found == trees.end() ? nullptr : &*found;
}

inline uint32_t index_of(const Tree& member) { return vk_path_str_to_index(member.name.c_str()); }

/// Puts a member where the policy of its object wants it.
inline Tree& insert(Tree& object, const std::string& name, Tree member) {
  member.name = name;
  const auto is_before = [](const Tree& a, const Tree& b) { return index_of(a) < index_of(b); };
  const auto place =
      object.policy == VK_POLICY_INDEXED
          ? std::upper_bound(object.items.begin(), object.items.end(), member, is_before)
          : object.items.end();
  return *object.items.insert(place, std::move(member));
}

/// An object of those of the members that are the first of their names.
inline Tree object_of(uint32_t policy, const Trees& members) {
  Tree tree = object({}, policy);
  for (const Tree& member : members) {
    if (find(tree.items, member.name) == nullptr) insert(tree, member.name, member);
  }
  return tree;
}

inline Trees without_names(Trees trees) {
  for (Tree& tree : trees) tree.name.clear();
  return trees;
}

inline Tree array_of(const Trees& elements) { return array(without_names(elements)); }

inline bool has_array(const Tree& tree) {
  return tree.type == VK_TYPE_ARRAY || std::any_of(tree.items.begin(), tree.items.end(), has_array);
}

/// What trees are made of.
struct Kinds {
  rc::Gen<std::string> names = gen::oneOf(gen::element<std::string>("A", "B", "C"), any_text());
  rc::Gen<std::string> instances = gen::element<std::string>("1", "01", "2", "3", "10", "-1");
  bool arrays = true;
  bool indexed = true;
  bool attributes = true;
};

inline rc::Gen<Tree> trees(const Kinds& kinds, int depth);

inline rc::Gen<Trees> lists(const Kinds& kinds, const rc::Gen<std::string>& names, int depth) {
  const auto named = [](Tree tree, std::string name) {
    tree.name = std::move(name);
    return tree;
  };
  return gen::resize(4, gen::container<Trees>(gen::apply(named, trees(kinds, depth), names)));
}

inline rc::Gen<Tree> objects(const Kinds& kinds, int depth) {
  return gen::map(lists(kinds, kinds.names, depth),
                  [](const Trees& members) { return object_of(VK_POLICY_ORDERED, members); });
}

inline rc::Gen<Tree> indexed_objects(const Kinds& kinds, int depth) {
  return gen::map(lists(kinds, kinds.instances, depth),
                  [](const Trees& members) { return object_of(VK_POLICY_INDEXED, members); });
}

inline rc::Gen<Tree> arrays(const Kinds& kinds, int depth) {
  return gen::map(lists(kinds, kinds.names, depth), array_of);
}

inline rc::Gen<Tree> plain_trees(const Kinds& kinds, int depth) {
  if (depth == 0) return gen::weightedOneOf<Tree>({{5, any_leaf()}, {1, gen::just(any())}});
  const std::size_t of_arrays = kinds.arrays ? 1 : 0;
  const std::size_t of_indexed = kinds.indexed ? 1 : 0;
  return gen::weightedOneOf<Tree>({{1, plain_trees(kinds, 0)},
                                   {3, objects(kinds, depth - 1)},
                                   {of_arrays, arrays(kinds, depth - 1)},
                                   {of_indexed, indexed_objects(kinds, depth - 1)}});
}

inline rc::Gen<Tree> with_attributes(const rc::Gen<Tree>& plain) {
  const auto with = [](Tree tree, const std::string& name, Tree attribute) {
    attribute.name = name;
    tree.attributes = {std::move(attribute)};
    return tree;
  };
  return gen::apply(with, plain, any_text(), any_leaf());
}

/// Trees of up to some levels below the root; a failing one shrinks to one of its parts.
inline rc::Gen<Tree> trees(const Kinds& kinds, int depth) {
  rc::Gen<Tree> plain = gen::shrink(plain_trees(kinds, depth), [](const Tree& tree) {
    return rc::seq::fromContainer(without_names(tree.items));
  });
  if (!kinds.attributes) return plain;
  return gen::weightedOneOf<Tree>({{4, plain}, {1, with_attributes(plain)}});
}

}  // namespace vesk::test
