#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>

#include "tests/unit/runtime/libc_watch.h"
#include "tests/unit/runtime/module_test_base.h"

// What a module does while it waits.

namespace vesk::test {
namespace {

using testing::ElementsAre;

std::chrono::nanoseconds time_of(const std::function<void()>& run) {
  const auto begin = std::chrono::steady_clock::now();
  run();
  return std::chrono::steady_clock::now() - begin;
}

class ModuleNesting : public ModuleTest {
 protected:
  /// Registers handlers at "outer" and "inner", numbers 1 and 2, and runs the core's script. The
  /// calling line on which that was told is idle then.
  void run(const std::function<void(const Attached& module, const Peer& calling)>& script) {
    const Gate done;
    core.emplace(attached([&](const Attached& module) {
      const Peer calling = module.calling_line();
      expect_told(calling, "sys.handler.add", handler_at("outer", 1));
      expect_told(calling, "sys.handler.add", handler_at("inner", 2));
      script(module, calling);
      done.open();
    }));
    start = [&](void**) {
      EXPECT_EQ(VK_EOK, registered("outer", outer));
      return registered("inner", inner);
    };
    begin();
    run_until([&] { return done.is_open(); });
  }

  /// Has "outer" called within itself, after which there are three serving lines: two more.
  static std::pair<Peer, Peer> nested_once(const Attached& module, const Peer& calling) {
    module.serving.ask(1, "outer", 9);
    Peer second = module.listener.serving_line();
    calling.read_request();
    second.ask(1, "outer", 9);
    Peer third = module.listener.serving_line();
    acknowledged(module.calling_line());
    second.read_response();
    calling.answer(VK_EOK);
    module.serving.read_response();
    return {std::move(second), std::move(third)};
  }

