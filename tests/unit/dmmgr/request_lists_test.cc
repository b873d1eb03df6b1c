#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>

#include "tests/support/frames.h"
#include "tests/support/requests.h"
#include "vesk/dmmgr/request.h"

// The two requests that hand out the answer's whole list: forced Inform values and notifications.

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::NotNull;
using testing::StrEq;

struct ListRequest {
  const char* name;
  const char* path;
  vk_error (*ask)(const vk_frame* frame, vk_value** out);
  Out out_without_list;
};

std::ostream& operator<<(std::ostream& out, const ListRequest& request) {
  return out << request.name;
}

const ListRequest kRequests[] = {
    {"ForcedInformValues", "dmmgr.inform.get", vk_dmmgr_get_forced_inform_values, Untouched{}},
    {"Notification", "dmmgr.notification.get",
     [](const vk_frame* frame, vk_value** out) {
       return vk_dmmgr_get_notification(frame->heap, out);
     },
     Null{}},
};

class DmList : public RequestTest, public testing::WithParamInterface<ListRequest> {
 protected:
  Outcome ask() {
    return outcome_of([&](vk_value** out) { return GetParam().ask(frame_.get(), out); });
  }

  const OwnedFrame frame_ = new_frame();
};

INSTANTIATE_TEST_SUITE_P(, DmList, testing::ValuesIn(kRequests),
                         [](const auto& request) { return request.param.name; });

const Tree kList = object({{"Device", object({{"Name", text("x")}})}});

TEST_P(DmList, IsAskedForWithAnEmptyObject) {
  const Core core;
  ask();
  EXPECT_THAT(core.requests, ElementsAre(Request{GetParam().path, 0, object({})}));
}

TEST_P(DmList, IsAskedForOnTheGivenHeap) {
  const Core core;
  ask();
  EXPECT_THAT(core.heaps, ElementsAre(frame_->heap));
}

TEST_P(DmList, IsAskedForWithNothingElseOfTheFrame) {
  Core core(list_of(kList));
  core.result = VK_EPROVIDER;
  EXPECT_EQ(vk_object_set_uint(vk_frame2value(frame_.get()), "dm-flags", 6), VK_EOK);
  vk_frame_set_action(frame_.get(), 5);
  vk_frame_set_status(frame_.get(), -5);
  ask();
  EXPECT_THAT(core.requests, ElementsAre(Request{GetParam().path, 0, object({})}));
  EXPECT_EQ(outline(frame_), "object/2{dm-flags: unsignedInt}");
  EXPECT_EQ(vk_frame_get_action(frame_.get()), 5U);
  EXPECT_EQ(vk_frame_get_status(frame_.get()), -5);
}

TEST_P(DmList, MayBeOfAnyType) {
  Core core;
  for (const Tree& list : one_of_each_type()) {
    core.answer = list_of(list);
    EXPECT_EQ(ask(), (Outcome{VK_EOK, list}));
  }
}

TEST_P(DmList, IsTheCallersOnTheGivenHeap) {
  const Core core(list_of(kList));
  vk_value* out = nullptr;
  EXPECT_EQ(GetParam().ask(frame_.get(), &out), VK_EOK);
  const Value list(out);
  ASSERT_THAT(list, NotNull());
  EXPECT_THAT(heaps_of(*list), ElementsAre(frame_->heap));
  EXPECT_THAT(list->id, StrEq("ParameterList"));
}

TEST_P(DmList, MayBeMissing) {
  Core core;
  for (const Answer& answer : {Answer(), Answer(no_list), Answer(no_object)}) {
    core.answer = answer;
    EXPECT_EQ(ask(), (Outcome{VK_ENOENT, GetParam().out_without_list}));
  }
  EXPECT_THAT(log_.calls(), IsEmpty());
}

TEST_P(DmList, IsUntouchedIfTheCallFailed) {
  Core core(list_of(kList));
  for (const uint32_t result : {VK_ENOENT, VK_EPROVIDER, UINT32_C(4000000000)}) {
    core.result = result;
    EXPECT_EQ(ask(), (Outcome{result, Untouched{}}));
  }
  EXPECT_THAT(log_.calls(), IsEmpty());
}

TEST_P(DmList, IsToldByNobodyWithoutHooks) {
  EXPECT_EQ(ask(), (Outcome{VK_ENOANSWER, Untouched{}}));
}

TEST_P(DmList, IsNotAskedForWithoutMemory) {
  const auto ask_for_list = [&] {
    const Outcome outcome = ask();
    EXPECT_EQ(outcome.out, outcome.error == VK_EOK ? Out(kList) : Out(Untouched{}));
    return outcome.error;
  };
  expect_sent_whole_or_not_at_all(ask_for_list, list_of(kList));
}

}  // namespace
}  // namespace vesk::test
