#pragma once

// Routes requests to those who registered for them: the core's own services and modules.
//
// A request is tried with each handler whose pattern lies at or above its path, one after the
// other, until one has something to say. Each request that comes on a line is answered once: by
// what its handlers gave, when its asker's patience ends, or when the core stops.

#include <asio/awaitable.hpp>
#include <asio/io_context.hpp>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/exchange.h"
#include "core/patterns.h"
#include "core/roster.h"
#include "core/router.h"
#include "core/settings.h"

namespace vesk::core {

class Dispatcher final : public Router, public Exchange {
 public:
  /// @param complain told of modules that failed
  Dispatcher(asio::io_context& loop, const Settings& settings, Complain complain = core::complain);
  ~Dispatcher() override;

  void serve(Path pattern, Service service) override;
  asio::awaitable<Answer> ask(CallPtr parent, Request request) override;
  asio::awaitable<Answer> ask(CallPtr parent, uint64_t registration, Request request) override;
  std::vector<Registration> registrations(const std::string& first) const override;
  void watch_modules(std::function<void(const std::string&, bool)> watcher) override;

  void asked(const LinePtr& line, Message message,
             std::function<void(Answer)> reply) noexcept override;
  void taken(Line& line) noexcept override;
  void ended(Line& line) noexcept override;
  std::string module_of(const Line& line) const override;

  /// The modules and their lines, for the services that manage them.
  Roster& roster() { return roster_; }

  /// Registers a handler of a module under the module's own number for it.
  /// @return `VK_EOK`; `VK_EINVAL` for an empty pattern, or one of too many components; `VK_EEXIST`
  ///         at or below a pattern of the core's own, or if the number is taken; `VK_EBUSY` if
  ///         modules have too many
  [[nodiscard]] uint32_t add_handler(const ModulePtr& module, Path pattern, uint32_t number);
  /// @return `VK_EOK`; `VK_ENOENT` if the module has no such handler
  [[nodiscard]] uint32_t remove_handler(const Module& module, const Path& pattern, uint32_t number);

  /// Answers new requests `VK_EBUSY`, and those that modules were asked `VK_EIO`. Services finish.
  void stop() noexcept;
  /// Answers whatever is still open.
  void abandon() noexcept;
  bool idle() const { return open_.empty(); }

 private:
  struct Handler {
    Path pattern;
    Service service;   // of the core, or null
    ModulePtr module;  // or of a module
    uint32_t number;   // which the module knows it by
  };
  /// Who may answer a request, as it was when the request came.
  struct Candidate {
    uint64_t id;
    ModulePtr module;
  };
  class Open;
  using OpenPtr = std::shared_ptr<Open>;

  void begin(const OpenPtr& open, Message message);
  void start(const OpenPtr& open, Request request);
  asio::awaitable<void> conduct(OpenPtr open, Request request, std::shared_ptr<const int> share);
  asio::awaitable<Answer> guarded(asio::awaitable<Answer> work);
  asio::awaitable<Answer> route(CallPtr call, Request request);
  std::vector<Candidate> candidates(const Path& path) const;
  asio::awaitable<Answer> try_one(CallPtr call, uint64_t id, const Request& request);
  asio::awaitable<Answer> hand(ModulePtr module, uint32_t number, CallPtr call,
                               const Request& request);
  std::shared_ptr<Call> call_on(const Line& line, const ModulePtr& module) const;
  uint32_t refusal_of(const Call& call, const Path& path) const;
  bool is_own(const Path& pattern) const;
  void remove(uint64_t id) noexcept;
  void forget_module(const std::string& name);

  asio::io_context& loop_;
  const Settings& settings_;
  Roster roster_;
  Patterns patterns_;
  std::map<uint64_t, Handler> handlers_;                            // the core's own come first
  std::map<std::pair<const Module*, uint32_t>, uint64_t> numbers_;  // by which modules know theirs
  std::map<uint64_t, OpenPtr> open_;                                // by their lines
  const std::shared_ptr<const int> conducted_ = std::make_shared<int>();
  std::vector<std::function<void(const std::string&, bool)>> watchers_;
  uint64_t last_id_ = 0;
  bool stopping_ = false;
};

}  // namespace vesk::core
