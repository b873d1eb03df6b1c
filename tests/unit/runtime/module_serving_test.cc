#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/unit/runtime/module_test_base.h"
#include "vesk/dmmgr/frame.h"
#include "vesk/value/member.h"

// How the module answers the core.

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ModuleServing : public ModuleTest {
 protected:
  /// Runs a module with one handler at "dm.Device.$" while the core makes its requests.
  void serve(Handler its, const std::function<void(const Peer& line)>& requests) {
    handler = std::move(its);
    const Gate done;
    core.emplace(attached([&](const Attached& module) {
      expect_told(module.calling_line(), "sys.handler.add", handler_at("dm.Device.$", 1));
      requests(module.serving);
      done.open();
    }));
    start = [&](void** argument) {
      *argument = &mark;
      return registered("dm.Device.$", handler);
    };
    begin();
    run_until([&] { return done.is_open(); });
  }

  Handler handler;
  int mark = 0;  ///< what the module's start stores
};

TEST_F(ModuleServing, GivesTheHandlerAFrameOfItsOwn) {
  serve(
      [&](vk_frame& frame, void* argument) {
        EXPECT_EQ(&mark, argument);
        EXPECT_EQ(VK_DM_LEVEL, vk_frame_get_action(&frame));
        EXPECT_EQ(23, vk_frame_get_status(&frame));
        EXPECT_EQ(VK_MAGIC_FRAME, frame.magic);
        EXPECT_NE(0, frame.owns_heap);
        EXPECT_EQ(frame.heap, frame.value->heap);
        EXPECT_EQ(object({{"dm-flags", unsigned_integer(1)}}), tree_of(*frame.value));
        EXPECT_THAT(components(frame.rq_path), ElementsAre("dm", "Device", "2", "Name", "x"));
        EXPECT_EQ(2U, frame.rq_path->next->next->index);
        EXPECT_THAT(components(frame.extra_path), ElementsAre("Name", "x"));
        return VK_EOK;
      },
      [](const Peer& line) {
        EXPECT_EQ(VK_EOK, line.asked(1, "dm.Device.2.Name.x", VK_DM_LEVEL,
                                     object({{"dm-flags", unsigned_integer(1)}}))
                              .status);
      });
}

TEST_F(ModuleServing, LeavesNoExtraPathAtThePattern) {
  serve(
      [](vk_frame& frame, void*) {
        EXPECT_EQ(nullptr, frame.extra_path);
        EXPECT_THAT(components(frame.rq_path), ElementsAre("dm", "Device", "2"));
        return VK_EOK;
      },
      [](const Peer& line) { EXPECT_EQ(VK_EOK, line.asked(1, "dm.Device.2.", 0).status); });
}

TEST_F(ModuleServing, MakesAnObjectOfNoTree) {
  serve(
      [](vk_frame& frame, void*) {
        EXPECT_EQ(object({}), tree_of(*frame.value));
        return vk_object_set_int(frame.value, "n", 1);
      },
      [](const Peer& line) {
        EXPECT_EQ((Answered{VK_EOK, object({{"n", integer(1)}})}), line.asked(1, "dm.Device.2", 0));
      });
}

TEST_F(ModuleServing, RefusesATreeThatIsNoObject) {
  serve(
      [](vk_frame&, void*) -> uint32_t {
        ADD_FAILURE() << "called";
        return VK_EOK;
      },
      [](const Peer& line) {
        for (const Tree& tree : {text("x"), array({object({})}), unsigned_long(1)}) {
          EXPECT_EQ((Answered{VK_EINVAL, any()}), line.asked(1, "dm.Device.2", 0, tree));
        }
      });
}

TEST_F(ModuleServing, KnowsNothingOfOtherNumbers) {
  serve(
      [](vk_frame&, void*) -> uint32_t {
        ADD_FAILURE() << "called";
        return VK_EOK;
      },
      [](const Peer& line) {
        for (const uint32_t number : {0U, 2U, UINT32_MAX}) {
          EXPECT_EQ((Answered{VK_ENOANSWER, any()}),
                    line.asked(number, "dm.Device.2", 0, object({{"a", any()}})));
        }
      });
}

// Whatever the handler gives goes back with what it made of the tree; type any says that the tree
// is as it was.
TEST_F(ModuleServing, SendsBackWhatTheHandlerChanged) {
  serve(
      [](vk_frame& frame, void*) {
        if (frame.action >= 2) vk_object_set_int(frame.value, "new", 1);
        return frame.action % 2 == 0 ? VK_EOK : UINT32_C(9005);
      },
      [](const Peer& line) {
        const Tree before = object({{"old", text("x")}});
        const Tree after = object({{"old", text("x")}, {"new", integer(1)}});
        EXPECT_EQ((Answered{VK_EOK, any()}), line.asked(1, "dm.Device.2", 0, before));
        EXPECT_EQ((Answered{9005, any()}), line.asked(1, "dm.Device.2", 1, before));
        EXPECT_EQ((Answered{VK_EOK, after}), line.asked(1, "dm.Device.2", 2, before));
        EXPECT_EQ((Answered{9005, after}), line.asked(1, "dm.Device.2", 3, before));
      });
}

