#include "core/roster.h"

#include <algorithm>
#include <exception>
#include <string>
#include <utility>

namespace vesk::core {
namespace {

constexpr std::size_t kLongestName = 64;

bool is_name(const std::string& text) {
  static constexpr std::string_view kAllowed =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_";
  return !text.empty() && text.size() <= kLongestName &&
         text.find_first_not_of(kAllowed) == std::string::npos;
}

}  // namespace

Roster::Roster(asio::io_context& loop, const Settings& settings, Watcher watcher, Complain complain)
    : loop_(loop),
      settings_(settings),
      watcher_(std::move(watcher)),
      complain_(std::move(complain)) {}

void Roster::meet(const LinePtr& line) { lines_.try_emplace(line->id(), Known{line, nullptr}); }

uint32_t Roster::attach(uint64_t line, const std::string& name) {
  const auto known = lines_.find(line);
  if (known == lines_.end()) return VK_EIO;
  if (!is_name(name) || known->second.module != nullptr) return VK_EINVAL;
  // Who comes back may be heard of before his end is.
  const ModulePtr before = find(name);
  if (before != nullptr && before->main().hung_up()) drop(before, VK_EIO);
  const ModulePtr module = find(name);
  if (module == nullptr) return begin(known->second, name);
  if (!module->is(known->second.line->peer())) return VK_EEXIST;
  module->add_calling(known->second.line);
  known->second.module = module;
  return VK_EOK;
}

uint32_t Roster::begin(Known& known, const std::string& name) {
  const auto hung = [this](Module& module) {
    complain(module, "does not answer");
    drop(module.shared_from_this(), VK_ETIMEDOUT);
  };
  const auto module = std::make_shared<Module>(loop_, name, known.line, settings_, hung);
  modules_.emplace(name, module);
  known.module = module;
  known.line->give_time();
  tell(*module, true);
  return VK_EOK;
}

uint32_t Roster::serve(uint64_t line, const std::string& name) {
  const auto known = lines_.find(line);
  if (known == lines_.end()) return VK_EIO;
  if (known->second.module != nullptr) return VK_EINVAL;
  const ModulePtr module = find(name);
  if (module == nullptr || !module->is(known->second.line->peer())) return VK_EAUTH;
  module->add_serving(known->second.line);
  known->second.module = module;
  return VK_EOK;
}

ModulePtr Roster::of(const Line& line) const {
  const auto known = lines_.find(line.id());
  return known == lines_.end() ? nullptr : known->second.module;
}

ModulePtr Roster::find(const std::string& name) const {
  const auto module = modules_.find(name);
  return module == modules_.end() ? nullptr : module->second;
}

void Roster::begin_delivery(const Line& line) noexcept {
  const auto known = lines_.find(line.id());
  if (known == lines_.end() || known->second.module == nullptr) return;
  known->second.delivering = true;
  known->second.module->begin_delivery();
}

void Roster::end_delivery(const Line& line) noexcept {
  const auto known = lines_.find(line.id());
  if (known == lines_.end() || !std::exchange(known->second.delivering, false)) return;
  known->second.module->end_delivery();
}

void Roster::lose(const Line& line) noexcept {
  end_delivery(line);
  const auto known = lines_.find(line.id());
  if (known == lines_.end()) return;
  const ModulePtr module = known->second.module;
  lines_.erase(known);
  if (module == nullptr) return;
  if (&module->main() == &line) {
    drop(module, VK_EIO);
  } else {
    module->lose(line);
  }
}

void Roster::drop(ModulePtr module, uint32_t status) noexcept {
  const auto entry = modules_.find(module->name());
  if (entry == modules_.end() || entry->second != module) return;
  modules_.erase(entry);
  module->end(status);
  module->close_lines();
  tell(*module, false);
}

void Roster::tell(const Module& module, bool attached) noexcept try {
  watcher_(module.name(), attached);
} catch (const std::exception&) {
  complain(module, attached ? "has begun, and not all could be told"
                            : "has ended, and not all could be told");
}

void Roster::complain(const Module& module, const char* what) const noexcept try {
  const Peer& peer = module.main().peer();
  complain_(peer,
            "Module " + module.name() + " of process " + std::to_string(peer.pid) + ' ' + what);
} catch (const std::exception&) {
}

void Roster::end_all(uint32_t status) noexcept {
  for (const auto& [name, module] : modules_) module->end(status);
}

}  // namespace vesk::core
