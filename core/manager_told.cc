#include "core/manager_told.h"

#include "core/manager_tree.h"

namespace vesk::core::dm {
namespace {

constexpr std::size_t kFrame = 48;  // bytes of the record around a name and its value

}  // namespace

Leaf leaf_of(const vk_value& value) {
  const Bytes bytes = encode(value);
  return {bytes.begin(), bytes.end()};
}

std::size_t Told::size_of(std::string_view name, const Leaf& value) {
  return kFrame + name.size() + value.size();
}

const Leaf* Told::find(std::string_view name) const {
  const auto found = values_.find(name);
  return found == values_.end() ? nullptr : &found->second;
}

bool Told::put(const std::string& name, Leaf value) {
  const Leaf* const old = find(name);
  const std::size_t freed = old == nullptr ? 0 : size_of(name, *old);
  const std::size_t bytes = bytes_ - freed + size_of(name, value);
  if (bytes > kMostBytes || (old == nullptr && values_.size() == kMostValues)) return false;
  values_[name] = std::move(value);
  bytes_ = bytes;
  return true;
}

void Told::take_back(Told before, const Told& after) noexcept {
  take_back_entries(values_, before.values_, after.values_);
  bytes_ = 0;
  for (const auto& [name, value] : values_) bytes_ += size_of(name, value);
}

}  // namespace vesk::core::dm
