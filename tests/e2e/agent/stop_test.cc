// A core that is asked to end.

#include <gtest/gtest.h>

#include <csignal>
#include <deque>

#include "tests/e2e/agent/agent.h"
#include "tests/e2e/agent/line.h"

namespace vesk::test {
namespace {

using std::chrono::steady_clock;

// With requests at a module that hangs, at one that waits for it, and in its queue, with saves on
// their way, and with somebody who does not read.
void expect_prompt_end(int signal) {
  Agent agent;
  agent.start_sleeper();
  agent.start_relay("a", "sleeper");
  std::deque<Line> callers;
  for (const char* const path : {"test.a", "test.sleeper", "test.sleeper"}) {
    callers.emplace_back(agent.socket());
    callers.back().send(request(path, relayed(1)));
  }
  agent.settle();
  std::deque<Line> savers;
  for (int i = 0; i != 5; ++i) {
    savers.emplace_back(agent.socket());
    savers.back().send(request("sys.persistent.save.key" + std::to_string(i), integer(i)));
  }
  const auto asked = steady_clock::now();
  agent.core().signal(signal);
  EXPECT_EQ(agent.core().wait(), 0);
  EXPECT_LT(steady_clock::now() - asked, std::chrono::seconds(2));
  EXPECT_EQ(agent.folder().names(), (Words{"store.db"}));
  for (const Line& caller : callers) EXPECT_EQ(caller.answer(), (Answer{VK_EIO}));
  std::vector<std::optional<Answer>> saved;
  for (const Line& saver : savers) saved.push_back(saver.answer());
  agent.module("sleeper").kill();

  agent.start_core();
  Client client(agent.socket());
  for (int i = 0; i != 5; ++i) {
    const Answer found = client.call("sys.persistent.load.key" + std::to_string(i));
    const bool acknowledged = saved[static_cast<std::size_t>(i)] == Answer{VK_EOK};
    if (acknowledged) {
      EXPECT_EQ(found, (Answer{VK_EOK, integer(i)}));
    }
  }
}

TEST(ACore, EndsWithinTwoSecondsOfSigterm) { expect_prompt_end(SIGTERM); }
TEST(ACore, EndsWithinTwoSecondsOfSigint) { expect_prompt_end(SIGINT); }

TEST(ACore, FinishesTheSavesThatItHasBegun) {
  Agent agent;
  std::deque<Line> savers;
  for (int i = 0; i != 8; ++i) savers.emplace_back(agent.socket());
  for (const Line& saver : savers) EXPECT_EQ(saver.call("nobody"), Answer{VK_ENOANSWER});
  for (int i = 0; const Line& saver : savers) {
    saver.send(request("sys.persistent.save.key" + std::to_string(++i), integer(1)));
  }
  agent.core().signal(SIGTERM);
  EXPECT_EQ(agent.core().wait(), 0);
  std::vector<bool> kept;
  for (const Line& saver : savers) {
    const std::optional<Answer> answer = saver.answer();
    ASSERT_TRUE(answer == Answer{VK_EOK} || answer == Answer{VK_EBUSY}) << answer.has_value();
    kept.push_back(answer == Answer{VK_EOK});
  }
  agent.start_core();
  Client client(agent.socket());
  for (int i = 0; const bool was_kept : kept) {
    const uint32_t status = client.status("sys.persistent.load.key" + std::to_string(++i));
    EXPECT_EQ(status, was_kept ? VK_EOK : VK_ENOENT);
  }
}

TEST(AModule, EndsWhenItIsAskedWhileItWaitsForACore) {
  Agent agent;
  agent.start_relay("a", "b");
  EXPECT_EQ(agent.core().stop(), 0);
  EXPECT_EQ(agent.module("a").stop(), 0);
}

}  // namespace
}  // namespace vesk::test
