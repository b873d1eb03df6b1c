// Who may open a line, and what those may do who may only read.

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "core/credentials.h"
#include "core/dispatcher.h"
#include "core/walk.h"
#include "tests/unit/core/core_fixture.h"
#include "tests/unit/core/fake_line.h"

namespace vesk::test {
namespace {

using core::Access;
using core::Credentials;
using core::judge;

constexpr uid_t kOwn = 100;

TEST(Judge, TrustsRootAndTheCoresOwnUser) {
  for (const uid_t user : {uid_t{0}, kOwn}) {
    const auto peer = judge({user, 7, 8, {}}, kOwn, {});
    ASSERT_TRUE(peer.has_value());
    EXPECT_TRUE(peer->trusted);
    EXPECT_EQ(peer->uid, user);
    EXPECT_EQ(peer->gid, 7U);
    EXPECT_EQ(peer->pid, 8);
  }
}

TEST(Judge, DeniesAProcessThatTheKernelCannotName) {
  EXPECT_FALSE(judge({0, 0, 0, {}}, kOwn, {.users = {0}}).has_value());
}

TEST(Judge, DeniesOthers) {
  EXPECT_FALSE(judge({5, 0, 8, {0, kOwn}}, kOwn, {}).has_value());
  EXPECT_FALSE(judge({5, 5, 8, {}}, kOwn, {.users = {6}, .group = 6}).has_value());
}

TEST(Judge, LetsAllowedUsersAndGroupsInButTrustsThemNot) {
  const std::vector<std::pair<Credentials, Access>> allowed = {
      {{5, 1, 8, {}}, {.users = {4, 5}, .group = {}}},
      {{5, 6, 8, {}}, {.users = {}, .group = 6}},
      {{5, 1, 8, {2, 6}}, {.users = {}, .group = 6}}};
  for (const auto& [credentials, access] : allowed) {
    const auto peer = judge(credentials, kOwn, access);
    ASSERT_TRUE(peer.has_value());
    EXPECT_FALSE(peer->trusted);
  }
}

TEST(CredentialsOf, AreWhatTheKernelSays) {
  int ends[2] = {-1, -1};
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, ends), 0);
  const core::Descriptor one(ends[0]);
  const core::Descriptor other(ends[1]);
  const auto credentials = core::credentials_of(one.get());
  ASSERT_TRUE(credentials.has_value());
  EXPECT_EQ(credentials->uid, geteuid());
  EXPECT_EQ(credentials->gid, getegid());
  EXPECT_EQ(credentials->pid, getpid());
  std::vector<gid_t> groups(static_cast<std::size_t>(getgroups(0, nullptr)));
  ASSERT_EQ(getgroups(static_cast<int>(groups.size()), groups.data()),
            static_cast<int>(groups.size()));
  EXPECT_THAT(credentials->groups, testing::UnorderedElementsAreArray(groups));
}

TEST(CredentialsOf, AreMissingWhereTheKernelSaysNothing) {
  int ends[2] = {-1, -1};
  ASSERT_EQ(pipe(ends), 0);
  const core::Descriptor one(ends[0]);
  const core::Descriptor other(ends[1]);
  EXPECT_FALSE(core::credentials_of(one.get()).has_value());
}

class Readers : public testing::Test {
 protected:
  int ask(const std::string& path, bool trusted = false) {
    const auto line = std::make_shared<FakeLine>(1, core::Peer{5, 5, 5, trusted});
    auto status = std::make_shared<int>(-1);
    dispatcher_.asked(line, {.path = path}, [status](const core::Answer& answer) {
      *status = static_cast<int>(answer.status);
    });
    loop_.restart();
    while (*status == -1 && loop_.run_one_for(10s) != 0) {
    }
    dispatcher_.ended(*line);
    return *status;
  }

  void answer_at(const std::string& path) {
    dispatcher_.serve(core::walk(path),
                      [](core::CallPtr, const core::Request&) -> asio::awaitable<core::Answer> {
                        co_return core::Answer{VK_EFOUND};
                      });
  }

 private:
  asio::io_context loop_;
  const core::Settings settings_;
  core::Dispatcher dispatcher_{loop_, settings_};
};

TEST_F(Readers, MayAskWhatOnlyReads) {
  answer_at("cwmp");
  EXPECT_EQ(ask("cwmp.rpc.GetParameterValues"), int{VK_EFOUND});
  EXPECT_EQ(ask("cwmp.rpc.GetParameterNames.more"), int{VK_EFOUND});
}

TEST_F(Readers, MayAskNothingElse) {
  for (const char* const path : {"cwmp", "dm", "dmmgr", "sys"}) answer_at(path);
  for (const char* const path :
       {"cwmp.rpc.SetParameterValues", "cwmp.rpc.getParameterValues", "cwmp.rpc", "cwmp",
        "dm.Device.Get", "dmmgr.inform.get", "sys.persistent.load.x", "sys.module.attach", "",
        "cwmp..rpc.GetParameterValues", ".cwmp.rpc.GetParameterValues"}) {
    EXPECT_EQ(ask(path), int{VK_EAUTH}) << path;
    EXPECT_NE(ask(path, true), int{VK_EAUTH}) << path;
  }
}

}  // namespace
}  // namespace vesk::test
