// Get- and SetParameterAttributes. Setting is asked for by either name: with a "ParameterList", the
// one that reads sets.

#include <algorithm>
#include <array>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "core/manager_faults.h"
#include "core/manager_finish.h"
#include "core/manager_leaves.h"
#include "core/manager_requests.h"
#include "core/manager_walk.h"
#include "vesk/dmmgr/frame.h"

namespace vesk::core::dm {
namespace {

// One element of the list.
struct Wish {
  std::string text;
  Name name;
  Attributes attributes;    // those that are to change
  const vk_value* element;  // in the request
  OwnedValue value;         // what is there now
};

// A handler that could not be asked has not rejected anything.
constexpr std::array kNotAsked = {VK_EIO, VK_ENOMEM, VK_EBUSY, VK_ETIMEDOUT};

void refuse_both(const vk_value& in) {
  if (member(in, "ParameterList") != nullptr && member(in, "ParameterNames") != nullptr) {
    refuse_arguments();
  }
}

std::optional<int32_t> read_notification(const vk_value& element) {
  if (!flag_of(element, "NotificationChange")) return std::nullopt;
  const vk_value* const value = member(element, "Notification", VK_TYPE_INT);
  if (value == nullptr) refuse_arguments();
  const int32_t notification = value->payload.s32;
  if (notification < kNotifyOff || notification > kNotifyActive) refuse_arguments();
  return notification;
}

std::optional<AccessList> read_access(const vk_value& element) {
  if (!flag_of(element, "AccessListChange")) return std::nullopt;
  if (member(element, "AccessList") == nullptr) return AccessList();
  return texts_of(element, "AccessList");
}

std::vector<Wish> read_wishes(const vk_value& in, const rt::Limits& limits) {
  std::vector<Wish> wishes;
  for (const vk_value& element : each_item(array_of(in, "ParameterList"))) {
    std::string text = text_of(element, "Name");
    Name name = name_of(text, limits);
    Attributes attributes{read_notification(element), read_access(element)};
    wishes.push_back({std::move(text), std::move(name), std::move(attributes), &element, nullptr});
  }
  return wishes;
}

vk_error rejection_code(vk_error status) {
  const bool asked = std::find(kNotAsked.begin(), kNotAsked.end(), status) == kNotAsked.end();
  return asked ? kNotificationRejected : fault_code(status);
}

// Asks one handler. "No answer" is consent, and gives false; a rejection is thrown.
asio::awaitable<bool> consents(Walk& walk, const Wish& wish, uint64_t handler, Path path) {
  const Reply reply = co_await walk.ask(handler, VK_DM_SETATTR, path, wish.element);
  if (reply.status == VK_EOK) co_return true;
  if (reply.status == VK_ENOANSWER || walk.has_vanished(reply, handler)) co_return false;
  throw Refusal(Fault{wish.text, reply.status, rejection_code(reply.status)});
}

asio::awaitable<void> ask_handlers(Walk& walk, const Wish& wish) {
  const std::vector<Registration> handlers = walk.at_or_above(wish.name.path);
  for (const Registration& handler : handlers) {
    const bool answered = co_await consents(walk, wish, handler.id, wish.name.path);
    if (answered) break;
  }
  if (!wish.name.partial) co_return;
  const std::vector<Registration> deeper = co_await walk.below(wish.name.path);
  for (const Registration& handler : deeper) {
    const std::vector<Path> paths = co_await walk.expand(handler, wish.name.path);
    for (const Path& path : paths) co_await consents(walk, wish, handler.id, path);
  }
}

// Finds what a wish is about and asks whether it may be granted.
asio::awaitable<void> examine(Walk& walk, Wish& wish) {
  wish.value = co_await walk.find(wish.name);
  if (wish.value == nullptr) throw Refusal(fault(wish.text, VK_ENOENT));
  if (wish.attributes.notification || wish.attributes.access) co_await ask_handlers(walk, wish);
}

// What is watched from now on counts as told with the value that it has.
void grant_one(Kept& kept, const Wish& wish) {
  kept.set(text_of(wish.name), wish.attributes);
  for_each_leaf(*wish.value, wish.name.path, [&](const Path& path, const vk_value& value) {
    const std::string name = joined(path);
    const bool watched = kept.notification(name) != kNotifyOff;
    if (watched && kept.told(name) == nullptr) kept.tell(name, leaf_of(value));
  });
}

void list_attributes(Walk& walk, vk_value& list, const Kept& kept, const std::string& name) {
  const AccessList entities = kept.access(name);
  std::size_t size = name.size();
  for (const std::string& entity : entities) size += entity.size();
  walk.charge(entities.size(), size);
  vk_value& element = add_object_to(list);
  set_text(element, "Name", name);
  check(vk_object_set_int(&element, "Notification", kept.notification(name)));
  vk_value& access = add_array(element, "AccessList");
  for (const std::string& entity : entities) add_text_to(access, entity);
}

// Grants wishes, and takes that back at its end unless it is to last.
class Grant {
 public:
  Grant(Kept& kept, const std::vector<Wish>& wishes)
      : kept_(kept), life_(kept.life()), before_(kept.state()) {
    try {
      for (const Wish& wish : wishes) grant_one(kept, wish);
      if (!kept.has_room()) throw Refusal(VK_ENOMEM);
      after_ = kept.state();
    } catch (...) {
      kept_.take_back(std::move(before_), nullptr);
      throw;
    }
  }
  ~Grant() {
    if (!lasts_ && !life_.expired()) kept_.take_back(std::move(before_), &after_);
  }
  Grant(const Grant&) = delete;
  Grant& operator=(const Grant&) = delete;

