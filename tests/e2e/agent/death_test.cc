// Processes that are killed while others wait for them.

#include <gtest/gtest.h>

#include <csignal>

#include "tests/e2e/agent/agent.h"
#include "tests/e2e/agent/line.h"

namespace vesk::test {
namespace {

Tree deadly(const char* when, uint32_t left) {
  return object(
      {{"Left", unsigned_integer(3)}, {"Trail", text("")}, {when, unsigned_integer(left)}});
}

// The request goes from a to b, to a, to b, and the same way back.
TEST(AModuleThatDies, AtAnyStepOfACallCostsItsCallersNothingButThatCall) {
  Agent agent;
  agent.start_relay("a", "b");
  agent.start_relay("b", "a");
  Client client(agent.socket());
  for (uint32_t left = 0; left != 4; ++left) {
    for (const char* const when : {"DieBefore", "DieAfter"}) {
      SCOPED_TRACE(when + std::to_string(left));
      const std::string victim = left % 2 == 1 ? "a" : "b";
      const std::string other = left % 2 == 1 ? "b" : "a";
      EXPECT_EQ(client.status("test.a", deadly(when, left)), VK_EIO);
      EXPECT_EQ(agent.module(victim).wait(), -SIGKILL);
      EXPECT_EQ(client.status("test." + victim), VK_ENOANSWER);
      EXPECT_EQ(client.status("test." + other, relayed(0)), VK_EOK);
      agent.start_relay(victim, other);
      EXPECT_EQ(trail_of(client.call("test.a", relayed(3))), "baba");
    }
  }
}

TEST(AModuleThatDies, CostsAllThatWaitForItTheirCalls) {
  Agent agent;
  agent.start_sleeper();
  const Line first(agent.socket());
  const Line second(agent.socket());
  for (const Line* const line : {&first, &second}) line->send(request("test.sleeper"));
  agent.settle();
  EXPECT_FALSE(first.is_readable());
  agent.module("sleeper").kill();
  EXPECT_EQ(first.answer(), Answer{VK_EIO});
  EXPECT_EQ(second.answer(), Answer{VK_EIO});
}

TEST(ACaller, WhoDiesLeavesTheModuleWell) {
  Agent agent;
  agent.start_relay("a", "sleeper");
  agent.start_sleeper();
  Line caller(agent.socket());
  caller.send(request("test.a", relayed(1)));
  agent.settle();
  caller.close();
  Client client(agent.socket());
  EXPECT_EQ(client.status("test.a", relayed(0)), VK_EOK);
  agent.module("sleeper").kill();
  EXPECT_EQ(client.status("test.a", relayed(0)), VK_EOK);
}

// A module that is busy with another request leaves one to itself unanswered.
bool sleeps(const Agent& agent) {
  const Line probe(agent.socket());
  probe.send(request("test.sleeper.ready"));
  agent.settle();
  return !probe.is_readable();
}

TEST(ACoreThatDies, CostsAClientItsCallAndItsConnection) {
  Agent agent;
  agent.start_sleeper();
  Client client(agent.socket());
  Fork caller([&client] {
    const bool failed = client.status("test.sleeper") == VK_EIO;
    return failed && client.status("test.sleeper") == VK_EIO ? 0 : 1;
  });
  EXPECT_TRUE(until([&agent] { return sleeps(agent); }));
  agent.core().kill();
  EXPECT_EQ(caller.wait(), 0);
  agent.module("sleeper").kill();
}

TEST(AModule, OutlivesItsCoreAndIsServedByTheNext) {
  Agent agent;
  Process& module = agent.start_relay("a", "b");
  agent.start_relay("b", "a");
  const pid_t before = module.id();
  agent.core().kill();
  agent.start_core();
  Client client(agent.socket());
  Answer answer = {VK_EOK};
  EXPECT_TRUE(until([&] {
    answer = client.call("test.a", relayed(3));
    return answer.status == VK_EOK;
  }));
  EXPECT_EQ(trail_of(answer), "baba");
  EXPECT_TRUE(module.runs());
  EXPECT_EQ(module.id(), before);
}

TEST(AModule, OutlivesACoreThatEndsAsItIsAsked) {
  Agent agent;
  agent.start_relay("a", "b");
  EXPECT_EQ(agent.core().stop(), 0);
  agent.start_core();
  Client client(agent.socket());
  EXPECT_TRUE(until([&] { return client.status("test.a", relayed(0)) == VK_EOK; }));
}

TEST(AModule, WhoseCallIsCutOffByTheCoresDeathComesBack) {
  Agent agent;
  agent.start_relay("a", "sleeper");
  agent.start_sleeper();
  const Line caller(agent.socket());
  caller.send(request("test.a", relayed(1)));
  agent.settle();
  agent.core().kill();
  EXPECT_TRUE(caller.ends());
  agent.start_core();
  Client client(agent.socket());
  EXPECT_TRUE(until([&] { return client.status("test.a", relayed(0)) == VK_EOK; }));
  agent.module("sleeper").kill();
}

}  // namespace
}  // namespace vesk::test
