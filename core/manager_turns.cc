#include "core/manager_turns.h"

#include <asio/steady_timer.hpp>
#include <list>
#include <utility>

#include "core/await.h"
#include "core/manager_faults.h"

namespace vesk::core::dm {

struct Turns::State {
  explicit State(asio::io_context& io) : loop(io) {}

  struct Waiter {
    asio::steady_timer timer;
    bool called = false;  // whether the turn was handed to it
  };

  void pass_on() noexcept {
    holder = nullptr;
    taken = !waiting.empty();
    if (!taken) return;
    Waiter& next = *waiting.front();
    waiting.pop_front();
    next.called = true;
    next.timer.cancel();
  }

  asio::io_context& loop;
  bool taken = false;
  CallPtr holder;  // null while nobody's, or the core's own, turn is on
  std::list<Waiter*> waiting;
};

namespace {

bool descends(const CallPtr& call, const CallPtr& from) {
  if (from == nullptr) return false;
  for (const Call* link = call.get(); link != nullptr; link = link->parent.get()) {
    if (link == from.get()) return true;
  }
  return false;
}

}  // namespace

Turns::Turns(asio::io_context& loop) : state_(std::make_shared<State>(loop)) {}

Turns::~Turns() = default;

Turns::Turn::~Turn() {
  if (state_ != nullptr) state_->pass_on();
}

asio::awaitable<Turns::Turn> Turns::take(CallPtr call) {
  const std::shared_ptr<State> state = state_;
  if (state->taken && descends(call, state->holder)) throw Refusal(VK_EBUSY);
  if (state->taken) {
    State::Waiter waiter{asio::steady_timer(state->loop, asio::steady_timer::time_point::max())};
    // A wait that ends with its loop leaves the queue.
    struct Place {
      State& state;
      State::Waiter& waiter;
      ~Place() { state.waiting.remove(&waiter); }
    } const place{*state, waiter};
    state->waiting.push_back(&waiter);
    asio::error_code ignored;
    co_await waiter.timer.async_wait(into(ignored));
    if (!waiter.called) throw Refusal(VK_EBUSY);
  }
  state->taken = true;
  state->holder = std::move(call);
  co_return Turn(state);
}

}  // namespace vesk::core::dm