TEST_F(ModuleServing, AcknowledgesARequestWithoutATree) {
  serve([](vk_frame&, void*) { return VK_EOK; },
        [](const Peer& line) {
          EXPECT_EQ((Answered{VK_EOK, any()}), line.asked(1, "dm.Device.2", 0));
          EXPECT_EQ((Answered{VK_EOK, any()}), line.asked(1, "dm.Device.2", 0, object({})));
        });
}

TEST_F(ModuleServing, SendsBackATreeThatWasEmptied) {
  serve(
      [](vk_frame& frame, void*) {
        vk_frame_clear(&frame);
        return VK_EOK;
      },
      [](const Peer& line) {
        EXPECT_EQ((Answered{VK_EOK, object({})}),
                  line.asked(1, "dm.Device.2", 0, object({{"a", any()}})));
      });
}

TEST_F(ModuleServing, SendsNothingOfWhoHadNothingToSay) {
  serve(
      [](vk_frame& frame, void*) {
        vk_object_set_int(frame.value, "tried", 1);
        return VK_ENOANSWER;
      },
      [](const Peer& line) {
        EXPECT_EQ((Answered{VK_ENOANSWER, any()}),
                  line.asked(1, "dm.Device.2", 0, object({{"a", any()}})));
      });
}

TEST_F(ModuleServing, RefusesToSendWhatBreaksALimit) {
  serve([](vk_frame& frame,
           void*) { return vk_object_set_int(frame.value, std::string(257, 'n').c_str(), 1); },
        [](const Peer& line) {
          EXPECT_EQ((Answered{VK_ENOMEM, any()}), line.asked(1, "dm.Device.2", 0));
          EXPECT_EQ((Answered{VK_ENOMEM, any()}), line.asked(1, "dm.Device.2", 0));
        });
  EXPECT_THAT(log.calls(), testing::SizeIs(2));
}

TEST_F(ModuleServing, TakesARequestThatComesWithTheLine) {
  const Gate done;
  core.emplace([&](const FakeCore::Listener& listener) {
    const Peer main = listener.main_line();
    const Peer serving = listener.accept();
    serving.read_request();
    serving.send(response_head().number(VK_TYPE_ANY).number(9).text("a").number(0).number(0));
    EXPECT_EQ((Answered{VK_ENOANSWER, any()}), serving.read_response());
    done.open();
    main.expect_end();
  });
  begin();
  EXPECT_EQ(0, vk_module_get_timeout(runtime));
  run_until([&] { return done.is_open(); });
}

class ModuleInfo : public ModuleServing {};

TEST_F(ModuleInfo, TellsInAMemberWhetherAParameterIsWritable) {
  serve([](vk_frame& frame,
           void*) { return dm_frame_set_parameter_info(&frame, frame.extra_path == nullptr, 0); },
        [](const Peer& line) {
          for (const bool writable : {true, false}) {
            EXPECT_EQ((Answered{VK_EOK, object({{"ParameterList", any()},
                                                {"Writable", boolean(writable)}})}),
                      line.asked(1, writable ? "dm.Device.2" : "dm.Device.2.x", VK_DM_INFO));
          }
        });
}

TEST_F(ModuleInfo, TakesTheMemberOfTheRequestsPlace) {
  serve([](vk_frame& frame, void*) { return dm_frame_set_parameter_info(&frame, 1, 1); },
        [](const Peer& line) {
          EXPECT_EQ(
              (Answered{VK_EOK, object({{"Writable", boolean(1)}, {"ParameterList", object({})}})}),
              line.asked(1, "dm.Device.2", VK_DM_INFO, object({{"Writable", text("old")}})));
        });
}

TEST_F(ModuleInfo, IsToldForInfoOnly) {
  serve([](vk_frame& frame, void*) { return dm_frame_set_parameter_info(&frame, 1, 0); },
        [](const Peer& line) {
          EXPECT_EQ((Answered{VK_EOK, object({{"ParameterList", any()}})}),
                    line.asked(1, "dm.Device.2", VK_DM_GET));
        });
}

TEST_F(ModuleInfo, IsLeftAloneWithoutTheAttribute) {
  serve(
      [](vk_frame& frame, void*) {
        if (frame.extra_path != nullptr) dm_frame_result_value(frame.value);
        return VK_EOK;
      },
      [](const Peer& line) {
        EXPECT_EQ((Answered{VK_EOK, any()}), line.asked(1, "dm.Device.2", VK_DM_INFO));
        EXPECT_EQ((Answered{VK_EOK, object({{"ParameterList", object({})}})}),
                  line.asked(1, "dm.Device.2.x", VK_DM_INFO));
      });
}

}  // namespace
}  // namespace vesk::test
