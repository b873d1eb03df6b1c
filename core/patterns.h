#pragma once

// Patterns of components and what is registered at them. "$" stands for any instance number.
//
// Registrations are kept in the order in which requests are tried: longer patterns first, of equal
// length literal before "$" from the left, at one pattern the oldest first.

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "core/call.h"

namespace vesk::core {

/// A tree of components; each node holds the numbers registered at its pattern.
class Patterns {
 public:
  /// If it throws for want of memory, `remove` takes back what it did.
  /// @param id greater than all before it
  void add(const Path& pattern, uint64_t id);
  void remove(const Path& pattern, uint64_t id);

  /// What is registered at or above a path, in the order in which it is tried.
  std::vector<uint64_t> match(const Path& path) const;

 private:
  struct Node {
    std::map<std::string, std::unique_ptr<Node>> children;
    std::vector<uint64_t> ids;
  };

  static bool remove_below(Node& node, const Path& pattern, std::size_t depth, uint64_t id);

  Node root_;
};

/// Whether the first of two patterns is tried before the second; false for patterns that differ in
/// their literals only.
bool tried_before(const Path& left, const Path& right);

/// Whether a path lies at or below a prefix, component by component.
bool is_at_or_below(const Path& path, const Path& prefix);

}  // namespace vesk::core
