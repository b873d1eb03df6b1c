// What is found at the socket's path, and what is left there.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sysexits.h>
#include <unistd.h>

#include <fstream>

#include "tests/e2e/agent/agent.h"
#include "tests/e2e/agent/line.h"

namespace vesk::test {
namespace {

struct stat status_of(const std::string& path) {
  struct stat status = {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status;
}

bool is_there(const std::string& path) { return access(path.c_str(), F_OK) == 0; }

// A core is started at a path where there is something already.
class ACoreThatFinds : public testing::Test {
 protected:
  // It takes the path over, and nothing of its own is there at the end.
  void expect_takeover() const {
    Process core(command_, logs_ / "core");
    EXPECT_EQ(Client(path).status("nobody"), VK_ENOANSWER);
    EXPECT_TRUE(S_ISSOCK(status_of(path).st_mode));
    EXPECT_EQ(core.stop(), EX_OK);
    EXPECT_FALSE(is_there(path));
  }

  // It says why it ends, and what is there stays as it is.
  void expect_refusal(int status) const {
    const Words names = folder.names();
    const ino_t before = status_of(path).st_ino;
    const Ended core = run(command_);
    EXPECT_EQ(core.status, status);
    EXPECT_NE(core.output, "");
    EXPECT_EQ(status_of(path).st_ino, before);
    EXPECT_EQ(folder.names(), names);
  }

  const Folder folder;
  const std::string path = folder / "s";

 private:
  const Folder logs_;
  const Words command_ = {kCore, "--foreground", "--socket", path, "--store", logs_ / "store.db"};
};

TEST_F(ACoreThatFinds, TheSocketOfADeadCoreTakesItsPlace) {
  { const Line dead(listening_at(path)); }
  ASSERT_TRUE(is_there(path));
  expect_takeover();
}

TEST_F(ACoreThatFinds, ALinkReplacesItAndLeavesAloneWhatItMeans) {
  const std::string precious = folder / "precious";
  std::ofstream(precious) << "mine";
  ASSERT_EQ(symlink(precious.c_str(), path.c_str()), 0);
  expect_takeover();
  EXPECT_EQ(content_of(precious), "mine");
}

TEST_F(ACoreThatFinds, ALinkToNothingMakesNothingThere) {
  ASSERT_EQ(symlink((folder / "nothing").c_str(), path.c_str()), 0);
  expect_takeover();
  EXPECT_EQ(folder.names(), Words{});
}

TEST_F(ACoreThatFinds, ASquatterEnds) {
  const Line squatter(listening_at(path));
  expect_refusal(EX_UNAVAILABLE);
}

TEST_F(ACoreThatFinds, ASquatterBehindALinkEnds) {
  const Line squatter(listening_at(folder / "elsewhere"));
  ASSERT_EQ(symlink((folder / "elsewhere").c_str(), path.c_str()), 0);
  expect_refusal(EX_UNAVAILABLE);
}

TEST_F(ACoreThatFinds, ASquatterWhoTakesNobodyEnds) {
  const Line squatter(listening_at(path, 0));
  const Line first(path);
  ASSERT_TRUE(first.is_there());  // and there is no room for a second
  expect_refusal(EX_UNAVAILABLE);
}

TEST_F(ACoreThatFinds, AFolderEnds) {
  ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
  expect_refusal(EX_OSERR);
}

TEST(TheSocket, IsForTheCoresUserAloneAndTheOnlyFileOfItsFolder) {
  Agent agent;
  const struct stat status = status_of(agent.socket());
  EXPECT_EQ(status.st_mode & ALLPERMS, 0600U);
  EXPECT_EQ(status.st_uid, geteuid());
  EXPECT_EQ(agent.folder().names(), (Words{"s", "store.db", "store.db-wal", "store.db.lock"}));
}

TEST(TheSocket, StaysIfItIsNoLongerTheCores) {
  Agent agent;
  ASSERT_EQ(unlink(agent.socket().c_str()), 0);
  const Line squatter(listening_at(agent.socket()));
  EXPECT_EQ(agent.core().stop(), EX_OK);
  EXPECT_TRUE(is_there(agent.socket()));
}

TEST(AModule, WaitsForACoreThatIsNotThereYet) {
  Agent agent;
  EXPECT_EQ(agent.core().stop(), EX_OK);
  Process early({kTestModules + std::string("/relay"), "early", "--socket", agent.socket()},
                agent.folder() / "early.log");
  agent.start_core();
  Client client(agent.socket());
  EXPECT_TRUE(until([&] { return client.status("test.early", relayed(0)) == VK_EOK; }));
  EXPECT_EQ(early.stop(), EX_OK);
}

TEST(AModule, WhoseNameIsTakenEnds) {
  Agent agent;
  agent.start_relay("a", "b");
  const Ended second = run({kTestModules + std::string("/relay"), "a", "--socket", agent.socket()});
  EXPECT_EQ(second.status, EX_UNAVAILABLE);
  EXPECT_EQ(Client(agent.socket()).status("test.a", relayed(0)), VK_EOK);
}

}  // namespace
}  // namespace vesk::test
