#include "core/module.h"

#include <algorithm>
#include <exception>
#include <utility>

namespace vesk::core {

Module::Module(asio::io_context& loop, std::string name, LinePtr main, const Settings& settings,
               std::function<void(Module&)> hung)
    : name_(std::move(name)),
      main_(std::move(main)),
      settings_(settings),
      hung_(std::move(hung)),
      clock_(loop.get_executor(), [this] { hung_(*this); }),
      overdue_(loop.get_executor(), [this] { refuse_overdue(); }) {}

bool Module::is(const Peer& peer) const {
  const Peer& own = main_->peer();
  return own.pid == peer.pid && own.uid == peer.uid && own.gid == peer.gid;
}

void Module::add_calling(const LinePtr& line) {
  lines_.push_back(line);
  line->give_time();
}

void Module::add_serving(const LinePtr& line) {
  idle_.reserve(lines_.size() + 1);
  lines_.push_back(line);
  line->give_time();
  line->turn();
  idle_.push_back(line);
  go_on();
}

void Module::lose(const Line& line) noexcept {
  const auto is_it = [&line](const LinePtr& other) { return other.get() == &line; };
  std::erase_if(lines_, is_it);
  std::erase_if(idle_, is_it);
}

void Module::submit(std::shared_ptr<Task> task) {
  forget_gone();
  if (ended_) {
    task->done({VK_EIO});
  } else if (accepts() && !idle_.empty() && queue_.empty()) {
    hand(task);
  } else if ((accepts() && idle_.empty()) || queue_.size() >= settings_.queue) {
    task->done({VK_EBUSY});
  } else {
    enqueue(std::move(task));
  }
}

void Module::hand(const std::shared_ptr<Task>& task) {
  std::list<Item> handed(1, Item{task, idle_.front()});
  const auto item = handed.begin();
  item->line->ask(std::move(task->message), [weak = weak_from_this(), item](Answer answer) {
    const ModulePtr self = weak.lock();
    if (self != nullptr && !self->ended_) self->take_answer(item, std::move(answer));
  });
  idle_.erase(idle_.begin());
  stack_.splice(stack_.end(), handed);
  clock_.stop();
  mind_clock();
}

void Module::hand_or_refuse(const std::shared_ptr<Task>& task) noexcept try {
  hand(task);
} catch (const std::exception&) {
  task->done({VK_ENOMEM});
}

// What went down with its line before the module took any of it goes out on the next one.
void Module::take_answer(std::list<Item>::iterator item, Answer answer) noexcept {
  const Item answered = std::move(*item);
  stack_.erase(item);
  if (answered.line->is_open()) {
    idle_.push_back(answered.line);
    heard();
  }
  const bool wanted = !answered.task->call->over;
  if (wanted && take_back(answered) && accepts() && !idle_.empty()) {
    hand_or_refuse(answered.task);
  } else {
    answered.task->done(std::move(answer));
  }
  go_on();
}

bool Module::take_back(const Item& lost) noexcept {
  if (lost.line->is_open()) return false;
  std::optional<Message> unsent = lost.line->take_unsent();
  if (unsent.has_value()) lost.task->message = std::move(*unsent);
  return unsent.has_value();
}

void Module::enqueue(std::shared_ptr<Task> task) {
  queue_.push_back({std::move(task), Alarm::Clock::now() + settings_.waiting});
  mind_queue();
  mind_clock();
}

// All wait equally long, so the first is due first.
void Module::mind_queue() noexcept {
  overdue_.stop();
  if (!queue_.empty()) overdue_.set(queue_.front().until);
}

void Module::refuse_overdue() noexcept {
  const auto now = Alarm::Clock::now();
  while (!queue_.empty() && queue_.front().until <= now) {
    const std::shared_ptr<Task> task = std::move(queue_.front().task);
    queue_.pop_front();
    task->done({VK_ETIMEDOUT});
  }
  mind_queue();
  mind_clock();
}

// Whoever has gone takes nobody's place.
void Module::forget_gone() noexcept {
  std::list<Waiting> gone;
  for (auto next = queue_.begin(); next != queue_.end();) {
    const auto each = next++;
    if (each->task->call->over) gone.splice(gone.end(), queue_, each);
  }
  for (const Waiting& each : gone) each.task->done({VK_EIO});
}

// Hands over what may be handed over now.
void Module::go_on() noexcept {
  forget_gone();
  while (!ended_ && accepts() && !queue_.empty() && !idle_.empty()) {
    const std::shared_ptr<Task> task = std::move(queue_.front().task);
    queue_.pop_front();
    hand_or_refuse(task);
  }
  mind_queue();
  mind_clock();
}

void Module::heard() noexcept {
  clock_.stop();
  mind_clock();
}

Module::CallItem Module::begin_call() { return stack_.insert(stack_.end(), Item{}); }

void Module::call_waits() noexcept { go_on(); }

void Module::end_call(CallItem call) noexcept {
  if (ended_) return;
  stack_.erase(call);
  go_on();
}

void Module::begin_delivery() noexcept {
  ++deliveries_;
  mind_clock();
}

void Module::end_delivery() noexcept {
  --deliveries_;
  mind_clock();
}

CallPtr Module::serving() const {
  const auto request = std::find_if(stack_.rbegin(), stack_.rend(),
                                    [](const Item& item) { return item.task != nullptr; });
  return request == stack_.rend() ? nullptr : request->task->call;
}

// A clock that there is no memory for is set when the module is next heard of or asked for.
void Module::mind_clock() noexcept {
  const bool runs = !ended_ && !waits() && (!stack_.empty() || deliveries_ != 0);
  if (!runs) {
    clock_.stop();
  } else if (!clock_.is_set()) {
    clock_.set(settings_.answer);
  }
}

void Module::end(uint32_t status) noexcept {
  if (ended_) return;
  ended_ = true;
  const std::list<Item> stack = std::exchange(stack_, {});
  const std::list<Waiting> queue = std::exchange(queue_, {});
  idle_.clear();
  mind_queue();
  mind_clock();
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
