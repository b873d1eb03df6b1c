#include "core/agent.h"

#include <asio/steady_timer.hpp>
#include <csignal>
#include <exception>
#include <new>

#include "core/alarm.h"
#include "core/sys_service.h"
#include "vesk/mm/gta.h"
#include "vesk/mm/stack.h"

namespace vesk::core {
namespace {

// What is not done then is left undone: whoever asked for the end does not wait longer.
constexpr Milliseconds kToEnd{1500};
constexpr Milliseconds kToTakeAnswers{200};
constexpr Milliseconds kBetweenLooks{5};

ManagerOptions manager_options(const Options& options, Complain complain) {
  ManagerOptions chosen;
  chosen.complain = std::move(complain);
  chosen.limits = options.settings.message;
  if (!options.inform.empty()) chosen.inform_names = options.inform;
  return chosen;
}

}  // namespace

Agent::Agent(const Options& options, Descriptor listener)
    : options_(options),
      trimmer_(loop_),
      notifier_(loop_),
      dispatcher_(loop_, options.settings, complainer()),
      store_(loop_, options.store, [this](const std::string& text) { report(text); }),
      records_(store_),
      manager_(loop_, dispatcher_, records_, manager_options(options, complainer())),
      hook_(loop_, dispatcher_),
      server_(loop_, options.settings, options.access, dispatcher_, budget_),
      signals_(loop_, SIGTERM, SIGINT) {
  buffers.set_limit(options.settings.buffers);
  serve_modules(dispatcher_, options.settings, budget_);
  serve_store(dispatcher_, store_, [this] { manager_.forget(); });
  listen(std::move(listener));
  await_signal();
}

void Agent::listen(Descriptor listener) {
  if (!listener) {
    file_ = std::make_unique<SocketFile>(options_.socket, options_.access);
    listener = file_->take();
  }
  server_.listen(std::move(listener));
}

void Agent::run() {
  notifier_.ready();
  log(VK_LOG_INFO, "The core is ready at %s",
      file_ == nullptr ? "the socket that it was handed" : options_.socket.c_str());
  while (!loop_.stopped()) {
    try {
      loop_.run_one();
    } catch (const std::exception& error) {
      report(std::string("Something is lost: ") + error.what());
    }
    vk_mm_stack_clear(vk_gta());
    reserve_.refill();
    trimmer_.look();
  }
}

void Agent::await_signal() {
  signals_.async_wait([this](const asio::error_code& error, int) {
    if (!error) end();
  });
}

// Whoever keeps asking for what is broken does not fill the log.
void Agent::report(const std::string& text) { budget_.complain(own_peer(), text); }

Complain Agent::complainer() {
  return [this](const Peer& cause, const std::string& text) { budget_.complain(cause, text); };
}

void Agent::end() noexcept try {
  spawn(loop_.get_executor(), run_down());
} catch (const std::exception&) {
  loop_.stop();
}

asio::awaitable<void> Agent::run_down() {
  try {
    co_await shut_down();
  } catch (const std::exception&) {
  }
  loop_.stop();
}

// Nobody new comes; what modules were asked is over; what the store is doing is done.
asio::awaitable<void> Agent::shut_down() {
  notifier_.stopping();
  Alarm last(loop_.get_executor(), [this] { loop_.stop(); });
  if (!last.set(kToEnd)) throw std::bad_alloc();
  server_.stop();
  file_.reset();
  dispatcher_.stop();
  co_await store_.close();
  co_await wait_for_answers();
  dispatcher_.abandon();
  co_await wait_for_answers();
  server_.close();
}

asio::awaitable<void> Agent::wait_for_answers() {
  const auto until = std::chrono::steady_clock::now() + kToTakeAnswers;
  asio::steady_timer pause(loop_);
  while (!dispatcher_.idle() || server_.is_answering()) {
    if (std::chrono::steady_clock::now() >= until) co_return;
    asio::error_code ignored;
    pause.expires_after(kBetweenLooks);
    co_await pause.async_wait(into(ignored));
  }
}

}  // namespace vesk::core
