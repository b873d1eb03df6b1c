#include "core/manager_hooks.h"

#include <algorithm>
#include <array>
#include <exception>
#include <new>
#include <utility>

#include "core/await.h"
#include "core/manager_faults.h"
#include "core/manager_requests.h"

namespace vesk::core::dm {
namespace {

constexpr std::array<std::string_view, 6> kEvents = {"added",   "boot",         "changed",
                                                     "deleted", "module-start", "module-end"};

// The core's own services are not for hooks, which it would call with its own rights.
constexpr std::array<std::string_view, 4> kReserved = {"cwmp", "dmmgr", "sys", "veskd"};

asio::awaitable<void> run_hook(Router& router, CallPtr cause, Request request) {
  try {
    co_await router.ask(std::move(cause), std::move(request));
  } catch (const std::exception&) {
    // Nobody waits for a hook; what it says is not heard, whatever it is.
  }
}

std::shared_ptr<const Bytes> event_tree(const std::string& event,
                                        const std::vector<std::string>& names) {
  const Heap heap;
  const OwnedValue value = heap.object();
  set_text(*value, "Event", event);
  vk_value& list = add_array(*value, "Names");
  for (const std::string& name : names) add_text_to(list, name);
  return shared(*value);
}

Hook read_hook(const Desk& desk, const CallPtr& call, const Request& request) {
  const Heap heap;
  const OwnedValue in = heap.read(request.value);
  Hook hook{"", text_of(*in, "Event"), {}, text_of(*in, "Hook")};
  std::optional<Name> name = read_name(hook.text, desk.options.limits);
  if (!Hooks::is_event(hook.event) || !name || name->path.empty()) refuse_arguments();
  if (call == nullptr || call->module.empty()) throw Refusal(VK_EAUTH);
  hook.module = call->module;
  hook.path = std::move(name->path);
  const auto* const end = kReserved.end();
  if (std::find(kReserved.begin(), end, hook.path.front()) != end) throw Refusal(VK_EAUTH);
  return hook;
}

}  // namespace

Hooks::Hooks(asio::io_context& loop, Router& router) : loop_(loop), router_(router) {}

bool Hooks::is_event(std::string_view event) {
  return std::find(kEvents.begin(), kEvents.end(), event) != kEvents.end();
}

uint32_t Hooks::add(Hook hook) {
  if (std::find(hooks_.begin(), hooks_.end(), hook) != hooks_.end()) return VK_EEXIST;
  const auto of_module = std::count_if(
      hooks_.begin(), hooks_.end(), [&](const Hook& each) { return each.module == hook.module; });
  if (static_cast<std::size_t>(of_module) >= kMostOfAModule) return VK_EBUSY;
  hooks_.reserve(hooks_.size() + 1);
  const uint32_t status = hook.event == "boot" ? boot(hook) : VK_EOK;
  if (status == VK_EOK) hooks_.push_back(std::move(hook));
  return status;
}

uint32_t Hooks::boot(const Hook& hook) {
  const auto known = booted_.find(hook.module);
  const bool is_known = known != booted_.end();
  if (is_known && known->second.contains(hook.path)) return VK_EOK;
  if (is_known && known->second.size() >= kMostOfAModule) return VK_EBUSY;
  if (booted_in_all_ >= kMostBooted) return VK_EBUSY;
  std::set<Path>& of_module = booted_[hook.module];
  const auto entry = of_module.insert(hook.path).first;
  try {
    call(hook, {}, nullptr);
  } catch (...) {
    of_module.erase(entry);
    throw;
  }
  ++booted_in_all_;
  return VK_EOK;
}

uint32_t Hooks::del(const Hook& hook) { return std::erase(hooks_, hook) == 0 ? VK_ENOENT : VK_EOK; }

void Hooks::module_started(const std::string& module) { run("module-start", {module}, nullptr); }

void Hooks::module_ended(const std::string& module) {
  std::erase_if(hooks_, [&](const Hook& each) { return each.module == module; });
  run("module-end", {module}, nullptr);
}

void Hooks::run(std::string_view event, const std::vector<std::string>& names,
                const CallPtr& cause) {
  for (const Hook& hook : hooks_) {
    if (hook.event != event) continue;
    try {
      call(hook, names, cause);
    } catch (const std::bad_alloc&) {
      // It costs this hook its call, and whoever caused the event nothing.
    }
  }
}

void Hooks::call(const Hook& hook, const std::vector<std::string>& names, const CallPtr& cause) {
  Request request{hook.path, 0, event_tree(hook.event, names)};
  spawn(loop_.get_executor(), run_hook(router_, cause, std::move(request)));
}

asio::awaitable<Answer> add_hook(Desk& desk, CallPtr call, const Request& request) {
  const uint32_t status = desk.hooks.add(read_hook(desk, call, request));
  if (status != VK_EOK) throw Refusal(status);
  co_return Answer{};
}

asio::awaitable<Answer> del_hook(Desk& desk, CallPtr call, const Request& request) {
  const uint32_t status = desk.hooks.del(read_hook(desk, call, request));
  if (status != VK_EOK) throw Refusal(status);
  co_return Answer{};
}

}  // namespace vesk::core::dm
