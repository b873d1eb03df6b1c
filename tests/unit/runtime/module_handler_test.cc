#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/runtime/module_test_base.h"

// What the core is told of handlers.

namespace vesk::test {
namespace {

class ModuleHandler : public ModuleTest {
 protected:
  Handler handler = [](vk_frame&, void*) { return VK_EOK; };
  Handler other = [](vk_frame&, void*) { return VK_EOK; };
};

TEST_F(ModuleHandler, IsToldToTheCoreUnderItsOwnNumber) {
  core.emplace(attached([](const Attached& module) {
    const Peer calling = module.calling_line();
    expect_told(calling, "sys.handler.add", handler_at("dm.Device.$", 1));
    expect_told(calling, "sys.handler.add", handler_at("dm.Device.$", 2));
    expect_told(calling, "sys.handler.del", handler_at("dm.Device.$", 2));
    expect_told(calling, "sys.handler.add", handler_at("dm.Device.$", 3));
  }));
  begin();
  EXPECT_EQ(VK_EOK, registered("dm.Device.$", handler));
  EXPECT_EQ(VK_EOK, registered("dm.Device.$", other));
  EXPECT_EQ(VK_EOK, unregistered("dm.Device.$", other));
  EXPECT_EQ(VK_EOK, registered("dm.Device.$", other));
}

TEST_F(ModuleHandler, IsFoundByPathFunctionAndData) {
  core.emplace(attached([](const Attached& module) {
    const Peer calling = module.calling_line();
    expect_told(calling, "sys.handler.add", handler_at("a", 1));
    expect_told(calling, "sys.handler.del", handler_at("a", 1), VK_EBUSY);
  }));
  begin();
  EXPECT_EQ(VK_ENOENT, unregistered("a", handler));
  EXPECT_EQ(VK_EOK, registered("a", handler));
  EXPECT_EQ(VK_ENOENT, unregistered("b", handler));
  EXPECT_EQ(VK_ENOENT, unregistered("a", other));
  const auto nothing = [](void*, vk_frame*, void*) { return VK_EOK; };
  EXPECT_EQ(VK_ENOENT, vk_frame_handler_unregister("a", nothing, &handler));
  EXPECT_EQ(VK_EBUSY, unregistered("a", handler)) << "what the core gives";
  EXPECT_EQ(VK_ENOENT, unregistered("a", handler)) << "gone whatever the core gave";
}

TEST_F(ModuleHandler, IsFoundByTheComponentsOfItsPath) {
  core.emplace(attached([](const Attached& module) {
    const Peer calling = module.calling_line();
    expect_told(calling, "sys.handler.add", handler_at("a.b", 1));
    expect_told(calling, "sys.handler.del", handler_at("a.b", 1));
  }));
  begin();
  EXPECT_EQ(VK_EOK, registered("a.b", handler));
  EXPECT_EQ(VK_ENOENT, unregistered("a", handler));
  EXPECT_EQ(VK_ENOENT, unregistered("a.b.c", handler));
  EXPECT_EQ(VK_EOK, unregistered("a.b.", handler));
  EXPECT_EQ(VK_ENOENT, unregistered("a.b", handler));
}

TEST_F(ModuleHandler, ThatTheCoreRefusesIsNone) {
  core.emplace(attached([](const Attached& module) {
    const Peer calling = module.calling_line();
    expect_told(calling, "sys.handler.add", handler_at("sys", 1), VK_EEXIST);
    EXPECT_EQ((Answered{VK_ENOANSWER, any()}), module.serving.asked(1, "sys", 0));
    expect_told(calling, "sys.handler.add", handler_at("b", 2));
  }));
  begin();
  EXPECT_EQ(VK_EEXIST, registered("sys", handler));
  EXPECT_EQ(VK_ENOENT, unregistered("sys", handler));
  EXPECT_EQ(VK_EOK, registered("b", handler));
}

TEST_F(ModuleHandler, CanBeAskedBeforeTheCoreHasAnsweredForIt) {
  core.emplace(attached([](const Attached& module) {
    const Peer calling = module.calling_line();
    EXPECT_EQ("sys.handler.add", calling.read_request().path);
    EXPECT_EQ(VK_EOK, module.serving.asked(1, "a", 0).status);
    calling.answer(VK_EOK);
  }));
  bool asked = false;
  handler = [&](vk_frame&, void*) {
    asked = true;
    return VK_EOK;
  };
  begin();
  EXPECT_EQ(VK_EOK, registered("a", handler));
  EXPECT_TRUE(asked);
}

TEST_F(ModuleHandler, OfAReadyDescriptorIsTheModulesOwnAffair) {
  const Gate asked;
  core.emplace(attached([&](const Attached& module) {
    expect_told(module.calling_line(), "sys.handler.add", handler_at("sys.fd.ready.too", 3));
    EXPECT_EQ((Answered{VK_ENOANSWER, any()}), module.serving.asked(1, "sys.fd.ready", 0));
    asked.open();
  }));
  handler = [](vk_frame&, void*) -> uint32_t {
    ADD_FAILURE() << "the core asked it";
    return VK_EOK;
  };
  begin();
  EXPECT_EQ(VK_EOK, registered("sys.fd.ready", handler));
  EXPECT_EQ(VK_EOK, registered("sys.fd.ready.", other));
  EXPECT_EQ(VK_EOK, unregistered("sys.fd.ready.", other));
  Handler below = other;
  EXPECT_EQ(VK_EOK, registered("sys.fd.ready.too", below));
  run_until([&] { return asked.is_open(); });
}

}  // namespace
}  // namespace vesk::test
