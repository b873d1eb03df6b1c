// The core under a service manager.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sysexits.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <optional>

#include "tests/e2e/agent/agent.h"
#include "tests/e2e/agent/line.h"

namespace vesk::test {
namespace {

using std::chrono::steady_clock;
using testing::HasSubstr;

/// What a core is told by its environment, and what it tells.
class AServiceManager : public testing::Test {
 protected:
  std::string socket() const { return folder_ / "s"; }
  std::string given() const { return folder_ / "given"; }
  std::string log() const { return content_of(logs_ / "log"); }
  bool is_there(const std::string& file) const { return access(file.c_str(), F_OK) == 0; }

  void start(const std::function<void()>& prepare, const Words& options = {"--foreground"}) {
    Words command = {kCore, "--socket", socket(), "--store", folder_ / "store.db"};
    command.insert(command.end(), options.begin(), options.end());
    core_.emplace(command, logs_ / "log", prepare);
  }

  // Runs in the core's process: it finds a listening socket as its descriptor 3.
  void hand_over(const std::string& process) const {
    const int listener = listening_at(given());
    const int apart = dup(listener);
    close(listener);
    dup2(apart, 3);
    close(apart);
    setenv("LISTEN_FDS", "1", 1);
    setenv("LISTEN_PID", process.c_str(), 1);
  }

  const Folder folder_;
  const Folder logs_;
  std::optional<Process> core_;
};

TEST_F(AServiceManager, HandsOverASocketThatTheCoreAnswersAt) {
  start([this] { hand_over(std::to_string(getpid())); });
  EXPECT_EQ(Client(given()).status("nobody"), VK_ENOANSWER);
  EXPECT_FALSE(is_there(socket()));
  EXPECT_EQ(core_->stop(), EX_OK);
  EXPECT_TRUE(is_there(given()));
  EXPECT_THAT(log(), testing::Not(HasSubstr(socket())));
}

TEST_F(AServiceManager, MayHaveMeantAnotherProcess) {
  start([this] { hand_over("1"); });
  EXPECT_EQ(Client(socket()).status("nobody"), VK_ENOANSWER);
  const Line unanswered(given());
  unanswered.send(request("nobody"));
  EXPECT_EQ(Client(socket()).status("nobody"), VK_ENOANSWER);
  EXPECT_FALSE(unanswered.is_readable());
  EXPECT_EQ(core_->stop(), EX_OK);
}

TEST_F(AServiceManager, FindsTheMessagesOfTheForegroundOnStandardError) {
  start([] {});
  Client(socket()).status("nobody");
  EXPECT_EQ(core_->stop(), EX_OK);
  EXPECT_THAT(log(), HasSubstr("veskd: The core is ready at " + socket() + "\n"));
}

TEST_F(AServiceManager, FindsNothingThereOtherwise) {
  start([] {}, {});
  Client(socket()).status("nobody");
  EXPECT_EQ(core_->stop(), EX_OK);
  EXPECT_EQ(log(), "");
}

class AListeningServiceManager : public AServiceManager {
 protected:
  AListeningServiceManager() : told_(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0)) {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    const std::string path = folder_ / "notify";
    path.copy(address.sun_path, sizeof address.sun_path - 1);
    EXPECT_EQ(bind(told_, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
  }
  ~AListeningServiceManager() override { close(told_); }

  void start_watched(const char* period) {
    start([this, period] {
      setenv("NOTIFY_SOCKET", (folder_ / "notify").c_str(), 1);
      if (period != nullptr) setenv("WATCHDOG_USEC", period, 1);
      if (period != nullptr) setenv("WATCHDOG_PID", std::to_string(getpid()).c_str(), 1);
    });
  }

  // Waits for the next message.
  std::string told() const {
    pollfd waited = {told_, POLLIN, 0};
    const auto deadline = std::chrono::milliseconds(kDeadline).count();
    if (poll(&waited, 1, static_cast<int>(deadline)) != 1) return "nothing";
    char text[64];
    const ssize_t size = recv(told_, text, sizeof text, 0);
    return {text, static_cast<std::size_t>(std::max<ssize_t>(size, 0))};
  }

 private:
  const int told_;
};

TEST_F(AListeningServiceManager, IsToldOfTheCoreWhenItAnswersAndWhenItEnds) {
  start_watched(nullptr);
  EXPECT_EQ(told(), "READY=1");
  const Line line(socket());
  EXPECT_EQ(line.call("nobody"), Answer{VK_ENOANSWER});
  core_->signal(SIGTERM);
  EXPECT_EQ(told(), "STOPPING=1");
  EXPECT_EQ(core_->wait(), EX_OK);
}

TEST_F(AListeningServiceManager, IsToldOfLifeTwiceInEachPeriod) {
  constexpr std::chrono::milliseconds kPeriod{1000};
  start_watched("1000000");
  EXPECT_EQ(told(), "READY=1");
  EXPECT_EQ(told(), "WATCHDOG=1");
  const auto first = steady_clock::now();
  for (int i = 0; i != 3; ++i) EXPECT_EQ(told(), "WATCHDOG=1");
  EXPECT_LT(steady_clock::now() - first, 2 * kPeriod);
  EXPECT_EQ(core_->stop(), EX_OK);
}

}  // namespace
}  // namespace vesk::test
