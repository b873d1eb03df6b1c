#include "vesk/dmmgr/hook.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>

#include "tests/support/requests.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class DmHook : public ModuleRequestTest {};

TEST_F(DmHook, IsAddedAndDeletedByItsEventAndItself) {
  const Core core;
  EXPECT_EQ(dm_hook_add("start", "run"), VK_EOK);
  EXPECT_EQ(dm_hook_del("", "stop"), VK_EOK);
  const Tree added = object({{"Event", text("start")}, {"Hook", text("run")}});
  const Tree deleted = object({{"Event", text("")}, {"Hook", text("stop")}});
  EXPECT_THAT(core.requests, ElementsAre(Request{"dmmgr.hook.add", 0, added},
                                         Request{"dmmgr.hook.del", 0, deleted}));
}

using DmHookRequest = vk_error (*)(const char* event, const char* hook);
constexpr DmHookRequest kRequests[] = {dm_hook_add, dm_hook_del};

TEST_F(DmHook, IsSentFromTheHeapOfTheModule) {
  for (const DmHookRequest ask : kRequests) {
    const Core core;
    EXPECT_EQ(ask("start", "run"), VK_EOK);
    EXPECT_THAT(core.heaps, ElementsAre(heap_.get()));
  }
}

TEST_F(DmHook, GivesTheAnswerAsItIsAndKeepsNothing) {
  Core core(no_list);
  for (const DmHookRequest ask : kRequests) {
    for (const uint32_t result : {VK_EOK, VK_EEXIST, UINT32_C(4000000000)}) {
      core.result = result;
      EXPECT_EQ(ask("start", "run"), result);
    }
  }
  EXPECT_THAT(log_.calls(), IsEmpty());
}

TEST_F(DmHook, IsAnsweredByNobodyWithoutHooks) {
  for (const DmHookRequest ask : kRequests) EXPECT_EQ(ask("start", "run"), VK_ENOANSWER);
}

TEST_F(DmHook, IsNotSentWithoutMemory) {
  for (const DmHookRequest ask : kRequests) {
    expect_sent_whole_or_not_at_all([&] { return ask("start", "run"); });
  }
}

}  // namespace
}  // namespace vesk::test
