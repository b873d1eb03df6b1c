#include "tests/support/scripted_router.h"

#include <algorithm>
#include <array>
#include <asio/post.hpp>
#include <asio/redirect_error.hpp>
#include <asio/use_awaitable.hpp>

#include "lib/wire.h"
#include "lib/wire_memory.h"
#include "tests/support/allocation_fault.h"
#include "vesk/dmmgr/frame.h"
#include "vesk/path.h"

namespace vesk::test {
namespace {

std::string joined(const core::Path& path, std::size_t from = 0) {
  std::string text;
  for (std::size_t at = from; at < path.size(); ++at) {
    text += (at == from ? "" : ".") + path[at];
  }
  return text;
}

const Tree* item(const Tree& tree, const std::string& name) {
  for (const Tree& each : tree.items) {
    if (each.name == name) return &each;
  }
  return nullptr;
}

Tree object_of(const std::vector<std::pair<std::string, Tree>>& members) {
  Tree tree = object({});
  for (const auto& [name, member] : members) {
    tree.items.push_back(member);
    tree.items.back().name = name;
  }
  return tree;
}

bool is_below(const std::string& path, const std::string& above) {
  return above.empty() || path.starts_with(above + '.');
}

bool fits(const core::Path& pattern, const core::Path& path) {
  if (pattern.size() > path.size()) return false;
  return std::equal(pattern.begin(), pattern.end(), path.begin(),
                    [](const std::string& part, const std::string& component) {
                      return part == component ||
                             (part == "$" && vk_path_str_to_index(component.c_str()) != 0);
                    });
}

// Longer patterns first, literal before "$" from the left, then the oldest.
bool goes_first(const core::Registration& a, const core::Registration& b) {
  if (a.pattern.size() != b.pattern.size()) return a.pattern.size() > b.pattern.size();
  for (std::size_t at = 0; at != a.pattern.size(); ++at) {
    const bool any_a = a.pattern[at] == "$";
    const bool any_b = b.pattern[at] == "$";
    if (any_a != any_b) return any_b;
  }
  return a.id < b.id;
}

std::string key_of(uint32_t action, const std::string& path) {
  return std::string(dm_action_to_string(action)) + ' ' + path;
}

// What a module does takes none of the manager's memory.
core::Answer ask_provider(Provider& provider, const core::Request& request,
                          const core::CallPtr& parent) {
  const Unwatched own_memory;
  return provider.answer(
      {request.action, joined(request.path, 1), tree_in(*request.value), parent});
}

}  // namespace

core::Path components(const std::string& text) {
  core::Path path;
  for (std::size_t from = 0; from < text.size();) {
    const std::size_t end = std::min(text.find('.', from), text.size());
    path.push_back(text.substr(from, end - from));
    from = end + 1;
  }
  return path;
}

core::Bytes bytes_of(const Tree& tree) {
  wire::Buffer buffer;
  EXPECT_EQ(wire::Encoder<wire::Buffer>(buffer).put(*planted(tree)), VK_EOK);
  return {buffer.bytes().begin(), buffer.bytes().end()};
}

Tree tree_in(const core::Bytes& bytes) {
  const Value value = new_value();
  wire::Bytes reader(bytes);
  if (!bytes.empty()) {
    EXPECT_EQ(wire::Decoder<wire::Bytes>(reader).get(*value), VK_EOK);
    EXPECT_TRUE(reader.rest().empty());
  }
  return tree_of(*value);
}

int Provider::count(const std::string& action_and_path) const {
  return static_cast<int>(std::count(asked.begin(), asked.end(), action_and_path));
}

core::Answer Provider::answer(const Asked& to) {
  const std::string key = key_of(to.action, to.path);
  asked.push_back(key);
  requests.push_back(to);
  if (const auto found = before.find(key); found != before.end()) found->second();
  if (const auto found = refusals.find(key); found != refusals.end()) return {found->second};
  Members members;
  const uint32_t status = act(to, members);
  if (const auto found = additions.find(key); found != additions.end()) {
    members.push_back(found->second);
  }
  if (status != VK_EOK) return {status};
  return {status, bytes_of(object_of(members))};
}

uint32_t Provider::act(const Asked& to, Members& members) {
  using Action = uint32_t (Provider::*)(const Asked&, Members&);
  static constexpr std::array<Action, VK_DM_PROVIDE + 1> kActions = {
      &Provider::get,      &Provider::set,     &Provider::info,    &Provider::add,
      &Provider::del,      &Provider::decline, &Provider::setattr, &Provider::commit,
      &Provider::rollback, &Provider::decline, &Provider::level,   &Provider::provide};
  return (this->*kActions.at(to.action))(to, members);
}

bool Provider::holds_object(const std::string& path) const {
  if (objects.contains(path) || tables.contains(path)) return true;
  const auto below = [&](const auto& name) { return is_below(name, path); };
  return std::any_of(objects.begin(), objects.end(), below) ||
         std::any_of(parameters.begin(), parameters.end(),
                     [&](const auto& each) { return below(each.first); });
}

std::vector<std::string> Provider::children(const std::string& path) const {
  std::vector<std::string> names;
  const auto add_name = [&](const std::string& name) {
    if (!is_below(name, path)) return;
    const std::size_t from = path.empty() ? 0 : path.size() + 1;
    const std::string child = name.substr(from, name.find('.', from) - from);
    if (std::find(names.begin(), names.end(), child) == names.end()) names.push_back(child);
  };
  for (const auto& [name, value] : parameters) add_name(name);
  for (const std::string& name : objects) add_name(name);
  for (const auto& [name, next] : tables) add_name(name);
  return names;
}

Tree Provider::value_at(const std::string& path) const {
  const auto found = parameters.find(path);
  if (found != parameters.end()) return found->second;
  Members members;
  for (const std::string& name : children(path)) {
    members.emplace_back(name, value_at(path.empty() ? name : path + '.' + name));
  }
  return object_of(members);
}

uint32_t Provider::get(const Asked& to, Members& members) {
  if (!parameters.contains(to.path) && !holds_object(to.path)) return VK_ENOANSWER;
  members.emplace_back("ParameterList", value_at(to.path));
  return VK_EOK;
}

uint32_t Provider::set(const Asked& to, Members&) {
  if (!parameters.contains(to.path)) return VK_ENOANSWER;
  if (!writable.contains(to.path)) return VK_ERO;
  Tree value = *item(to.value, "Value");
  value.name.clear();
  staged[to.path] = value;
  if (!holds) settle();
  return VK_EOK;
}

uint32_t Provider::info(const Asked& to, Members& members) {
  if (!parameters.contains(to.path) && !holds_object(to.path)) return VK_ENOANSWER;
  members.emplace_back("Writable", boolean(writable.contains(to.path) ? 1 : 0));
  return VK_EOK;
}

uint32_t Provider::add(const Asked& to, Members& members) {
  const auto table = tables.find(to.path);
  if (table == tables.end()) return VK_ENOANSWER;
  const uint32_t number = table->second++;
  staged[to.path + '.' + std::to_string(number) + ".Name"] = text("new");
  if (!holds) settle();
  members.emplace_back("InstanceNumber", unsigned_integer(number));
  return VK_EOK;
}

uint32_t Provider::del(const Asked& to, Members&) {
  if (!holds_object(to.path)) return VK_ENOANSWER;
  staged_deletions.insert(to.path);
  if (!holds) settle();
  return VK_EOK;
}

void Provider::settle() {
  for (const auto& [name, value] : staged) parameters[name] = value;
  for (const std::string& object : staged_deletions) {
    std::erase_if(parameters, [&](const auto& each) { return is_below(each.first, object); });
    objects.erase(object);
  }
  staged.clear();
  staged_deletions.clear();
}

uint32_t Provider::commit(const Asked&, Members&) {
  if (!holds) return VK_ENOANSWER;
  settle();
  return VK_EOK;
}

uint32_t Provider::rollback(const Asked&, Members&) {
  if (!holds) return VK_ENOANSWER;
  staged.clear();
  staged_deletions.clear();
  return VK_EOK;
}

uint32_t Provider::level(const Asked& to, Members& members) {
  if (parameters.contains(to.path) || !holds_object(to.path)) return VK_ENOANSWER;
  Members names;
  for (const std::string& name : children(to.path)) names.emplace_back(name, any());
  if (!names.empty()) members.emplace_back("level", object_of(names));
  return VK_EOK;
}

uint32_t Provider::provide(const Asked& to, Members&) {
  return parameters.contains(to.path) || holds_object(to.path) ? VK_EOK : VK_ENOANSWER;
}

uint32_t Provider::setattr(const Asked&, Members&) { return VK_ENOANSWER; }

uint32_t Provider::decline(const Asked& to, Members&) {
  ADD_FAILURE() << "a provider was asked for action " << to.action;
  return VK_ENOANSWER;
}

Provider& ScriptedRouter::add(Provider provider) {
  provider.id = ++last_id_;
  return providers_.emplace_back(std::move(provider));
}

void ScriptedRouter::remove(const std::string& pattern) {
  for (Provider& each : providers_) {
    if (each.pattern == pattern) each.id = 0;
  }
}

void ScriptedRouter::on(const std::string& path,
                        std::function<core::Answer(const Asked&)> handler) {
  others_[path] = std::move(handler);
}

void ScriptedRouter::go_on() {
  held_.clear();
  gate_.cancel();
}

asio::awaitable<void> ScriptedRouter::passed(std::string action_and_path) {
  asio::error_code cancelled;  // which is how each wait ends
  auto token = asio::redirect_error(asio::use_awaitable, cancelled);
  while (held_.contains(action_and_path)) co_await gate_.async_wait(token);
}

void ScriptedRouter::tell(const std::string& module, bool attached) {
  for (const auto& watcher : watchers_) watcher(module, attached);
}

void ScriptedRouter::forget_services() {
  services_.clear();
  watchers_.clear();
}

void ScriptedRouter::serve(core::Path pattern, Service service) {
  services_.emplace_back(std::move(pattern), std::move(service));
}

void ScriptedRouter::watch_modules(std::function<void(const std::string&, bool)> watcher) {
  watchers_.push_back(std::move(watcher));
}

std::vector<std::string> ScriptedRouter::services() const {
  std::vector<std::string> names;
  for (const auto& [pattern, service] : services_) names.push_back(joined(pattern));
  return names;
}

Provider* ScriptedRouter::find(uint64_t id) {
  for (Provider& each : providers_) {
    if (each.id == id && id != 0) return &each;
  }
  return nullptr;
}

std::vector<core::Registration> ScriptedRouter::registrations(const std::string& first) const {
  std::vector<core::Registration> all;
  for (const Provider& each : providers_) {
    if (each.id == 0 || first != "dm") continue;
    core::Path pattern{"dm"};
    for (const std::string& component : components(each.pattern)) pattern.push_back(component);
    all.push_back({each.id, pattern, each.module});
  }
  std::sort(all.begin(), all.end(), goes_first);
  return all;
}

asio::awaitable<core::Answer> ScriptedRouter::ask(core::CallPtr parent, core::Request request) {
  co_await asio::post(loop_, asio::use_awaitable);
  for (const auto& [pattern, service] : services_) {
    if (!fits(pattern, request.path)) continue;
    core::Answer answer = co_await service(parent, request);
    co_return answer;
  }
  if (!request.path.empty() && request.path.front() == "dm") {
    core::Answer answer = co_await ask_model(std::move(parent), std::move(request));
    co_return answer;
  }
  const auto other = others_.find(joined(request.path));
  if (other == others_.end()) co_return core::Answer{VK_ENOANSWER};
  const core::Bytes none;
  const Tree value = tree_in(request.value == nullptr ? none : *request.value);
  co_return other->second({request.action, other->first, value, parent});
}

asio::awaitable<core::Answer> ScriptedRouter::ask_model(core::CallPtr parent,
                                                        core::Request request) {
  for (const core::Registration& each : registrations("dm")) {
    if (!fits(each.pattern, request.path)) continue;
    core::Answer answer = co_await ask(parent, each.id, request);
    if (answer.status != VK_ENOANSWER) co_return answer;
  }
  co_return core::Answer{VK_ENOANSWER};
}

asio::awaitable<core::Answer> ScriptedRouter::ask(core::CallPtr parent, uint64_t registration,
                                                  core::Request request) {
  co_await asio::post(loop_, asio::use_awaitable);
  Provider* const provider = find(registration);
  if (provider == nullptr) co_return core::Answer{VK_EIO};
  core::Answer answer = ask_provider(*provider, request, parent);
  if (!held_.empty()) co_await passed(key_of(request.action, joined(request.path, 1)));
  if (find(registration) == nullptr) answer = {VK_EIO};  // its module died over it
  co_return answer;
}

}  // namespace vesk::test