  void last() { lasts_ = true; }

 private:
  Kept& kept_;
  const std::weak_ptr<const void> life_;
  Kept::State before_;
  Kept::State after_;
  bool lasts_ = false;
};

}  // namespace

asio::awaitable<Answer> set_parameter_attributes(Desk& desk, CallPtr call, const Request& request) {
  const Heap heap;
  const OwnedValue in = heap.read(request.value);
  refuse_both(*in);
  if (call != nullptr && !call->peer.trusted) throw Refusal(VK_EAUTH);
  std::vector<Wish> wishes = read_wishes(*in, desk.options.limits);
  const Turns::Turn turn = co_await desk.turns.take(call);
  co_await desk.kept.load();
  Walk walk(desk.router, call, flags_of(*in), desk.options, heap);
  for (Wish& wish : wishes) co_await examine(walk, wish);
  walk.check_wanted();
  Grant grant(desk.kept, wishes);
  const uint32_t saved = co_await desk.kept.save();
  if (saved != VK_EOK) throw Refusal(saved);
  grant.last();
  co_return Answer{};
}

asio::awaitable<Answer> get_parameter_attributes(Desk& desk, CallPtr call, const Request& request) {
  const Heap heap;
  const OwnedValue in = heap.read(request.value);
  refuse_both(*in);
  if (member(*in, "ParameterList") != nullptr) {
    Answer set = co_await set_parameter_attributes(desk, call, request);
    co_return set;
  }
  const std::vector<std::string> texts = texts_of(*in, "ParameterNames");
  co_await desk.kept.load();
  Walk walk(desk.router, call, flags_of(*in), desk.options, heap);
  const OwnedValue out = heap.object();
  vk_value& list = add_array(*out, "ParameterList");
  for (const std::string& text : texts) {
    const Name name = name_of(text, desk.options.limits);
    const OwnedValue value = co_await walk.find(name);
    if (value == nullptr) throw Refusal(fault(text, VK_ENOENT));
    for_each_leaf(*value, name.path, [&](const Path& leaf, const vk_value&) {
      list_attributes(walk, list, desk.kept, joined(leaf));
    });
  }
  co_return answer_within(desk.options.limits, *out);
}

}  // namespace vesk::core::dm
