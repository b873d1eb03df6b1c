#include "core/store.h"

#include <new>
#include <optional>
#include <utility>

#include "core/await.h"
#include "core/log.h"
#include "core/store_db.h"
#include "core/store_worker.h"
#include "vesk/error.h"

namespace vesk::core {
namespace {

void log_error(const std::string& text) { log(VK_LOG_ERROR, "%s", text.c_str()); }

StoreJobPtr make_job(asio::io_context& loop, StoreWork work, std::string key,
                     std::shared_ptr<const Bytes> tree) {
  auto job = std::make_shared<StoreJob>(loop, work);
  job->key = std::move(key);
  job->tree = std::move(tree);
  return job;
}

asio::awaitable<void> handed_back(StoreJobPtr job) {
  asio::error_code cancelled;  // which is how each wait ends
  while (!job->done) co_await job->over.async_wait(into(cancelled));
}

}  // namespace

Store::Store(asio::io_context& loop, const std::string& path, Report report) : loop_(loop) {
  if (report == nullptr) report = log_error;
  auto db = std::make_unique<StoreDb>(path, report);
  worker_ = std::make_unique<StoreWorker>(loop, std::move(db), std::move(report));
}

Store::~Store() = default;

asio::awaitable<uint32_t> Store::save(std::string key, std::shared_ptr<const Bytes> tree) {
  auto asking = ask(StoreWork::kSave, std::move(key), std::move(tree));
  const Answer answer = co_await std::move(asking);
  co_return answer.status;
}

asio::awaitable<Answer> Store::load(std::string key) {
  return ask(StoreWork::kLoad, std::move(key), nullptr);
}

asio::awaitable<uint32_t> Store::remove(std::string key) {
  auto asking = ask(StoreWork::kRemove, std::move(key), nullptr);
  const Answer answer = co_await std::move(asking);
  co_return answer.status;
}

asio::awaitable<uint32_t> Store::erase() {
  auto asking = ask(StoreWork::kErase, {}, nullptr);
  const Answer answer = co_await std::move(asking);
  co_return answer.status;
}

asio::awaitable<void> Store::close() { return handed_back(worker_->close()); }

asio::awaitable<Answer> Store::ask(StoreWork work, std::string key,
                                   std::shared_ptr<const Bytes> tree) {
  if (key.empty() && work != StoreWork::kErase) co_return Answer{VK_EINVAL};
  StoreJobPtr job;
  std::optional<asio::awaitable<void>> wait;  // made before anything is done that must be told
  try {
    job = make_job(loop_, work, std::move(key), std::move(tree));
    wait = handed_back(job);
    if (!worker_->submit(job)) co_return Answer{VK_EBUSY};
  } catch (const std::bad_alloc&) {
    co_return Answer{VK_ENOMEM};
  }
  co_await std::move(*wait);
  co_return std::move(job->answer);
}

}  // namespace vesk::core