  Handler outer = [](vk_frame&, void*) { return called("from.outer"); };
  Handler inner = [](vk_frame&, void*) { return VK_EOK; };
};

TEST_F(ModuleNesting, ServesWhileACallWaits) {
  run([](const Attached& module, const Peer& calling) {
    module.serving.ask(1, "outer", 0);
    const Peer spare = module.listener.serving_line();
    EXPECT_EQ("from.outer", calling.read_request().path);
    EXPECT_EQ(VK_EOK, spare.asked(2, "inner", 0).status);
    EXPECT_EQ(VK_EOK, spare.asked(2, "inner", 0).status);
    calling.answer(VK_EAUTH);
    EXPECT_EQ(VK_EAUTH, module.serving.read_response().status);
  });
}

TEST_F(ModuleNesting, ServesWhileACallOutsideOfHandlersWaits) {
  core.emplace(attached([](const Attached& module) {
    const Peer calling = module.calling_line();
    expect_told(calling, "sys.handler.add", handler_at("inner", 1));
    EXPECT_EQ("outside", calling.read_request().path);
    EXPECT_EQ(VK_EOK, module.serving.asked(1, "inner", 0).status);
    calling.answer(VK_EOK);
  }));
  start = [&](void**) { return registered("inner", inner); };
  begin();
  EXPECT_EQ(VK_EOK, called("outside"));
}

TEST_F(ModuleNesting, OffersALineBeforeTheCallUnlessOneIsIdle) {
  outer = [](vk_frame&, void*) {
    EXPECT_EQ(VK_EOK, called("first"));
    return called("second");
  };
  run([](const Attached& module, const Peer& calling) {
    module.serving.ask(1, "outer", 0);
    const Peer spare = module.listener.serving_line();
    expect_told(calling, "first", any());
    expect_told(calling, "second", any());
    EXPECT_EQ(VK_EOK, module.serving.read_response().status);
    spare.ask(1, "outer", 0);
    expect_told(calling, "first", any());
    expect_told(calling, "second", any());
    EXPECT_EQ(VK_EOK, spare.read_response().status);
  });
}

TEST_F(ModuleNesting, OffersALineAtEachLevel) {
  outer = [](vk_frame& frame, void*) { return called(frame.action == 0 ? "first" : "second"); };
  run([](const Attached& module, const Peer& calling) {
    module.serving.ask(1, "outer", 0);
    const Peer second = module.listener.serving_line();
    EXPECT_EQ("first", calling.read_request().path);
    second.ask(1, "outer", 1);
    const Peer third = module.listener.serving_line();
    const Peer next_calling = module.calling_line();
    EXPECT_EQ("second", next_calling.read_request().path);
    EXPECT_EQ(VK_EOK, third.asked(2, "inner", 0).status);
    next_calling.answer(VK_EOK);
    EXPECT_EQ(VK_EOK, second.read_response().status);
    calling.answer(VK_EOK);
    EXPECT_EQ(VK_EOK, module.serving.read_response().status);
  });
}

TEST_F(ModuleNesting, GoesOnWithoutALineThatIsRefused) {
  run([](const Attached& module, const Peer& calling) {
    module.serving.ask(1, "outer", 0);
    const Peer spare = module.listener.accept();
    acknowledged(spare, VK_EBUSY);
    spare.expect_end();
    expect_told(calling, "from.outer", any());
    EXPECT_EQ(VK_EOK, module.serving.read_response().status);
  });
}

TEST_F(ModuleNesting, GoesOnWithoutALineThatIsLate) {
  outer = [](vk_frame&, void*) {
    EXPECT_EQ(VK_EOK, called("first"));
    return called("second");
  };
  run([](const Attached& module, const Peer& calling) {
    module.serving.ask(1, "outer", 0);
    const Peer spare = module.listener.accept();
    spare.read_request();
    expect_told(calling, "first", any());
    EXPECT_EQ("second", calling.read_request().path);
    EXPECT_TRUE(module.listener.is_quiet()) << "it was asked for once";
    // It is a serving line from when it is answered, and the core may speak at once.
    spare.send(response_head().number(VK_TYPE_ANY).number(2).text("inner").number(0).number(0));
    EXPECT_EQ(VK_EOK, spare.read_response().status);
    calling.answer(VK_EOK);
    EXPECT_EQ(VK_EOK, module.serving.read_response().status);
    EXPECT_EQ(VK_EOK, spare.asked(2, "inner", 0).status);
  });
}

// A line costs the same time whether the core does not accept it or does not answer on it.
TEST_F(ModuleNesting, GoesOnWithoutALineThatIsNotAccepted) {
  std::chrono::nanoseconds unaccepted{};
  std::chrono::nanoseconds unanswered{};
  outer = [&](vk_frame&, void*) {
    unaccepted = time_of([] { EXPECT_EQ(VK_EOK, called("first")); });
    unanswered = time_of([] { EXPECT_EQ(VK_EOK, called("second")); });
    return VK_EOK;
  };
  run([](const Attached& module, const Peer& calling) {
    module.listener.fill();
    module.serving.ask(1, "outer", 0);
    EXPECT_EQ("first", calling.read_request().path);
    module.listener.drain();
    calling.answer(VK_EOK);
    const Peer silent = module.listener.accept();
    expect_told(calling, "second", any());
    EXPECT_EQ(VK_EOK, module.serving.read_response().status);
  });
  EXPECT_LT(unaccepted, 4 * unanswered);
}

TEST_F(ModuleNesting, LosesALineThatIsLateAndRefused) {
  run([](const Attached& module, const Peer& calling) {
    module.serving.ask(1, "outer", 0);
    const Peer spare = module.listener.accept();
    spare.read_request();
    EXPECT_EQ("from.outer", calling.read_request().path);
    spare.answer(VK_EBUSY);
    spare.expect_end();
    calling.answer(VK_EOK);
    EXPECT_EQ(VK_EOK, module.serving.read_response().status);
  });
}

// The rest of the refusal comes just when the module has looked for it, which it does after it has
// looked for the answer to its call.
TEST_F(ModuleNesting, LosesALineThatIsRefusedJustWhenItHasLooked) {
  const Gate looked;
  outer = [&](vk_frame&, void*) {
    EXPECT_EQ(VK_EOK, called("first"));
    int calling = -1;
    const JustMissed missed([&](int fd) {
      if (calling < 0) calling = fd;
      if (fd != calling) looked.open();
    });
    return called("second");
  };
  run([&](const Attached& module, const Peer& calling) {
    module.serving.ask(1, "outer", 0);
    const Peer spare = module.listener.accept();
    spare.read_request();
    expect_told(calling, "first", any());
    calling.read_request();
    spare.send(Fields().number(VK_EBUSY));
    looked.pass();
    spare.send(Fields().number(VK_TYPE_ANY));
    spare.expect_end();
    calling.answer(VK_EOK);
    EXPECT_EQ(VK_EOK, module.serving.read_response().status);
  });
}

// A main line, and of those to serve and to call on one for each level and one for what is next.
TEST_F(ModuleNesting, EndsWhereThereAreTooManyLines) {
  constexpr std::size_t kLevels = 63;
  run([](const Attached& module, const Peer& first) {
    std::vector<Peer> serving;
    std::vector<Peer> calling;
    const auto asked = [&](std::size_t level) -> const Peer& {
      return level == 0 ? module.serving : serving[level - 1];
    };
    const auto asking = [&](std::size_t level) -> const Peer& {
      return level == 0 ? first : calling[level - 1];
    };
    for (std::size_t level = 0; level < kLevels; ++level) {
      asked(level).ask(1, "outer", 0);
      serving.push_back(module.listener.serving_line());
      if (level != 0) calling.push_back(module.calling_line());
      asking(level).read_request();
    }
    EXPECT_EQ(VK_EBUSY, asked(kLevels).asked(1, "outer", 0).status);
    EXPECT_TRUE(module.listener.is_quiet());
    for (std::size_t level = kLevels; level-- != 0;) {
      asking(level).answer(VK_EOK);
      EXPECT_EQ(VK_EOK, asked(level).read_response().status);
    }
  });
}

// When the inner handler returns, both the outer call's answer and a new request have come.
TEST_F(ModuleNesting, LooksAtTheAwaitedAnswerBeforeFurtherRequests) {
  const Gate began;
  const Gate both_sent;
  std::vector<std::string> order;
  outer = [&](vk_frame& frame, void*) {
    const uint32_t status = called("from.outer");
    if (frame.action == 0) order.push_back("answer");
    return status;
  };
  inner = [&](vk_frame& frame, void*) {
    if (frame.action == 0) {
      began.open();
      both_sent.pass();
    }
    order.push_back("request " + std::to_string(frame.action));
    return VK_EOK;
  };
  run([&](const Attached& module, const Peer& calling) {
    const auto [second, third] = nested_once(module, calling);
    module.serving.ask(1, "outer", 0);
    EXPECT_EQ("from.outer", calling.read_request().path);
    second.ask(2, "inner", 0);
    began.pass();
    calling.answer(VK_EOK);
    third.ask(2, "inner", 1);
    both_sent.open();
    EXPECT_EQ(VK_EOK, second.read_response().status);
    EXPECT_EQ(VK_EOK, module.serving.read_response().status);
    EXPECT_EQ(VK_EOK, third.read_response().status);
  });
  EXPECT_THAT(order, ElementsAre("request 0", "answer", "request 1"));
}

// The answer to the outer call comes first, and is taken off its line meanwhile.
TEST_F(ModuleNesting, ReadsTheAnswersOfOuterCallsWhileItWaits) {
  const std::string large(4 << 20, 'x');
  outer = [&](vk_frame& frame, void*) {
    const Value value = new_value();
    const uint32_t status = called(frame.action == 0 ? "first" : "second", value);
    EXPECT_EQ(frame.action == 0 ? text(large) : any(), tree_of(*value));
    return status;
  };
  run([&](const Attached& module, const Peer& calling) {
    module.serving.ask(1, "outer", 0);
    const Peer second = module.listener.serving_line();
    EXPECT_EQ("first", calling.read_request().path);
    second.ask(1, "outer", 1);
    const Peer third = module.listener.serving_line();
    const Peer next_calling = module.calling_line();
    EXPECT_EQ("second", next_calling.read_request().path);
    calling.send(response_head().number(VK_TYPE_STRING).text(large));
    next_calling.answer(VK_EOK);
    EXPECT_EQ(VK_EOK, second.read_response().status);
    EXPECT_EQ(VK_EOK, module.serving.read_response().status);
  });
}

TEST_F(ModuleNesting, AllowsAHandlerToUnregisterItself) {
  outer = [&](vk_frame&, void*) { return unregistered("outer", outer); };
  run([](const Attached& module, const Peer& calling) {
    module.serving.ask(1, "outer", 0);
    const Peer spare = module.listener.serving_line();
    expect_told(calling, "sys.handler.del", handler_at("outer", 1));
    EXPECT_EQ(VK_EOK, module.serving.read_response().status);
    EXPECT_EQ(VK_ENOANSWER, module.serving.asked(1, "outer", 0).status);
  });
}

}  // namespace
}  // namespace vesk::test
