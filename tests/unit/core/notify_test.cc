#include "core/notify.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <cstdlib>
#include <cstring>

#include "tests/unit/core/core_fixture.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class AServiceManager : public testing::Test {
 protected:
  AServiceManager() : socket_(socket(AF_UNIX, SOCK_DGRAM, 0)) {}
  ~AServiceManager() override {
    for (const char* const name : {"NOTIFY_SOCKET", "WATCHDOG_USEC", "WATCHDOG_PID"}) {
      unsetenv(name);
    }
  }

  // The first byte of an abstract name is written as "@".
  void listen_at(std::string path) {
    setenv("NOTIFY_SOCKET", path.c_str(), 1);
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path[0] == '@') path[0] = '\0';
    std::memcpy(address.sun_path, path.data(), path.size());
    const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
    ASSERT_EQ(bind(socket_.get(), reinterpret_cast<sockaddr*>(&address), size), 0);
  }

  std::vector<std::string> told() {
    std::vector<std::string> messages;
    char text[64];
    for (ssize_t size = 0; (size = recv(socket_.get(), text, sizeof text, MSG_DONTWAIT)) >= 0;) {
      messages.emplace_back(text, static_cast<std::size_t>(size));
    }
    return messages;
  }

  const TemporaryFolder folder_;
  const core::Descriptor socket_;
  asio::io_context loop_;
};

TEST_F(AServiceManager, IsToldThatTheCoreIsReadyAndThatItEnds) {
  listen_at(folder_.path("notify"));
  core::Notifier notifier(loop_);
  EXPECT_THAT(told(), IsEmpty());
  notifier.ready();
  notifier.stopping();
  EXPECT_THAT(told(), ElementsAre("READY=1", "STOPPING=1"));
}

TEST_F(AServiceManager, MayHaveAnAbstractName) {
  listen_at("@vesk-core-test-" + std::to_string(getpid()));
  core::Notifier notifier(loop_);
  notifier.ready();
  EXPECT_THAT(told(), ElementsAre("READY=1"));
}

TEST_F(AServiceManager, IsNotLookedForAgainByChildren) {
  listen_at(folder_.path("notify"));
  setenv("WATCHDOG_USEC", "1000", 1);
  setenv("WATCHDOG_PID", "1", 1);
  const core::Notifier notifier(loop_);
  EXPECT_EQ(std::getenv("NOTIFY_SOCKET"), nullptr);
  EXPECT_EQ(std::getenv("WATCHDOG_USEC"), nullptr);
  EXPECT_EQ(std::getenv("WATCHDOG_PID"), nullptr);
}

TEST_F(AServiceManager, IsToldOfLifeTwiceInEachPeriod) {
  listen_at(folder_.path("notify"));
  setenv("WATCHDOG_USEC", "40000", 1);
  core::Notifier notifier(loop_);
  notifier.ready();
  EXPECT_THAT(told(), ElementsAre("READY=1", "WATCHDOG=1"));
  loop_.run_one_for(10s);
  loop_.run_one_for(10s);
  EXPECT_THAT(told(), ElementsAre("WATCHDOG=1", "WATCHDOG=1"));
}

TEST_F(AServiceManager, WatchesOnlyTheProcessThatItNames) {
  listen_at(folder_.path("notify"));
  setenv("WATCHDOG_USEC", "40000", 1);
  setenv("WATCHDOG_PID", "1", 1);
  core::Notifier notifier(loop_);
  notifier.ready();
  EXPECT_THAT(told(), ElementsAre("READY=1"));
}

TEST_F(AServiceManager, NeedNotBeThere) {
  core::Notifier notifier(loop_);
  notifier.ready();
  notifier.stopping();
  EXPECT_EQ(loop_.poll(), 0U);
}

}  // namespace
}  // namespace vesk::test
