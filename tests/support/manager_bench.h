#pragma once

// The manager with scripted providers and records in memory, and its requests as plain calls.

#include <asio/co_spawn.hpp>
#include <asio/detached.hpp>
#include <asio/io_context.hpp>
#include <asio/redirect_error.hpp>
#include <asio/steady_timer.hpp>
#include <asio/use_awaitable.hpp>
#include <exception>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "core/manager.h"
#include "tests/support/allocation_fault.h"
#include "tests/support/scripted_router.h"
#include "vesk/net/cwmp_utils.h"

namespace vesk::test {

/// Records that are kept in memory, and refuse or wait on demand.
class MemoryRecords : public core::Records {
 public:
  explicit MemoryRecords(asio::io_context& loop)
      : gate_(loop, asio::steady_timer::time_point::max()) {}

  std::map<std::string, Tree> trees = {};
  uint32_t save_status = VK_EOK;
  uint32_t load_status = VK_EOK;
  std::optional<core::Bytes> damage;  ///< what a load finds in place of a tree
  int saves = 0;

  /// Has what is asked for wait until `go_on`.
  void halt() { halted_ = true; }
  void go_on() {
    halted_ = false;
    gate_.cancel();
  }

  asio::awaitable<uint32_t> save(std::string key,
                                 std::shared_ptr<const core::Bytes> tree) override {
    ++saves;
    co_await passed();
    const Unwatched own_memory;
    if (save_status == VK_EOK) trees[key] = tree_in(*tree);
    co_return save_status;
  }

  asio::awaitable<core::Answer> load(std::string key) override {
    co_await passed();
    const Unwatched own_memory;
    if (load_status != VK_EOK) co_return core::Answer{load_status};
    if (damage) co_return core::Answer{VK_EOK, *damage};
    const auto found = trees.find(key);
    if (found == trees.end()) co_return core::Answer{VK_ENOENT};
    co_return core::Answer{VK_EOK, bytes_of(found->second)};
  }

 private:
  asio::awaitable<void> passed() {
    asio::error_code cancelled;  // which is how each wait ends
    auto token = asio::redirect_error(asio::use_awaitable, cancelled);
    while (halted_) co_await gate_.async_wait(token);
  }

  bool halted_ = false;
  asio::steady_timer gate_;
};

/// An answer that can be compared and printed.
struct Told {
  uint32_t status;
  Tree value;

  bool operator==(const Told&) const = default;
};

inline std::ostream& operator<<(std::ostream& out, const Told& told) {
  return out << vk_strerror(told.status) << ' ' << told.value;
}

/// The fault of one name.
struct Named {
  std::string name;
  uint32_t code;
};

inline Tree::Named fault_string(uint32_t code) {
  return {"FaultString", text(vk_cwmp_get_fault_string(code))};
}

/// A refusal, with the faults of names.
inline Told refused(uint32_t status, uint32_t code, const std::vector<Named>& names = {}) {
  std::vector<Tree> faults;
  for (const Named& each : names) {
    faults.push_back(object({{"ParameterName", text(each.name)},
                             {"FaultCode", unsigned_integer(each.code)},
                             fault_string(each.code)}));
  }
  return {status, object({{"FaultCode", unsigned_integer(code)},
                          fault_string(code),
                          {"Faults", array(std::move(faults))}})};
}

inline Told answered(std::initializer_list<Tree::Named> members) {
  return {VK_EOK, object(members)};
}

/// A bare acknowledgement.
inline Told acknowledged() { return {VK_EOK, any()}; }

/// A call of the core's own kind of peer, or of a module.
inline core::CallPtr call_of(const std::string& module, core::CallPtr parent = nullptr) {
  const uint32_t depth = parent == nullptr ? 1 : parent->depth + 1;
  return std::make_shared<const core::Call>(
      core::Call{std::move(parent), depth, {0, 0, 1, true}, module});
}

class ManagerBench : public testing::Test {
 protected:
  asio::io_context loop;
  ScriptedRouter router{loop};
  MemoryRecords records{loop};
  core::ManagerOptions options;
  std::optional<core::Manager> manager;
  core::CallPtr caller = call_of("");

  /// An answer that may still be on its way.
  using Pending = std::shared_ptr<std::optional<Told>>;

  /// Asks without waiting.
  Pending begin(const std::string& path, const Tree& value, core::CallPtr call) {
    if (!manager) manager.emplace(loop, router, records, options);
    auto pending = std::make_shared<std::optional<Told>>();
    core::Request request{components(path), 0,
                          std::make_shared<const core::Bytes>(bytes_of(value))};
    asio::co_spawn(loop, router.ask(std::move(call), std::move(request)),
                   [pending](const std::exception_ptr& thrown, const core::Answer& answer) {
                     EXPECT_EQ(thrown, nullptr);
                     *pending = Told{answer.status, tree_in(answer.value)};
                   });
    return pending;
  }

  /// Begins a new manager, which knows of the old one what is in the records.
  void restart() {
    router.forget_services();
    manager.emplace(loop, router, records, options);
  }

  void run() {
    loop.restart();
    loop.run();
  }

  /// Runs until all that is left to do waits.
  void settle() {
    loop.restart();
    loop.poll();
  }

  /// Asks, and waits until nothing is left to do.
  Told ask(const std::string& path, const Tree& value, core::CallPtr call) {
    const Pending pending = begin(path, value, std::move(call));
    run();
    if (*pending) return **pending;
    ADD_FAILURE() << path << " was not answered";
    return {VK_EINTERNAL, any()};
  }

  Told ask(const std::string& path, const Tree& value) { return ask(path, value, caller); }
};

/// An array of strings.
inline Tree texts(const std::vector<std::string>& each) {
  std::vector<Tree> elements;
  for (const std::string& one : each) elements.push_back(text(one));
  return array(std::move(elements));
}

}  // namespace vesk::test
