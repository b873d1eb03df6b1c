#include <array>

#include "core/sys_service.h"
#include "core/tree.h"
#include "core/walk.h"
#include "vesk/value/member.h"

#ifndef VESK_VERSION
#define VESK_VERSION "0"
#endif

namespace vesk::core {
namespace {

using rt::Limits;

constexpr std::size_t kLongestPattern = 512;  // bytes; a parameter's name has at most 256

struct NamedLimit {
  const char* name;
  uint32_t Limits::*limit;
};
constexpr std::array<NamedLimit, 8> kLimits = {{{"message", &Limits::message},
                                                {"depth", &Limits::depth},
                                                {"nodes", &Limits::nodes},
                                                {"members", &Limits::members},
                                                {"pairs", &Limits::pairs},
                                                {"text", &Limits::text},
                                                {"path", &Limits::path},
                                                {"name", &Limits::name}}};

// {"Version", "Limits": {...}}
Bytes greeting(const Limits& limits) {
  const OwnedValue value(vk_object_new_with_policy(vk_default_allocator(), VK_POLICY_ORDERED));
  if (value == nullptr) throw std::bad_alloc();
  uint32_t error = vk_object_set_string(value.get(), "Version", VESK_VERSION);
  vk_value* const members =
      vk_object_init_object_with_policy(value.get(), "Limits", VK_POLICY_ORDERED);
  if (members == nullptr || error != VK_EOK) throw std::bad_alloc();
  for (const auto& [name, limit] : kLimits) {
    error = vk_object_set_uint(members, name, limits.*limit);
    if (error != VK_EOK) throw std::bad_alloc();
  }
  return encode(*value);
}

Answer attach(Roster& roster, const Limits& limits, LogBudget& budget, const Call& call,
              const vk_value& value) {
  const char* const name = text_member(value, "Name");
  if (name == nullptr) return {VK_EINVAL};
  const char* const told = text_member(value, "Version");
  const std::string version =
      told == nullptr || *told == 0 ? "" : ", version " + escaped(told) + ',';
  Bytes answer = greeting(limits);
  const ModulePtr before = roster.find(name);
  const uint32_t result = roster.attach(call.line, name);
  if (result != VK_EOK) return {result};
  if (roster.find(name) != before && budget.spend(call.peer)) {
    log(VK_LOG_INFO, "Module %s%s is process %ld", name, version.c_str(),
        static_cast<long>(call.peer.pid));
  }
  return {VK_EOK, std::move(answer)};
}

Answer serve(Dispatcher& dispatcher, const Call& call, const vk_value& value) {
  const char* const name = text_member(value, "Name");
  return {name == nullptr ? VK_EINVAL : dispatcher.roster().serve(call.line, name)};
}

Path pattern_of(const vk_value& value) {
  const char* const text = text_member(value, "Path");
  const std::string path = text == nullptr ? "" : text;
  return path.size() > kLongestPattern ? Path() : walk(path);
}

Answer change_handlers(Dispatcher& dispatcher, const Call& call, const vk_value& value, bool add) {
  const ModulePtr module = dispatcher.roster().find(call.module);
  const uint32_t* const number = number_member(value, "Handler");
  Path pattern = pattern_of(value);
  if (module == nullptr) return {VK_EAUTH};
  if (number == nullptr || pattern.empty()) return {VK_EINVAL};
  return {add ? dispatcher.add_handler(module, std::move(pattern), *number)
              : dispatcher.remove_handler(*module, pattern, *number)};
}

using Answerer = std::function<Answer(const Call& call, const vk_value& value)>;

// A service of exactly that path that answers at once.
void add(Dispatcher& dispatcher, const Path& path, Answerer answerer) {
  const std::size_t length = path.size();
  dispatcher.serve(path,
                   [length, answerer = std::move(answerer)](
                       CallPtr call, const Request& request) -> asio::awaitable<Answer> {
                     if (request.path.size() != length) co_return Answer{VK_ENOANSWER};
                     const OwnedValue value = decode(request.value.get());
                     Answer answer = answerer(*call, *value);
                     co_return answer;
                   });
}

}  // namespace

void serve_modules(Dispatcher& dispatcher, const Settings& settings, LogBudget& budget) {
  const Limits& limits = settings.message;
  add(dispatcher, {"sys", "module", "attach"}, [&](const Call& call, const vk_value& value) {
    return attach(dispatcher.roster(), limits, budget, call, value);
  });
  add(dispatcher, {"sys", "module", "serve"},
      [&](const Call& call, const vk_value& value) { return serve(dispatcher, call, value); });
  add(dispatcher, {"sys", "handler", "add"}, [&](const Call& call, const vk_value& value) {
    return change_handlers(dispatcher, call, value, true);
  });
  add(dispatcher, {"sys", "handler", "del"}, [&](const Call& call, const vk_value& value) {
    return change_handlers(dispatcher, call, value, false);
  });
}

}  // namespace vesk::core
