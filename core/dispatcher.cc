#include "core/dispatcher.h"

#include <algorithm>
#include <new>
#include <optional>
#include <utility>

#include "core/alarm.h"
#include "core/await.h"
#include "core/behalf.h"
#include "core/failure.h"
#include "core/one_shot.h"
#include "core/walk.h"

namespace vesk::core {
namespace {

constexpr std::size_t kLongestPattern = 32;
constexpr std::size_t kLongestPath = 256;  // components; many short ones take much memory

// What users other than root and the core's own may ask for.
bool only_reads(const Path& path) {
  return path.size() >= 3 && path[0] == "cwmp" && path[1] == "rpc" && path[2].starts_with("Get");
}

}  // namespace

/// A request that came on a line and is not answered yet.
class Dispatcher::Open : public std::enable_shared_from_this<Open> {
 public:
  Open(Dispatcher& dispatcher, LinePtr line, ModulePtr module, std::function<void(Answer)> reply)
      : dispatcher_(dispatcher),
        line_(std::move(line)),
        module_(std::move(module)),
        call_(dispatcher.call_on(*line_, module_)),
        reply_(std::move(reply)),
        patience_(dispatcher.loop_.get_executor(), [this] { finish({VK_ETIMEDOUT}); }) {}

  void begin() {
    dispatcher_.open_.emplace(line_->id(), shared_from_this());
    if (module_ != nullptr) item_ = module_->begin_call();
    if (!patience_.set(dispatcher_.settings_.patience)) throw std::bad_alloc();
  }

  /// The call could not be answered at once.
  void wait() noexcept {
    if (!call_->over && module_ != nullptr) module_->call_waits();
  }

  void finish(Answer answer) noexcept {
    if (call_->over) return;
    const OpenPtr self = shared_from_this();
    dispatcher_.roster_.begin_delivery(*line_);
    give_up();
    reply_(std::move(answer));
  }

  /// Whoever asked has gone.
  void give_up() noexcept {
    if (call_->over) return;
    const OpenPtr self = shared_from_this();
    call_->over = true;
    dispatcher_.open_.erase(line_->id());
    patience_.stop();
    if (item_.has_value()) module_->end_call(*item_);
  }

  CallPtr call() const { return call_; }

