// Calls through a core to modules, and from one to another.

#include <gtest/gtest.h>

#include "tests/e2e/agent/agent.h"

namespace vesk::test {
namespace {

TEST(Call, ReachesAModuleAndComesBack) {
  Agent agent;
  agent.start_relay("a", "b");
  Client client(agent.socket());
  const Answer answer = client.call("test.a", relayed(0));
  EXPECT_EQ(answer.status, VK_EOK);
  EXPECT_EQ(trail_of(answer), "a");
}

TEST(Call, ThatNobodyServesIsAnsweredSo) {
  Agent agent;
  Client client(agent.socket());
  EXPECT_EQ(client.call("test.a", text("as it was")), (Answer{VK_ENOANSWER, text("as it was")}));
}

TEST(Call, GoesTwentyDeepThroughTwoModules) {
  Agent agent;
  agent.start_relay("a", "b");
  agent.start_relay("b", "a");
  Client client(agent.socket());
  const Answer answer = client.call("test.a", relayed(19));
  EXPECT_EQ(answer.status, VK_EOK);
  EXPECT_EQ(trail_of(answer), "babababababababababa");
}

TEST(Call, EndsAtTheDepthOfAChainAndLeavesTheModulesWell) {
  Agent agent;
  agent.start_relay("a", "b");
  agent.start_relay("b", "a");
  Client client(agent.socket());
  EXPECT_EQ(client.status("test.a", relayed(31)), VK_EOK);
  EXPECT_EQ(client.status("test.a", relayed(32)), VK_EBUSY);
  EXPECT_EQ(client.status("test.a", relayed(31)), VK_EOK);
}

TEST(Call, OfManyClientsAtOnceIsEachAnsweredItsOwn) {
  Agent agent;
  agent.start_relay("a", "b");
  agent.start_relay("b", "a");
  std::list<Fork> clients;
  for (uint32_t number = 0; number != 8; ++number) {
    clients.emplace_back([&agent, number] {
      Client client(agent.socket());
      for (int i = 0; i != 20; ++i) {
        const Answer answer = client.call(number % 2 == 0 ? "test.a" : "test.b", relayed(number));
        if (answer.status != VK_EOK || trail_of(answer).size() != number + 1) return 1;
      }
      return 0;
    });
  }
  for (Fork& client : clients) EXPECT_EQ(client.wait(), 0);
}

}  // namespace
}  // namespace vesk::test
