#include "core/store_worker.h"

#include <asio/post.hpp>
#include <chrono>
#include <csignal>
#include <new>
#include <utility>

#include "core/log.h"
#include "vesk/error.h"

namespace vesk::core {
namespace {

void save(StoreDb& db, StoreJob& job) {
  db.save(job.key, job.tree == nullptr ? std::span<const std::byte>() : *job.tree);
  job.answer.status = VK_EOK;
}

void load(StoreDb& db, StoreJob& job) {
  constexpr uint32_t kStatus[] = {VK_ENOENT, VK_EOK, VK_EVALUE};
  job.answer.value.clear();  // of an attempt that came to nothing
  const StoreDb::Found found = db.load(job.key, job.answer.value);
  job.answer.status = kStatus[static_cast<std::size_t>(found)];
  job.trouble = found == StoreDb::Found::kDamaged ? "the record is damaged" : nullptr;
}

void remove(StoreDb& db, StoreJob& job) {
  job.answer.status = db.remove(job.key) ? VK_EOK : VK_ENOENT;
}

void erase(StoreDb& db, StoreJob& job) {
  db.erase();
  job.answer.status = VK_EOK;
}

// By `StoreWork`; closing is none on the database. A load that failed, or whose answer was lost on
// the way (`VK_EIO`), must not be taken for one that found damage, since whoever begins anew then
// overwrites what is there.
struct Work {
  const char* name;
  void (*perform)(StoreDb& db, StoreJob& job);
  bool changes;
  uint32_t failed;  // the answer if the storage fails
};
constexpr Work kWork[] = {{"save", save, true, VK_EIO},
                          {"load", load, false, VK_EBUSY},
                          {"remove", remove, true, VK_EIO},
                          {"erase", erase, true, VK_EIO}};

const Work& work_of(const StoreJob& job) { return kWork[static_cast<std::size_t>(job.work)]; }

std::string description(const StoreJob& job) {
  const std::string key = job.key.empty() ? "everything" : escaped(job.key);
  return std::string("store: cannot ") + work_of(job).name + " " + key + ": " + job.trouble;
}

// On the loop's thread: whoever waits goes on in a later turn of the loop.
void finish(StoreJob& job, const StoreDb::Report& report) noexcept {
  job.done = true;
  job.over.cancel();
  try {
    if (job.trouble != nullptr) report(description(job));
  } catch (const std::bad_alloc&) {
    // It is answered all the same.
  }
}

// No signal reaches this thread while it lives, nor ever a thread that is made meanwhile.
class NoSignals {
 public:
  NoSignals() {
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before_);
  }
  ~NoSignals() { pthread_sigmask(SIG_SETMASK, &before_, nullptr); }
  NoSignals(const NoSignals&) = delete;
  NoSignals& operator=(const NoSignals&) = delete;

 private:
  sigset_t before_;
};

std::thread start(auto work) {
  const NoSignals inherited;
  return std::thread(work);
}

}  // namespace

StoreWorker::StoreWorker(asio::io_context& loop, std::unique_ptr<StoreDb> db,
                         StoreDb::Report report)
    : loop_(loop),
      report_(std::make_shared<const StoreDb::Report>(std::move(report))),
      closed_(std::make_shared<StoreJob>(loop, StoreWork::kClose)),
      db_(std::move(db)),
      thread_(start([this] { work(); })) {}

StoreWorker::~StoreWorker() {
  close();
  thread_.join();
}

bool StoreWorker::submit(const StoreJobPtr& job) {
  const std::lock_guard lock(mutex_);
  if (closing_) return false;
  waiting_.push_back(job);
  submitted_.notify_one();
  return true;
}

StoreJobPtr StoreWorker::close() {
  const std::lock_guard lock(mutex_);
  closing_ = true;
  submitted_.notify_one();
  return closed_;
}

void StoreWorker::work() noexcept {
  Batch batch;
  while (take(batch)) {
    run(batch);
    batch.clear();
  }
  db_.reset();
  hand_back(closed_);
}

// False if there is nothing left and nothing will come.
bool StoreWorker::take(Batch& batch) {
  std::unique_lock lock(mutex_);
  submitted_.wait(lock, [this] { return closing_ || !waiting_.empty(); });
  batch.swap(waiting_);
  return !batch.empty();
}

void StoreWorker::run(std::span<StoreJobPtr> jobs) {
  const Failure failure = attempt(jobs);
  if (failure.trouble != nullptr && jobs.size() > 1) {
    for (StoreJobPtr& job : jobs) run({&job, 1});
    return;
  }
  if (failure.trouble != nullptr) {
    jobs[0]->answer = {failure.of_memory ? VK_ENOMEM : work_of(*jobs[0]).failed};
    jobs[0]->trouble = failure.trouble;
  }
  for (StoreJobPtr& job : jobs) hand_back(std::move(job));
}

StoreWorker::Failure StoreWorker::attempt(std::span<StoreJobPtr> jobs) {
  try {
    commit(jobs);
    return {false, nullptr};
  } catch (const SqlError& error) {
    db_->roll_back();
    return {error.code() == SQLITE_NOMEM, error.what()};
  } catch (const std::bad_alloc&) {
    db_->roll_back();
    return {true, "out of memory"};
  }
}

void StoreWorker::commit(std::span<StoreJobPtr> jobs) {
  bool erased = false;
  for (const StoreJobPtr& job : jobs) {
    perform(*job);
    erased = erased || job->work == StoreWork::kErase;
  }
  if (db_->in_transaction()) db_->commit();
  if (erased) db_->shrink_log();
}

void StoreWorker::perform(StoreJob& job) {
  const Work& work = work_of(job);
  if (work.changes && !db_->in_transaction()) db_->begin();
  work.perform(*db_, job);
}

// Nobody is told otherwise, so this waits for the memory that it takes.
void StoreWorker::hand_back(StoreJobPtr job) {
  constexpr std::chrono::milliseconds kPause{10};
  for (;;) {
    try {
      asio::post(loop_, [job, report = report_] { finish(*job, *report); });
      return;
    } catch (const std::bad_alloc&) {
      std::this_thread::sleep_for(kPause);
    }
  }
}

}  // namespace vesk::core
