#include "core/manager_walk.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <utility>

#include "core/log.h"
#include "core/manager_faults.h"
#include "vesk/dmmgr/frame.h"

namespace vesk::core::dm {
namespace {

constexpr const char kAnyInstance[] = "$";
constexpr std::size_t kPrefix = 1;  // components of a pattern before those of a path: "dm"
constexpr uint32_t kEnvelope = 2;   // nodes above a tree in an answer: object, its list
constexpr uint32_t kOverlap = 4;    // how often what is answered may be overridden

bool matches(const std::string& pattern, const std::string& component) {
  return pattern == component || (pattern == kAnyInstance && is_instance(component));
}

// Whether pattern and path agree as far as the shorter of them goes.
bool agree(const Path& pattern, const Path& path) {
  const std::size_t length = std::min(pattern.size() - kPrefix, path.size());
  return std::equal(
      path.begin(), path.begin() + static_cast<std::ptrdiff_t>(length), pattern.begin() + kPrefix,
      [](const auto& component, const auto& part) { return matches(part, component); });
}

bool is_deeper(const Registration& registration, const Path& path) {
  return registration.pattern.size() - kPrefix > path.size();
}

// A path as the router knows it.
Path dm_path(const Path& path) {
  Path whole{"dm"};
  whole.insert(whole.end(), path.begin(), path.end());
  return whole;
}

// Takes "ParameterList" out of an answer; null if there is none.
OwnedValue list_of(vk_value& answer) {
  const bool there = member(answer, "ParameterList") != nullptr;
  return OwnedValue(there ? vk_object_extract(&answer, "ParameterList") : nullptr);
}

// Takes out of a tree, with all below, what nothing can be called, and tells the last of these.
// @param above how long the name of the tree is, with the final "."
void drop_unsound(vk_value& tree, std::size_t above, const rt::Limits& limits,
                  std::string& dropped) {
  if (tree.type != VK_TYPE_OBJECT) return;
  std::vector<std::string> unsound;
  for (vk_value& child : each_item(tree)) {
    if (can_be_child(child.id, above, limits)) {
      drop_unsound(child, above + std::strlen(child.id) + 1, limits, dropped);
    } else {
      unsound.emplace_back(child.id);
    }
  }
  for (const std::string& name : unsound) OwnedValue(vk_object_extract(&tree, name.c_str()));
  if (!unsound.empty()) dropped = unsound.back();
}

std::size_t size_of(const Path& path) {
  std::size_t size = 0;
  for (const std::string& component : path) size += component.size() + 1;
  return size;
}

// An answer that breaks a limit, or the format, is no handler's word on what it was asked.
uint32_t status_of(const Answer& answer) {
  return answer.unheard && answer.status == VK_EINVAL ? VK_ENOMEM : answer.status;
}

}  // namespace

Answer answer_within(const rt::Limits& limits, const vk_value& value) {
  Bytes tree = encode(value);
  if (!is_within(limits, tree)) throw Refusal(VK_ENOMEM);
  return {VK_EOK, std::move(tree)};
}

Walk::Walk(Router& router, CallPtr call, uint32_t flags, const ManagerOptions& options,
           const Heap& heap)
    : router_(router),
      call_(std::move(call)),
      flags_(flags & ~kByServer),
      limits_(options.limits),
      complain_(options.complain),
      heap_(heap),
      registrations_(router.registrations("dm")) {}

void Walk::check_wanted() const {
  if (is_abandoned()) throw Abandoned();
}

asio::awaitable<Reply> Walk::asked(asio::awaitable<Answer> answer) {
  const Answer got = co_await std::move(answer);
  Reply reply{status_of(got), heap_.read(got.value), got.value.size()};
  co_return reply;
}

Request Walk::request(uint32_t action, Path path, const vk_value* arguments) const {
  const OwnedValue value = heap_.object();
  if (arguments != nullptr) copy(*value, *arguments);
  if (flags_ != 0) check(vk_object_set_uint(value.get(), "dm-flags", flags_));
  return {std::move(path), action, shared(*value)};
}

asio::awaitable<Reply> Walk::ask(uint64_t registration, uint32_t action, const Path& path,
                                 const vk_value* arguments) {
  check_wanted();
  return asked(router_.ask(call_, registration, request(action, dm_path(path), arguments)));
}

asio::awaitable<Reply> Walk::ask(const Registration& registration, uint32_t action) {
  check_wanted();
  Request to_pattern = request(action, registration.pattern, nullptr);
  return asked(router_.ask(call_, registration.id, std::move(to_pattern)));
}

bool Walk::has_vanished(const Reply& reply, uint64_t registration) const {
  if (reply.status != VK_EIO) return false;
  const std::vector<Registration> all = router_.registrations("dm");
  return std::none_of(all.begin(), all.end(),
                      [&](const Registration& each) { return each.id == registration; });
}

bool Walk::says(const Reply& reply, uint64_t registration, const Path& path) const {
  if (reply.status == VK_EOK) return true;
  if (reply.status == VK_ENOANSWER) return false;
  if (has_vanished(reply, registration)) return false;
  throw Refusal(fault(joined(path), reply.status));
}

void Walk::charge(std::size_t nodes, std::size_t bytes) {
  nodes_ += nodes;
  bytes_ += bytes;
  if (nodes_ / kOverlap > limits_.nodes) throw Refusal(VK_ENOMEM);
  if (bytes_ / kOverlap > limits_.message) throw Refusal(VK_ENOMEM);
}

void Walk::check_depth(const Path& path) const {
  if (path.size() + kEnvelope > limits_.depth) throw Refusal(VK_ENOMEM);
}

std::vector<Registration> Walk::at_or_above(const Path& path) const {
  std::vector<Registration> found;
  for (const Registration& each : registrations_) {
    if (!is_deeper(each, path) && agree(each.pattern, path)) found.push_back(each);
  }
  return found;
}

asio::awaitable<std::vector<Registration>> Walk::below(Path path) {
  std::vector<Registration> found;
  for (const Registration& each : registrations_) {
    if (!is_deeper(each, path) || !agree(each.pattern, path)) continue;
    const bool there = co_await names_instances(each, path);
    if (there) found.push_back(each);
  }
  co_return found;
}

asio::awaitable<bool> Walk::names_instances(Registration registration, Path path) {
  for (std::size_t at = 0; at != path.size(); ++at) {
    if (registration.pattern[at + kPrefix] != kAnyInstance) continue;
    Path table(path.begin(), path.begin() + static_cast<std::ptrdiff_t>(at));
    const std::shared_ptr<const Names> names = co_await level(std::move(table));
    if (names == nullptr || !names->has(path[at])) co_return false;
  }
  co_return true;
}

asio::awaitable<std::shared_ptr<const Names>> Walk::level(Path path) {
  const auto known = levels_.find(path);
  if (known != levels_.end()) co_return known->second;
  std::shared_ptr<Names> names;
  const std::vector<Registration> handlers = at_or_above(path);
  for (const Registration& handler : handlers) {
    const Reply reply = co_await ask(handler.id, VK_DM_LEVEL, path);
    if (!says(reply, handler.id, path)) continue;
    if (names == nullptr) names = std::make_shared<Names>();
    const vk_value* const told = member(*reply.value, "level", VK_TYPE_OBJECT);
    if (told == nullptr) continue;
    charge(count_nodes(*told), reply.size);
    add_children(*names, handler, path, *told);
  }
  levels_[path] = names;
  co_return names;
}

void Walk::add_children(Names& names, const Registration& from, const Path& path,
                        const vk_value& told) const {
  const std::size_t above = joined_object(path).size();
  const char* dropped = nullptr;
  for (const vk_value& child : each_item(told)) {
    if (can_be_child(child.id, above, limits_)) {
      names.add(child.id);
    } else {
      dropped = child.id;
    }
  }
  if (dropped != nullptr) tell_dropped(from, path, dropped);
}

// Counted to whoever asks, who could have it met again and again.
void Walk::tell_dropped(const Registration& from, const Path& path, const std::string& name) const {
  complain_(call_ == nullptr ? own_peer() : call_->peer,
            "The module " + escaped(from.module) + " names a child that nothing can be called, " +
                escaped(name) + ", of " + escaped(joined(path)));
}

asio::awaitable<std::optional<Path>> Walk::children(Path path) {
  const std::shared_ptr<const Names> told = co_await level(path);
  const std::vector<Registration> deeper = co_await below(path);
  if (told == nullptr && !path.empty() && deeper.empty()) co_return std::nullopt;
  Names names = told == nullptr ? Names() : *told;
  for (const Registration& each : deeper) {
    const std::string& next = each.pattern[path.size() + kPrefix];
    if (next != kAnyInstance) names.add(next);
  }
  co_return names.in_order();
}

void Walk::add_longer(std::vector<Path>& paths, const Path& path, const std::string& name) {
  charge(1, size_of(path) + name.size());
  paths.push_back(child_of(path, name));
}

asio::awaitable<std::vector<Path>> Walk::expand(Registration registration, Path path) {
  std::vector<Path> paths{path};
  const std::span<const std::string> rest =
      std::span(registration.pattern).subspan(path.size() + kPrefix);
  for (const std::string& component : rest) {
    if (component != kAnyInstance) {
      for (Path& each : paths) each.push_back(component);
      continue;
    }
    std::vector<Path> longer;
    for (const Path& each : paths) {
      const std::shared_ptr<const Names> names = co_await level(each);
      if (names == nullptr) continue;
      for (const std::string& name : names->in_order()) {
        if (is_instance(name)) add_longer(longer, each, name);
      }
    }
    paths = std::move(longer);
  }
  co_return paths;
}

asio::awaitable<OwnedValue> Walk::value_of(Registration from, Path path) {
  const Reply reply = co_await ask(from.id, VK_DM_GET, path);
  if (!says(reply, from.id, path)) co_return nullptr;
  OwnedValue value = list_of(*reply.value);
  if (value == nullptr || value->type == VK_TYPE_ANY) co_return nullptr;
  check_depth(path);
  charge(count_nodes(*value), reply.size);
  std::string dropped;
  drop_unsound(*value, joined_object(path).size(), limits_, dropped);
  if (!dropped.empty()) tell_dropped(from, path, dropped);
  co_return value;
}

asio::awaitable<OwnedValue> Walk::values(Path path) {
  std::vector<Registration> handlers = at_or_above(path);
  const std::vector<Registration> deeper = co_await below(path);
  handlers.insert(handlers.begin(), deeper.begin(), deeper.end());
  OwnedValue merged = heap_.node();
  if (path.empty() || !deeper.empty()) vk_object_init_with_policy(merged.get(), VK_POLICY_ORDERED);
  // From the last that the router tries to the first, so that the first has the last word.
  for (auto handler = handlers.rbegin(); handler != handlers.rend(); ++handler) {
    std::vector<Path> paths{path};
    if (is_deeper(*handler, path)) {
      paths = co_await expand(*handler, path);
    }
    for (const Path& each : paths) {
      OwnedValue value = co_await value_of(*handler, each);
      if (value == nullptr) continue;
      const Path inside(each.begin() + static_cast<std::ptrdiff_t>(path.size()), each.end());
      merge(place(*merged, inside), std::move(value));
    }
  }
  if (merged->type == VK_TYPE_ANY) co_return nullptr;
  co_return merged;
}

asio::awaitable<OwnedValue> Walk::parameter(Path path) {
  const std::vector<Registration> handlers = at_or_above(path);
  for (const Registration& handler : handlers) {
    OwnedValue value = co_await value_of(handler, path);
    if (value == nullptr) continue;
    if (!is_leaf(*value)) break;
    co_return value;
  }
  co_return nullptr;
}

asio::awaitable<OwnedValue> Walk::find(Name name) {
  OwnedValue found;
  if (name.partial) {
    found = co_await values(name.path);
    if (found != nullptr && found->type != VK_TYPE_OBJECT) found = nullptr;
  } else {
    found = co_await parameter(name.path);
  }
  co_return found;
}

asio::awaitable<Walk::Holder> Walk::holder(Path path) {
  const std::vector<Registration> handlers = at_or_above(path);
  for (const Registration& handler : handlers) {
    const Reply reply = co_await ask(handler.id, VK_DM_PROVIDE, path);
    if (reply.status == VK_EOK) co_return Holder{VK_EOK, handler};
    if (reply.status == VK_ENOANSWER || has_vanished(reply, handler.id)) continue;
    co_return Holder{reply.status, handler};
  }
  co_return Holder{VK_ENOANSWER, {}};
}

}  // namespace vesk::core::dm
