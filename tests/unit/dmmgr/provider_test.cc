#include "vesk/dmmgr/provider.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "tests/support/allocation_fault.h"
#include "tests/support/frames.h"
#include "tests/support/log_spy.h"
#include "tests/support/path_trees.h"
#include "tests/support/trees.h"
#include "vesk/dmmgr/frame.h"
#include "vesk/value/member.h"

namespace vesk::test {
namespace {

using testing::AnyOf;
using testing::ElementsAre;
using testing::IsEmpty;

const Tree kInfo = object({{"Name", text("x")}, {"Uptime", integer(5)}});
const Tree kData = object({{"Device", object({{"Info", kInfo},
                                              {"None", object({})},
                                              {"Array", array({text("a"), kInfo})},
                                              {"Table", indexed({{"3", kInfo}, {"7", any()}})}})},
                           {"Other", any()}});

// A provider of a tree, and the frame that it serves.
class DmProvider : public testing::Test {
 protected:
  DmProvider() { log_.forget(); }  // what the planting of tables says

  uint32_t serve(dm_handler handler, const std::string& extra_path) {
    const Path path(extra_path);
    frame_->extra_path = const_cast<vk_path_node*>(path.list());
    const uint32_t result = handler(frame_.get(), tree_.get());
    frame_->extra_path = nullptr;
    EXPECT_EQ(tree_of(*tree_), kData) << "the data tree was changed";
    return result;
  }

  Tree result() const { return tree_of(*vk_frame2value(frame_.get())); }

  LogSpy log_;
  const OwnedFrame frame_ = new_frame();

