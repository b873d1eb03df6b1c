// What has changed since the management server was last told, and the changes of which modules
// tell.

#include <algorithm>
#include <cstdint>
#include <new>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "core/manager_faults.h"
#include "core/manager_leaves.h"
#include "core/manager_requests.h"
#include "core/manager_walk.h"

namespace vesk::core::dm {
namespace {

using News = std::pair<std::string, Leaf>;

struct Report {
  OwnedValue value;
  vk_value* list;  // "ParameterList"
  bool active;
  std::vector<News> news;  // what is told once the answer is made
  Told told;               // and all that will have been told then
};

Report new_report(const Heap& heap, const Kept& kept) {
  Report report{heap.object(), nullptr, false, {}, kept.state().told};
  report.list = &add_object(*report.value, "ParameterList");
  return report;
}

// What there is of what is watched.
struct Watched {
  OwnedValue values;                 // in one tree
  std::vector<std::string> objects;  // those that were read
};

// What cannot be had now is told later.
asio::awaitable<void> add_watched(Walk& walk, const std::string& text, const rt::Limits& limits,
                                  Watched& watched) {
  try {
    const Name name = name_of(text, limits);
    OwnedValue value = co_await walk.find(name);
    if (value != nullptr) merge(place(*watched.values, name.path), std::move(value));
    if (name.partial) watched.objects.push_back(text);
  } catch (const Refusal&) {
  }
}

asio::awaitable<Watched> read_watched(Desk& desk, Walk& walk) {
  Watched watched{walk.heap().object(), {}};
  const std::vector<std::string> texts = desk.kept.watched();
  for (const std::string& text : texts) {
    co_await add_watched(walk, text, desk.options.limits, watched);
  }
  walk.check_wanted();  // what nobody hears is not told
  co_return watched;
}

void report_change(Report& report, const Kept& kept, const std::string& name, const Path& path,
                   const vk_value& value) {
  const int32_t notification = kept.notification(name);
  if (notification == kNotifyOff) return;
  Leaf now = leaf_of(value);
  const Leaf* const told = kept.told(name);
  if (told != nullptr && *told == now) return;
  if (!report.told.put(name, now)) return;
  copy(place(*report.list, path), value);
  report.active = report.active || notification == kNotifyActive;
  report.news.emplace_back(name, std::move(now));
}

std::set<uint64_t> registered(const Router& router) {
  std::set<uint64_t> ids;
  for (const Registration& each : router.registrations("dm")) ids.insert(each.id);
  return ids;
}

// Forgets what was told of parameters that are gone: below an object that was read, though a
// handler that would know them is there, then and now. Those watched by their own names stay.
void forget_gone(Desk& desk, const Walk& walk, const Kept::Reading& reading, const Watched& watched,
                 const std::set<std::string>& seen) {
  const std::set<uint64_t> now = registered(desk.router);
  const auto is_gone = [&](const std::string& name) {
    if (seen.contains(name) || reading.is_stale(name)) return false;
    if (desk.kept.state().attributes.contains(name)) return false;
    const std::optional<Name> parameter = read_name(name, desk.options.limits);
    if (!parameter) return true;
    const std::vector<Registration> then = walk.at_or_above(parameter->path);
    return std::any_of(then.begin(), then.end(),
                       [&](const Registration& each) { return now.contains(each.id); });
  };
  for (const std::string& object : watched.objects) desk.kept.forget_told(object, is_gone);
}

void count_as_told(Kept& kept, std::vector<News>& news) {
  for (auto& [name, leaf] : news) kept.tell(name, std::move(leaf));
}

}  // namespace

asio::awaitable<Answer> get_notifications(Desk& desk, CallPtr call, const Request& request) {
  const Heap heap;
  const OwnedValue in = heap.read(request.value);
  const bool keep = flag_of(*in, "Keep");
  co_await desk.kept.load();
  Walk walk(desk.router, call, flags_of(*in), desk.options, heap);
  const Kept::Reading reading(desk.kept);
  const Watched watched = co_await read_watched(desk, walk);
  Report report = new_report(heap, desk.kept);
  std::set<std::string> seen;
  for_each_leaf(*watched.values, {}, [&](const Path& path, const vk_value& value) {
    const std::string& name = *seen.insert(joined(path)).first;
    if (!reading.is_stale(name)) report_change(report, desk.kept, name, path, value);
  });
  check(vk_object_set_bool(report.value.get(), "Active", report.active ? 1 : 0));
  Answer answer = answer_within(desk.options.limits, *report.value);
  // The answer is made: what there is no memory to note is told once more, which is better than
  // never.
  try {
    if (!keep) count_as_told(desk.kept, report.news);
    if (!keep) forget_gone(desk, walk, reading, watched, seen);
  } catch (const std::bad_alloc&) {
  }
  // What could not be saved is told once more after a restart, which is better than never.
  co_await desk.kept.save();
  co_return answer;
}

asio::awaitable<Answer> tell_changes(Desk& desk, CallPtr call, const Request& request) {
  const Heap heap;
  const OwnedValue in = heap.read(request.value);
  std::vector<std::string> names = texts_of(*in, "Names");
  for (const std::string& name : names) name_of(name, desk.options.limits);
  if (!names.empty()) desk.hooks.run("changed", names, call);
  co_return Answer{};
}

}  // namespace vesk::core::dm
