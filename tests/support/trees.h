#pragma once

// Value trees in the words of the tests: a plain description that can be compared and printed, from
// which nodes are made and into which they are read back.

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <ostream>
#include <set>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tests/support/values.h"
#include "vesk/error.h"
#include "vesk/mm/heap.h"
#include "vesk/value/node.h"

namespace vesk::test {

/// What a dateTime holds.
struct Moment {
  int32_t time;
  uint32_t kind;
  uint32_t usec;

  bool operator==(const Moment&) const = default;
};

/// All that can be told of a tree from outside, but for the name of its root.
struct Tree {
  using Named = std::pair<std::string, Tree>;
  using Payload = std::variant<std::monostate, int32_t, uint32_t, int64_t, uint64_t, uint8_t,
                               std::string, Moment>;

  vk_type type = VK_TYPE_ANY;
  uint32_t policy = 0;           ///< of an object; of others 0
  Payload payload = {};          ///< of a leaf
  std::string name = {};         ///< of a member or attribute
  std::vector<Tree> items = {};  ///< members or elements, in order
  std::vector<Tree> attributes = {};

  bool operator==(const Tree&) const = default;

  /// The same tree with attributes on its root.
  Tree with(std::initializer_list<Named> named) const;
};

std::ostream& operator<<(std::ostream& out, const Tree& tree);

// Descriptions of trees.

Tree any();
Tree array(std::vector<Tree> elements);
Tree base64(const std::string& bytes);
Tree boolean(uint8_t flag);
Tree date(const vk_datetime& datetime);
Tree hex(const std::string& bytes);
Tree integer(int32_t number);
Tree long_integer(int64_t number);
Tree text(const std::string& characters);
Tree unsigned_integer(uint32_t number);
Tree unsigned_long(uint64_t number);

Tree object(std::initializer_list<Tree::Named> members, uint32_t policy = VK_POLICY_ORDERED);
inline Tree indexed(std::initializer_list<Tree::Named> members) {
  return object(members, VK_POLICY_INDEXED);
}

/// A node whose type is not one of the twelve.
Tree of_no_type(vk_type type = VK_TYPE_UNSIGNEDLONG + 1);

/// A tree of each type, in the order of the types' numbers.
std::vector<Tree> one_of_each_type();

/// A tree of each leaf type.
std::vector<Tree> one_of_each_leaf();

Tree without_attributes(Tree tree);

// Nodes.

/// The nodes of a tree.
Value planted(const Tree& tree, vk_allocator* heap = vk_default_allocator());

/// Reads nodes back, and expects them to have no defect.
Tree tree_of(const vk_value& value);

/// What is wrong with the records, links and counts of a tree; empty if nothing is.
std::string defect_of(const vk_value& value);

/// The heaps on which the nodes of a tree, their names, texts and bytes lie.
std::set<const vk_allocator*> heaps_of(const vk_value& value);

/// Gives a member the name of another one, which only a renaming in place can do.
void rename_member(vk_value& object, const char* name, const char* other);

/// Makes a call on the nodes of a tree with its first allocation refused, then its second, and so
/// on. Each time it must answer `VK_ENOMEM`, log that allocation's failure as the last thing, ask
/// for nothing more, leak nothing, and leave the tree as `after` says of that allocation. There
/// must be one state for each allocation.
void expect_after_each_refusal(const Tree& before, const std::vector<Tree>& after,
                               const std::function<vk_error(vk_value*)>& call);

}  // namespace vesk::test
