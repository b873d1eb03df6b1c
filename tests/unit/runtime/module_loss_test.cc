#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <csignal>

#include "tests/unit/runtime/libc_watch.h"
#include "tests/unit/runtime/module_test_base.h"
#include "vesk/dmmgr/hook.h"

// Cores that go away, and those that come after them.

namespace vesk::test {
namespace {

using testing::Contains;
using testing::Gt;
using testing::Le;

using Listener = FakeCore::Listener;

Tree hook(const char* event, const char* path) {
  return object({{"Event", text(event)}, {"Hook", text(path)}});
}

/// A core that is told these registrations, in this order, and nothing else.
struct Told {
  const char* path;
  Tree arguments;
};
FakeCore::Script told(const std::vector<Told>& all, const Gate* done) {
  return attached([=](const Attached& module) {
    std::optional<Peer> calling;
    for (const Told& one : all) {
      if (!calling) calling.emplace(module.calling_line());
      expect_told(*calling, one.path, one.arguments);
    }
    done->open();
    if (calling) calling->expect_end();
  });
}

/// A core that answers so many registrations, and goes.
FakeCore::Script passing(int registrations = 0) {
  return [=](const Listener& listener) {
    const Peer main = listener.main_line();
    const Peer serving = listener.serving_line();
    if (registrations == 0) return;
    const Peer calling = listener.calling_line();
    for (int left = registrations; left != 0; --left) acknowledged(calling);
  };
}

/// A core that is told of "first" and "second", numbers 1 and 2, asks "first", which makes a call
/// without an answer so far, does what the script says, and goes.
FakeCore::Script awaited_by_first(
    const std::function<void(const Listener& listener, const Peer& spare, const Peer& calling)>&
        script) {
  return [=](const Listener& listener) {
    const Peer main = listener.main_line();
    const Peer serving = listener.serving_line();
    const Peer calling = listener.calling_line();
    for (int told = 0; told != 2; ++told) acknowledged(calling);
    serving.ask(1, "first", 0);
    const Peer spare = listener.serving_line();
    calling.read_request();
    script(listener, spare, calling);
  };
}

/// What comes behind the next two descriptors.
rlim_t behind_two() {
  const rt::Fd first(dup(0));
  const rt::Fd second(dup(0));
  return static_cast<rlim_t>(second.get()) + 1;
}

/// A process that has whatever descriptors this one has now.
class Holder {
 public:
  Holder() : id_(fork()) {
    while (id_ == 0) pause();
  }
  ~Holder() {
    kill(id_, SIGKILL);
    waitpid(id_, nullptr, 0);
  }
  Holder(const Holder&) = delete;
  Holder& operator=(const Holder&) = delete;

 private:
  const pid_t id_;
};

class ModuleLoss : public ModuleTest {
 protected:
  void register_both() {
    start = [this](void**) {
      EXPECT_EQ(VK_EOK, registered("first", first));
      return registered("second", second);
    };
  }

