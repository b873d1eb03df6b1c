#include "core/manager_change.h"

#include <algorithm>
#include <array>
#include <memory>
#include <new>
#include <utility>

#include "core/manager_path.h"
#include "vesk/dmmgr/frame.h"

namespace vesk::core::dm {
namespace {

// What a handler may say of setting what it takes for a parameter.
constexpr std::array kOfParameters = {VK_ETYPE, VK_EINVAL, VK_EVALUE, VK_ERO};

}  // namespace

asio::awaitable<void> Change::enlist(std::string name, Path path) {
  const Walk::Holder holder = co_await walk_.holder(path);
  const bool held = holder.status == VK_EOK;
  if (!held) add_fault(fault(name, holder.status));
  const std::size_t handler = held ? handler_of(holder.registration) : kNone;
  items_.push_back({std::move(name), std::move(path), handler});
}

std::size_t Change::handler_of(const Registration& registration) {
  const auto found = std::find_if(handlers_.begin(), handlers_.end(), [&](const Handler& each) {
    return each.registration.id == registration.id;
  });
  if (found != handlers_.end()) return static_cast<std::size_t>(found - handlers_.begin());
  handlers_.push_back({registration});
  return handlers_.size() - 1;
}

void Change::refuse_if_off() const {
  if (abandoned_) throw Abandoned();
  if (short_) throw Refusal(VK_ENOMEM);
  if (!faults_.empty()) throw Refusal(faults_);
}

void Change::fault_names_of(std::size_t handler, vk_error status) {
  for (const Item& item : items_) {
    if (item.handler == handler) add_fault(fault(item.name, status, item.path));
  }
}

bool Change::may_act_at_once(bool trial) const { return !trial && items_.size() == 1 && !failed(); }

asio::awaitable<void> Change::open(bool trial) {
  for (std::size_t at = 0; at != handlers_.size(); ++at) {
    Handler& handler = handlers_[at];
    const Registration& to = handler.registration;
    const Reply reply = co_await walk_.ask(to, VK_DM_ROLLBACK);
    handler.holds = reply.status == VK_EOK;
    const bool cannot = reply.status == VK_ENOANSWER;
    handler.ready = handler.holds || (cannot && may_act_at_once(trial));
    if (!handler.ready) fault_names_of(at, cannot ? VK_EAUTH : reply.status);
  }
}

asio::awaitable<bool> Change::is_object(Path path) {
  try {
    const std::shared_ptr<const Names> names = co_await walk_.level(std::move(path));
    co_return names != nullptr;
  } catch (const Refusal&) {
  } catch (const Abandoned&) {  // which is seen to where all is rolled back
  } catch (const std::bad_alloc&) {
  }
  co_return false;
}

// The name of an object is none of a parameter, whatever its handler has against setting it.
asio::awaitable<vk_error> Change::meaning_of(vk_error refusal, uint32_t action, Path path) {
  const bool of_parameter =
      action == VK_DM_SET &&
      std::find(kOfParameters.begin(), kOfParameters.end(), refusal) != kOfParameters.end();
  if (!of_parameter) co_return refusal;
  const bool object = co_await is_object(std::move(path));
  co_return object ? VK_ENOENT : refusal;
}

asio::awaitable<OwnedValue> Change::apply(std::size_t item, uint32_t action,
                                          const vk_value* arguments) {
  const Item& to = items_[item];
  const bool asked = to.handler != kNone && handlers_[to.handler].ready && !walk_.is_abandoned();
  if (!asked) co_return walk_.heap().node();
  const Handler& handler = handlers_[to.handler];
  if (!handler.holds) walk_.see_through();
  const uint64_t id = handler.registration.id;
  Reply reply = co_await walk_.ask(id, action, to.path, arguments);
  if (reply.status != VK_EOK) {
    const vk_error status = co_await meaning_of(reply.status, action, to.path);
    add_fault(fault(to.name, status));
    reply.value = walk_.heap().node();
  }
  hear(*reply.value);
  co_return std::move(reply.value);
}

void Change::hear(const vk_value& answer) {
  status_ = std::clamp(dm_frame_get_status(&answer), status_, 1);
}

asio::awaitable<void> Change::roll_back() {
  abandoned_ = walk_.is_abandoned();
  walk_.see_through();
  for (const Handler& handler : handlers_) {
    if (!handler.holds) continue;
    const Registration& to = handler.registration;
    co_await tell(to, VK_DM_ROLLBACK);
  }
}

// A handler that could not be asked, or not be understood, for want of memory does not keep the
// others from theirs.
asio::awaitable<Reply> Change::tell(const Registration& to, uint32_t action) {
  try {
    Reply reply = co_await walk_.ask(to, action);
    co_return reply;
  } catch (const std::bad_alloc&) {
  }
  co_return Reply{VK_ENOMEM, nullptr};
}

asio::awaitable<void> Change::commit() {
  walk_.see_through();
  for (Handler& handler : handlers_) {
    const Registration& to = handler.registration;
    const Reply reply = co_await tell(to, VK_DM_COMMIT);
    const bool nothing_held = reply.status == VK_ENOANSWER && !handler.holds;
    handler.committed = nothing_held ? VK_EOK : reply.status;
    if (handler.committed == VK_EOK) hear(*reply.value);
  }
  note_uncommitted();
}

void Change::note_uncommitted() {
  for (std::size_t at = 0; at != handlers_.size(); ++at) {
    const vk_error status = handlers_[at].committed;
    if (status == VK_EOK) continue;
    run_short();  // it is, until the faults are noted
    fault_names_of(at, status == VK_ENOANSWER ? VK_EPROVIDER : status);
    short_ = false;
  }
}

}  // namespace vesk::core::dm
