#pragma once

// A module as the core sees it: its lines, and who may be asked when.
//
// The core keeps a stack of open items for each module: the requests handed to it and the calls
// that it has made. A request is handed over only when the stack is empty or its top is a call, for
// then the module waits and serves meanwhile; others queue. So A may ask B while B asks A, and two
// unrelated callers never lock each other.
//
// The answer time runs only while the top is a request, or the stack is empty and the module does
// not take an answer that is meant for it. It starts anew with every message from the module, and
// with every request that is handed over.
//
// What throws for want of memory has changed nothing. What does not throw answers those whom it
// cannot serve `VK_ENOMEM`.

#include <asio/io_context.hpp>
#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <vector>

#include "core/alarm.h"
#include "core/call.h"
#include "core/exchange.h"
#include "core/settings.h"

namespace vesk::core {

/// A request for a module.
struct Task {
  Message message;
  CallPtr call;
  std::function<void(Answer)> done;  ///< called once; it does not throw
};

class Module : public std::enable_shared_from_this<Module> {
  struct Item {
    std::shared_ptr<Task> task;  // null for a call that the module made
    LinePtr line;                // that the task was handed over on
  };

 public:
  using CallItem = std::list<Item>::iterator;

  /// @param hung called when the answer time is up
  Module(asio::io_context& loop, std::string name, LinePtr main, const Settings& settings,
         std::function<void(Module&)> hung);

  const std::string& name() const { return name_; }
  const Line& main() const { return *main_; }

  /// Whether a peer is the same process of the same user.
  bool is(const Peer& peer) const;

  /// Adds a calling line, or a serving one that was turned round.
  void add_calling(const LinePtr& line);
  void add_serving(const LinePtr& line);
  /// Forgets a line other than the main one, which has ended.
  void lose(const Line& line) noexcept;

  /// Hands a request over, has it wait, or refuses it.
  void submit(std::shared_ptr<Task> task);

  /// A message has come from the module.
  void heard() noexcept;

  /// The module has made a call. Requests that it may be asked meanwhile are handed over by
  /// `call_waits`, unless the call could be answered at once.
  CallItem begin_call();
  void call_waits() noexcept;
  void end_call(CallItem call) noexcept;

  /// An answer to the module is under way, and has been taken.
  void begin_delivery() noexcept;
  void end_delivery() noexcept;

  /// The nearest request that the module is serving; null if it serves none.
  CallPtr serving() const;

  /// Ends the module: answers whatever is open or waits, and refuses what comes later.
  void end(uint32_t status) noexcept;
  bool has_ended() const { return ended_; }
  void close_lines();

 private:
  bool accepts() const { return stack_.empty() || waits(); }
  bool waits() const { return !stack_.empty() && stack_.back().task == nullptr; }

  void hand(const std::shared_ptr<Task>& task);
  void enqueue(std::shared_ptr<Task> task);
  void hand_or_refuse(const std::shared_ptr<Task>& task) noexcept;
  void take_answer(std::list<Item>::iterator item, Answer answer) noexcept;
  static bool take_back(const Item& lost) noexcept;
  void forget_gone() noexcept;
  void go_on() noexcept;
  void mind_clock() noexcept;
  void mind_queue() noexcept;
  void refuse_overdue() noexcept;

  struct Waiting {
    std::shared_ptr<Task> task;
    std::chrono::steady_clock::time_point until;
  };

  const std::string name_;
  const LinePtr main_;
  const Settings& settings_;
  const std::function<void(Module&)> hung_;
  std::vector<LinePtr> lines_;  // all but the main one
  std::vector<LinePtr> idle_;   // serving lines with nothing under way; has room for all
  std::list<Item> stack_;       // the top is at the back
  std::list<Waiting> queue_;
  unsigned deliveries_ = 0;
  bool ended_ = false;
  Alarm clock_;
  Alarm overdue_;  // of the queue's first
};
using ModulePtr = std::shared_ptr<Module>;

}  // namespace vesk::core
