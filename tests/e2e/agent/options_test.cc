// The core's program as it is called.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sysexits.h>

#include "tests/e2e/agent/agent.h"

namespace vesk::test {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

TEST(Veskd, SaysHowItIsUsed) {
  const Ended help = run({kCore, "--help"});
  EXPECT_EQ(help.status, EX_OK);
  EXPECT_THAT(help.output, StartsWith("Usage: "));
  for (const char* const option :
       {"--socket", "--store", "--answer-time", "--max-message", "--check", "--print-config"}) {
    EXPECT_THAT(help.output, HasSubstr(option));
  }
}

TEST(Veskd, SaysWhenItCannotPrint) {
  EXPECT_EQ(Process({kCore, "--help"}, "/dev/full").wait(), EX_IOERR);
}

TEST(Veskd, SaysItsVersion) {
  const Ended version = run({kCore, "--version"});
  EXPECT_EQ(version.status, EX_OK);
  EXPECT_THAT(version.output, testing::MatchesRegex("veskd [0-9]+\\.[0-9]+\\.[0-9]+\n"));
}

TEST(Veskd, PrintsOptionsThatMakeTheSameWhenTheyAreGivenAgain) {
  const Ended first = run({kCore, "--print-config", "--answer-time", "7", "--max-queue", "5"});
  EXPECT_EQ(first.status, EX_OK);
  EXPECT_THAT(first.output, HasSubstr("--answer-time 7000ms\n"));
  EXPECT_THAT(first.output, HasSubstr("--max-queue 5\n"));
  EXPECT_THAT(first.output, HasSubstr("--store /var/lib/vesk/store.db\n"));
  Words again = {kCore, "--print-config"};
  std::istringstream printed(first.output);
  for (std::string word; printed >> word;) again.push_back(word);
  EXPECT_EQ(run(again).output, first.output);
}

TEST(Veskd, ChecksItsOptionsWithoutTouchingAnything) {
  const Folder folder;
  const Words good = {kCore, "--check", "--socket", folder / "s", "--store", folder / "store.db"};
  EXPECT_EQ(run(good).status, EX_OK);
  EXPECT_EQ(folder.names(), Words{});
  Words bad = good;
  bad.insert(bad.end(), {"--answer-time", "soon"});
  const Ended refused = run(bad);
  EXPECT_EQ(refused.status, EX_USAGE);
  EXPECT_THAT(refused.output, HasSubstr("soon"));
}

TEST(Veskd, ChecksOptionsWhileACoreRunsWithThem) {
  Agent agent;
  const Words before = agent.folder().names();
  const Ended checked =
      run({kCore, "--check", "--socket", agent.socket(), "--store", agent.store()});
  EXPECT_EQ(checked.status, EX_OK) << checked.output;
  EXPECT_EQ(agent.folder().names(), before);
}

TEST(Veskd, PrintsOptionsThatTheCheckTakes) {
  const Folder folder;
  const Ended printed = run({kCore, "--print-config", "--socket", folder / "s", "--store",
                             folder / "store.db", "--allow-uid", "0", "--inform", "Device.A"});
  Words check = {kCore, "--check"};
  std::istringstream words(printed.output);
  for (std::string word; words >> word;) check.push_back(word);
  const Ended checked = run(check);
  EXPECT_EQ(checked.status, EX_OK) << checked.output;
  check.insert(check.end(), {"--max-buffers", "1"});
  EXPECT_EQ(run(check).status, EX_CONFIG);
}

TEST(Veskd, RefusesOptionsThatThereAreNot) {
  EXPECT_EQ(run({kCore, "--wrong"}).status, EX_USAGE);
  EXPECT_EQ(run({kCore, "word"}).status, EX_USAGE);
  EXPECT_EQ(run({kCore, "--check", "--log", "nowhere"}).status, EX_USAGE);
}

TEST(Veskd, EndsWhereAnotherCoreAnswers) {
  Agent agent;
  const Ended second = run(
      {kCore, "--foreground", "--socket", agent.socket(), "--store", agent.folder() / "other.db"});
  EXPECT_EQ(second.status, EX_UNAVAILABLE);
  EXPECT_NE(second.output, "");
  EXPECT_EQ(Client(agent.socket()).status("nobody"), VK_ENOANSWER);
}

TEST(Veskd, EndsWhereAnotherCoreHasTheStore) {
  Agent agent;
  const Ended second =
      run({kCore, "--foreground", "--socket", agent.folder() / "other", "--store", agent.store()});
  EXPECT_EQ(second.status, EX_UNAVAILABLE);
  EXPECT_EQ(Client(agent.socket()).status("sys.persistent.save.key"), VK_EOK);
}

}  // namespace
}  // namespace vesk::test
