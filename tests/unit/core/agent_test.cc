// The core as a whole, from its start to its end by a signal, with its peers in another thread.

#include "core/agent.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/un.h>
#include <array>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <thread>

#include "tests/support/log_spy.h"
#include "tests/unit/core/core_fixture.h"
#include "vesk/ipc.h"
#include "vesk/mm/gta.h"
#include "vesk/mm/stack.h"

namespace vesk::test {
namespace {

class TheAgent : public testing::Test {
 protected:
  TheAgent() {
    EXPECT_EQ(vk_gta_init(), VK_EOK);
    options_.socket = folder_.path("s");
    options_.store = folder_.path("store.db");
  }
  ~TheAgent() override { vk_gta_destroy(); }

  // What a peer does, beside the core. The core ends when it is done.
  void run_beside(const std::function<void()>& peer) {
    core::Agent agent(options_, {});
    std::thread thread([&] {
      peer();
      kill(getpid(), SIGTERM);
    });
    agent.run();
    thread.join();
  }

  // A connection whose reads end with the test at the latest.
  core::Descriptor connected() const {
    core::Descriptor connection(socket(AF_UNIX, SOCK_STREAM, 0));
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path, options_.socket.data(), options_.socket.size());
    const timeval deadline = {10, 0};
    setsockopt(connection.get(), SOL_SOCKET, SO_RCVTIMEO, &deadline, sizeof deadline);
    EXPECT_EQ(connect(connection.get(), reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    return connection;
  }

  const LogSpy log_;
  const TemporaryFolder folder_;
  core::Options options_;
};

// The bytes of a request without a tree; the library's own functions belong to the core's thread.
void send_request(int connection, const std::string& path) {
  std::array<char, 256> bytes = {};
  const auto length = static_cast<uint32_t>(path.size());
  std::memcpy(&bytes[4], &length, sizeof length);
  std::memcpy(&bytes[8], path.data(), path.size());
  const std::size_t size = 16 + path.size();
  EXPECT_EQ(::send(connection, bytes.data(), size, MSG_NOSIGNAL), static_cast<ssize_t>(size));
}

// The status of the next answer; -1 at the line's end.
int status_of(int connection) {
  std::array<uint32_t, 2> answer = {};
  const ssize_t count = recv(connection, answer.data(), sizeof answer, MSG_WAITALL);
  return count == sizeof answer ? static_cast<int>(answer[0]) : -1;
}

TEST_F(TheAgent, ServesUntilASignalEndsIt) {
  std::chrono::steady_clock::time_point end;
  run_beside([&] {
    const core::Descriptor client = connected();
    send_request(client.get(), "sys.persistent.save.a");
    EXPECT_EQ(status_of(client.get()), int{VK_EOK});
    send_request(client.get(), "nobody");
    EXPECT_EQ(status_of(client.get()), int{VK_ENOANSWER});
    end = std::chrono::steady_clock::now();
  });
  EXPECT_LT(std::chrono::steady_clock::now() - end, 2s);
}

TEST_F(TheAgent, LeavesNoSocketBehind) {
  run_beside([&] { EXPECT_TRUE(std::filesystem::exists(options_.socket)); });
  EXPECT_FALSE(std::filesystem::exists(options_.socket));
}

TEST_F(TheAgent, EndsAtAnInterruptToo) {
  core::Agent agent(options_, {});
  kill(getpid(), SIGINT);
  agent.run();
  EXPECT_FALSE(std::filesystem::exists(options_.socket));
}

TEST_F(TheAgent, HasKeptAtItsEndWhatItAcknowledged) {
  core::Descriptor client;
  run_beside([&] {
    client = connected();
    send_request(client.get(), "nobody");
    EXPECT_EQ(status_of(client.get()), int{VK_ENOANSWER});
    send_request(client.get(), "sys.persistent.save.a");
    EXPECT_EQ(status_of(client.get()), int{VK_EOK});
  });
  run_beside([&] {
    const core::Descriptor again = connected();
    send_request(again.get(), "sys.persistent.load.a");
    EXPECT_EQ(status_of(again.get()), int{VK_EOK});
  });
}

TEST_F(TheAgent, ClearsTheTemporariesWheneverNobodyNeedsThem) {
  const auto* const stack = reinterpret_cast<const vk_mm_stack*>(vk_gta());
  ASSERT_NE(vk_alloc(vk_gta(), 1), nullptr);
  ASSERT_NE(vk_alloc(vk_gta(), 100'000), nullptr);
  ASSERT_NE(stack->region.chunk->prev, nullptr);
  run_beside([] {});
  EXPECT_EQ(stack->region.chunk->prev, nullptr);
}

TEST_F(TheAgent, RefusesToShareItsStore) {
  const core::Agent agent(options_, {});
  core::Options other = options_;
  other.socket = folder_.path("other");
  EXPECT_THROW(core::Agent(other, {}), std::system_error);
  EXPECT_FALSE(std::filesystem::exists(other.socket));
}

}  // namespace
}  // namespace vesk::test
