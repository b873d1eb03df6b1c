// What a peer may do to a line, and what becomes of one that does more.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <cstring>

#include "tests/support/log_spy.h"
#include "tests/unit/core/core_fixture.h"
#include "vesk/value/array.h"
#include "vesk/value/member.h"

namespace vesk::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;

std::vector<std::byte> bytes_of(std::initializer_list<uint32_t> numbers) {
  std::vector<std::byte> bytes(numbers.size() * sizeof(uint32_t));
  std::memcpy(bytes.data(), std::data(numbers), bytes.size());
  return bytes;
}

// The head of a request without a path.
const std::vector<std::byte> kHead = bytes_of({0, 0, 0});

Value deep(unsigned depth) {
  Value value = new_object();
  vk_value* inner = value.get();
  while (--depth != 0) {
    inner = vk_object_init_object_with_policy(inner, "x", VK_POLICY_ORDERED);
  }
  return value;
}

TEST(ALimit, IsToldAndEndsTheLine) {
  const LogSpy log;
  TestCore core;
  TestLine client(core);
  EXPECT_EQ(client.call("nobody", deep(32)), int{VK_ENOANSWER});
  client.send("nobody", deep(33));
  EXPECT_EQ(client.answer()->status, VK_EINVAL);
  EXPECT_TRUE(client.is_dropped());
}

TEST(ALimit, IsLoggedWithWhoAndWhichAndHowMuch) {
  const LogSpy log;
  TestCore core;
  TestModule module(core, "demo");
  module.main().send("nobody", deep(33));
  EXPECT_TRUE(module.main().is_dropped());
  ASSERT_FALSE(log.lines().empty());
  const std::string pid = "Process " + std::to_string(getpid());
  const std::string uid = "user " + std::to_string(getuid());
  EXPECT_THAT(log.lines().back().text,
              AllOf(HasSubstr(pid), HasSubstr(uid), HasSubstr("module demo"), HasSubstr("depth"),
                    HasSubstr("32"), HasSubstr("33")));
}

TEST(ALimit, IsWhatTheOptionsSay) {
  const LogSpy log;
  core::Settings settings;
  settings.message.text = 3;
  TestCore core(settings);
  TestLine client(core);
  EXPECT_EQ(client.call("nobody", named("x", "abc")), int{VK_ENOANSWER});
  EXPECT_EQ(client.call("nobody", named("x", "abcd")), int{VK_EINVAL});
}

TEST(ALimit, HoldsForAnswersTooAndCostsTheModuleThatLineOnly) {
  const LogSpy log;
  TestCore core;
  AskedModule asked(core);
  auto& [module, serving, client] = asked;
  serving->reply(VK_EOK, deep(33));
  EXPECT_EQ(client.answer()->status, VK_EINVAL);
  EXPECT_TRUE(serving->is_dropped());
  EXPECT_EQ(module.remove("a", 1), int{VK_EOK});
}

TEST(ALimit, OfARequestsComponentsCostsTheRequestOnly) {
  TestCore core;
  TestLine client(core);
  std::string path = "a";
  for (int i = 1; i != 256; ++i) path += ".a";
  EXPECT_EQ(client.call(path), int{VK_ENOANSWER});
  EXPECT_EQ(client.call(path + ".a"), int{VK_EINVAL});
  EXPECT_EQ(client.call(path), int{VK_ENOANSWER});
}

TEST(ALine, IsEndedByWhatIsNoMessage) {
  const LogSpy log;
  TestCore core;
  TestLine client(core);
  std::vector<std::byte> bytes = kHead;
  const std::vector<std::byte> type = bytes_of({12});
  bytes.insert(bytes.end(), type.begin(), type.end());
  client.send_bytes(bytes);
  EXPECT_EQ(client.answer()->status, VK_EINVAL);
  EXPECT_TRUE(client.is_dropped());
}

TEST(ALine, TakesAMessageInAnyPieces) {
  TestCore core;
  TestLine client(core);
  std::vector<std::byte> bytes = kHead;
  bytes.resize(bytes.size() + sizeof(uint32_t));
  for (const std::byte byte : bytes) {
    client.send_bytes({byte});
    core.run_for(1ms);
  }
  EXPECT_EQ(client.answer()->status, VK_ENOANSWER);
}

