#pragma once

// The core as a whole: its parts, the order in which they start, and how they end.

#include <asio/awaitable.hpp>
#include <asio/io_context.hpp>
#include <asio/signal_set.hpp>
#include <memory>
#include <string>
#include <utility>

#include "core/await.h"
#include "core/dispatcher.h"
#include "core/hook.h"
#include "core/log.h"
#include "core/manager.h"
#include "core/notify.h"
#include "core/options.h"
#include "core/server.h"
#include "core/socket_file.h"
#include "core/store.h"
#include "core/trimmer.h"

namespace vesk::core {

/// The manager's part of the store.
class StoreRecords final : public Records {
 public:
  explicit StoreRecords(Store& store) : store_(store) {}

  asio::awaitable<uint32_t> save(std::string key, std::shared_ptr<const Bytes> tree) override {
    return store_.save(std::move(key), std::move(tree));
  }
  asio::awaitable<Answer> load(std::string key) override { return store_.load(std::move(key)); }

 private:
  Store& store_;
};

class Agent {
 public:
  /// Starts everything. Throws `std::system_error`.
  /// @param listener a listening socket that was handed over, or none
  Agent(const Options& options, Descriptor listener);

  /// Runs until a signal ends it. "gta" is cleared whenever nothing of the core is on the stack.
  void run();

 private:
  void listen(Descriptor listener);
  void await_signal();
  void report(const std::string& text);
  Complain complainer();
  void end() noexcept;
  asio::awaitable<void> run_down();
  asio::awaitable<void> shut_down();
  asio::awaitable<void> wait_for_answers();

  const Options& options_;
  LogBudget budget_;
  Reserve reserve_;
  asio::io_context loop_;
  Trimmer trimmer_;
  Notifier notifier_;
  Dispatcher dispatcher_;
  Store store_;
  StoreRecords records_;
  Manager manager_;
  Hook hook_;
  Server server_;
  asio::signal_set signals_;
  std::unique_ptr<SocketFile> file_;
};

}  // namespace vesk::core