 private:
  const Value tree_ = planted(kData);
};

const std::string kThere[] = {
    "", "Device", "Device.Info", "Device.Info.Name", "Device.None", "Other", "Device.Table.7"};
const std::string kNotThere[] = {"Info",          "device",         "Device.Info.Name.x",
                                 "Device.Info.N", "Device.Array.a", "Device.Table.4",
                                 "Other.x"};

TEST_F(DmProvider, TellsWhichPathsItHolds) {
  for (const std::string& path : kThere) {
    EXPECT_EQ(serve(dm_provider_default_provide, path), VK_EOK) << path;
  }
  for (const std::string& path : kNotThere) {
    EXPECT_EQ(serve(dm_provider_default_provide, path), VK_ENOANSWER) << path;
  }
  EXPECT_EQ(result(), object({}));
}

TEST_F(DmProvider, FollowsTheExtraPathNotTheRequestPath) {
  const Path held("Device.Info");
  const Path not_held("Device.Nothing");
  vk_frame_set_status(frame_.get(), 1);
  for (const dm_handler handler :
       {dm_provider_default_get, dm_provider_default_level, dm_provider_default_provide}) {
    frame_->rq_path = const_cast<vk_path_node*>(held.list());
    EXPECT_EQ(serve(handler, "Device.Nothing"), VK_ENOANSWER);
    frame_->rq_path = const_cast<vk_path_node*>(not_held.list());
    EXPECT_EQ(serve(handler, "Device.Info"), VK_EOK);
    EXPECT_EQ(serve(handler, ""), VK_EOK);
  }
}

TEST_F(DmProvider, NamesTheMembersOfAnObjectInTheirOrder) {
  EXPECT_EQ(serve(dm_provider_default_level, "Device.Info"), VK_EOK);
  EXPECT_EQ(result(), object({{"level", object({{"Name", any()}, {"Uptime", any()}})}}));
}

TEST_F(DmProvider, NamesTheMembersOfTheRoot) {
  EXPECT_EQ(serve(dm_provider_default_level, ""), VK_EOK);
  EXPECT_EQ(result(), object({{"level", object({{"Device", any()}, {"Other", any()}})}}));
}

TEST_F(DmProvider, NamesTheInstancesOfATable) {
  EXPECT_EQ(serve(dm_provider_default_level, "Device.Table"), VK_EOK);
  EXPECT_EQ(result(), object({{"level", object({{"3", any()}, {"7", any()}})}}));
}

TEST_F(DmProvider, AddsToTheNamesThatAreThere) {
  for (const char* const name : {"Uptime", "First"}) {
    EXPECT_EQ(dm_frame_add_level_item(frame_.get(), name), VK_EOK);
  }
  EXPECT_EQ(serve(dm_provider_default_level, "Device.Info"), VK_EOK);
  EXPECT_EQ(result(),
            object({{"level", object({{"Uptime", any()}, {"First", any()}, {"Name", any()}})}}));
}

TEST_F(DmProvider, MakesNoLevelOfAnObjectWithoutMembers) {
  EXPECT_EQ(serve(dm_provider_default_level, "Device.None"), VK_EOK);
  EXPECT_EQ(result(), object({}));
}

TEST_F(DmProvider, HasNoLevelWhereThereIsNoObject) {
  for (const char* const path : {"Device.Info.Name", "Device.Array", "Other", "Device.Nothing"}) {
    EXPECT_EQ(serve(dm_provider_default_level, path), VK_ENOANSWER) << path;
  }
  EXPECT_EQ(result(), object({}));
}

TEST_F(DmProvider, StopsNamingAtTheFirstErrorWithoutMemory) {
  const Tree whole = object({{"level", object({{"Name", any()}, {"Uptime", any()}})}});
  const Tree first = object({{"level", object({{"Name", any()}})}});
  const Tree none = object({{"level", object({})}});
  for_every_allocation_fault([&](AllocationFault& fault) {
    const uint32_t error =
        fault.during([&] { return serve(dm_provider_default_level, "Device.Info"); });
    EXPECT_EQ(error, fault.struck() ? VK_ENOMEM : VK_EOK);
    if (fault.struck()) {
      EXPECT_THAT(result(), AnyOf(object({}), none, first));
    } else {
      EXPECT_EQ(result(), whole);
    }
    vk_frame_clear(frame_.get());
  });
}

TEST_F(DmProvider, ServesNoFrameOfStatus0) {
  EXPECT_EQ(dm_frame_set_status(frame_.get(), 1), VK_EOK);
  for (const std::string& path : kThere) {
    EXPECT_EQ(serve(dm_provider_default_get, path), VK_ENOANSWER) << path;
  }
  EXPECT_EQ(result(), object({{"Status", integer(1)}}));
}

TEST_F(DmProvider, ServesAFrameOfAnyOtherStatus) {
  for (const int32_t status : {1, 23, -1, INT32_MIN}) {
    vk_frame_clear(frame_.get());
    vk_frame_set_status(frame_.get(), status);
    EXPECT_EQ(serve(dm_provider_default_get, "Device.Info"), VK_EOK);
    EXPECT_EQ(result(), object({{"ParameterList", kInfo}}));
    EXPECT_EQ(vk_frame_get_status(frame_.get()), status);
  }
}

TEST_F(DmProvider, GivesWhateverItHoldsAtThePath) {
  vk_frame_set_status(frame_.get(), 1);
  struct Row {
    const char* path;
    Tree tree;
  };
  const Row rows[] = {{"", kData},
                      {"Device.Info.Name", text("x")},
                      {"Device.None", object({})},
                      {"Device.Array", array({text("a"), kInfo})},
                      {"Device.Table", indexed({{"3", kInfo}, {"7", any()}})},
                      {"Other", any()}};
  for (const Row& row : rows) {
    EXPECT_EQ(serve(dm_provider_default_get, row.path), VK_EOK);
    EXPECT_EQ(result(), object({{"ParameterList", row.tree}})) << row.path;
  }
}

TEST_F(DmProvider, GivesACopyOnTheHeapOfTheFrame) {
  vk_frame_set_status(frame_.get(), 1);
  EXPECT_EQ(serve(dm_provider_default_get, "Device"), VK_EOK);
  EXPECT_THAT(heaps_of(*vk_frame2value(frame_.get())), ElementsAre(frame_->heap));
}

TEST_F(DmProvider, GivesInPlaceOfWhatTheResultHeld) {
  vk_frame_set_status(frame_.get(), 1);
  vk_value* const list = dm_frame_result_value(vk_frame2value(frame_.get()));
  EXPECT_EQ(vk_object_set_int(list, "Before", 1), VK_EOK);
  EXPECT_EQ(serve(dm_provider_default_get, "Device.Info"), VK_EOK);
  EXPECT_EQ(result(), object({{"ParameterList", kInfo}}));
}

TEST_F(DmProvider, MakesNoResultOfWhatItDoesNotHold) {
  vk_frame_set_status(frame_.get(), 1);
  for (const std::string& path : kNotThere) {
    EXPECT_EQ(serve(dm_provider_default_get, path), VK_ENOANSWER) << path;
  }
  EXPECT_EQ(result(), object({}));
}

TEST_F(DmProvider, NeedsAPlaceForTheResult) {
  vk_frame_set_status(frame_.get(), 1);
  EXPECT_EQ(vk_value_set_string(vk_frame2value(frame_.get()), "no object at all"), VK_EOK);
  EXPECT_EQ(serve(dm_provider_default_get, "Device.Info"), VK_ENOMEM);
  EXPECT_EQ(result(), text("no object at all"));
}

TEST_F(DmProvider, LeavesAResultThatItMadeWhenTheCopyFindsNoMemory) {
  vk_frame_set_status(frame_.get(), 1);
  AllocationFault fault(3, AllocationFault::Extent::kOne);  // behind the result and its name
  EXPECT_EQ(fault.during([&] { return serve(dm_provider_default_get, "Device.Info"); }), VK_ENOMEM);
  EXPECT_EQ(result(), object({{"ParameterList", object({})}}));
}

TEST_F(DmProvider, NeedsMemoryToGive) {
  vk_frame_set_status(frame_.get(), 1);
  for_every_allocation_fault([&](AllocationFault& fault) {
    const uint32_t error =
        fault.during([&] { return serve(dm_provider_default_get, "Device.Info"); });
    EXPECT_EQ(error, fault.struck() ? VK_ENOMEM : VK_EOK);
    EXPECT_EQ(result() == object({{"ParameterList", kInfo}}), !fault.struck());
    vk_frame_clear(frame_.get());
  });
}

TEST_F(DmProvider, DeclinesWithoutALog) {
  EXPECT_EQ(serve(dm_provider_default_get, "Device"), VK_ENOANSWER);
  EXPECT_EQ(serve(dm_provider_default_level, "Other"), VK_ENOANSWER);
  EXPECT_EQ(serve(dm_provider_default_provide, "Nothing"), VK_ENOANSWER);
  EXPECT_THAT(log_.calls(), IsEmpty());
}

TEST_F(DmProvider, FitsIntoATableOfHandlersWithItsTree) {
  dm_handlers table = {};
  table.get = dm_provider_default_get;
  table.level = dm_provider_default_level;
  table.provide = dm_provider_default_provide;
  const Value tree = planted(kInfo);
  for (const uint32_t action : {VK_DM_LEVEL, VK_DM_PROVIDE, VK_DM_GET}) {
    vk_frame_set_action(frame_.get(), action);
    vk_frame_set_status(frame_.get(), 1);
    EXPECT_EQ(dmmgr_handler_funcs(&table, frame_.get(), tree.get()), VK_EOK);
  }
  const Tree level = object({{"Name", any()}, {"Uptime", any()}});
  EXPECT_EQ(result(), object({{"level", level}, {"ParameterList", kInfo}}));
}

}  // namespace
}  // namespace vesk::test
