// AddObject and DeleteObject.

#include <new>
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

struct Object {
  std::string text;
  Path path;
};

// What "ObjectName" names; a final "." is optional. The root is no table and no instance.
Object read_object(const vk_value& in, const rt::Limits& limits) {
  check_key(in);
  std::string text = text_of(in, "ObjectName");
  Name name = name_of(text, limits);
  if (name.path.empty()) throw Refusal(fault(text, VK_ENOENT));
  return {std::move(text), std::move(name.path)};
}

// Has the object's handler hold a change, or refuses it.
asio::awaitable<OwnedValue> hold(Change& change, Object object, uint32_t action) {
  co_await change.enlist(object.text, object.path);
  change.refuse_if_off();
  co_await change.open(false);
  OwnedValue answer;
  try {
    answer = co_await change.apply(0, action, nullptr);
  } catch (const std::bad_alloc&) {
    change.run_short();
  }
  if (change.is_off()) co_await change.roll_back();
  change.refuse_if_off();
  co_return answer;
}

uint32_t instance_in(const vk_value& answer) {
  const vk_value* const number = member(answer, "InstanceNumber", VK_TYPE_UNSIGNEDINT);
  return number == nullptr ? 0 : number->payload.u32;
}

}  // namespace

asio::awaitable<Answer> add_object(Desk& desk, CallPtr call, const Request& request) {
  const Heap heap;
  const OwnedValue in = heap.read(request.value);
  const Object table = read_object(*in, desk.options.limits);
  const Turns::Turn turn = co_await desk.turns.take(call);
  co_await desk.kept.load();
  Walk walk(desk.router, call, flags_of(*in), desk.options, heap);
  Change change(walk);
  const std::vector<Name> below_table{Name{table.path, true}};
  const Kept::Writing writing = begin_writing(desk, *in, below_table);
  const OwnedValue answer = co_await hold(change, table, VK_DM_ADD);
  const uint32_t instance = instance_in(*answer);
  if (instance == 0) {
    co_await change.roll_back();
    throw Refusal(fault(table.text, VK_EPROVIDER));
  }
  Outcome outcome{"added", {Name{child_of(table.path, std::to_string(instance)), true}}, instance};
  Answer finished = co_await finish(desk, walk, *in, change, std::move(outcome));
  co_return finished;
}

asio::awaitable<Answer> delete_object(Desk& desk, CallPtr call, const Request& request) {
  const Heap heap;
  const OwnedValue in = heap.read(request.value);
  const Object instance = read_object(*in, desk.options.limits);
  if (!is_instance(instance.path.back())) throw Refusal(fault(instance.text, VK_ENOENT));
  const Turns::Turn turn = co_await desk.turns.take(call);
  co_await desk.kept.load();
  Walk walk(desk.router, call, flags_of(*in), desk.options, heap);
  Change change(walk);
  Outcome outcome{"deleted", {Name{instance.path, true}}};
  const Kept::Writing writing = begin_writing(desk, *in, outcome.names);
  co_await hold(change, instance, VK_DM_DEL);
  Answer finished = co_await finish(desk, walk, *in, change, std::move(outcome));
  co_return finished;
}

}  // namespace vesk::core::dm
