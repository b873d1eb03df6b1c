#include "core/manager_path.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

#include "vesk/path.h"

namespace vesk::core::dm {
namespace {

constexpr std::string_view kPrefix = "dm.";  // what is put before a name on its way to a handler

bool is_digit(char c) { return c >= '0' && c <= '9'; }

// What looks like a number to the library, or begins like one, must be one in the one form. "$" is
// what patterns call an instance; nothing has that name.
bool is_sound(const std::string& component, const rt::Limits& limits) {
  if (component.empty() || component == "$" || component.size() > limits.name) return false;
  const bool numeric = is_digit(component.front()) || vk_path_str_to_index(component.c_str()) != 0;
  return !numeric || is_instance(component);
}

bool can_be_asked_for(std::size_t length, const rt::Limits& limits) {
  return length + kPrefix.size() <= limits.path;
}

}  // namespace

std::optional<Name> read_name(std::string_view text, const rt::Limits& limits) {
  if (text.empty() || text == ".") return Name{{}, true};
  if (!can_be_asked_for(text.size(), limits)) return std::nullopt;
  Name name{{}, text.back() == '.'};
  if (name.partial) text.remove_suffix(1);
  for (std::size_t from = 0; from <= text.size();) {
    const std::size_t end = std::min(text.find('.', from), text.size());
    name.path.emplace_back(text.substr(from, end - from));
    if (!is_sound(name.path.back(), limits)) return std::nullopt;
    from = end + 1;
  }
  return name;
}

std::string joined(const Path& path) {
  std::string text;
  for (const std::string& component : path) {
    if (!text.empty()) text += '.';
    text += component;
  }
  return text;
}

std::string joined_object(const Path& path) {
  std::string text = joined(path);
  if (!text.empty()) text += '.';
  return text;
}

Path child_of(const Path& path, const std::string& name) {
  Path longer = path;
  longer.push_back(name);
  return longer;
}

bool can_be_child(const std::string& name, std::size_t above, const rt::Limits& limits) {
  if (name.find('.') != std::string::npos || !is_sound(name, limits)) return false;
  return can_be_asked_for(above + name.size(), limits);
}

bool is_instance(std::string_view component) {
  if (component.empty() || component.size() > 10 || component.front() == '0') return false;
  if (!std::all_of(component.begin(), component.end(), is_digit)) return false;
  uint64_t number = 0;
  for (const char digit : component) number = number * 10 + static_cast<uint64_t>(digit - '0');
  return number <= std::numeric_limits<uint32_t>::max();
}

}  // namespace vesk::core::dm
