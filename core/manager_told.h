#pragma once

// The values of which the management server was told, by the names of parameters. There is room for
// so much that the record of what is kept stays well within a message.

#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "lib/value/node.h"

namespace vesk::core::dm {

/// A value in the bytes of the wire; not charged to the account of messages, for it stays.
using Leaf = std::vector<std::byte>;
Leaf leaf_of(const vk_value& value);

/// Whether a name is that of a parameter or object, or below that object.
inline bool is_at_or_below(std::string_view name, std::string_view above) {
  const bool is_object = above.empty() || above.back() == '.';
  return is_object ? name.starts_with(above) : name == above;
}

class Told {
 public:
  using Map = std::map<std::string, Leaf, std::less<>>;

  static constexpr std::size_t kMostValues = 8192;
  static constexpr std::size_t kMostBytes = 384 << 10;  ///< in the record

  const Map& values() const { return values_; }
  /// The value that was told of a parameter; null if none was.
  const Leaf* find(std::string_view name) const;
  /// False, and nothing has changed, if there is no room for it.
  bool put(const std::string& name, Leaf value);

  /// Erases those at or below a name that a predicate of their names is true of.
  /// @return whether there were any
  template <typename Predicate>
  bool erase_if(std::string_view above, const Predicate& predicate);

  /// Takes values back to what they were, where they still are what they became.
  void take_back(Told before, const Told& after) noexcept;

 private:
  static std::size_t size_of(std::string_view name, const Leaf& value);

  Map values_;
  std::size_t bytes_ = 0;
};

/// Takes a map back to what it was, where it still is what it became: what others have changed
/// since stays. Allocates nothing.
template <typename Map>
void take_back_entries(Map& now, Map& before, const Map& after) noexcept {
  for (const auto& [name, became] : after) {
    const auto is = now.find(name);
    const auto was = before.find(name);
    if (is == now.end()) {
      if (was != before.end()) before.erase(was);
    } else if (is->second == became) {
      if (was == before.end()) {
        now.erase(is);
      } else {
        is->second = std::move(was->second);
      }
    }
  }
  now.merge(before);
}

template <typename Predicate>
bool Told::erase_if(std::string_view above, const Predicate& predicate) {
  const std::size_t count = values_.size();
  for (auto at = values_.lower_bound(above); at != values_.end() && at->first.starts_with(above);) {
    if (is_at_or_below(at->first, above) && predicate(at->first)) {
      bytes_ -= size_of(at->first, at->second);
      at = values_.erase(at);
    } else {
      ++at;
    }
  }
  return values_.size() != count;
}

}  // namespace vesk::core::dm
