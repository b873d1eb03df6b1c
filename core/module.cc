#include "core/module.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace vesk::core {

Module::Module(asio::io_context& loop, std::string name, LinePtr main, const Settings& settings,
               std::function<void(Module&)> hung)
    : name_(std::move(name)),
      main_(std::move(main)),
      settings_(settings),
      hung_(std::move(hung)),
      clock_(loop),
      queue_timer_(loop) {
  main_->wait_for_taker();
}

bool Module::is(const Peer& peer) const {
  const Peer& own = main_->peer();
  return own.pid == peer.pid && own.uid == peer.uid && own.gid == peer.gid;
}

void Module::add_calling(const LinePtr& line) {
  line->wait_for_taker();
  lines_.push_back(line);
}

void Module::add_serving(const LinePtr& line) {
  line->wait_for_taker();
  line->turn();
  lines_.push_back(line);
  idle_.push_back(line);
  go_on();
}

void Module::lose(const Line& line) {
  const auto is_it = [&line](const LinePtr& other) { return other.get() == &line; };
  std::erase_if(lines_, is_it);
  std::erase_if(idle_, is_it);
}

void Module::submit(std::shared_ptr<Task> task) {
  if (ended_) {
    task->done({VK_EIO});
  } else if (accepts() && !idle_.empty() && queue_.empty()) {
    hand(std::move(task));
  } else if ((accepts() && idle_.empty()) || queue_.size() >= settings_.queue) {
    task->done({VK_EBUSY});
  } else {
    enqueue(std::move(task));
  }
}

void Module::hand(std::shared_ptr<Task> task) {
  const LinePtr line = idle_.front();
  idle_.pop_front();
  stack_.push_back({task, line});
  const auto item = std::prev(stack_.end());
  line->ask(std::move(task->message), [weak = weak_from_this(), item](auto answer) {
    const ModulePtr self = weak.lock();
    if (self != nullptr && !self->ended_) self->take_answer(item, std::move(answer));
  });
  mind_clock();
}

void Module::take_answer(std::list<Item>::iterator item, std::optional<Answer> answer) {
  const Item answered = std::move(*item);
  stack_.erase(item);
  if (answer.has_value()) {
    idle_.push_back(answered.line);
    heard();
  }
  answered.task->done(answer.has_value() ? std::move(*answer) : Answer{VK_EIO});
  go_on();
}

void Module::enqueue(std::shared_ptr<Task> task) {
  queue_.push_back({std::move(task), std::chrono::steady_clock::now() + settings_.waiting});
  mind_queue();
}

// All wait equally long, so the first is due first.
void Module::mind_queue() {
  queue_timer_.cancel();
  if (queue_.empty()) return;
  queue_timer_.expires_at(queue_.front().until);
  queue_timer_.async_wait([weak = weak_from_this()](const asio::error_code& error) {
    const ModulePtr self = weak.lock();
    if (!error && self != nullptr) self->refuse_overdue();
  });
}

void Module::refuse_overdue() {
  const auto now = std::chrono::steady_clock::now();
  while (!queue_.empty() && queue_.front().until <= now) {
    const std::shared_ptr<Task> task = std::move(queue_.front().task);
    queue_.pop_front();
    task->done({VK_ETIMEDOUT});
  }
  mind_queue();
}

// Hands over what may be handed over now.
void Module::go_on() {
  if (!ended_ && accepts() && !queue_.empty() && !idle_.empty()) {
    const std::shared_ptr<Task> task = std::move(queue_.front().task);
    queue_.pop_front();
    mind_queue();
    hand(task);
  }
  mind_clock();
}

void Module::heard() {
  if (clock_runs_) restart_clock();
}

Module::CallItem Module::begin_call() { return stack_.insert(stack_.end(), Item{}); }

void Module::call_waits() { go_on(); }

void Module::end_call(CallItem call) {
  if (ended_) return;
  stack_.erase(call);
  go_on();
}

void Module::begin_delivery() {
  ++deliveries_;
  mind_clock();
}

void Module::end_delivery() {
  --deliveries_;
  mind_clock();
}

CallPtr Module::serving() const {
  const auto request = std::find_if(stack_.rbegin(), stack_.rend(),
                                    [](const Item& item) { return item.task != nullptr; });
  return request == stack_.rend() ? nullptr : request->task->call;
}

void Module::mind_clock() {
  const bool runs = !ended_ && !waits() && (!stack_.empty() || deliveries_ != 0);
  if (runs == clock_runs_) return;
  clock_runs_ = runs;
  if (runs) {
    restart_clock();
  } else {
    clock_.cancel();
  }
}

void Module::restart_clock() {
  clock_.expires_after(settings_.answer);
  clock_.async_wait(
      [weak = weak_from_this(), start = ++clock_start_](const asio::error_code& error) {
        const ModulePtr self = weak.lock();
        if (error || self == nullptr) return;
        if (self->clock_runs_ && self->clock_start_ == start) self->hung_(*self);
      });
}

void Module::end(uint32_t status) {
  if (ended_) return;
  ended_ = true;
  mind_clock();
  queue_timer_.cancel();
  const std::list<Item> stack = std::exchange(stack_, {});
  const std::deque<Waiting> queue = std::exchange(queue_, {});
  idle_.clear();
  for (const Item& item : stack) {
    if (item.task != nullptr) item.task->done({status});
  }
  for (const Waiting& waiting : queue) waiting.task->done({status});
}

void Module::close_lines() {
  for (const LinePtr& line : lines_) line->close();
  main_->close();
}

}  // namespace vesk::core
