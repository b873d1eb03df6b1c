#pragma once

// The store's thread. The loop's thread hands it jobs; it does them in the order in which they were
// asked for, and hands each back once. All jobs that wait when it looks are done in one transaction
// and handed back when that is committed, so that changes share a commit, and a load that follows a
// change of its key is answered with what has been kept. If they cannot be committed together, each
// is tried alone: what cannot be kept does not take the rest with it.
//
// A job belongs to the thread from `submit` until it is handed back by `asio::post`. The thread
// calls nothing of the library and logs nothing; signals are left to the loop's thread.

#include <asio/awaitable.hpp>
#include <asio/io_context.hpp>
#include <asio/steady_timer.hpp>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "core/call.h"
#include "core/store_db.h"

namespace vesk::core {

enum class StoreWork { kSave, kLoad, kRemove, kErase, kClose };

struct StoreJob {
  StoreJob(asio::io_context& loop, StoreWork what)
      : work(what), over(loop, asio::steady_timer::time_point::max()) {}

  const StoreWork work;
  std::string key = {};
  std::shared_ptr<const Bytes> tree = {};  ///< to be saved

  Answer answer = {};
  const char* trouble = nullptr;  ///< what to report of it: a constant text

  bool done = false;        ///< handed back; the loop's only
  asio::steady_timer over;  ///< cancelled when it is handed back; the loop's only
};
using StoreJobPtr = std::shared_ptr<StoreJob>;

class StoreWorker {
 public:
  /// @param report called on the loop's thread for each job that met trouble
  StoreWorker(asio::io_context& loop, std::unique_ptr<StoreDb> db, StoreDb::Report report);

  /// Finishes what was submitted, and closes.
  ~StoreWorker();

  /// False after `close`.
  bool submit(const StoreJobPtr& job);

  /// Takes no more jobs. The result is handed back when all are done and the database is closed.
  StoreJobPtr close();

 private:
  struct Failure {
    bool of_memory;
    const char* trouble;  // null if there was none
  };
  using Batch = std::vector<StoreJobPtr>;

  void work() noexcept;
  bool take(Batch& batch);
  void run(std::span<StoreJobPtr> jobs);
  Failure attempt(std::span<StoreJobPtr> jobs);
  void commit(std::span<StoreJobPtr> jobs);
  void perform(StoreJob& job);
  void hand_back(StoreJobPtr job);

  asio::io_context& loop_;
  const std::shared_ptr<const StoreDb::Report> report_;
  const StoreJobPtr closed_;
  std::unique_ptr<StoreDb> db_;  // the thread's

  std::mutex mutex_;
  std::condition_variable submitted_;
  Batch waiting_;         // guarded
  bool closing_ = false;  // guarded

  std::thread thread_;
};

}  // namespace vesk::core