  Handler first = [](vk_frame&, void*) { return VK_EOK; };
  Handler second = [](vk_frame&, void*) { return VK_EOK; };
};

TEST_F(ModuleLoss, FailsEveryCallUntilNoHandlerIsOnTheStack) {
  const Gate back;
  bool done = false;
  int starts = 0;
  first = [&](vk_frame&, void*) {
    EXPECT_EQ(VK_EIO, called("lost")) << "the core goes instead of answering";
    core->restart(told({{"sys.handler.add", handler_at("first", 1)}}, &back));
    EXPECT_EQ(VK_EIO, called("still.lost"));
    EXPECT_EQ(VK_EIO, registered("second", second));
    done = true;
    return VK_EOK;
  };
  core.emplace([](const Listener& listener) {
    const Peer main = listener.main_line();
    const Peer serving = listener.serving_line();
    const Peer calling = listener.calling_line();
    acknowledged(calling);
    serving.ask(1, "first", 0);
    const Peer spare = listener.serving_line();
    calling.read_request();
  });
  start = [&](void**) {
    ++starts;
    return registered("first", first);
  };
  begin();
  run_until([&] { return done; });
  run_until([&] { return back.is_open(); });
  EXPECT_EQ(1, starts);
}

// The inner call notices that the core is gone, which has answered the outer one before.
TEST_F(ModuleLoss, LeavesACallTheAnswerThatCameBefore) {
  const Gate serving_both;
  bool done = false;
  first = [&](vk_frame&, void*) {
    EXPECT_EQ(VK_EAUTH, called("answered"));
    done = true;
    return VK_EOK;
  };
  second = [&](vk_frame&, void*) {
    serving_both.open();
    core->restart([](const Listener&) {});
    EXPECT_EQ(VK_EIO, called("lost"));
    return VK_EOK;
  };
  core.emplace(awaited_by_first([&](const Listener&, const Peer& spare, const Peer& calling) {
    spare.ask(2, "second", 0);
    serving_both.pass();
    calling.answer(VK_EAUTH);
  }));
  register_both();
  begin();
  run_until([&] { return done; });
}

// The answer to the outer call is read while the inner one waits, in vain.
TEST_F(ModuleLoss, LeavesACallTheAnswerThatWasReadBefore) {
  const Gate read;
  bool done = false;
  first = [&](vk_frame& frame, void*) {
    if (frame.action == 0) {
      EXPECT_EQ(VK_EAUTH, called("answered"));
      done = true;
    } else {
      EXPECT_EQ(VK_EIO, called("lost"));
      core->restart([](const Listener&) {});
      EXPECT_EQ(VK_EIO, called("lost.too"));
    }
    return VK_EOK;
  };
  second = [&](vk_frame&, void*) {
    read.open();
    return VK_EOK;
  };
  core.emplace(
      awaited_by_first([&](const Listener& listener, const Peer& spare, const Peer& calling) {
        spare.ask(1, "first", 1);
        const Peer last = listener.serving_line();
        const Peer inner = listener.calling_line();
        inner.read_request();
        calling.answer(VK_EAUTH);
        last.ask(2, "second", 0);
        read.pass();
      }));
  register_both();
  begin();
  run_until([&] { return done; });
}

TEST_F(ModuleLoss, IsSeenEvenIfAnotherCoreIsThereAlready) {
  const Gate back;
  core.emplace(passing());
  begin();
  core->restart(told({}, &back));
  EXPECT_EQ(VK_EIO, called("a"));
  run_until([&] { return back.is_open(); });
}

TEST_F(ModuleLoss, TellsTheNextCoreInOrderWhatIsRegistered) {
  const Gate back;
  core.emplace([&](const Listener& listener) {
    const Peer main = listener.main_line();
    const Peer serving = listener.serving_line();
    const Peer calling = listener.calling_line();
    for (int request = 0; request < 8; ++request) acknowledged(calling);
    EXPECT_EQ(hook("added", "refused"), acknowledged(calling, VK_EEXIST).value);
    EXPECT_EQ(hook("added", "kept"), acknowledged(calling, VK_EBUSY).value);
    EXPECT_EQ(hook("lost", "a.hook"), acknowledged(calling).value);
    EXPECT_EQ(hook("lost", "a.hook"), acknowledged(calling, VK_ENOENT).value);
  });
  start = [&](void**) {
    EXPECT_EQ(VK_EOK, registered("sys.fd.ready", first));
    EXPECT_EQ(VK_EOK, registered("first", first));
    EXPECT_EQ(VK_EOK, dm_hook_add("changed", "a.hook"));
    EXPECT_EQ(VK_EOK, dm_hook_add("added", "kept"));
    EXPECT_EQ(VK_EOK, registered("gone", first));
    EXPECT_EQ(VK_EOK, registered("second.$", second));
    EXPECT_EQ(VK_EOK, dm_hook_add("deleted", "a.hook"));
    EXPECT_EQ(VK_EOK, unregistered("gone", first));
    EXPECT_EQ(VK_EOK, dm_hook_del("changed", "a.hook"));
    EXPECT_EQ(VK_EEXIST, dm_hook_add("added", "refused"));
    EXPECT_EQ(VK_EBUSY, dm_hook_del("added", "kept"));
    EXPECT_EQ(VK_EOK, dm_hook_add("lost", "a.hook"));
    EXPECT_EQ(VK_ENOENT, dm_hook_del("lost", "a.hook"));
    return VK_EOK;
  };
  begin();
  core->restart(told({{"sys.handler.add", handler_at("first", 2)},
                      {"dmmgr.hook.add", hook("added", "kept")},
                      {"sys.handler.add", handler_at("second.$", 4)},
                      {"dmmgr.hook.add", hook("deleted", "a.hook")}},
                     &back));
  run_until([&] { return back.is_open(); });
}

TEST_F(ModuleLoss, TellsTheNextCoreNothingOfAHookThatWasDeletedByAnotherText) {
  const Gate back;
  core.emplace(passing(3));
  start = [&](void**) {
    EXPECT_EQ(VK_EOK, dm_hook_add("changed", "a.hook"));
    EXPECT_EQ(VK_EOK, dm_hook_del("changed", "a.hook."));
    return registered("first", first);
  };
  begin();
  core->restart(told({{"sys.handler.add", handler_at("first", 1)}}, &back));
  run_until([&] { return back.is_open(); });
}

TEST_F(ModuleLoss, ForgetsAHandlerThatIsUnregisteredMeanwhile) {
  const Gate back;
  core.emplace(passing(2));
  register_both();
  begin();
  core->restart(told({{"sys.handler.add", handler_at("second", 2)}}, &back));
  EXPECT_EQ(VK_EIO, called("a"));
  EXPECT_EQ(VK_EOK, unregistered("first", first));
  run_until([&] { return back.is_open(); });
}

TEST_F(ModuleLoss, ServesTheNextCoreUnderTheSameNumbers) {
  const Gate done;
  core.emplace(passing(1));
  start = [&](void**) { return registered("first", first); };
  begin();
  core->restart(attached([&](const Attached& module) {
    expect_told(module.calling_line(), "sys.handler.add", handler_at("first", 1));
    EXPECT_EQ(VK_EOK, module.serving.asked(1, "first", 0).status);
    done.open();
  }));
  run_until([&] { return done.is_open(); });
}

TEST_F(ModuleLoss, KeepsWhatTheNextCoreRefusesForTheOneAfterIt) {
  const Gate back;
  core.emplace(passing(1));
  start = [&](void**) { return registered("first", first); };
  begin();
  const Gate refused;
  core->restart([&](const Listener& listener) {
    const Peer main = listener.main_line();
    const Peer serving = listener.serving_line();
    acknowledged(listener.calling_line(), VK_EEXIST);
    refused.open();
  });
  run_until([&] { return refused.is_open(); });
  core->restart(told({{"sys.handler.add", handler_at("first", 1)}}, &back));
  run_until([&] { return back.is_open(); });
  EXPECT_THAT(log.lines(), Contains(LogLine{LOG_ERR,
                                            "demo: 'sys.handler.add' was refused by the "
                                            "new core: EEXIST"}));
}

TEST_F(ModuleLoss, TriesAgainWhenTheNextCoreGoesToo) {
  const Gate back;
  core.emplace(passing(1));
  start = [&](void**) { return registered("first", first); };
  begin();
  core->restart([&](const Listener& listener) {
    const Peer main = listener.main_line();
    const Peer serving = listener.serving_line();
    listener.calling_line().read_request();
    main.expect_end();
    told({{"sys.handler.add", handler_at("first", 1)}}, &back)(listener);
  });
  run_until([&] { return back.is_open(); });
}

TEST_F(ModuleLoss, IsForGoodWhenTheNextCoreHasAnotherModuleOfThatName) {
  core.emplace(passing());
  begin();
  core->restart([](const Listener& listener) { acknowledged(listener.accept(), VK_EEXIST); });
  vk_error error = VK_EOK;
  while (error == VK_EOK) error = vk_module_dispatch(runtime);
  EXPECT_EQ(VK_EEXIST, error);
}

TEST_F(ModuleLoss, IsNotForGoodWhenTheNextCoreHasNoRoom) {
  const Gate back;
  core.emplace(passing());
  begin();
  core->restart([&](const Listener& listener) {
    acknowledged(listener.accept(), VK_EBUSY);
    told({}, &back)(listener);
  });
  run_until([&] { return back.is_open(); });
}

TEST_F(ModuleLoss, IsAskedAboutAgainAfterAWhile) {
  core.emplace(passing());
  begin();
  EXPECT_EQ(-1, vk_module_get_timeout(runtime));
  core->restart([](const Listener&) {});
  int longest = 0;
  run_until([&] {
    longest = std::max(longest, vk_module_get_timeout(runtime));
    return longest > 200;
  });
  EXPECT_LE(longest, 5000);
}

TEST_F(ModuleLoss, OfItsServingLineAloneIsMadeGood) {
  const Gate done;
  core.emplace([&](const Listener& listener) {
    const Peer main = listener.main_line();
    listener.serving_line().close();
    const Peer serving = listener.serving_line();
    EXPECT_EQ(VK_ENOANSWER, serving.asked(1, "a", 0).status);
    done.open();
    main.expect_end();
  });
  begin();
  run_until([&] { return done.is_open(); });
}

// As a child has that a handler forked.
TEST_F(ModuleLoss, OfItsServingLineWakesTheLoopNoMoreThoughAnotherProcessHasTheLine) {
  const Gate held;
  const Gate done;
  core.emplace([&](const Listener& listener) {
    const Peer main = listener.main_line();
    Peer lost = listener.serving_line();
    held.pass();
    lost.close();
    const Peer serving = listener.serving_line();
    done.open();
    main.expect_end();
  });
  begin();
  const Holder holder;
  held.open();
  run_until([&] { return done.is_open(); });
  pollfd loop = {vk_module_get_fd(runtime), POLLIN, 0};
  EXPECT_EQ(0, poll(&loop, 1, 0));
}

TEST_F(ModuleLoss, OfItsServingLineAloneIsMadeGoodWhenThereAreDescriptorsAgain) {
  const Gate lost;
  const Gate done;
  core.emplace([&](const Listener& listener) {
    const Peer main = listener.main_line();
    listener.serving_line().close();
    lost.open();
    const Peer serving = listener.serving_line();
    done.open();
    main.expect_end();
  });
  begin();
  lost.pass();
  int timeout = 0;
  {
    const NoDescriptors none;  // which the sanitizers would need for matchers
    for (int round = 0; round < 3; ++round) EXPECT_EQ(VK_EOK, vk_module_dispatch(runtime));
    timeout = vk_module_get_timeout(runtime);
  }
  EXPECT_THAT(timeout, testing::AllOf(Gt(0), Le(1000)));
  run_until([&] { return done.is_open(); });
}

TEST_F(ModuleLoss, IsNotThatNoDescriptorIsLeftForACall) {
  core.emplace(attached([](const Attached& module) { acknowledged(module.calling_line()); }));
  begin();
  {
    const NoDescriptors none;
    EXPECT_EQ(VK_ENOMEM, called("a"));
  }
  EXPECT_EQ(VK_EOK, called("a"));
}

TEST_F(ModuleLoss, IsNotMadeGoodWithoutADescriptorToTellWhatIsRegistered) {
  const Gate given_up;
  const Gate back;
  core.emplace(passing(1));
  start = [&](void**) { return registered("first", first); };
  begin();
  core->restart([&](const Listener& listener) {
    const Peer main = listener.main_line();
    const Peer serving = listener.serving_line();
    main.expect_end();
    given_up.open();
  });
  EXPECT_EQ(VK_EIO, called("a"));
  {
    const NoDescriptors none(behind_two());
    run_until([&] { return given_up.is_open(); });
  }
  core->restart(told({{"sys.handler.add", handler_at("first", 1)}}, &back));
  run_until([&] { return back.is_open(); });
}

TEST_F(ModuleLoss, OfALineThatSaysNonsenseIsMadeGood) {
  const Gate done;
  core.emplace([&](const Listener& listener) {
    const Peer main = listener.main_line();
    const Peer nonsense = listener.serving_line();
    nonsense.send(request_head().number(12));
    nonsense.expect_end();
    const Peer serving = listener.serving_line();
    done.open();
    main.expect_end();
  });
  begin();
  run_until([&] { return done.is_open(); });
}

}  // namespace
}  // namespace vesk::test
