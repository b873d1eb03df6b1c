// GetParameterNames: the tree of what there is, and who may change it.

#include <algorithm>
#include <string>
#include <utility>

#include "core/manager_faults.h"
#include "core/manager_requests.h"
#include "core/manager_walk.h"
#include "vesk/dmmgr/frame.h"

namespace vesk::core::dm {
namespace {

// The answer while it grows.
struct Listing {
  Walk& walk;
  OwnedValue value;
  vk_value* tree;     // "ParameterList"
  vk_value* objects;  // "Objects"
};

struct Info {
  bool there;  // whether a handler holds it
  bool writable;
};

// Whether a path can be written is for the handler to say that would be told to. What "level" named
// and nobody holds has vanished.
asio::awaitable<Info> info_of(Walk& walk, Path path) {
  const Walk::Holder holder = co_await walk.holder(path);
  if (holder.status == VK_ENOANSWER) co_return Info{false, false};
  if (holder.status != VK_EOK) throw Refusal(fault(joined(path), holder.status));
  const uint64_t id = holder.registration.id;
  const Reply reply = co_await walk.ask(id, VK_DM_INFO, path);
  if (walk.has_vanished(reply, id)) co_return Info{false, false};
  co_return Info{true, walk.says(reply, id, path) && flag(*reply.value, "Writable")};
}

asio::awaitable<bool> list_parameter(Listing& listing, Path path) {
  const Info info = co_await info_of(listing.walk, path);
  if (!info.there) co_return false;
  listing.walk.check_depth(path);
  listing.walk.charge(1, path.back().size());
  check(vk_value_set_bool(&place(*listing.tree, path), info.writable ? 1 : 0));
  co_return true;
}

asio::awaitable<bool> has_template(Walk& walk, Path path) {
  const std::vector<Registration> deeper = co_await walk.below(path);
  co_return std::any_of(deeper.begin(), deeper.end(), [&](const Registration& each) {
    return each.pattern[path.size() + 1] == "$";
  });
}

// A table is known by its instances, by a pattern for them, or, empty, by being writable.
asio::awaitable<bool> is_table(Walk& walk, Path path, Path children, Info info) {
  if (std::any_of(children.begin(), children.end(),
                  [](const std::string& name) { return is_instance(name); })) {
    co_return true;
  }
  if (children.empty() && info.writable) co_return true;
  const bool patterned = co_await has_template(walk, std::move(path));
  co_return patterned;
}

asio::awaitable<void> list_object(Listing& listing, Path path, Path children) {
  listing.walk.check_depth(path);
  listing.walk.charge(1, joined_object(path).size());
  vk_value& node = place(*listing.tree, path);
  if (node.type == VK_TYPE_ANY) vk_object_init_with_policy(&node, VK_POLICY_ORDERED);
  if (path.empty()) co_return;
  const Info info = co_await info_of(listing.walk, path);
  bool listed = is_instance(path.back());
  if (!listed) listed = co_await is_table(listing.walk, path, children, info);
  if (!listed) co_return;
  vk_value& element = add_object_to(*listing.objects);
  set_text(element, "Name", joined_object(path));
  check(vk_object_set_bool(&element, "Writable", info.writable ? 1 : 0));
}

// An object with everything below it. False for what is not there.
asio::awaitable<bool> list_all(Listing& listing, Path path) {
  const std::optional<Path> children = co_await listing.walk.children(path);
  if (!children) {
    const bool there = co_await list_parameter(listing, std::move(path));
    co_return there;
  }
  co_await list_object(listing, path, *children);
  for (const std::string& name : *children) {
    Path child = child_of(path, name);
    co_await list_all(listing, std::move(child));
  }
  co_return true;
}

asio::awaitable<void> list_child(Listing& listing, Path path) {
  std::optional<Path> children = co_await listing.walk.children(path);
  if (children) {
    co_await list_object(listing, std::move(path), *std::move(children));
  } else {
    co_await list_parameter(listing, std::move(path));
  }
}

// The children of an object, or a parameter itself. False for what is not there.
asio::awaitable<bool> list_next_level(Listing& listing, Path path) {
  const std::optional<Path> children = co_await listing.walk.children(path);
  if (!children) {
    const bool there = co_await list_parameter(listing, std::move(path));
    co_return there;
  }
  vk_value& node = place(*listing.tree, path);
  if (node.type == VK_TYPE_ANY) vk_object_init_with_policy(&node, VK_POLICY_ORDERED);
  for (const std::string& name : *children) {
    Path child = child_of(path, name);
    co_await list_child(listing, std::move(child));
  }
  co_return true;
}

Listing new_listing(Walk& walk) {
  Listing listing{walk, walk.heap().object(), nullptr, nullptr};
  listing.tree = &add_object(*listing.value, "ParameterList");
  listing.objects = &add_array(*listing.value, "Objects");
  return listing;
}

bool is_object_at(const vk_value& tree, const Path& path) {
  const vk_value* node = &tree;
  for (const std::string& name : path) {
    node = member(*node, name.c_str());
    if (node == nullptr) return false;
  }
  return node->type == VK_TYPE_OBJECT;
}

}  // namespace

asio::awaitable<Answer> get_parameter_names(Desk& desk, CallPtr call, const Request& request) {
  const Heap heap;
  const OwnedValue in = heap.read(request.value);
  const std::string text = text_of(*in, "ParameterPath");
  const Name name = name_of(text, desk.options.limits);
  Walk walk(desk.router, call, flags_of(*in), desk.options, heap);
  Listing listing = new_listing(walk);
  bool there = false;
  if (flag_of(*in, "NextLevel")) {
    there = co_await list_next_level(listing, name.path);
  } else {
    there = co_await list_all(listing, name.path);
  }
  if (!there || (name.partial && !is_object_at(*listing.tree, name.path))) {
    throw Refusal(fault(text, VK_ENOENT));
  }
  co_return answer_within(desk.options.limits, *listing.value);
}

}  // namespace vesk::core::dm
