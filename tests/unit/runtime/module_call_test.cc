#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/runtime/libc_watch.h"
#include "tests/unit/runtime/module_test_base.h"

// What the module asks of the core.

namespace vesk::test {
namespace {

using Listener = FakeCore::Listener;

class ModuleCall : public ModuleTest {};

TEST_F(ModuleCall, CarriesPathActionAndTreeAndTakesTheAnswersPlace) {
  core.emplace(attached([](const Attached& module) {
    const Peer calling = module.calling_line();
    const Asked asked = acknowledged(calling, VK_EVALUE, object({{"b", integer(2)}}));
    EXPECT_EQ("Device.Hosts.2.Name", asked.path);
    EXPECT_EQ(9U, asked.action);
    EXPECT_EQ(object({{"a", integer(1)}}), asked.value);
  }));
  begin();
  const Value value = planted(object({{"a", integer(1)}}));
  EXPECT_EQ(VK_EVALUE, called("Device.Hosts.2.Name.", value, 9));
  EXPECT_EQ(object({{"b", integer(2)}}), tree_of(*value));
}

TEST_F(ModuleCall, WithoutComponentsHasAnEmptyPath) {
  core.emplace(attached(
      [](const Attached& module) { expect_told(module.calling_line(), "", any(), VK_ENOANSWER); }));
  begin();
  EXPECT_EQ(VK_ENOANSWER, vk_frame_call_path2(nullptr, 0, nullptr));
}

TEST_F(ModuleCall, TakesAnIdleLine) {
  core.emplace(attached([](const Attached& module) {
    const Peer calling = module.calling_line();
    for (const char* const path : {"first", "second", "third"}) expect_told(calling, path, any());
    calling.expect_end();
  }));
  begin();
  for (const char* const path : {"first", "second", "third"}) EXPECT_EQ(VK_EOK, called(path));
}

TEST_F(ModuleCall, HearsAnAnswerThatComesJustWhenItHasLooked) {
  core.emplace(attached([](const Attached& module) {
    const Peer calling = module.calling_line();
    for (const char* const path : {"first", "second"}) expect_told(calling, path, any());
  }));
  begin();
  const JustMissed missed;
  for (const char* const path : {"first", "second"}) EXPECT_EQ(VK_EOK, called(path));
}

TEST_F(ModuleCall, DoesNotSufferFromAnIdleLineThatWasLost) {
  const Gate lost;
  core.emplace(attached([&](const Attached& module) {
    expect_told(module.calling_line(), "first", any());
    lost.open();
    expect_told(module.calling_line(), "second", any());
  }));
  begin();
  EXPECT_EQ(VK_EOK, called("first"));
  lost.pass();
  EXPECT_EQ(VK_EOK, called("second"));
}

TEST_F(ModuleCall, FailsAloneWhenItsLineIsLost) {
  core.emplace(attached([](const Attached& module) {
    module.calling_line().read_request();
    expect_told(module.calling_line(), "second", any());
  }));
  begin();
  EXPECT_EQ(VK_EIO, called("first"));
  EXPECT_EQ(VK_EOK, called("second"));
}

TEST_F(ModuleCall, GivesWhatItsLineWasRefusedWith) {
  core.emplace(attached([](const Attached& module) {
    acknowledged(module.listener.accept(), VK_EBUSY);
    expect_told(module.calling_line(), "second", any());
  }));
  begin();
  EXPECT_EQ(VK_EBUSY, called("first"));
  EXPECT_EQ(VK_EOK, called("second"));
}

TEST_F(ModuleCall, FailsWithAnAnswerThatIsNoMessage) {
  core.emplace(attached([](const Attached& module) {
    const Peer calling = module.calling_line();
    calling.read_request();
    calling.send(response_head().number(12));
    calling.expect_end();
  }));
  begin();
  EXPECT_EQ(VK_EIO, called("first"));
}

// An answer comes from the core, which may allow more than it takes.
TEST_F(ModuleCall, TakesAnswersBeyondTheLimits) {
  const Tree large = text(std::string(300000, 'x'));
  core.emplace(attached([&](const Attached& module) {
    const Peer calling = module.calling_line();
    calling.read_request();
    const ByteString answer = response_head() + encoded(large);
    calling.send(answer);
  }));
  begin();
  const Value value = new_value();
  EXPECT_EQ(VK_EOK, called("a", value));
  EXPECT_EQ(large, tree_of(*value));
}

class ModuleLimits : public ModuleTest {
 protected:
  /// A core that tells its limits and gets no request before "end".
  static FakeCore::Script telling(const Tree& limits) {
    return [=](const Listener& listener) {
      const Peer main = listener.main_line(object({{"Version", text("1")}, {"Limits", limits}}));
      const Peer serving = listener.serving_line();
      expect_told(listener.calling_line(), "end", any());
      main.expect_end();
    };
  }
};

TEST_F(ModuleLimits, AreTheCoresAndHeldBeforeAnythingIsSent) {
  const std::string path(30, 'p');
  const struct {
    const char* limit;
    uint32_t allowed;
    const char* path;
    Tree value;
  } cases[] = {
      {"message", 30, "a", text("a longer text")},
      {"depth", 2, "a", array({array({any()})})},
      {"nodes", 3, "a", array({any(), any(), any()})},
      {"members", 1, "a", object({{"a", any()}, {"b", any()}})},
      {"pairs", 2, "a", object({{"a", any()}, {"b", any()}, {"c", any()}})},
      {"text", 4, "a", text("abcde")},
      {"path", 29, path.c_str(), any()},
      {"name", 3, "a", object({{"abcd", any()}})},
  };
  for (const auto& row : cases) {
    SCOPED_TRACE(row.limit);
    core.emplace(telling(object({{row.limit, unsigned_integer(row.allowed)}})));
    begin();
    EXPECT_EQ(VK_EVALUE, called(row.path, planted(row.value)));
    EXPECT_EQ(VK_EOK, called("end"));
    end();
  }
}

TEST_F(ModuleLimits, AreTheUsualOnesUnlessTheCoreTellsThem) {
  const struct {
    const char* what;
    Tree limits;
  } cases[] = {{"nothing", object({})},
               {"no object", unsigned_integer(1)},
               {"another type", object({{"text", integer(1000000)}})},
               {"another limit", object({{"path", unsigned_integer(5000)}})}};
  for (const auto& row : cases) {
    SCOPED_TRACE(row.what);
    core.emplace(telling(row.limits));
    begin();
    EXPECT_EQ(VK_EVALUE, called("a", planted(text(std::string(262145, 'x')))));
    EXPECT_EQ(VK_EOK, called("end"));
    end();
  }
}

TEST_F(ModuleLimits, CanBeWider) {
  core.emplace([](const Listener& listener) {
    const Peer main =
        listener.main_line(object({{"Limits", object({{"name", unsigned_integer(300)}})}}));
    const Peer serving = listener.serving_line();
    EXPECT_EQ(object({{std::string(300, 'n'), any()}}),
              acknowledged(listener.calling_line()).value);
    main.expect_end();
  });
  begin();
  EXPECT_EQ(VK_EOK, called("a", planted(object({{std::string(300, 'n'), any()}}))));
}

}  // namespace
}  // namespace vesk::test
