// Peers that keep to nothing, beside one that must be served all the while.

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>
#include <random>
#include <thread>

#include "tests/e2e/agent/agent.h"
#include "tests/e2e/agent/line.h"

namespace vesk::test {
namespace {

using std::chrono::milliseconds;

class Peers : public testing::Test {
 protected:
  Peers() {
    agent.start_relay("a", "b");
    expect_service();
  }

  // A call of the healthy peer is answered.
  void expect_service() { EXPECT_EQ(healthy.status("test.a", relayed(0)), VK_EOK); }

  Line line() const { return Line(agent.socket()); }

  // Once all connections but those that there were have ended.
  void expect_descriptors(std::size_t before) const {
    EXPECT_TRUE(until([&] { return agent.core_descriptors() <= before; }))
        << agent.core_descriptors() << " descriptors instead of " << before;
  }

  Agent agent{{"--message-time", "300ms", "--taking-time", "300ms"}};
  Client healthy{agent.socket()};
};

std::size_t count(const std::string& text, const std::string& word) {
  std::size_t found = 0;
  for (auto at = text.find(word); at != std::string::npos; at = text.find(word, at + 1)) ++found;
  return found;
}

// More than the machine keeps for a connection.
Tree large() {
  const Tree part = text(std::string(250'000, 'x'));
  return array({part, part, part});
}

TEST_F(Peers, WhoSendGarbageAreDropped) {
  const std::size_t before = agent.core_descriptors();
  std::minstd_rand random(1);
  const ByteString sound = request("test.a", relayed(0));
  for (int round = 0; round != 300; ++round) {
    ByteString bytes = sound;
    if (round % 2 == 0) bytes.resize(random() % 5'000 + 1);
    const std::size_t strange = round % 2 == 0 ? bytes.size() : 4;
    for (std::size_t i = 0; i != strange; ++i) {
      bytes[round % 2 == 0 ? i : random() % bytes.size()] = static_cast<std::byte>(random());
    }
    const Line peer = line();
    peer.push(bytes);
    peer.finish();
    EXPECT_TRUE(peer.ends());
    if (round % 10 == 0) expect_service();
  }
  expect_service();
  expect_descriptors(before);
}

TEST_F(Peers, WhoAreDroppedOftenAreLoggedAtMostTenTimesInASecond) {
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i != 200; ++i) {
    const Line peer = line();
    peer.push(ByteString(Fields().number(0).number(UINT32_MAX)));
    EXPECT_TRUE(peer.ends());
  }
  const auto took = std::chrono::steady_clock::now() - begin;
  const std::size_t lines = count(agent.log(), "limit");
  EXPECT_GE(lines, 10U);
  const auto seconds = std::chrono::ceil<std::chrono::seconds>(took).count();
  EXPECT_LE(lines, 10 * static_cast<std::size_t>(seconds));
}

TEST_F(Peers, WhoMeetAModulesErrorOftenAreLoggedAtMostTenTimesInASecond) {
  const Line module = line(), serving = line(), client = line();
  ASSERT_EQ(module.call("sys.module.attach", named("bad"))->status, VK_EOK);
  ASSERT_EQ(serving.call("sys.module.serve", named("bad")), Answer{VK_EOK});
  ASSERT_EQ(module.call("sys.handler.add", handler("dm.Bad", 1)), Answer{VK_EOK});
  const Tree asked = object({{"ParameterNames", array({text("Bad.")})}});
  const Tree told = object({{"ParameterList", object({{"$", text("x")}})}});
  const auto begin = std::chrono::steady_clock::now();
  for (int i = 0; i != 200; ++i) {
    ASSERT_TRUE(client.send(request("cwmp.rpc.GetParameterValues", asked)));
    ASSERT_TRUE(serving.request().has_value());
    ASSERT_TRUE(serving.send(response(VK_EOK, told)));
    ASSERT_EQ(client.answer()->status, VK_EOK);
  }
  const auto took = std::chrono::steady_clock::now() - begin;
  const std::size_t logged = count(agent.log(), "names a child");
  EXPECT_GE(logged, 9U);  // beside one that the module has attached
  EXPECT_LE(logged, 10U * static_cast<std::size_t>(took / std::chrono::seconds(1) + 1));
}

TEST_F(Peers, WhoDoNotWaitForTheirAnswersAreDropped) {
  const ByteString one = request("nobody");
  ByteString flood;
  for (int i = 0; i != 1'000; ++i) flood = std::move(flood) + one;
  for (int i = 0; i != 10; ++i) {
    const Line peer = line();
    peer.push(flood);
    expect_service();
    EXPECT_TRUE(peer.ends());
  }
  expect_service();
}

TEST_F(Peers, WhoNeverStopAskingLeaveOthersTheirTurn) {
  std::list<Fork> peers;
  for (int i = 0; i != 4; ++i) {
    peers.emplace_back([this] {
      Client client(agent.socket());
      for (int calls = 0; calls != 500; ++calls) {
        if (client.status("test.a", relayed(0)) != VK_EOK) return 1;
      }
      return 0;
    });
  }
  for (int i = 0; i != 100; ++i) expect_service();
  for (Fork& peer : peers) EXPECT_EQ(peer.wait(), 0);
}

TEST_F(Peers, WhoNeverReadAreDropped) {
  ASSERT_EQ(healthy.status("sys.persistent.save.large", large()), VK_EOK);
  const std::size_t before = agent.core_descriptors();
  std::deque<Line> peers;
  for (int i = 0; i != 5; ++i) {
    peers.push_back(line());
    peers.back().send(request("sys.persistent.load.large"));
  }
  EXPECT_TRUE(until([&] {
    expect_service();
    return count(agent.log(), "to take an answer") == peers.size();
  }));
  expect_descriptors(before);
  EXPECT_EQ(healthy.call("sys.persistent.load.large"), (Answer{VK_EOK, large()}));
}

// Each sends a byte now and then, so that none is ever silent for long.
TEST_F(Peers, WhoSendAByteNowAndThenAreDropped) {
  const ByteString message = request("test.a", text(std::string(1'000, 'x')));
  std::deque<Line> peers;
  for (int i = 0; i != 5; ++i) peers.push_back(line());
  std::size_t sent = 0;
  for (std::size_t there = peers.size(); there != 0 && sent != message.size(); ++sent) {
    there = 0;
    for (const Line& peer : peers) {
      if (peer.send(std::span(message).subspan(sent, 1))) ++there;
    }
    expect_service();
    std::this_thread::sleep_for(milliseconds(10));
  }
  EXPECT_LT(sent, message.size());
  EXPECT_NE(agent.log().find("to complete a message"), std::string::npos);
}

TEST_F(Peers, WhoReadAByteNowAndThenAreDropped) {
  ASSERT_EQ(healthy.status("sys.persistent.save.large", large()), VK_EOK);
  const std::size_t before = agent.core_descriptors();
  const Line peer = line();
  peer.send(request("sys.persistent.load.large"));
  EXPECT_TRUE(until([&] {
    peer.take(1);
    expect_service();
    return count(agent.log(), "to take an answer") == 1;
  }));
  expect_descriptors(before);
}

// A module that answers a byte at a time keeps its caller no longer than a message may take.
TEST_F(Peers, WhoAnswerAByteNowAndThenAreDropped) {
  const Line main = line();
  const Line serving = line();
  ASSERT_EQ(main.call("sys.module.attach", named("slow"))->status, VK_EOK);
  ASSERT_EQ(main.call("sys.handler.add", handler("test.slow", 1))->status, VK_EOK);
  ASSERT_EQ(serving.call("sys.module.serve", named("slow")), Answer{VK_EOK});
  const Line caller = line();
  caller.send(request("test.slow"));
  ASSERT_TRUE(serving.request().has_value());
  const ByteString message = response(VK_EOK, text(std::string(1'000, 'x')));
  std::size_t sent = 0;
  while (sent != message.size() && serving.send(std::span(message).subspan(sent, 1))) {
    ++sent;
    expect_service();
    std::this_thread::sleep_for(milliseconds(10));
  }
  EXPECT_LT(sent, message.size());
  EXPECT_EQ(caller.answer(), Answer{VK_ETIMEDOUT});
}

}  // namespace
}  // namespace vesk::test
