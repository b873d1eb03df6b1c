#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <sysexits.h>
#include <unistd.h>

#include "tests/unit/runtime/libc_watch.h"
#include "tests/unit/runtime/module_test_base.h"
#include "vesk/mm/gta.h"
#include "vesk/mm/stack.h"

// The whole life of a module's process.

namespace vesk::test {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::IsEmpty;

class ModuleMain : public ModuleTest {
 protected:
  ModuleMain() { vk_gta_destroy(); }  // the process begins with nothing

  int run(std::vector<std::string> arguments) {
    arguments.insert(arguments.begin(), "demo-program");
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    return vk_module_main(static_cast<int>(arguments.size()), argv.data(), &kDemo);
  }

  int run_with_core(std::vector<std::string> more = {}) {
    more.insert(more.begin(), {"--socket", core->path()});
    return run(more);
  }
};

TEST_F(ModuleMain, StartsServesAndStops) {
  for (const int signal : {SIGTERM, SIGINT}) {
    Handler handler = [=](vk_frame&, void*) {
      raise(signal);
      return VK_EOK;
    };
    core.emplace(attached([](const Attached& module) {
      const Peer calling = module.calling_line();
      expect_told(calling, "sys.handler.add", handler_at("a", 1));
      EXPECT_EQ(VK_EOK, module.serving.asked(1, "a", 0).status);
      expect_told(calling, "from.stop", any());
    }));
    int mark = 0;
    start = [&](void** argument) {
      *argument = &mark;
      return registered("a", handler);
    };
    bool stopped = false;
    stop = [&](void* argument) {
      EXPECT_EQ(&mark, argument);
      EXPECT_EQ(VK_EOK, called("from.stop"));
      stopped = true;
    };
    EXPECT_EQ(0, run_with_core());
    EXPECT_TRUE(stopped);
    EXPECT_EQ(nullptr, vk_module_ctx);
    EXPECT_EQ(nullptr, vk_gta());
  }
}

TEST_F(ModuleMain, PutsTheSignalsBack) {
  core.emplace(attached());
  start = [](void**) {
    raise(SIGTERM);
    return VK_EOK;
  };
  struct sigaction before = {};
  before.sa_handler = SIG_IGN;
  sigaction(SIGTERM, &before, nullptr);
  EXPECT_EQ(0, run_with_core());
  struct sigaction after = {};
  before.sa_handler = SIG_DFL;
  sigaction(SIGTERM, &before, &after);
  EXPECT_EQ(SIG_IGN, after.sa_handler);
}

TEST_F(ModuleMain, CanBeEndedWhileItWaitsForTheCore) {
  const Folder folder;
  const pid_t own = getpid();
  const pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    // A signal is lost on who has not begun to expect it, so there are many.
    for (int left = 200; left != 0; --left) {
      usleep(20000);
      kill(own, SIGTERM);
    }
    _exit(0);
  }
  struct sigaction ignored = {};
  struct sigaction before = {};
  ignored.sa_handler = SIG_IGN;
  sigaction(SIGTERM, &ignored, &before);
  EXPECT_EQ(0, run({"--socket", folder / "none"}));
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
  sigaction(SIGTERM, &before, nullptr);
}

TEST_F(ModuleMain, ReadsParameters) {
  core.emplace(attached());
  start = [](void**) {
    const auto parameter = [](const char* name) -> std::string {
      char* value = nullptr;
      return vk_module_get_param_str(name, &value) == VK_EOK ? value : "(none)";
    };
    EXPECT_EQ("5", parameter("rate"));
    EXPECT_EQ("b=c", parameter("a"));
    EXPECT_EQ("", parameter("empty"));
    EXPECT_EQ("new", parameter("twice"));
    EXPECT_EQ("(none)", parameter("socket"));
    raise(SIGTERM);
    return VK_EOK;
  };
  EXPECT_EQ(0, run_with_core({"--param", "rate=5", "--param=a=b=c", "--param", "empty=", "--param",
                              "twice=old", "--param", "twice=new"}));
}

TEST_F(ModuleMain, RefusesWrongOptions) {
  start = [](void**) -> vk_error {
    ADD_FAILURE() << "started";
    return VK_EOK;
  };
  const std::vector<std::vector<std::string>> wrong = {
      {"--none"},          {"-s"},           {"--socket"}, {"--param"}, {"extra"},
      {"--param", "rate"}, {"--param", "=5"}};
  for (const std::vector<std::string>& arguments : wrong) {
    SCOPED_TRACE(arguments[0]);
    testing::internal::CaptureStderr();
    EXPECT_EQ(EX_USAGE, run(arguments));
    EXPECT_THAT(testing::internal::GetCapturedStderr(), testing::Not(IsEmpty()));
  }
}

