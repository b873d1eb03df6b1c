// GetParameterValues, and the values that every Inform carries.

#include <string>
#include <utility>

#include "core/manager_faults.h"
#include "core/manager_requests.h"
#include "core/manager_walk.h"

namespace vesk::core::dm {
namespace {

// A value of an Inform, which must not fail for one of them.
asio::awaitable<void> add_inform_value(Walk& walk, std::string text, const rt::Limits& limits,
                                       vk_value& list) {
  try {
    const Name name = name_of(text, limits);
    OwnedValue value = co_await walk.find(name);
    if (value != nullptr) merge(place(list, name.path), std::move(value));
  } catch (const Refusal&) {
  }
}

}  // namespace
asio::awaitable<Answer> get_parameter_values(Desk& desk, CallPtr call, const Request& request) {
  const Heap heap;
  const OwnedValue in = heap.read(request.value);
  const std::vector<std::string> texts = texts_of(*in, "ParameterNames");
  Walk walk(desk.router, call, flags_of(*in), desk.options, heap);
  const OwnedValue out = heap.object();
  vk_value& list = add_object(*out, "ParameterList");
  for (const std::string& text : texts) {
    const Name name = name_of(text, desk.options.limits);
    OwnedValue value = co_await walk.find(name);
    if (value == nullptr) throw Refusal(fault(text, VK_ENOENT));
    merge(place(list, name.path), std::move(value));
  }
  co_return answer_within(desk.options.limits, *out);
}

asio::awaitable<Answer> get_inform_values(Desk& desk, CallPtr call, const Request& request) {
  const Heap heap;
  const OwnedValue in = heap.read(request.value);
  Walk walk(desk.router, call, flags_of(*in), desk.options, heap);
  const OwnedValue out = heap.object();
  vk_value& list = add_object(*out, "ParameterList");
  for (const std::string& text : desk.options.inform_names) {
    co_await add_inform_value(walk, text, desk.options.limits, list);
  }
  co_await desk.kept.load();
  set_text(*out, "ParameterKey", desk.kept.parameter_key());
  co_return answer_within(desk.options.limits, *out);
}

}  // namespace vesk::core::dm
