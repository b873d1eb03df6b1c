#pragma once

// A router whose modules are scripts in memory: what the core's services see of the dispatcher,
// with providers that behave as those of modules do.

#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <functional>
#include <list>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "core/router.h"
#include "tests/support/trees.h"

namespace vesk::test {

/// The components of a path text.
core::Path components(const std::string& text);

core::Bytes bytes_of(const Tree& tree);
/// The tree in bytes of the wire; none are any.
Tree tree_in(const core::Bytes& bytes);

/// What a provider was asked: an action and the path below "dm", or the whole path of what is none
/// of the data model.
struct Asked {
  uint32_t action;
  std::string path;
  Tree value;
  core::CallPtr parent;
};

/// A module that provides parameters at full names, such as "Device.Info.Name".
struct Provider {
  std::string module;
  std::string pattern;  ///< below "dm"

  std::map<std::string, Tree> parameters = {};
  std::set<std::string> objects = {};  ///< those that need not hold a parameter to be there
  std::set<std::string> writable = {};
  std::map<std::string, uint32_t> tables = {};  ///< the number of the next instance
  bool holds = true;                            ///< whether it can hold back

  /// What an action on a path is answered instead, such as {"set Device.A", VK_EVALUE}.
  std::map<std::string, uint32_t> refusals = {};
  /// What an action on a path is answered in addition.
  std::map<std::string, Tree::Named> additions = {};
  /// Called before an action on a path is answered.
  std::map<std::string, std::function<void()>> before = {};

  std::vector<std::string> asked = {};  ///< "get Device.A", in order
  std::vector<Asked> requests = {};
  std::map<std::string, Tree> staged = {};
  std::set<std::string> staged_deletions = {};

  uint64_t id = 0;

  int count(const std::string& action_and_path) const;
  core::Answer answer(const Asked& asked);

 private:
  using Members = std::vector<std::pair<std::string, Tree>>;

  bool holds_object(const std::string& path) const;
  Tree value_at(const std::string& path) const;
  std::vector<std::string> children(const std::string& path) const;
  uint32_t act(const Asked& asked, Members& members);
  uint32_t get(const Asked& asked, Members& members);
  uint32_t set(const Asked& asked, Members& members);
  uint32_t info(const Asked& asked, Members& members);
  uint32_t add(const Asked& asked, Members& members);
  uint32_t del(const Asked& asked, Members& members);
  uint32_t setattr(const Asked& asked, Members& members);
  uint32_t commit(const Asked& asked, Members& members);
  uint32_t rollback(const Asked& asked, Members& members);
  uint32_t level(const Asked& asked, Members& members);
  uint32_t provide(const Asked& asked, Members& members);
  uint32_t decline(const Asked& asked, Members& members);
  void settle();
};

class ScriptedRouter : public core::Router {
 public:
  explicit ScriptedRouter(asio::io_context& loop) : loop_(loop) {}

  /// Registers a provider, at the end of those of its rank.
  Provider& add(Provider provider);
  /// Its registration is gone from now on.
  void remove(const std::string& pattern);

  /// Has a request outside of the data model answered, in the form of `Provider::asked`.
  void on(const std::string& path, std::function<core::Answer(const Asked&)> handler);

  /// Has what a provider answers to an action on a path, such as "commit Device", stay on its way
  /// until `go_on`.
  void hold(const std::string& action_and_path) { held_.insert(action_and_path); }
  void go_on();

  void attach(const std::string& module) { tell(module, true); }
  void end(const std::string& module) { tell(module, false); }

  /// Forgets services and watchers, as a router that ends with them does.
  void forget_services();

  void serve(core::Path pattern, Service service) override;
  asio::awaitable<core::Answer> ask(core::CallPtr parent, core::Request request) override;
  asio::awaitable<core::Answer> ask(core::CallPtr parent, uint64_t registration,
                                    core::Request request) override;
  std::vector<core::Registration> registrations(const std::string& first) const override;
  void watch_modules(std::function<void(const std::string&, bool)> watcher) override;

  /// The patterns of services, joined.
  std::vector<std::string> services() const;

 private:
  void tell(const std::string& module, bool attached);
  Provider* find(uint64_t id);
  asio::awaitable<core::Answer> ask_model(core::CallPtr parent, core::Request request);

  asio::awaitable<void> passed(std::string action_and_path);

  asio::io_context& loop_;
  asio::steady_timer gate_{loop_, asio::steady_timer::time_point::max()};
  std::set<std::string> held_;
  std::list<Provider> providers_;
  uint64_t last_id_ = 0;
  std::map<std::string, std::function<core::Answer(const Asked&)>> others_;
  std::vector<std::pair<core::Path, Service>> services_;
  std::vector<std::function<void(const std::string&, bool)>> watchers_;
};

}  // namespace vesk::test
