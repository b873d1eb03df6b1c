#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "lib/support/owned.h"
#include "tests/unit/runtime/fake_core.h"
#include "tests/unit/runtime/libc_watch.h"
#include "vesk/runtime.h"

// To whom clients connect.

namespace vesk::test {
namespace {

using Client = Owned<vk_client, vk_client_close>;

vk_error opened(const std::string& path, int timeout = 0) {
  vk_client* client = nullptr;
  const vk_error error = vk_client_open(path.c_str(), timeout, &client);
  EXPECT_EQ(error == VK_EOK, client != nullptr);
  const Client closed(client);
  return error;
}

TEST(ClientOpen, FindsNobody) {
  const Folder folder;
  EXPECT_EQ(VK_ENOENT, opened(folder / "none"));
  EXPECT_EQ(VK_ENOENT, opened(folder / "none", 30));
  listening_at(folder / "left-over").reset();
  EXPECT_EQ(VK_ENOENT, opened(folder / "left-over"));
  EXPECT_EQ(VK_ENOENT, opened(""));
}

TEST(ClientOpen, KnowsHowLongAPathCanBe) {
  const Folder folder;
  const std::string longest = folder / std::string(107 - (folder / "").size(), 'x');
  const rt::Fd listening = listening_at(longest);
  EXPECT_EQ(VK_EOK, opened(longest));
  EXPECT_EQ(VK_ENAMETOOLONG, opened(longest + "x"));
}

TEST(ClientOpen, WaitsForTheCore) {
  const Folder folder;
  const std::string path = folder / "late";
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    usleep(50000);
    const rt::Fd listening = listening_at(path);
    alarm(20);
    pause();
    _exit(0);
  }
  EXPECT_EQ(VK_EOK, opened(path, 10000));
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
}

TEST(ClientOpen, TrustsRootAndItsOwnUserOnly) {
  const Folder folder;
  const rt::Fd listening = listening_at(folder / "core");
  const struct {
    uid_t server;
    uid_t own;
    vk_error error;
  } cases[] = {
      {0, 1000, VK_EOK}, {1000, 1000, VK_EOK}, {1001, 1000, VK_EAUTH}, {1000, 0, VK_EAUTH}};
  for (const auto& row : cases) {
    SCOPED_TRACE(std::to_string(row.server) + " seen by " + std::to_string(row.own));
    const Users users(row.server, row.own);
    EXPECT_EQ(row.error, opened(folder / "core", 1000));
  }
}

TEST(ClientOpen, IsToldThatNoDescriptorIsLeft) {
  const Folder folder;
  const rt::Fd listening = listening_at(folder / "core");
  const NoDescriptors none;
  EXPECT_EQ(VK_ENOMEM, opened(folder / "core", 1000));
}

TEST(ClientOpen, LeavesNoDescriptorToOtherPrograms) {
  const Folder folder;
  const rt::Fd listening = listening_at(folder / "core");
  vk_client* client = nullptr;
  const int next = dup(0);
  close(next);
  ASSERT_EQ(VK_EOK, vk_client_open((folder / "core").c_str(), 0, &client));
  const Client closed(client);
  EXPECT_EQ(FD_CLOEXEC, fcntl(next, F_GETFD));
}

TEST(ClientClose, TakesNull) { vk_client_close(nullptr); }

TEST(ClientClose, EndsTheConnection) {
  const FakeCore core([](const FakeCore::Listener& listener) { listener.accept().expect_end(); });
  EXPECT_EQ(VK_EOK, opened(core.path()));
}

}  // namespace
}  // namespace vesk::test
