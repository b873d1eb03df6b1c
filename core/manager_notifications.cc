// What has changed since the management server was last told, and the changes of which modules
// tell.

#include <new>
#include <string>
#include <utility>
#include <vector>

#include "core/manager_faults.h"
#include "core/manager_leaves.h"
#include "core/manager_requests.h"
#include "core/manager_walk.h"

namespace vesk::core::dm {
namespace {

struct Report {
  OwnedValue value;
  vk_value* list;  // "ParameterList"
  bool active;
  std::vector<std::pair<std::string, Leaf>> news;  // what is told once the answer is made
};

Report new_report(const Heap& heap) {
  Report report{heap.object(), nullptr, false, {}};
  report.list = &add_object(*report.value, "ParameterList");
  return report;
}

// What cannot be had now is told later.
asio::awaitable<void> add_watched(Walk& walk, const std::string& text, const rt::Limits& limits,
                                  vk_value& values) {
  try {
    const Name name = name_of(text, limits);
    OwnedValue value = co_await walk.find(name);
    if (value != nullptr) merge(place(values, name.path), std::move(value));
  } catch (const Refusal&) {
  }
}

// Everything that is watched and there, in one tree.
asio::awaitable<OwnedValue> watched_values(Desk& desk, Walk& walk) {
  OwnedValue values = walk.heap().object();
  const std::vector<std::string> texts = desk.kept.watched();
  for (const std::string& text : texts) {
    co_await add_watched(walk, text, desk.options.limits, *values);
  }
  co_return values;
}

void report_change(Report& report, const Kept& kept, const Path& path, const vk_value& value) {
  const std::string name = joined(path);
  const int32_t notification = kept.notification(name);
  if (notification == kNotifyOff) return;
  Leaf now = leaf_of(value);
  const Leaf* const told = kept.told(name);
  if (told != nullptr && *told == now) return;
  copy(place(*report.list, path), value);
  report.active = report.active || notification == kNotifyActive;
  report.news.emplace_back(name, std::move(now));
}

// The answer is made: what there is no memory to note is told once more, which is better than
// never.
void count_as_told(Kept& kept, Report& report) {
  try {
    for (auto& [name, leaf] : report.news) kept.tell(name, std::move(leaf));
  } catch (const std::bad_alloc&) {
  }
}

}  // namespace

asio::awaitable<Answer> get_notifications(Desk& desk, CallPtr call, const Request& request) {
  const Heap heap;
  const OwnedValue in = heap.read(request.value);
  const bool keep = flag(*in, "Keep");
  co_await desk.kept.load();
  Walk walk(desk.router, call, flags_of(*in), desk.options.limits, heap);
  const OwnedValue values = co_await watched_values(desk, walk);
  Report report = new_report(heap);
  for_each_leaf(*values, {}, [&](const Path& path, const vk_value& value) {
    report_change(report, desk.kept, path, value);
  });
  check(vk_object_set_bool(report.value.get(), "Active", report.active ? 1 : 0));
  Answer answer = answer_within(desk.options.limits, *report.value);
  if (!keep) count_as_told(desk.kept, report);
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
