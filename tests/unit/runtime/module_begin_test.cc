#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <poll.h>

#include "lib/frame.h"
#include "tests/support/module_process.h"
#include "tests/unit/runtime/libc_watch.h"
#include "tests/unit/runtime/module_test_base.h"

// How a module comes to the agent, and how it leaves.

namespace vesk::test {
namespace {

using Listener = FakeCore::Listener;

uint32_t nothing(void*, vk_frame*, void*) { return VK_ENOANSWER; }

class ModuleBegin : public ModuleTest {};

TEST_F(ModuleBegin, AttachesThenOffersToServeThenStarts) {
  core.emplace(attached([](const Attached& module) {
    const Peer calling = module.calling_line();
    expect_told(calling, "from.start", any());
  }));
  start = [](void**) { return called("from.start"); };
  begin();
}

TEST_F(ModuleBegin, SetsTheContextBeforeItStarts) {
  core.emplace(attached());
  const Value params = planted(object({{"rate", text("5")}}));
  bool started = false;
  start = [&](void**) {
    started = true;
    EXPECT_NE(nullptr, vk_module_ctx);
    EXPECT_STREQ("demo", vk_module_ctx->name);
    EXPECT_NE(nullptr, vk_module_ctx->heap);
    uint32_t rate = 0;
    EXPECT_EQ(VK_EOK, vk_module_get_param_uint("rate", &rate));
    EXPECT_EQ(5U, rate);
    return VK_EOK;
  };
  EXPECT_EQ(VK_EOK, vk_module_begin(&kDemo, core->path(), params.get(), &runtime));
  EXPECT_TRUE(started);
  end();
  EXPECT_EQ(nullptr, vk_module_ctx);
}

TEST_F(ModuleBegin, InstallsTheHooksBeforeItSetsTheContext) {
  core.emplace(attached());
  Sends sends;
  sends.at_each = [] {
    EXPECT_NE(kNoFrameHooks.call_path, frame_hooks.call_path);
    EXPECT_EQ(nullptr, vk_module_ctx);
  };
  begin();
  EXPECT_EQ(2U, sends.all.size());
}

TEST_F(ModuleBegin, HasNoParametersUnlessTheyAreGiven) {
  core.emplace(attached());
  begin();
  char* parameter = nullptr;
  EXPECT_EQ(VK_ENOENT, vk_module_get_param_str("rate", &parameter));
}

TEST_F(ModuleBegin, NeedsNeitherStartNorStop) {
  core.emplace(attached());
  static const vk_module_descriptor bare = {"demo", "1.2", nullptr, nullptr};
  EXPECT_EQ(VK_EOK, vk_module_begin(&bare, core->path(), nullptr, &runtime));
}

TEST_F(ModuleBegin, GivesWhatTheCoreRefusedItWith) {
  for (const uint32_t status : {VK_EEXIST, VK_EBUSY}) {
    core.emplace([=](const Listener& listener) {
      const Peer main = listener.accept();
      acknowledged(main, status);
      main.expect_end();
    });
    start = [](void**) -> vk_error {
      ADD_FAILURE() << "started";
      return VK_EOK;
    };
    begin(status);
    EXPECT_EQ(nullptr, vk_module_ctx);
    EXPECT_EQ(VK_ENOANSWER, called("a"));
  }
}

TEST_F(ModuleBegin, GivesWhatTheCoreRefusedItsServingWith) {
  core.emplace([](const Listener& listener) {
    const Peer main = listener.main_line();
    acknowledged(listener.accept(), VK_EBUSY);
    main.expect_end();
  });
  begin(VK_EBUSY);
}

TEST_F(ModuleBegin, WaitsForTheNextCoreWhenOneGoesAway) {
  core.emplace([](const Listener& listener) {
    listener.accept();
    listener.accept().read_request();
    listener.main_line().close();
    listener.accept();  // for its serving line
    attached()(listener);
  });
  begin();
}

TEST_F(ModuleBegin, EndsWhenStartFails) {
  core.emplace(attached());
  start = [](void**) { return VK_EPROVIDER; };
  stop = [](void*) { ADD_FAILURE() << "stopped"; };
  begin(VK_EPROVIDER);
  EXPECT_EQ(nullptr, runtime);
  EXPECT_EQ(nullptr, vk_module_ctx);
}

TEST_F(ModuleBegin, IsForOneModuleInAProcess) {
  core.emplace(attached());
  begin();
  vk_module_runtime* second = nullptr;
  EXPECT_EQ(VK_EBUSY, vk_module_begin(&kDemo, core->path(), nullptr, &second));
  EXPECT_EQ(nullptr, second);
}

TEST_F(ModuleBegin, IsNotForAProcessWithAContext) {
  const ModuleProcess other("other");
  vk_module_runtime* none = nullptr;
  EXPECT_EQ(VK_EFAULT, vk_module_begin(&kDemo, "/nowhere", nullptr, &none));
  EXPECT_EQ(&other.context, vk_module_ctx);
}

class ModuleEnd : public ModuleTest {};

TEST_F(ModuleEnd, CallsStopWithWhatStartStoredWhileCallsStillWork) {
  core.emplace(attached(
      [](const Attached& module) { expect_told(module.calling_line(), "from.stop", any()); }));
  int mark = 0;
  start = [&](void** argument) {
    *argument = &mark;
    return VK_EOK;
  };
  int stops = 0;
  stop = [&](void* argument) {
    ++stops;
    EXPECT_EQ(&mark, argument);
    EXPECT_EQ(VK_EOK, called("from.stop"));
  };
  begin();
  end();
  EXPECT_EQ(1, stops);
}

TEST_F(ModuleEnd, TakesTheHooksAway) {
  core.emplace(attached());
  begin();
  end();
  EXPECT_EQ(VK_ENOANSWER, called("a"));
  EXPECT_EQ(VK_ENOSYS, vk_frame_handler_register("a", nothing, nullptr));
  EXPECT_EQ(VK_ENOSYS, vk_frame_handler_unregister("a", nothing, nullptr));
}

TEST_F(ModuleEnd, TakesNull) { vk_module_end(nullptr); }

TEST_F(ModuleBegin, DoesNotWaitForACoreThatItCannotHave) {
  vk_module_runtime* none = nullptr;
  EXPECT_EQ(VK_ENAMETOOLONG,
            vk_module_begin(&kDemo, std::string(200, 'x').c_str(), nullptr, &none));
  const Folder folder;
  const rt::Fd listening = listening_at(folder / "core");
  const Users users(1001, 1000);
  EXPECT_EQ(VK_EAUTH, vk_module_begin(&kDemo, (folder / "core").c_str(), nullptr, &none));
}

TEST_F(ModuleBegin, CanBeHadAgainAfterItsEnd) {
  core.emplace([](const Listener& listener) {
    attached()(listener);
    attached()(listener);
  });
  begin();
  end();
  begin();
}

}  // namespace
}  // namespace vesk::test
