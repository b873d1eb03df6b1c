// SetParameterValues.

#include <new>
#include <set>
#include <string>
#include <utility>

#include "core/manager_change.h"
#include "core/manager_faults.h"
#include "core/manager_finish.h"
#include "core/manager_requests.h"
#include "core/manager_walk.h"
#include "vesk/dmmgr/frame.h"

namespace vesk::core::dm {
namespace {

struct Assignment {
  std::string name;
  Path path;
  const vk_value* value;  // in the request
};

// What one element of the list says. What is wrong with it becomes a fault.
void read_assignment(const vk_value& element, const rt::Limits& limits, std::set<Path>& seen,
                     std::vector<Assignment>& assignments, Change& change) {
  const std::string text = text_of(element, "Name");
  const vk_value* const value = member(element, "Value");
  if (value == nullptr) refuse_arguments();
  std::optional<Name> name = read_name(text, limits);
  if (!name || name->partial) {
    change.add_fault(fault(text, VK_ENOENT));
  } else if (!seen.insert(name->path).second) {
    change.add_fault({text, VK_EINVAL, kInvalidArguments, {}});
  } else if (!is_leaf(*value)) {
    change.add_fault(fault(text, VK_ETYPE));
  } else {
    assignments.push_back({text, std::move(name->path), value});
  }
}

std::vector<Assignment> read_assignments(const vk_value& in, const rt::Limits& limits,
                                         Change& change) {
  std::vector<Assignment> assignments;
  std::set<Path> seen;
  for (const vk_value& element : each_item(array_of(in, "ParameterList"))) {
    read_assignment(element, limits, seen, assignments, change);
  }
  return assignments;
}

std::vector<Name> names_of(const std::vector<Assignment>& assignments) {
  std::vector<Name> names;
  for (const Assignment& each : assignments) names.push_back({each.path, false});
  return names;
}

asio::awaitable<void> apply(Change& change, const std::vector<Assignment>& assignments,
                            const Heap& heap) {
  for (std::size_t at = 0; at != assignments.size(); ++at) {
    const OwnedValue arguments = heap.object();
    set_copy(*arguments, "Value", *assignments[at].value);
    co_await change.apply(at, VK_DM_SET, arguments.get());
  }
}

// Has every handler hold its new values, or none.
asio::awaitable<void> hold(Change& change, const std::vector<Assignment>& assignments, bool trial,
                           const Heap& heap) {
  for (const Assignment& each : assignments) co_await change.enlist(each.name, each.path);
  co_await change.open(trial);
  try {
    co_await apply(change, assignments, heap);
  } catch (const std::bad_alloc&) {
    change.run_short();
  }
  if (trial || change.is_off()) co_await change.roll_back();
  change.refuse_if_off();
}

}  // namespace

asio::awaitable<Answer> set_parameter_values(Desk& desk, CallPtr call, const Request& request) {
  const Heap heap;
  const OwnedValue in = heap.read(request.value);
  check_key(*in);
  const bool trial = flag_of(*in, "Try");
  const Turns::Turn turn = co_await desk.turns.take(call);
  co_await desk.kept.load();
  Walk walk(desk.router, call, flags_of(*in), desk.options, heap);
  Change change(walk);
  const std::vector<Assignment> assignments = read_assignments(*in, desk.options.limits, change);
  const std::vector<Name> names = names_of(assignments);
  const Kept::Writing writing = begin_writing(desk, *in, names);
  co_await hold(change, assignments, trial, heap);
  if (trial) co_return write_answer(heap, change);
  Outcome outcome{"changed", names};
  Answer finished = co_await finish(desk, walk, *in, change, std::move(outcome));
  co_return finished;
}

}  // namespace vesk::core::dm
