// Calls of the library's wrappers inside the core.

#include "core/hook.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <asio/post.hpp>
#include <asio/use_awaitable.hpp>

#include "core/behalf.h"
#include "core/one_shot.h"
#include "core/tree.h"
#include "core/walk.h"
#include "lib/frame.h"
#include "tests/unit/core/core_fixture.h"
#include "vesk/mm/gta.h"
#include "vesk/value/member.h"

namespace vesk::test {
namespace {

class InTheCore : public testing::Test {
 protected:
  InTheCore() {
    EXPECT_EQ(vk_gta_init(), VK_EOK);
    core_.loop.restart();
  }
  ~InTheCore() override { vk_gta_destroy(); }

  void answer_at(const std::string& path, core::Router::Service service) {
    core_.dispatcher.serve(core::walk(path), std::move(service));
  }

  TestCore core_;
  core::Hook hook_{core_.loop, core_.dispatcher};
};

core::Router::Service giving(uint32_t status) {
  return [status](core::CallPtr, const core::Request&) -> asio::awaitable<core::Answer> {
    co_return core::Answer{status};
  };
}

// Gives the arguments back, wrapped in an object.
asio::awaitable<core::Answer> wrap(core::CallPtr, const core::Request& request) {
  const OwnedValue value = core::decode(request.value.get());
  const Value answer = named("path", core::join(request.path));
  vk_object_set_int(answer.get(), "action", static_cast<int32_t>(request.action));
  vk_object_set_uint(answer.get(), "size", vk_object_get_size(value.get()));
  co_return core::Answer{VK_EFOUND, core::encode(*answer)};
}

TEST_F(InTheCore, ACallReachesAServiceAndBringsItsAnswerBack) {
  answer_at("a.b", wrap);
  const Value value = named("x", "y");
  EXPECT_EQ(vk_frame_call2("a.b.c", 3, value.get()), VK_EFOUND);
  EXPECT_EQ(outline(value), "object/2{path: string 'a.b.c', action: int 3, size: unsignedInt}");
}

TEST_F(InTheCore, AnAnswerWithoutATreeLeavesTheCallers) {
  answer_at("a", giving(VK_ERO));
  const Value value = named("x", "y");
  EXPECT_EQ(vk_frame_call2("a", 0, value.get()), VK_ERO);
  EXPECT_EQ(outline(value), "object/2{x: string 'y'}");
}

TEST_F(InTheCore, ACallNeedsNoValue) {
  answer_at("a", wrap);
  EXPECT_EQ(vk_frame_call2("a", 0, nullptr), VK_EFOUND);
}

TEST_F(InTheCore, AnEmptyTreeThatComesBackCanBeFilled) {
  answer_at("a", [](core::CallPtr, const core::Request&) -> asio::awaitable<core::Answer> {
    const Value empty = new_object();
    co_return core::Answer{VK_EOK, core::encode(*empty)};
  });
  const Value value = named("x", "y");
  EXPECT_EQ(vk_frame_call2("a", 0, value.get()), VK_EOK);
  EXPECT_EQ(vk_object_set_int(value.get(), "n", 1), VK_EOK);
  EXPECT_EQ(member_names(value), Names{"n"});
}

TEST_F(InTheCore, NobodyIsNoAnswer) {
  EXPECT_EQ(vk_frame_call2("nobody", 0, nullptr), VK_ENOANSWER);
}

TEST_F(InTheCore, HandlersCannotBeRegistered) {
  EXPECT_EQ(vk_frame_handler_register("a", nullptr, nullptr), VK_ENOSYS);
  EXPECT_EQ(vk_frame_handler_unregister("a", nullptr, nullptr), VK_ENOSYS);
}

TEST_F(InTheCore, AServiceThatFailsIsAnInternalFailure) {
  answer_at("memory", [](core::CallPtr, const core::Request&) -> asio::awaitable<core::Answer> {
    throw std::bad_alloc();
    co_return core::Answer{};
  });
  answer_at("other", [](core::CallPtr, const core::Request&) -> asio::awaitable<core::Answer> {
    throw 1;
    co_return core::Answer{};
  });
  EXPECT_EQ(vk_frame_call2("memory", 0, nullptr), VK_ENOMEM);
  EXPECT_EQ(vk_frame_call2("other", 0, nullptr), VK_EINTERNAL);
}

// The module answers while the loop runs inside the call.
TEST_F(InTheCore, ACallIsForwardedToAModuleFromInsideTheLoop) {
  TestModule module(core_, "demo");
  const auto serving = module.serving();
  ASSERT_EQ(module.add("a", 1), int{VK_EOK});
  answer_at("nested", [](core::CallPtr, const core::Request&) -> asio::awaitable<core::Answer> {
    co_return core::Answer{vk_frame_call2("a", 0, nullptr)};
  });
  bool replied = false;
  const std::function<void()> serve = [&] {
    std::byte next{};
    if (recv(serving->descriptor(), &next, 1, MSG_PEEK | MSG_DONTWAIT) == 1) {
      const std::array<uint32_t, 2> answer = {VK_EFOUND, VK_TYPE_ANY};
      replied = ::send(serving->descriptor(), answer.data(), sizeof answer, 0) == sizeof answer;
    } else {
      asio::post(core_.loop, serve);
    }
  };
  asio::post(core_.loop, serve);
  TestLine client(core_);
  EXPECT_EQ(client.call("nested"), int{VK_EFOUND});
  EXPECT_TRUE(replied);
}

// Each call waits for the next one, within the one before.
TEST_F(InTheCore, TheLoopRunsOnlySoDeepWithinItself) {
  unsigned deepest = 0;
  std::vector<std::shared_ptr<core::OneShot<int>>> waiting;
  answer_at("suspend", [&](core::CallPtr, const core::Request&) -> asio::awaitable<core::Answer> {
    const auto released = std::make_shared<core::OneShot<int>>(core_.loop);
    waiting.push_back(released);
    co_await released->wait(10s);
    co_return core::Answer{VK_EOK};
  });
  std::vector<uint32_t> results;
  const std::function<void()> deeper = [&] {
    ++deepest;
    if (deepest <= core::Hook::kDeepest) asio::post(core_.loop, deeper);
    results.push_back(vk_frame_call2("suspend", 0, nullptr));
    for (const auto& released : waiting) released->set(1);
  };
  asio::post(core_.loop, deeper);
  EXPECT_TRUE(core_.until([&] { return results.size() == core::Hook::kDeepest + 1; }));
  EXPECT_EQ(results.front(), VK_EBUSY);
  EXPECT_EQ(waiting.size(), core::Hook::kDeepest);  // nobody was asked for the one that is refused
  EXPECT_EQ(deepest, core::Hook::kDeepest + 1);
  EXPECT_EQ(std::count(results.begin(), results.end(), VK_EOK), core::Hook::kDeepest);
}

TEST_F(InTheCore, WhatDoesNotSuspendTakesNoneOfThatDepth) {
  answer_at("a", giving(VK_EFOUND));
  answer_at("b", [](core::CallPtr, const core::Request& request) -> asio::awaitable<core::Answer> {
    const uint32_t left = request.action;
    co_return core::Answer{left == 0 ? vk_frame_call2("a", 0, nullptr)
                                     : vk_frame_call2("b", left - 1, nullptr)};
  });
  uint32_t result = VK_EOK;
  asio::post(core_.loop, [&] { result = vk_frame_call2("b", 20, nullptr); });
  EXPECT_TRUE(core_.until([&] { return result != VK_EOK; }));
  EXPECT_EQ(result, VK_EFOUND);
}

TEST_F(InTheCore, CallsThatDoNotWaitEndAtTheDepthOfAChain) {
  unsigned asked = 0;
  answer_at("a", [&](core::CallPtr, const core::Request&) -> asio::awaitable<core::Answer> {
    if (++asked > 2 * core_.settings.chain) co_return core::Answer{VK_EINTERNAL};
    co_return core::Answer{vk_frame_call2("a", 0, nullptr)};
  });
  uint32_t result = VK_EOK;
  asio::post(core_.loop, [&] { result = vk_frame_call2("a", 0, nullptr); });
  EXPECT_TRUE(core_.until([&] { return result != VK_EOK; }));
  EXPECT_EQ(result, VK_EBUSY);
  EXPECT_EQ(asked, core_.settings.chain);
}

// The chain of calls that a service is asked with.
class Chains : public InTheCore {
 protected:
  Chains() {
    answer_at("inner", [this](core::CallPtr call, const core::Request&) -> Answers {
      seen.push_back(std::move(call));
      co_return core::Answer{VK_EFOUND};
    });
  }

