#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <syslog.h>
#include <unistd.h>

#include <set>

#include "tests/unit/runtime/module_test_base.h"
#include "vesk/storage/fd.h"

// Descriptors that the module has watched for it.

namespace vesk::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

/// Two ends of a connection.
struct Pair {
  Pair() {
    int fds[2];
    EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, fds));
    here = rt::Fd(fds[0]);
    there = rt::Fd(fds[1]);
  }
  void speak() const { EXPECT_EQ(1, write(there.get(), "x", 1)); }
  void hear() const {
    char byte = 0;
    EXPECT_EQ(1, read(here.get(), &byte, 1));
  }

  rt::Fd here;
  rt::Fd there;
};

class ModuleFd : public ModuleTest {
 protected:
  /// Begins with the handler at "sys.fd.ready".
  void begin_watching() {
    core.emplace(attached());
    start = [&](void** argument) {
      *argument = this;
      return registered("sys.fd.ready", ready);
    };
    begin();
  }

  /// Dispatches some more, so that what must not happen could.
  void run_on() {
    int rounds = 0;
    run_until([&] { return ++rounds > 3; });
  }

  bool is_awake() const {
    pollfd loop = {vk_module_get_fd(runtime), POLLIN, 0};
    return poll(&loop, 1, 0) == 1;
  }

  Pair pair;
  std::vector<Tree> seen;  ///< the values of the frames
  Handler ready = [this](vk_frame& frame, void*) {
    seen.push_back(tree_of(*frame.value));
    pair.hear();
    return VK_EOK;
  };
};

TEST_F(ModuleFd, IsDeliveredWhenItIsReady) {
  ready = [this](vk_frame& frame, void* argument) {
    EXPECT_EQ(this, argument);
    EXPECT_EQ(0U, frame.action);
    EXPECT_EQ(23, frame.status);
    EXPECT_THAT(components(frame.rq_path), ElementsAre("sys", "fd", "ready"));
    EXPECT_EQ(nullptr, frame.extra_path);
    EXPECT_EQ(pair.here.get(), vk_fd_frame_get_fd(&frame));
    seen.push_back(tree_of(*frame.value));
    pair.hear();
    return VK_EOK;
  };
  begin_watching();
  EXPECT_EQ(VK_EOK, vk_fd_register("/dev/some", pair.here.get()));
  run_on();
  EXPECT_THAT(seen, IsEmpty());
  pair.speak();
  run_until([&] { return !seen.empty(); });
  EXPECT_THAT(seen, ElementsAre(object({{"fd", integer(pair.here.get())},
                                        {"path", text("/dev/some")},
                                        {"events", unsigned_integer(POLLIN)}})));
  pair.speak();
  run_until([&] { return seen.size() == 2; });
}

TEST_F(ModuleFd, TellsWhenTheOtherEndIsGone) {
  ready = [this](vk_frame& frame, void*) {
    seen.push_back(tree_of(*vk_object_find_item(frame.value, "events")));
    return vk_fd_unregister(pair.here.get());
  };
  begin_watching();
  EXPECT_EQ(VK_EOK, vk_fd_register("", pair.here.get()));
  shutdown(pair.there.get(), SHUT_RDWR);
  run_until([&] { return !seen.empty(); });
  ASSERT_THAT(seen, SizeIs(1));
  EXPECT_EQ(uint32_t{POLLIN | POLLHUP}, std::get<uint32_t>(seen[0].payload));
}

TEST_F(ModuleFd, IsWatchedUntilItIsUnregistered) {
  begin_watching();
  EXPECT_EQ(VK_EOK, vk_fd_register("", pair.here.get()));
  EXPECT_EQ(VK_EOK, vk_fd_unregister(pair.here.get()));
  pair.speak();
  run_on();
  EXPECT_THAT(seen, IsEmpty());
  EXPECT_EQ(VK_EOK, vk_fd_register("", pair.here.get()));
  run_until([&] { return !seen.empty(); });
}

