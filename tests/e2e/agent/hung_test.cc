// A module that does not answer, and those that wait for it.

#include <gtest/gtest.h>

#include "tests/e2e/agent/agent.h"
#include "tests/e2e/agent/line.h"

namespace vesk::test {
namespace {

const Words kShortTime = {"--answer-time", "500ms"};

TEST(AHungModule, IsDroppedAndItsCallersAreToldSo) {
  Agent agent(kShortTime);
  agent.start_sleeper();
  Client client(agent.socket());
  EXPECT_EQ(client.status("test.sleeper"), VK_ETIMEDOUT);
  EXPECT_EQ(client.status("test.sleeper"), VK_ENOANSWER);
  EXPECT_NE(agent.log().find("Module sleeper"), std::string::npos);
  agent.module("sleeper").kill();
}

// The chain of a and b ends at the module that hangs; c asks for it too.
TEST(AHungModule, AloneIsPunishedNotThoseThatWaitForIt) {
  Agent agent(kShortTime);
  agent.start_sleeper();
  agent.start_relay("a", "b");
  agent.start_relay("b", "sleeper");
  agent.start_relay("c", "sleeper");
  const Line first(agent.socket());
  const Line second(agent.socket());
  first.send(request("test.a", relayed(2)));
  agent.settle();
  second.send(request("test.c", relayed(1)));
  EXPECT_EQ(first.answer()->status, VK_ETIMEDOUT);
  EXPECT_EQ(second.answer()->status, VK_ETIMEDOUT);
  Client client(agent.socket());
  for (const char* const path : {"test.a", "test.b", "test.c"}) {
    EXPECT_EQ(client.status(path, relayed(0)), VK_EOK) << path;
  }
  EXPECT_EQ(client.status("test.sleeper"), VK_ENOANSWER);
  EXPECT_EQ(agent.log().find("Module a of"), std::string::npos);
  EXPECT_EQ(agent.log().find("Module b of"), std::string::npos);
  agent.module("sleeper").kill();
}

TEST(AHungModule, KeepsThoseThatWaitForItFromServingNobody) {
  Agent agent;
  agent.start_sleeper();
  agent.start_relay("a", "sleeper");
  const Line waiting(agent.socket());
  waiting.send(request("test.a", relayed(1)));
  agent.settle();
  Client client(agent.socket());
  for (int i = 0; i != 10; ++i) EXPECT_EQ(client.status("test.a", relayed(0)), VK_EOK);
  EXPECT_FALSE(waiting.is_readable());
  agent.module("sleeper").kill();
  EXPECT_EQ(waiting.answer()->status, VK_EIO);
}

TEST(AHungModule, LeavesItsNameToTheNextOne) {
  Agent agent(kShortTime);
  agent.start_sleeper();
  Client client(agent.socket());
  EXPECT_EQ(client.status("test.sleeper"), VK_ETIMEDOUT);
  agent.start_sleeper();
  EXPECT_EQ(client.status("test.sleeper.ready"), VK_EOK);
}

// It is asked more than the machine keeps for it.
TEST(AHungModule, MayAlsoBeOneThatDoesNotReadWhatItIsAsked) {
  Agent agent(kShortTime);
  const Line main(agent.socket());
  const Line serving(agent.socket());
  ASSERT_EQ(main.call("sys.module.attach", named("deaf")).value().status, VK_EOK);
  ASSERT_EQ(main.call("sys.handler.add", handler("test.deaf", 1)), Answer{VK_EOK});
  ASSERT_EQ(serving.call("sys.module.serve", named("deaf")), Answer{VK_EOK});
  Client client(agent.socket());
  const Tree part = text(std::string(250'000, 'x'));
  EXPECT_EQ(client.status("test.deaf", array({part, part, part})), VK_ETIMEDOUT);
  EXPECT_TRUE(main.ends());
  EXPECT_TRUE(serving.ends());
}

TEST(ARequest, ThatWaitsTooLongForItsTurnCostsTheModuleNothing) {
  Agent agent({"--queue-time", "300ms"});
  agent.start_sleeper();
  const Line first(agent.socket());
  first.send(request("test.sleeper"));
  agent.settle();
  Client client(agent.socket());
  EXPECT_EQ(client.status("test.sleeper.ready"), VK_ETIMEDOUT);
  EXPECT_FALSE(first.is_readable());
  agent.module("sleeper").kill();
  EXPECT_EQ(first.answer(), Answer{VK_EIO});
}

TEST(ACaller, WhoHasWaitedLongEnoughInAllIsToldSo) {
  Agent agent({"--patience", "300ms"});
  agent.start_sleeper();
  Client client(agent.socket());
  EXPECT_EQ(client.status("test.sleeper"), VK_ETIMEDOUT);
  EXPECT_TRUE(agent.module("sleeper").runs());
  agent.module("sleeper").kill();
}

}  // namespace
}  // namespace vesk::test
