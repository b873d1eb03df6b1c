#include "core/manager_finish.h"

#include <new>
#include <set>
#include <string_view>
#include <utility>

#include "core/manager_faults.h"
#include "core/manager_leaves.h"

namespace vesk::core::dm {
namespace {

bool is_at_or_below_one(Path path, const std::set<Path>& paths) {
  for (; !path.empty(); path.pop_back()) {
    if (paths.contains(path)) return true;
  }
  return false;
}

void drop_uncommitted(Outcome& outcome, const Change& change) {
  std::set<Path> uncommitted;
  for (const Fault& fault : change.faults()) uncommitted.insert(fault.path);
  std::erase_if(outcome.names,
                [&](const Name& name) { return is_at_or_below_one(name.path, uncommitted); });
}

// Counts what the management server wrote as told. A value that cannot be had is told later.
asio::awaitable<void> count_as_told(Desk& desk, Walk& walk, Name name) {
  try {
    if (!name.partial && desk.kept.notification(joined(name.path)) == kNotifyOff) co_return;
    const OwnedValue value = co_await walk.find(name);
    if (value == nullptr) co_return;
    for_each_leaf(*value, name.path, [&](const Path& path, const vk_value& is) {
      const std::string leaf = joined(path);
      if (desk.kept.notification(leaf) != kNotifyOff) desk.kept.tell(leaf, leaf_of(is));
    });
  } catch (const Refusal&) {
  } catch (const std::bad_alloc&) {
  }
}

void update(Kept& kept, const vk_value& request, const Change& change, const Outcome& outcome) {
  if (std::string_view(outcome.event) == "deleted") {
    for (const Name& name : outcome.names) kept.erase(text_of(name));
  }
  const vk_value* const key = member(request, "ParameterKey", VK_TYPE_STRING);
  if (key != nullptr && change.faults().empty()) kept.set_parameter_key(key->payload.text);
}

// Want of memory for the faults leaves the status.
Refusal unfinished(const Change& change, uint32_t instance) {
  try {
    return {VK_EIO, change.faults(), change.failed() ? 0 : instance};
  } catch (const std::bad_alloc&) {
    return Refusal(VK_EIO);
  }
}

// All that follows the commit.
asio::awaitable<void> settle(Desk& desk, const Walk& walk, const vk_value& request,
                             const Change& change, Outcome& outcome) {
  drop_uncommitted(outcome, change);
  update(desk.kept, request, change, outcome);
  const uint32_t flags = flags_of(request);
  // What was seen before the change does not count any more.
  Walk after(desk.router, walk.call(), flags, desk.options, walk.heap());
  after.see_through();
  if ((flags & kByServer) != 0) {
    for (const Name& name : outcome.names) co_await count_as_told(desk, after, name);
  }
  const uint32_t saved = co_await desk.kept.save();
  std::vector<std::string> names;
  for (const Name& name : outcome.names) names.push_back(text_of(name));
  if (!names.empty()) desk.hooks.run(outcome.event, names, walk.call());
  if (saved != VK_EOK || change.failed()) throw unfinished(change, outcome.instance);
}

}  // namespace

std::string text_of(const Name& name) {
  return name.partial ? joined_object(name.path) : joined(name.path);
}

Kept::Writing begin_writing(Desk& desk, const vk_value& request, const std::vector<Name>& names) {
  std::vector<std::string> texts;
  if ((flags_of(request) & kByServer) != 0) {
    for (const Name& name : names) texts.push_back(text_of(name));
  }
  return {desk.kept, texts};
}

Answer write_answer(const Heap& heap, const Change& change, uint32_t instance) {
  const OwnedValue out = heap.object();
  if (instance != 0) check(vk_object_set_uint(out.get(), "InstanceNumber", instance));
  check(vk_object_set_int(out.get(), "Status", change.status()));
  return {VK_EOK, encode(*out)};
}

asio::awaitable<Answer> finish(Desk& desk, const Walk& walk, const vk_value& request,
                               Change& change, Outcome outcome) {
  // Made here: want of memory for it is none after the commit.
  asio::awaitable<void> commit = change.commit();
  try {
    co_await std::move(commit);
    co_await settle(desk, walk, request, change, outcome);
    Answer answer = write_answer(walk.heap(), change, outcome.instance);
    co_return answer;
  } catch (const std::bad_alloc&) {
  }
  throw unfinished(change, outcome.instance);
}

}  // namespace vesk::core::dm
