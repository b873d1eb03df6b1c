#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>

#include "tests/support/requests.h"
#include "vesk/dmmgr/request.h"

// Names below a path.

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::NotNull;
using testing::StrEq;

class DmNames : public RequestTest {
 protected:
  Outcome ask(const char* path) {
    return outcome_of(
        [&](vk_value** out) { return vk_dmmgr_get_parameter_names(heap_.get(), path, out); });
  }

  Heap heap_{vk_mm_heap_new("names")};
};

const Tree kInfo = object({{"Name", any()}, {"Uptime", text("5")}});
const Tree kList = object({{"Device", object({{"Info", kInfo}, {"Hosts", any()}})}, {"X", any()}});

TEST_F(DmNames, AreAskedForOneLevelBelowAPath) {
  const Core core;
  ask("Device.Info.");
  const Tree value = object({{"ParameterPath", text("Device.Info.")}, {"NextLevel", boolean(1)}});
  EXPECT_THAT(core.requests, ElementsAre(Request{"cwmp.rpc.GetParameterNames", 0, value}));
}

TEST_F(DmNames, AreAskedForOnTheGivenHeap) {
  const Core core;
  ask("Device.");
  EXPECT_THAT(core.heaps, ElementsAre(heap_.get()));
}

TEST_F(DmNames, NeedAHeap) {
  const Core core(list_of(kList));
  heap_.reset();
  EXPECT_EQ(ask("Device."), (Outcome{VK_EINVAL, Untouched{}}));
  EXPECT_THAT(core.requests, IsEmpty());
}

TEST_F(DmNames, AreThePartOfTheListAtThePath) {
  struct Row {
    const char* path;
    Tree part;
  };
  const Row rows[] = {{"Device.Info", kInfo}, {"Device.Info.", kInfo},
                      {"X", any()},           {"Device.Info.Uptime", text("5")},
                      {".", kList},           {"", kList}};
  const Core core(list_of(kList));
  for (const Row& row : rows) EXPECT_EQ(ask(row.path), (Outcome{VK_EOK, row.part})) << row.path;
}

TEST_F(DmNames, AreTheCallersOnTheGivenHeap) {
  const Core core(list_of(kList));
  for (const char* const path : {"Device.Info.", "."}) {
    vk_value* out = nullptr;
    EXPECT_EQ(vk_dmmgr_get_parameter_names(heap_.get(), path, &out), VK_EOK);
    const Value names(out);
    ASSERT_THAT(names, NotNull());
    EXPECT_THAT(heaps_of(*names), ElementsAre(heap_.get()));
    EXPECT_THAT(names->id, StrEq(*path == '.' ? "ParameterList" : "Info"));
  }
}

TEST_F(DmNames, AreNullIfTheListLacksThePath) {
  const Core core(list_of(kList));
  for (const char* const path : {"Y", "Device.Info.Y", "X.Y", "ParameterList", "device"}) {
    EXPECT_EQ(ask(path), (Outcome{VK_ENOENT, Null{}})) << path;
  }
}

TEST_F(DmNames, AreUntouchedIfTheAnswerHasNoListThatIsAnObject) {
  for (const char* const path : {".", "Device"}) {
    expect_untouched_without_a_list([&] { return ask(path); });
  }
  EXPECT_THAT(log_.calls(), IsEmpty());
}

TEST_F(DmNames, AreUntouchedIfTheCallFailed) {
  expect_untouched_by_a_failed_call([&] { return ask("."); }, kList);
  EXPECT_THAT(log_.calls(), IsEmpty());
}

TEST_F(DmNames, AreToldByNobodyWithoutHooks) {
  EXPECT_EQ(ask("."), (Outcome{VK_ENOANSWER, Untouched{}}));
}

TEST_F(DmNames, AreNotAskedForWithoutMemory) {
  const auto ask_for_info = [&] {
    const Outcome outcome = ask("Device.Info");
    EXPECT_EQ(outcome.out, outcome.error == VK_EOK ? Out(kInfo) : Out(Untouched{}));
    return outcome.error;
  };
  expect_sent_whole_or_not_at_all(ask_for_info, list_of(kList));
}

}  // namespace
}  // namespace vesk::test