TEST(ALine, MustCompleteAMessageInTime) {
  const LogSpy log;
  core::Settings settings;
  settings.completion = 30ms;
  TestCore core(settings);
  TestLine client(core);
  core.run_for(settings.completion * 3);  // as long as nothing has begun
  EXPECT_TRUE(client.is_quiet());
  client.send_bytes(kHead);
  EXPECT_EQ(client.answer()->status, VK_ETIMEDOUT);
  EXPECT_TRUE(client.is_dropped());
}

TEST(ALine, IsEndedWhenItsCallerSendsBeforeItsAnswer) {
  const LogSpy log;
  TestCore core;
  AskedModule asked(core);
  auto& [module, serving, client] = asked;
  client.send_bytes({std::byte{0}});
  EXPECT_EQ(client.answer()->status, VK_EINVAL);
  EXPECT_TRUE(client.is_dropped());
  serving->reply(VK_EOK);
  EXPECT_EQ(module.remove("a", 1), int{VK_EOK});
}

TEST(ALine, IsEndedByTwoRequestsAtOnce) {
  const LogSpy log;
  TestCore core;
  TestLine client(core);
  std::vector<std::byte> twice = bytes_of({0, 0, 0, 0, 0, 0, 0, 0});
  client.send_bytes(twice);
  EXPECT_EQ(client.answer()->status, VK_EINVAL);
  EXPECT_TRUE(client.is_dropped());
}

TEST(AServingLine, IsEndedByWhatNobodyAskedFor) {
  const LogSpy log;
  TestCore core;
  TestModule module(core, "demo");
  const auto serving = module.serving();
  serving->reply(VK_EOK);
  EXPECT_TRUE(serving->is_dropped());
  EXPECT_EQ(module.add("a", 1), int{VK_EOK});
}

TEST(AServingLine, IsEndedByWhatComesBeforeItsQuestion) {
  const LogSpy log;
  TestCore core;
  TestModule module(core, "demo");
  const auto serving = module.serving();
  ASSERT_EQ(module.add("a", 1), int{VK_EOK});
  TestLine client(core);
  // Both are there when the loop looks.
  const std::vector<std::byte> answer = bytes_of({VK_EOK, VK_TYPE_ANY});
  ASSERT_EQ(::send(serving->descriptor(), answer.data(), answer.size(), 0),
            static_cast<ssize_t>(answer.size()));
  client.send("a");
  EXPECT_NE(client.answer()->status, VK_EOK);
  EXPECT_TRUE(serving->is_dropped());
}

TEST(AServingLine, EndsWithoutAWordWhenItsAnswerDoesNotComplete) {
  const LogSpy log;
  core::Settings settings;
  settings.completion = 30ms;
  TestCore core(settings);
  AskedModule asked(core);
  auto& [module, serving, client] = asked;
  serving->send_bytes({std::byte{0}});
  EXPECT_EQ(client.answer()->status, VK_ETIMEDOUT);
  std::byte next{};
  EXPECT_EQ(recv(serving->descriptor(), &next, 1, MSG_DONTWAIT), 0);
}

TEST(AnAnswer, MustBeTakenInTimeByAPlainClient) {
  const LogSpy log;
  core::Settings settings;
  settings.taking = 50ms;
  TestCore core(settings);
  core.dispatcher.serve({"much"},
                        [](core::CallPtr, const core::Request&) -> asio::awaitable<core::Answer> {
                          // An array of nothing, longer than any socket's buffer.
                          core::Bytes tree(1U << 20);
                          const std::array<uint32_t, 2> head = {VK_TYPE_ARRAY, (1U << 20) / 4 - 2};
                          std::memcpy(tree.data(), head.data(), sizeof head);
                          co_return core::Answer{VK_EOK, std::move(tree)};
                        });
  TestLine client(core);
  client.send("much");
  EXPECT_TRUE(core.until([&] { return core.server.lines() == 0; }));
  TestModule module(core, "demo");
  module.main().send("much");
  core.run_for(settings.taking * 3);
  EXPECT_TRUE(module.main().answer().has_value());
}

}  // namespace
}  // namespace vesk::test