  using Answers = asio::awaitable<core::Answer>;
  std::vector<core::CallPtr> seen;
};

TEST_F(Chains, ACallOfAServiceDescendsFromWhatItAnswers) {
  answer_at("outer", [](core::CallPtr, const core::Request&) -> Answers {
    co_return core::Answer{vk_frame_call2("inner", 0, nullptr)};
  });
  TestModule module(core_, "demo");
  EXPECT_EQ(module.main().call("outer"), int{VK_EFOUND});
  ASSERT_EQ(seen.size(), 1U);
  ASSERT_EQ(seen[0]->depth, 2U);
  EXPECT_EQ(seen[0]->parent->module, "demo");
}

TEST_F(Chains, ACallAfterAWaitDescendsFromTheCallThatIsNamed) {
  core::CallPtr outer;
  answer_at("outer", [&](core::CallPtr call, const core::Request&) -> Answers {
    co_await asio::post(core_.loop, asio::use_awaitable);
    outer = call;
    const core::OnBehalf asking(std::move(call));
    co_return core::Answer{vk_frame_call2("inner", 0, nullptr)};
  });
  TestLine client(core_);
  EXPECT_EQ(client.call("outer"), int{VK_EFOUND});
  ASSERT_EQ(seen.size(), 1U);
  EXPECT_EQ(seen[0]->parent, outer);
}

TEST_F(Chains, WhatTheLoopRunsDuringAWaitBeginsAChainOfItsOwn) {
  const auto released = std::make_shared<core::OneShot<int>>(core_.loop);
  answer_at("wait", [&](core::CallPtr, const core::Request&) -> Answers {
    co_await released->wait(10s);
    co_return core::Answer{VK_EOK};
  });
  answer_at("outer", [&](core::CallPtr, const core::Request&) -> Answers {
    asio::post(core_.loop, [&] {
      static_cast<void>(vk_frame_call2("inner", 0, nullptr));
      released->set(1);
    });
    co_return core::Answer{vk_frame_call2("wait", 0, nullptr)};
  });
  TestLine client(core_);
  EXPECT_EQ(client.call("outer"), int{VK_EOK});
  ASSERT_EQ(seen.size(), 1U);
  EXPECT_EQ(seen[0]->depth, 1U);
}

TEST(OutsideTheCore, CallsHaveNoAnswerAgain) {
  EXPECT_EQ(vk_frame_call_path2(nullptr, 0, nullptr), VK_ENOANSWER);
}

}  // namespace
}  // namespace vesk::test
