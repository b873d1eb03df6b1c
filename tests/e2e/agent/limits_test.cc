// What there is only so much of.

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <deque>
#include <sstream>
#include <thread>

#include "tests/e2e/agent/agent.h"
#include "tests/e2e/agent/line.h"

namespace vesk::test {
namespace {

std::deque<Line> connect(const Agent& agent, int count) {
  std::deque<Line> lines;
  for (int i = 0; i != count; ++i) lines.emplace_back(agent.socket());
  return lines;
}

void ask_all(const std::deque<Line>& lines, const std::string& path) {
  for (const Line& line : lines) line.send(request(path));
}

// Takes out those who have an answer: so many had this one.
std::size_t take_answered(std::deque<Line>& lines, uint32_t status) {
  return std::erase_if(lines, [&](const Line& line) {
    return line.is_readable() && line.answer() == Answer{status};
  });
}

// The time a process has used, in clock ticks.
long ticks_of(pid_t process) {
  const std::string stat = content_of("/proc/" + std::to_string(process) + "/stat");
  std::istringstream fields(stat.substr(stat.rfind(')') + 2));
  std::string skipped;
  for (int i = 0; i != 11; ++i) fields >> skipped;
  long user = 0, system = 0;
  fields >> user >> system;
  return user + system;
}

void allow_32_descriptors() {
  const rlimit limit = {32, 32};
  setrlimit(RLIMIT_NOFILE, &limit);
}

TEST(AnAnswer, OfMoreThanAMessageMayHoldIsNoFaultOfTheValue) {
  const Agent agent;
  const Line module(agent.socket()), serving(agent.socket()), client(agent.socket());
  ASSERT_EQ(module.call("sys.module.attach", named("large"))->status, VK_EOK);
  ASSERT_EQ(serving.call("sys.module.serve", named("large")), Answer{VK_EOK});
  ASSERT_EQ(module.call("sys.handler.add", handler("dm.Large", 1)), Answer{VK_EOK});
  Tree table = object({});
  for (int at = 1; at != 4'098; ++at) {
    table.items.push_back(object({}));
    table.items.back().name = std::to_string(at);
  }
  ASSERT_TRUE(client.send(request("cwmp.rpc.GetParameterValues",
                                  object({{"ParameterNames", array({text("Large.")})}}))));
  ASSERT_TRUE(serving.request().has_value());
  ASSERT_TRUE(serving.send(response(VK_EOK, object({{"ParameterList", table}}))));
  const std::optional<Answer> answer = client.answer();
  ASSERT_TRUE(answer.has_value());
  EXPECT_EQ(answer->status, VK_ENOMEM);
  EXPECT_EQ(answer->value.items.at(0).payload, unsigned_integer(9004).payload);
}

TEST(FourLines, AreEnoughForAModuleAndItsClient) {
  Agent agent({"--max-lines", "4"});
  agent.start("scratch", {}, "dm.Device.X_VESK_Scratch");
  const Tree note = object({{"Name", text("Device.X_VESK_Scratch.Note")}, {"Value", text("n")}});
  const Tree list = object({{"ParameterList", array(std::vector<Tree>{note})}});
  // Until the core has seen that the client of the start has gone, there are five.
  EXPECT_TRUE(until([&] {
    return Client(agent.socket()).status("cwmp.rpc.SetParameterValues", list) == VK_EOK;
  }));
}

TEST(FortyConnections, AreServedInTurnByACoreThatMayHave32Descriptors) {
  Agent agent({}, allow_32_descriptors);
  Client healthy(agent.socket());
  ASSERT_EQ(healthy.status("nobody"), VK_ENOANSWER);
  std::deque<Line> lines = connect(agent, 40);
  ask_all(lines, "nobody");
  std::deque<Line> answered;
  EXPECT_TRUE(until([&] {
    EXPECT_EQ(healthy.status("nobody"), VK_ENOANSWER);
    for (auto line = lines.begin(); line != lines.end();) {
      const bool is_answered = line->is_readable() && line->answer() == Answer{VK_ENOANSWER};
      if (is_answered) answered.push_back(std::move(*line));
      line = is_answered ? lines.erase(line) : std::next(line);
    }
    return agent.core_descriptors() == 32;
  })) << agent.core_descriptors();
  EXPECT_FALSE(lines.empty());
  EXPECT_EQ(answered.size() + lines.size(), 40U);

  answered.clear();  // which makes room for those who wait
  EXPECT_TRUE(until([&] {
    EXPECT_EQ(healthy.status("nobody"), VK_ENOANSWER);
    take_answered(lines, VK_ENOANSWER);
    return lines.empty();
  }));
}

TEST(FortyConnections, DoNotKeepACoreBusyThatHasNoDescriptorForThem) {
  Agent agent({}, allow_32_descriptors);
  const std::deque<Line> lines = connect(agent, 40);
  EXPECT_TRUE(until([&] { return agent.core_descriptors() == 32; }));
  const long before = ticks_of(agent.core().id());
  std::this_thread::sleep_for(std::chrono::seconds(1));
  EXPECT_LT(ticks_of(agent.core().id()) - before, sysconf(_SC_CLK_TCK) / 4);
}

TEST(MoreLines, ThanThereMayBeAreToldSo) {
  Agent agent({"--max-lines", "20"});
  Client healthy(agent.socket());
  ASSERT_EQ(healthy.status("nobody"), VK_ENOANSWER);
  std::deque<Line> lines = connect(agent, 30);
  ask_all(lines, "nobody");
  std::size_t refused = 0, served = 0;
  for (const Line& line : lines) {
    const std::optional<Answer> answer = line.answer();
    if (answer == Answer{VK_EBUSY}) ++refused;
    if (answer == Answer{VK_ENOANSWER}) ++served;
    EXPECT_EQ(healthy.status("nobody"), VK_ENOANSWER);
  }
  EXPECT_EQ(served, 19U);
  EXPECT_EQ(refused, 11U);
  EXPECT_NE(agent.log().find("is refused: limit lines is 20\n"), std::string::npos);
  lines.clear();
  EXPECT_TRUE(until([&] { return Line(agent.socket()).call("nobody") == Answer{VK_ENOANSWER}; }));
}

TEST(MoreProcesses, ThanThereMayBeAreToldSo) {
  Agent agent({"--max-processes", "1"});
  Client healthy(agent.socket());
  ASSERT_EQ(healthy.status("nobody"), VK_ENOANSWER);
  Fork other([&agent] {
    const Line line(agent.socket());
    return line.answer() == Answer{VK_EBUSY} ? 0 : 1;
  });
  EXPECT_EQ(other.wait(), 0);
  EXPECT_EQ(Line(agent.socket()).call("nobody"), Answer{VK_ENOANSWER});
  EXPECT_NE(agent.log().find("is refused: limit processes is 1\n"), std::string::npos);
}

TEST(MoreRequests, ThanMayWaitForAModuleAreToldSo) {
  Agent agent({"--max-queue", "4"});
  agent.start_sleeper();
  agent.start_relay("a", "b");
  Client healthy(agent.socket());
  std::deque<Line> lines = connect(agent, 10);
  ask_all(lines, "test.sleeper");  // one is with the module, four wait
  agent.settle();
  EXPECT_EQ(take_answered(lines, VK_EBUSY), 5U);
  EXPECT_EQ(healthy.status("test.a", relayed(0)), VK_EOK);
  agent.module("sleeper").kill();
  for (const Line& line : lines) EXPECT_EQ(line.answer(), Answer{VK_EIO});
}

TEST(MoreBytes, ThanThereMayBeInAllCostOnlyThoseWhoSendThem) {
  Agent agent({"--max-buffers", "1000000", "--message-time", "500ms"});
  agent.start_relay("a", "b");
  Client healthy(agent.socket());
  std::deque<Line> lines = connect(agent, 20);
  const ByteString message = request("test.a", text(std::string(200'000, 'x')));
  const auto unfinished = std::span(message).first(message.size() - 1);
  for (const Line& line : lines) line.push(unfinished);
  for (const Line& line : lines) EXPECT_TRUE(line.ends());
  EXPECT_NE(agent.log().find("all buffers are in use"), std::string::npos);
  EXPECT_EQ(healthy.status("test.a", relayed(0)), VK_EOK);
}

}  // namespace
}  // namespace vesk::test
