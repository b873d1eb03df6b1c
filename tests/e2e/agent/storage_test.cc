// What was saved, after a core that was killed.

#include <gtest/gtest.h>

#include <array>
#include <csignal>
#include <functional>
#include <latch>
#include <random>
#include <thread>

#include "tests/e2e/agent/agent.h"
#include "tests/e2e/agent/line.h"

namespace vesk::test {
namespace {

using std::chrono::microseconds;

// One key for each of several lines, so that saves wait for each other and share commits. What a
// key holds is a number that grows with every save.
class Saver {
 public:
  explicit Saver(const Agent& agent) : agent_(agent) {}

  // Saves until the core is gone. Says when the first save was answered, or never will be.
  void run(const std::function<void()>& saved) {
    std::vector<Line> lines;
    for (std::size_t i = 0; i != kKeys; ++i) lines.emplace_back(agent_.socket());
    bool more = save(lines);
    saved();
    while (more) more = save(lines);
  }

  // Whether each key holds what the last answer, or a save after it, said.
  void expect_saved() const {
    Client client(agent_.socket());
    for (std::size_t i = 0; i != kKeys; ++i) {
      const Answer answer = client.call("sys.persistent.load" + key(i));
      if (answer.status == VK_ENOENT) {
        EXPECT_EQ(acknowledged_[i], 0U);
        continue;
      }
      ASSERT_EQ(answer.status, VK_EOK);
      const uint32_t found = std::get<uint32_t>(answer.value.payload);
      EXPECT_GE(found, acknowledged_[i]);
      EXPECT_LE(found, sent_);
    }
  }

  uint32_t last_acknowledged() const {
    return *std::max_element(acknowledged_.begin(), acknowledged_.end());
  }

 private:
  static constexpr std::size_t kKeys = 3;

  static std::string key(std::size_t number) { return ".test.key" + std::to_string(number); }

  bool save(const std::vector<Line>& lines) {
    ++sent_;
    for (std::size_t i = 0; i != kKeys; ++i) {
      lines[i].send(request("sys.persistent.save" + key(i), unsigned_integer(sent_)));
    }
    bool all = true;
    for (std::size_t i = 0; i != kKeys; ++i) {
      const std::optional<Answer> answer = lines[i].answer();
      all = all && answer.has_value();
      if (!answer.has_value()) continue;
      EXPECT_EQ(answer->status, VK_EOK);
      acknowledged_[i] = sent_;
    }
    return all;
  }

  const Agent& agent_;
  uint32_t sent_ = 0;
  std::array<uint32_t, kKeys> acknowledged_ = {};
};

// Half the deaths come at any time, the others when something was saved in that life.
TEST(ASave, ThatWasAnsweredOutlivesTwoHundredDeathsOfTheCore) {
  Agent agent;
  Saver saver(agent);
  std::minstd_rand random(1);
  for (int death = 0; death != 200 && !HasFailure(); ++death) {
    const uint32_t before = saver.last_acknowledged();
    const bool after_a_save = death % 2 != 0;
    std::latch mortal(after_a_save ? 1 : 0);
    std::thread killer(
        [&mortal, core = agent.core().id(), after = microseconds(random() % 10'000)] {
          mortal.wait();
          std::this_thread::sleep_for(after);
          kill(core, SIGKILL);
        });
    saver.run([&] {
      if (after_a_save) mortal.count_down();
    });
    killer.join();
    ASSERT_EQ(agent.core().wait(), -SIGKILL);
    agent.start_core();
    saver.expect_saved();
    if (after_a_save) {
      EXPECT_GT(saver.last_acknowledged(), before);
    }
  }
}

std::vector<Tree> elements(std::initializer_list<Tree> items) { return items; }

Tree set(const std::string& name, const std::string& value) {
  return object({{"ParameterList",
                  array(elements({object({{"Name", text(name)}, {"Value", text(value)}})}))}});
}

Tree names(const std::string& name) {
  return object({{"ParameterNames", array(elements({text(name)}))}});
}

Tree note(const std::string& value) {
  return object(
      {{"ParameterList",
        object({{"Device", object({{"X_VESK_Scratch", object({{"Note", text(value)}})}})}})}});
}

TEST(AValue, ThatWasSetOutlivesTheDeathOfTheCoreAndOfItsModule) {
  const std::string name = "Device.X_VESK_Scratch.Note";
  const std::string path = "cwmp.rpc.GetParameterValues";
  Agent agent;
  agent.start("scratch", {}, "dm.Device.X_VESK_Scratch");
  EXPECT_EQ(Client(agent.socket()).status("cwmp.rpc.SetParameterValues", set(name, "kept")),
            VK_EOK);
  agent.core().kill();
  agent.start_core();
  Client client(agent.socket());
  EXPECT_TRUE(until([&] {
    return client.call(path, names(name)) == (Answer{VK_EOK, note("kept")});
  }));
  agent.start("scratch", {}, "dm.Device.X_VESK_Scratch");
  EXPECT_EQ(client.call(path, names(name)), (Answer{VK_EOK, note("kept")}));
}

}  // namespace
}  // namespace vesk::test