TEST_F(ModuleMain, ShowsItsHelpAndItsVersion) {
  testing::internal::CaptureStdout();
  EXPECT_EQ(0, run({"--version"}));
  EXPECT_EQ("demo 1.2\n", testing::internal::GetCapturedStdout());
  testing::internal::CaptureStdout();
  EXPECT_EQ(0, run({"--help"}));
  EXPECT_THAT(testing::internal::GetCapturedStdout(),
              AllOf(HasSubstr("demo"), HasSubstr("--socket"), HasSubstr("/tmp/vesk.sock"),
                    HasSubstr("--param"), HasSubstr("--help"), HasSubstr("--version")));
}

TEST_F(ModuleMain, SaysThatTheCoreRefusedIt) {
  core.emplace(
      [](const FakeCore::Listener& listener) { acknowledged(listener.accept(), VK_EEXIST); });
  EXPECT_EQ(EX_UNAVAILABLE, run_with_core());
  EXPECT_EQ(nullptr, vk_gta());
}

TEST_F(ModuleMain, DoesNotBeginWhereSignalsCouldNotEndIt) {
  const NoEvents none;
  start = [](void**) -> vk_error {
    ADD_FAILURE() << "started";
    return VK_EIO;
  };
  core.emplace([](const FakeCore::Listener&) {});
  EXPECT_EQ(EX_SOFTWARE, run_with_core());
}

TEST_F(ModuleMain, SaysThatThereCanBeNoCore) {
  EXPECT_EQ(EX_UNAVAILABLE, run({"--socket", std::string(200, 'x')}));
}

TEST_F(ModuleMain, SaysThatALaterCoreRefusedIt) {
  core.emplace([](const FakeCore::Listener& listener) {
    Peer main = listener.main_line();
    const Peer serving = listener.serving_line();
    main.close();
    acknowledged(listener.accept(), VK_EEXIST);
  });
  int stops = 0;
  stop = [&](void*) { ++stops; };
  EXPECT_EQ(EX_UNAVAILABLE, run_with_core());
  EXPECT_EQ(1, stops);
}

TEST_F(ModuleMain, SaysThatItDidNotStart) {
  core.emplace(attached());
  start = [](void**) { return VK_EIO; };
  stop = [](void*) { ADD_FAILURE() << "stopped"; };
  EXPECT_EQ(EX_SOFTWARE, run_with_core());
}

/// The bytes that are taken from "gta".
std::size_t taken() {
  const auto& region = reinterpret_cast<const vk_mm_stack*>(vk_gta())->region;
  return static_cast<std::size_t>(region.next_free - reinterpret_cast<char*>(region.chunk));
}

TEST_F(ModuleMain, ClearsGtaBetweenHandlersAndNotWithinThem) {
  std::vector<std::size_t> at_beginning;
  const char* kept = nullptr;
  Handler handler = [&](vk_frame& frame, void*) {
    if (frame.action == 0) at_beginning.push_back(taken());
    if (frame.action == 1) {
      vk_mm_stack_printf(vk_gta(), "inner");
      return VK_EOK;
    }
    kept = vk_mm_stack_printf(vk_gta(), "%s", std::string(1000, 'k').c_str());
    EXPECT_EQ(VK_EOK, called("a.call"));
    EXPECT_EQ(std::string(1000, 'k'), kept);
    if (at_beginning.size() == 3) raise(SIGTERM);
    return VK_EOK;
  };
  core.emplace(attached([](const Attached& module) {
    const Peer calling = module.calling_line();
    acknowledged(calling);
    std::optional<Peer> spare;
    for (int round = 0; round < 3; ++round) {
      module.serving.ask(1, "a", 0);
      if (!spare) spare.emplace(module.listener.serving_line());
      calling.read_request();
      EXPECT_EQ(VK_EOK, spare->asked(1, "a", 1).status);
      calling.answer(VK_EOK);
      EXPECT_EQ(VK_EOK, module.serving.read_response().status);
    }
  }));
  start = [&](void**) { return registered("a", handler); };
  EXPECT_EQ(0, run_with_core());
  ASSERT_EQ(3U, at_beginning.size());
  EXPECT_EQ(at_beginning[0], at_beginning[1]);
  EXPECT_EQ(at_beginning[0], at_beginning[2]);
}

}  // namespace
}  // namespace vesk::test
