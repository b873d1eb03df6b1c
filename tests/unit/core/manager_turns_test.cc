#include "core/manager_turns.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <asio/co_spawn.hpp>
#include <asio/post.hpp>
#include <asio/use_awaitable.hpp>
#include <exception>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "core/manager_faults.h"
#include "tests/support/manager_bench.h"

namespace vesk::test {
namespace {

using core::dm::Refusal;
using core::dm::Turns;
using testing::ElementsAre;

class ManagerTurns : public testing::Test {
 protected:
  asio::io_context loop;
  std::optional<Turns> turns = std::make_optional<Turns>(loop);
  std::map<std::string, std::optional<Turns::Turn>> held;
  std::vector<std::string> order;  // who got a turn, and who was "refused"

  asio::awaitable<void> take_as(std::string name, core::CallPtr call) {
    try {
      Turns::Turn turn = co_await turns->take(std::move(call));
      order.push_back(name);
      held[name].emplace(std::move(turn));
    } catch (const Refusal&) {
      order.push_back(name + " refused");
    }
  }

  // Takes while the next of those who wait has been called but has not come yet.
  asio::awaitable<void> end_and_take(std::string ended, std::string name, core::CallPtr call) {
    held.erase(ended);
    co_await take_as(std::move(name), std::move(call));
  }

  void take(const std::string& name, core::CallPtr call = call_of("")) {
    asio::co_spawn(loop, take_as(name, std::move(call)),
                   [](const std::exception_ptr& thrown) { EXPECT_EQ(thrown, nullptr); });
    run();
  }

  void run() {
    loop.restart();
    loop.poll();
  }

  void end(const std::string& name) {
    held.erase(name);
    run();
  }
};

TEST_F(ManagerTurns, GoToOneAfterAnotherInOrder) {
  for (const char* const name : {"a", "b", "c"}) take(name);
  EXPECT_THAT(order, ElementsAre("a"));
  end("a");
  EXPECT_THAT(order, ElementsAre("a", "b"));
  end("b");
  end("c");
  take("d");
  EXPECT_THAT(order, ElementsAre("a", "b", "c", "d"));
}

TEST_F(ManagerTurns, AreRefusedToDescendants) {
  const core::CallPtr call = call_of("");
  take("a", call);
  take("same", call);
  take("child", call_of("m", call));
  take("grandchild", call_of("m", call_of("n", call)));
  take("other", call_of("m", call_of("n")));
  EXPECT_THAT(order, ElementsAre("a", "same refused", "child refused", "grandchild refused"));
  end("a");
  EXPECT_EQ(order.back(), "other");
}

TEST_F(ManagerTurns, AreNotRefusedToDescendantsOfOneThatHasEnded) {
  const core::CallPtr call = call_of("");
  take("a", call);
  take("b");
  asio::co_spawn(loop, end_and_take("a", "child", call_of("m", call)),
                 [](const std::exception_ptr&) {});
  run();
  end("b");
  EXPECT_THAT(order, ElementsAre("a", "b", "child"));
}

TEST_F(ManagerTurns, OfTheCoreItselfHaveNoDescendants) {
  take("a", nullptr);
  take("b", nullptr);
  end("a");
  EXPECT_THAT(order, ElementsAre("a", "b"));
}

// What waits when the loop ends is destroyed after its manager.
TEST_F(ManagerTurns, MayBeWaitedForWhenTheyAreGone) {
  auto inner = std::make_unique<asio::io_context>();
  auto gone = std::make_unique<Turns>(*inner);
  std::vector<std::optional<Turns::Turn>> kept;
  const auto waiting = [](Turns& from,
                          std::vector<std::optional<Turns::Turn>>& into) -> asio::awaitable<void> {
    Turns::Turn turn = co_await from.take(nullptr);
    into.emplace_back(std::move(turn));
  };
  for (int times = 0; times != 3; ++times) {
    asio::co_spawn(*inner, waiting(*gone, kept), [](const std::exception_ptr&) {});
  }
  inner->poll();
  EXPECT_EQ(kept.size(), 1U);
  kept.clear();
  gone.reset();
  inner.reset();
}

}  // namespace
}  // namespace vesk::test
