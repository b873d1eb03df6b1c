#pragma once

// A change of the data model: its handlers hold back what they are told until they are told to
// commit or to roll back, each once.
//
//     enlist ... open, apply ..., then commit or roll_back
//
// Where nobody waits for it any more it goes no further and is rolled back. Once it has begun to
// commit, to roll back, or to change what cannot hold back, that is done to the end.
//
// Every handler is rolled back first, which drops what an interrupted change left in it. One that
// has no answer to that cannot hold back: it changes at once. Nothing could take that back, so such
// a handler may take part only with one name, alone, and never in a trial.
//
// What is wrong with one name does not keep the others from being tried, so that all faults are
// known; then all is rolled back.

#include <asio/awaitable.hpp>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "core/call.h"
#include "core/manager_faults.h"
#include "core/manager_walk.h"

namespace vesk::core::dm {

class Change {
 public:
  explicit Change(Walk& walk) : walk_(walk) {}
  Change(const Change&) = delete;
  Change& operator=(const Change&) = delete;

  /// Finds the handler of a path. What is wrong with it is a fault, told by `faults`.
  asio::awaitable<void> enlist(std::string name, Path path);
  /// Notes what is wrong with a name.
  void add_fault(Fault fault) { faults_.push_back(std::move(fault)); }
  /// Notes that memory ran out, which takes none.
  void run_short() { short_ = true; }
  bool failed() const { return short_ || !faults_.empty(); }
  /// Whether it must not be committed: something is wrong, or nobody waits for it any more.
  bool is_off() const { return failed() || walk_.is_abandoned(); }
  /// Throws what keeps it from being committed, if anything does.
  void refuse_if_off() const;

  /// Makes the handlers ready. What is wrong with one is a fault of its names.
  asio::awaitable<void> open(bool trial);

  /// Sends an action to the handler of the path that was enlisted at this position. A refusal is a
  /// fault and gives any. Nothing is sent, which gives any, too, where there is no handler that is
  /// ready, or if nobody waits for it any more.
  asio::awaitable<OwnedValue> apply(std::size_t item, uint32_t action, const vk_value* arguments);

  asio::awaitable<void> roll_back();
  /// Commits wherever that is possible; the names that a handler did not commit are faults.
  asio::awaitable<void> commit();

  const std::vector<Fault>& faults() const { return faults_; }
  /// The highest "Status" that a handler set: 0, or 1 for what takes effect later.
  int32_t status() const { return status_; }

 private:
  struct Item {
    std::string name;
    Path path;
    std::size_t handler;  // or `kNone`
  };
  struct Handler {
    Registration registration;
    bool holds = true;            // whether it can hold back
    bool ready = false;           // whether it may be told what to hold back, or to change
    vk_error committed = VK_EOK;  // its answer
  };

  static constexpr std::size_t kNone = SIZE_MAX;

  bool may_act_at_once(bool trial) const;
  // Whether a path is known to be an object.
  asio::awaitable<bool> is_object(Path path);
  asio::awaitable<vk_error> meaning_of(vk_error refusal, uint32_t action, Path path);
  asio::awaitable<Reply> tell(const Registration& to, uint32_t action);
  std::size_t handler_of(const Registration& registration);
  void fault_names_of(std::size_t handler, vk_error status);
  void note_uncommitted();
  void hear(const vk_value& answer);

  Walk& walk_;
  std::vector<Item> items_;
  std::vector<Handler> handlers_;
  std::vector<Fault> faults_;
  bool short_ = false;
  bool abandoned_ = false;  // when it was rolled back
  int32_t status_ = 0;
};

}  // namespace vesk::core::dm