TEST_F(ModuleFd, IsRefusedWhereItMakesNoSense) {
  begin_watching();
  EXPECT_EQ(VK_ENOENT, vk_fd_unregister(pair.here.get()));
  EXPECT_EQ(VK_EOK, vk_fd_register("", pair.here.get()));
  EXPECT_EQ(VK_EEXIST, vk_fd_register("", pair.here.get()));
  EXPECT_EQ(VK_EINVAL, vk_fd_register("", -1));
  const Folder folder;
  const rt::Fd file(open((folder / "file").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600));
  EXPECT_EQ(VK_EOPNOTSUPP, vk_fd_register("", file.get()));
  for (const char* const path : {"sys.fd.add", "sys.fd.del"}) {
    EXPECT_EQ(VK_EINVAL, called(path));
    EXPECT_EQ(VK_EINVAL, called(path, planted(text("x"))));
    EXPECT_EQ(VK_EINVAL, called(path, planted(object({}))));
    EXPECT_EQ(VK_EINVAL, called(path, planted(object({{"fd", unsigned_integer(0)}}))));
  }
}

TEST_F(ModuleFd, IsWatchedNoLongerOnceItIsClosed) {
  begin_watching();
  const int fd = pair.here.get();
  EXPECT_EQ(VK_EOK, vk_fd_register("/dev/some", fd));
  log.forget();
  pair.here.reset();
  run_on();
  EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_ERR, "demo: Descriptor " + std::to_string(fd) +
                                                            " of '/dev/some' is watched no longer: "
                                                            "it is no longer open"}));
  EXPECT_EQ(VK_ENOENT, vk_fd_unregister(fd));
}

// What was closed is still known to the kernel as long as a duplicate of it is open.
TEST_F(ModuleFd, WakesTheLoopNoMoreOnceItIsClosedThoughADuplicateIsOpen) {
  begin_watching();
  EXPECT_EQ(VK_EOK, vk_fd_register("/dev/some", pair.here.get()));
  const rt::Fd duplicate(dup(pair.here.get()));
  log.forget();
  pair.here.reset();
  pair.speak();
  run_on();
  EXPECT_THAT(log.lines(), SizeIs(1));
  EXPECT_FALSE(is_awake());
  EXPECT_THAT(seen, IsEmpty());
}

TEST_F(ModuleFd, WakesTheLoopNoMoreThoughItIsUnregisteredAfterItIsClosed) {
  begin_watching();
  const int fd = pair.here.get();
  EXPECT_EQ(VK_EOK, vk_fd_register("/dev/some", fd));
  const rt::Fd duplicate(dup(fd));
  pair.here.reset();
  pair.speak();
  EXPECT_TRUE(is_awake());
  EXPECT_EQ(VK_EOK, vk_fd_unregister(fd));
  EXPECT_FALSE(is_awake());
}

TEST_F(ModuleFd, IsNotTakenForAnotherOneOfItsNumber) {
  begin_watching();
  const int fd = pair.here.get();
  EXPECT_EQ(VK_EOK, vk_fd_register("old", fd));
  pair.here.reset();
  Pair other;
  ASSERT_EQ(fd, dup2(other.here.get(), fd));
  pair.here = rt::Fd(fd);
  other.speak();
  run_on();
  EXPECT_THAT(seen, IsEmpty());
  EXPECT_EQ(VK_EOK, vk_fd_register("new", fd));
  run_until([&] { return !seen.empty(); });
}

TEST_F(ModuleFd, IsWatchedNoLongerWithoutAHandler) {
  core.emplace(attached());
  begin();
  EXPECT_EQ(VK_EOK, vk_fd_register("/dev/some", pair.here.get()));
  log.forget();
  pair.speak();
  run_on();
  EXPECT_THAT(log.lines(), SizeIs(1));
  EXPECT_EQ(VK_ENOENT, vk_fd_unregister(pair.here.get()));
}

