// Clients and servers of another user or name space. Only root can become one: whoever is not root
// runs a test of these in a user namespace in which he is; where that cannot be made the test fails
// and says so.

#include <gmock/gmock.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/stat.h>
#include <sysexits.h>
#include <unistd.h>

#include <cerrno>

#include "tests/e2e/agent/agent.h"
#include "tests/e2e/agent/line.h"

namespace vesk::test {
namespace {

constexpr uid_t kOther = 1;
constexpr uid_t kThird = 2;

std::string name_of_this_test() {
  const testing::TestInfo& info = *testing::UnitTest::GetInstance()->current_test_info();
  return std::string(info.test_suite_name()) + "." + info.name();
}

void as_root(void (*test)()) {
  if (geteuid() == 0) return test();
  const Ended again = run({"/usr/bin/unshare", "--map-root-user", "--map-auto", "/proc/self/exe",
                           "--gtest_filter=" + name_of_this_test()});
  EXPECT_EQ(again.status, 0)
      << "this needs root, or user namespaces with further users for this one "
         "(newuidmap, /etc/subuid, /etc/subgid):\n"
      << again.output;
}

/// What a function says as another user, of one group of that number and maybe another group.
bool holds_for(uid_t user, const std::function<bool()>& function, gid_t group = 0) {
  Fork child([&] {
    const bool became = setgroups(group == 0 ? 0 : 1, &group) == 0 &&
                        setresgid(user, user, user) == 0 && setresuid(user, user, user) == 0;
    if (!became) return 2;
    return function() ? 0 : 1;
  });
  const int status = child.wait();
  EXPECT_NE(status, 2) << "another user could not be had";
  return status == 0;
}

TEST(AnotherUser, CannotReachTheSocket) {
  as_root([] {
    Agent agent;
    EXPECT_TRUE(
        holds_for(kOther, [&] { return !Line(agent.socket()).is_there() && errno == EACCES; }));
  });
}

TEST(AnotherUser, IsRefusedWhereTheFileWouldLetHimIn) {
  as_root([] {
    Agent agent;
    ASSERT_EQ(chmod(agent.socket().c_str(), 0666), 0);
    EXPECT_TRUE(holds_for(kOther, [&] {
      const Line line(agent.socket());
      return line.answer() == Answer{VK_EAUTH} && line.ends();
    }));
    EXPECT_THAT(agent.log(), testing::HasSubstr("user 1 is refused: not allowed\n"));
  });
}

// What those may do who are let in to read.
bool reads_only(const std::string& socket) {
  Client client(socket);
  const Tree root = object({{"ParameterPath", text("")}, {"NextLevel", boolean(1)}});
  if (client.status("cwmp.rpc.GetParameterNames", root) != VK_EOK) return false;
  for (const char* const path :
       {"cwmp.rpc.SetParameterValues", "cwmp.rpc.AddObject", "cwmp.rpc", "dmmgr.inform.get",
        "sys.persistent.load.key", "sys.persistent.save.key", "sys.persistent.erase",
        "sys.module.attach", "sys.handler.add", "test.a", "dm.Device", "nobody"}) {
    if (client.status(path, named("name")) != VK_EAUTH) return false;
  }
  const Tree attributes = object({{"ParameterList", array({})}});
  return client.status("cwmp.rpc.GetParameterAttributes", attributes) == VK_EAUTH;
}

// As its own user, for the client trusts no server of another but root.
TEST(AnotherUser, WhoMayReadCanDoNothingElse) {
  as_root([] {
    Agent agent({"--allow-uid", std::to_string(kOther)});
    agent.start_relay("a", "b");
    EXPECT_TRUE(holds_for(kOther, [&] { return reads_only(agent.socket()); }));
    EXPECT_TRUE(
        holds_for(kThird, [&] { return Line(agent.socket()).answer() == Answer{VK_EAUTH}; }));
  });
}

TEST(AnotherUser, WhoseGroupMayReadCanDoNothingElse) {
  as_root([] {
    Agent agent({"--allow-gid", std::to_string(kOther)});
    EXPECT_TRUE(holds_for(kOther, [&] { return reads_only(agent.socket()); }));
    EXPECT_TRUE(holds_for(
        kThird, [&] { return reads_only(agent.socket()); }, kOther));
    EXPECT_TRUE(holds_for(kThird, [&] { return !Line(agent.socket()).is_there(); }));
  });
}

// Its process numbers are nothing to the core. Whoever is in the core's own space is served.
bool is_denied_from_outside_alone() {
  Agent agent;
  const bool denied = Line(agent.socket()).answer() == Answer{VK_EAUTH};
  Fork inside([&] { return Client(agent.socket()).status("nobody") == VK_ENOANSWER ? 0 : 1; });
  return denied && inside.wait() == 0;
}

TEST(AnotherProcessSpace, IsDenied) {
  as_root([] {
    Fork outside([] {
      if (unshare(CLONE_NEWPID) != 0) return 2;
      return is_denied_from_outside_alone() && !testing::Test::HasFailure() ? 0 : 1;
    });
    const int status = outside.wait();
    EXPECT_NE(status, 2) << "another process space could not be had";
    EXPECT_EQ(status, 0);
  });
}

TEST(AServer, OfAnotherUserIsNotTrusted) {
  as_root([] {
    const Folder folder;
    ASSERT_EQ(chmod((folder / "").c_str(), 0777), 0);
    ASSERT_EQ(seteuid(kOther), 0);
    const Line squatter(listening_at(folder / "s"));
    ASSERT_EQ(seteuid(0), 0);
    vk_client* client = nullptr;
    EXPECT_EQ(vk_client_open((folder / "s").c_str(), 0, &client), VK_EAUTH);
    const Ended module = run({kTestModules + std::string("/relay"), "a", "--socket", folder / "s"});
    EXPECT_EQ(module.status, EX_UNAVAILABLE);
  });
}

}  // namespace
}  // namespace vesk::test