 private:
  Dispatcher& dispatcher_;
  const LinePtr line_;
  const ModulePtr module_;
  const std::shared_ptr<Call> call_;
  const std::function<void(Answer)> reply_;
  Alarm patience_;
  std::optional<Module::CallItem> item_;
};

Dispatcher::Dispatcher(asio::io_context& loop, const Settings& settings, Complain complain)
    : loop_(loop),
      settings_(settings),
      roster_(
          loop, settings,
          [this](const std::string& name, bool attached) {
            if (!attached) forget_module(name);
            for (const auto& watcher : watchers_) watcher(name, attached);
          },
          std::move(complain)) {}

Dispatcher::~Dispatcher() = default;

void Dispatcher::serve(Path pattern, Service service) {
  const uint64_t id = ++last_id_;
  patterns_.add(pattern, id);
  handlers_.emplace(id, Handler{std::move(pattern), std::move(service), nullptr, 0});
}

void Dispatcher::watch_modules(std::function<void(const std::string&, bool)> watcher) {
  watchers_.push_back(std::move(watcher));
}

asio::awaitable<Answer> Dispatcher::ask(CallPtr parent, Request request) {
  const CallPtr call = own_call(std::move(parent));
  if (stopping_) co_return Answer{VK_EBUSY};
  if (call->depth > settings_.chain) co_return Answer{VK_EBUSY};
  if (request.text.empty()) request.text = join(request.path);
  auto work = route(call, std::move(request));
  Answer answer = co_await guarded(std::move(work));
  co_return answer;
}

asio::awaitable<Answer> Dispatcher::ask(CallPtr parent, uint64_t registration, Request request) {
  const CallPtr call = own_call(std::move(parent));
  if (stopping_) co_return Answer{VK_EBUSY};
  if (call->depth > settings_.chain) co_return Answer{VK_EBUSY};
  if (!handlers_.contains(registration)) co_return Answer{VK_EIO};
  if (request.text.empty()) request.text = join(request.path);
  auto work = try_one(call, registration, request);
  Answer answer = co_await guarded(std::move(work));
  co_return answer;
}

std::vector<Registration> Dispatcher::registrations(const std::string& first) const {
  std::vector<Registration> found;
  for (const auto& [id, handler] : handlers_) {
    if (handler.module == nullptr || handler.pattern.front() != first) continue;
    found.push_back({id, handler.pattern, handler.module->name()});
  }
  std::stable_sort(found.begin(), found.end(), [](const auto& left, const auto& right) {
    return tried_before(left.pattern, right.pattern);
  });
  return found;
}

void Dispatcher::asked(const LinePtr& line, Message message,
                       std::function<void(Answer)> reply) noexcept {
  OpenPtr open;
  try {
    roster_.meet(line);
    const ModulePtr module = roster_.of(*line);
    if (module != nullptr) module->heard();
    open = std::make_shared<Open>(*this, line, module, reply);
    begin(open, std::move(message));
  } catch (...) {
    const Answer failure = {status_of_failure()};
    open == nullptr ? reply(failure) : open->finish(failure);
  }
}

void Dispatcher::begin(const OpenPtr& open, Message message) {
  Request request = {walk(message.path), message.action, std::move(message.value), {}};
  request.text = std::move(message.path);
  open->begin();
  if (const uint32_t refusal = refusal_of(*open->call(), request.path); refusal != VK_EOK) {
    open->finish({refusal});
    return;
  }
  start(open, std::move(request));
  open->wait();
}

// A service may call before it waits.
void Dispatcher::start(const OpenPtr& open, Request request) {
  const OnBehalf asking(open->call());
  spawn(loop_.get_executor(), conduct(open, std::move(request), conducted_));
}

uint32_t Dispatcher::refusal_of(const Call& call, const Path& path) const {
  if (!call.peer.trusted && !only_reads(path)) return VK_EAUTH;
  if (path.size() > kLongestPath) return VK_EINVAL;
  if (stopping_ || call.depth > settings_.chain) return VK_EBUSY;
  return conducted_.use_count() > static_cast<long>(settings_.lines) ? VK_EBUSY : VK_EOK;
}

void Dispatcher::taken(Line& line) noexcept { roster_.end_delivery(line); }

void Dispatcher::ended(Line& line) noexcept {
  if (const auto open = open_.find(line.id()); open != open_.end()) open->second->give_up();
  roster_.lose(line);
}

std::string Dispatcher::module_of(const Line& line) const {
  const ModulePtr module = roster_.of(line);
  return module == nullptr ? std::string() : module->name();
}

std::shared_ptr<Call> Dispatcher::call_on(const Line& line, const ModulePtr& module) const {
  CallPtr parent = module == nullptr ? nullptr : module->serving();
  const uint32_t depth = parent == nullptr ? 1 : parent->depth + 1;
  const std::string name = module == nullptr ? std::string() : module->name();
  return std::make_shared<Call>(Call{std::move(parent), depth, line.peer(), name, line.id()});
}

// What a request makes the core do goes on when whoever asked has gone, so it is counted: each has
// a share of the count.
asio::awaitable<void> Dispatcher::conduct(OpenPtr open, Request request,
                                          std::shared_ptr<const int>) {
  Answer answer;
  try {
    auto work = route(open->call(), std::move(request));
    answer = co_await std::move(work);
  } catch (...) {
    answer = {status_of_failure()};
  }
  open->finish(std::move(answer));
}

asio::awaitable<Answer> Dispatcher::guarded(asio::awaitable<Answer> work) {
  Answer answer;
  try {
    answer = co_await std::move(work);
  } catch (...) {
    answer = {status_of_failure()};
  }
  co_return answer;
}

// No further handler is tried for a request that is over.
asio::awaitable<Answer> Dispatcher::route(CallPtr call, Request request) {
  const std::vector<Candidate> all = candidates(request.path);
  for (const Candidate& candidate : all) {
    if (call->over) break;
    if (candidate.module != nullptr && candidate.module->has_ended()) co_return Answer{VK_EIO};
    Answer answer = co_await try_one(call, candidate.id, request);
    if (answer.status != VK_ENOANSWER) co_return answer;
  }
  co_return Answer{VK_ENOANSWER};
}

std::vector<Dispatcher::Candidate> Dispatcher::candidates(const Path& path) const {
  std::vector<Candidate> found;
  for (const uint64_t id : patterns_.match(path)) found.push_back({id, handlers_.at(id).module});
  return found;
}

// A handler that was removed meanwhile has no answer.
asio::awaitable<Answer> Dispatcher::try_one(CallPtr call, uint64_t id, const Request& request) {
  const auto handler = handlers_.find(id);
  if (handler == handlers_.end()) co_return Answer{VK_ENOANSWER};
  if (handler->second.service != nullptr) {
    const Service& service = handler->second.service;  // services stay
    Answer answer = co_await service(call, request);
    co_return answer;
  }
  const ModulePtr module = handler->second.module;
  Answer answer = co_await hand(module, handler->second.number, call, request);
  co_return answer;
}

asio::awaitable<Answer> Dispatcher::hand(ModulePtr module, uint32_t number, CallPtr call,
                                         const Request& request) {
  const auto result = std::make_shared<OneShot<Answer>>(loop_);
  const auto task = std::make_shared<Task>();
  task->message = {number, request.text, request.action, request.value};
  task->call = std::move(call);
  task->done = [result](Answer answer) { result->set(std::move(answer)); };
  auto waiting = result->wait(settings_.patience);
  module->submit(task);
  std::optional<Answer> answer = co_await std::move(waiting);
  if (!answer.has_value()) co_return Answer{VK_ETIMEDOUT};
  co_return std::move(*answer);
}

uint32_t Dispatcher::add_handler(const ModulePtr& module, Path pattern, uint32_t number) {
  if (pattern.empty() || pattern.size() > kLongestPattern) return VK_EINVAL;
  if (is_own(pattern) || numbers_.contains({module.get(), number})) return VK_EEXIST;
  if (numbers_.size() >= settings_.handlers) return VK_EBUSY;
  const uint64_t id = ++last_id_;
  const auto handler = handlers_.emplace(id, Handler{std::move(pattern), nullptr, module, number});
  try {
    numbers_.emplace(std::pair(module.get(), number), id);
    patterns_.add(handler.first->second.pattern, id);
  } catch (...) {
    remove(id);
    throw;
  }
  return VK_EOK;
}

bool Dispatcher::is_own(const Path& pattern) const {
  for (const auto& [id, handler] : handlers_) {
    if (handler.module != nullptr) break;
    if (is_at_or_below(pattern, handler.pattern)) return true;
  }
  return false;
}

uint32_t Dispatcher::remove_handler(const Module& module, const Path& pattern, uint32_t number) {
  const auto known = numbers_.find({&module, number});
  if (known == numbers_.end() || handlers_.at(known->second).pattern != pattern) return VK_ENOENT;
  remove(known->second);
  return VK_EOK;
}

void Dispatcher::remove(uint64_t id) noexcept {
  const auto handler = handlers_.find(id);
  patterns_.remove(handler->second.pattern, id);
  numbers_.erase({handler->second.module.get(), handler->second.number});
  handlers_.erase(handler);
}

void Dispatcher::forget_module(const std::string& name) {
  for (auto known = numbers_.begin(); known != numbers_.end();) {
    const auto& [number, id] = *known++;
    if (number.first->name() == name) remove(id);
  }
}

void Dispatcher::stop() noexcept {
  stopping_ = true;
  roster_.end_all(VK_EIO);
}

void Dispatcher::abandon() noexcept {
  while (!open_.empty()) open_.begin()->second->finish({VK_EIO});
}

}  // namespace vesk::core