TEST_F(ModuleFd, IsOfferedToTheHandlersOldestFirst) {
  std::vector<int> order;
  Handler silent = [&](vk_frame&, void*) {
    order.push_back(1);
    return VK_ENOANSWER;
  };
  Handler last = [&](vk_frame&, void*) {
    order.push_back(3);
    return VK_EOK;
  };
  ready = [&](vk_frame&, void*) {
    order.push_back(2);
    pair.hear();
    return VK_EAUTH;
  };
  core.emplace(attached());
  begin();
  EXPECT_EQ(VK_EOK, registered("sys.fd.ready", silent));
  EXPECT_EQ(VK_EOK, registered("sys.fd.ready", ready));
  EXPECT_EQ(VK_EOK, registered("sys.fd.ready", last));
  EXPECT_EQ(VK_EOK, vk_fd_register("", pair.here.get()));
  pair.speak();
  run_until([&] { return !order.empty(); });
  EXPECT_THAT(order, ElementsAre(1, 2));
}

TEST_F(ModuleFd, IsDeliveredFromTheOutermostLoopOnly) {
  core.emplace(attached([](const Attached& module) {
    const Peer calling = module.calling_line();
    calling.read_request();
    EXPECT_EQ(VK_ENOANSWER, module.serving.asked(1, "a", 0).status);
    calling.answer(VK_EOK);
  }));
  begin();
  EXPECT_EQ(VK_EOK, registered("sys.fd.ready", ready));
  EXPECT_EQ(VK_EOK, vk_fd_register("", pair.here.get()));
  pair.speak();
  EXPECT_EQ(VK_EOK, called("a"));
  EXPECT_THAT(seen, IsEmpty());
  run_until([&] { return !seen.empty(); });
}

TEST_F(ModuleFd, IsNotDeliveredFromADispatchWithinAHandler) {
  Handler dispatcher = [&](vk_frame&, void*) {
    pair.speak();
    EXPECT_EQ(VK_EOK, vk_module_dispatch(runtime));
    EXPECT_THAT(seen, IsEmpty());
    return VK_EOK;
  };
  core.emplace(attached([](const Attached& module) {
    acknowledged(module.calling_line());
    EXPECT_EQ(VK_EOK, module.serving.asked(1, "a", 0).status);
  }));
  begin();
  EXPECT_EQ(VK_EOK, registered("a", dispatcher));
  EXPECT_EQ(VK_EOK, registered("sys.fd.ready", ready));
  EXPECT_EQ(VK_EOK, vk_fd_register("", pair.here.get()));
  run_until([&] { return !seen.empty(); });
}

TEST_F(ModuleFd, IsDeliveredWhileTheCoreIsAway) {
  core.emplace([](const FakeCore::Listener& listener) {
    const Peer main = listener.main_line();
    const Peer serving = listener.serving_line();
  });
  begin();
  EXPECT_EQ(VK_EOK, registered("sys.fd.ready", ready));
  EXPECT_EQ(VK_EOK, vk_fd_register("", pair.here.get()));
  core->restart([](const FakeCore::Listener&) {});
  run_on();
  pair.speak();
  run_until([&] { return !seen.empty(); });
}

// None keeps the others waiting, however many are ready at once and stay so.
TEST_F(ModuleFd, IsDeliveredThoughManyAreReady) {
  std::set<int> told;
  ready = [&](vk_frame& frame, void*) {
    told.insert(vk_fd_frame_get_fd(&frame));
    return VK_EOK;
  };
  begin_watching();
  const std::vector<Pair> pairs(50);
  for (const Pair& one : pairs) {
    one.speak();
    EXPECT_EQ(VK_EOK, vk_fd_register("", one.here.get()));
  }
  run_until([&] { return told.size() == pairs.size(); });
}

TEST_F(ModuleFd, MayEndTheWatchOfAnotherThatIsReady) {
  Pair other;
  Handler ender = [&](vk_frame& frame, void*) {
    seen.push_back(tree_of(*frame.value));
    EXPECT_EQ(VK_EOK, vk_fd_unregister(pair.here.get()));
    EXPECT_EQ(VK_EOK, vk_fd_unregister(other.here.get()));
    return VK_EOK;
  };
  core.emplace(attached());
  begin();
  EXPECT_EQ(VK_EOK, registered("sys.fd.ready", ender));
  EXPECT_EQ(VK_EOK, vk_fd_register("", pair.here.get()));
  EXPECT_EQ(VK_EOK, vk_fd_register("", other.here.get()));
  pair.speak();
  other.speak();
  run_on();
  EXPECT_THAT(seen, SizeIs(1));
}

}  // namespace
}  // namespace vesk::test
