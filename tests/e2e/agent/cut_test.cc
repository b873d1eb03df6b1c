// A conversation that breaks off after any of its bytes.

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>

#include "tests/e2e/agent/recording.h"

namespace vesk::test {
namespace {

using What = Event::What;

// To a, which asks b.
const char kPath[] = "test.a";
const Tree kQuestion = relayed(1);

// How often a module is answered until it has attached with three lines and registered.
constexpr std::size_t kToBegin = 4;

// A module begins; it is asked, takes another line to serve on, asks another module, and answers.
Recording record(const Agent& agent) {
  Recorder recorder(agent.folder() / "recorder", agent.socket());
  const Process module({kTestModules + std::string("/relay"), "a", "--socket",
                        agent.folder() / "recorder", "--param", "next=b"},
                       agent.folder() / "recorded.log");
  EXPECT_TRUE(recorder.pass_on_until([&] { return recorder.count(What::kCoreSays) == kToBegin; }));
  const Line client(agent.socket());
  recorder.client_asks();
  client.send(request(kPath, kQuestion));
  EXPECT_TRUE(recorder.pass_on_until([&] { return client.is_readable(); }));
  EXPECT_EQ(trail_of(client.answer().value()), "ba");
  return recorder.recording();
}

// Plays the module of a recording, and its client.
class Replay {
 public:
  Replay(const std::string& socket, const Recording& recording)
      : socket_(socket), recording_(recording), client_(socket) {}

  // The module says so many bytes, hears what the core says to them, and breaks off.
  void play(std::size_t bytes) {
    for (const Event& event : recording_) {
      const bool own = event.what == What::kModuleSays;
      if (own && bytes == 0) break;
      const std::size_t size = own ? std::min(event.bytes.size(), bytes) : event.bytes.size();
      take_part(event, size);
      if (size != event.bytes.size()) break;
      if (own) bytes -= size;
    }
    lines_.clear();
  }

  bool has_asked() const { return asked_; }
  std::optional<Answer> answer() const { return client_.answer(); }

 private:
  void take_part(const Event& event, std::size_t size) {
    while (lines_.size() <= event.line) lines_.emplace_back(socket_);
    const auto bytes = std::span(event.bytes).first(size);
    switch (event.what) {
      case What::kModuleSays:
        EXPECT_TRUE(lines_[event.line].send(bytes));
        break;
      case What::kCoreSays:
        EXPECT_EQ(lines_[event.line].read(size), event.bytes);
        break;
      case What::kClientAsks:
        asked_ = client_.send(request(kPath, kQuestion));
        break;
    }
  }

  const std::string& socket_;
  const Recording& recording_;
  const Line client_;
  std::deque<Line> lines_;
  bool asked_ = false;
};

std::size_t bytes_of_module(const Recording& recording) {
  std::size_t count = 0;
  for (const Event& event : recording) {
    if (event.what == What::kModuleSays) count += event.bytes.size();
  }
  return count;
}

TEST(AModule, ThatSaysWhatWasRecordedIsAnsweredAsItWas) {
  Agent agent;
  agent.start_relay("b", "a");
  const Recording recording = record(agent);
  const std::string socket = agent.socket();
  Replay replay(socket, recording);
  replay.play(bytes_of_module(recording));
  EXPECT_EQ(trail_of(replay.answer().value()), "ba");
}

TEST(AModule, MayBreakOffAfterAnyByte) {
  Agent agent;
  agent.start_relay("b", "a");
  const Recording recording = record(agent);
  const std::string socket = agent.socket();
  Client healthy(socket);
  ASSERT_EQ(healthy.status("test.b", relayed(0)), VK_EOK);
  const std::size_t before = agent.core_descriptors();
  const std::size_t all = bytes_of_module(recording);
  for (std::size_t bytes = 0; bytes != all && !HasFailure(); ++bytes) {
    SCOPED_TRACE(bytes);
    Replay replay(socket, recording);
    replay.play(bytes);
    if (replay.has_asked()) {
      EXPECT_EQ(replay.answer(), Answer{VK_EIO});
    }
    EXPECT_EQ(healthy.status("test.b", relayed(0)), VK_EOK);
  }
  EXPECT_TRUE(until([&] { return agent.core_descriptors() <= before; }));
  EXPECT_EQ(healthy.status(kPath), VK_ENOANSWER);
}

// Of the core's answer, so many bytes are read before the line breaks off.
TEST(AClient, MayBreakOffAfterAnyByteOfItsAnswer) {
  Agent agent;
  Client healthy(agent.socket());
  ASSERT_EQ(healthy.status("sys.persistent.save.cut", text("some text")), VK_EOK);
  const ByteString whole = response(VK_EOK, text("some text"));
  const std::size_t before = agent.core_descriptors();
  for (std::size_t size = 0; size <= whole.size(); ++size) {
    const Line peer(agent.socket());
    peer.send(request("sys.persistent.load.cut"));
    EXPECT_EQ(peer.read(size),
              ByteString(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
  }
  EXPECT_TRUE(until([&] { return agent.core_descriptors() <= before; }));
  EXPECT_EQ(healthy.status("nobody"), VK_ENOANSWER);
}

}  // namespace
}  // namespace vesk::test
