// Who is handed over when, who waits, and who is refused.

#include <gmock/gmock.h>

#include "tests/unit/core/module_fixture.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class ModuleTurns : public ModuleTest {};

TEST_F(ModuleTurns, ARequestIsHandedToAnIdleModule) {
  begin();
  const auto status = submit(7);
  EXPECT_TRUE(lines[0]->turned);
  EXPECT_THAT(tags(), ElementsAre(7));
  lines[0]->answer(core::Answer{VK_ETYPE});
  EXPECT_EQ(*status, int{VK_ETYPE});
}

TEST_F(ModuleTurns, OthersWaitAndComeFirstInFirstOut) {
  begin(2);
  submit(1);
  const auto second = submit(2);
  const auto third = submit(3);
  EXPECT_THAT(tags(), ElementsAre(1));
  lines[0]->answer(core::Answer{});
  EXPECT_THAT(lines[1]->asked.back().tag, 2);
  EXPECT_EQ(*second, -1);
  lines[1]->answer(core::Answer{});
  EXPECT_EQ(*second, int{VK_EOK});
  EXPECT_THAT(lines[0]->asked.back().tag, 3);
  EXPECT_EQ(*third, -1);
}

TEST_F(ModuleTurns, NoMoreMayWaitThanTheQueueHolds) {
  settings.queue = 2;
  begin();
  submit(1);
  const auto second = submit(2);
  const auto third = submit(3);
  const auto fourth = submit(4);
  EXPECT_EQ(*second, -1);
  EXPECT_EQ(*third, -1);
  EXPECT_EQ(*fourth, int{VK_EBUSY});
}

TEST_F(ModuleTurns, WhoHasGoneTakesNobodysPlace) {
  settings.queue = 2;
  begin(2);
  submit(1);
  const auto leaver = std::make_shared<core::Call>();
  const auto gone = submit(2, leaver);
  const auto third = submit(3);
  leaver->over = true;
  const auto fourth = submit(4);
  EXPECT_EQ(*gone, int{VK_EIO});
  EXPECT_EQ(*fourth, -1);
}

TEST_F(ModuleTurns, WhoHasGoneIsNotAskedOnAnotherLine) {
  begin(2);
  const auto leaver = std::make_shared<core::Call>();
  const auto gone = submit(1, leaver);
  leaver->over = true;
  lines[0]->fail_unsent();
  EXPECT_EQ(*gone, int{VK_EIO});
  EXPECT_THAT(lines[1]->asked, IsEmpty());
}

TEST_F(ModuleTurns, WhoHasGoneIsNotHandedOver) {
  begin(2);
  submit(1);
  const auto leaver = std::make_shared<core::Call>();
  submit(2, leaver);
  submit(3);
  leaver->over = true;
  lines[0]->answer(core::Answer{});
  EXPECT_THAT(tags(), ElementsAre(1, 3));
}

TEST_F(ModuleTurns, WhoWaitsTooLongIsToldAndIsNotHandedOver) {
  settings.answer = 10s;
  begin();
  submit(1);
  const auto second = submit(2);
  settings.waiting = 1h;  // for who comes from now on
  const auto third = submit(3);
  EXPECT_TRUE(until([&] { return *second != -1; }));
  EXPECT_EQ(*second, int{VK_ETIMEDOUT});
  EXPECT_EQ(*third, -1);
  lines[0]->answer(core::Answer{});
  EXPECT_THAT(tags(), ElementsAre(1, 3));
  EXPECT_FALSE(hung);
}

TEST_F(ModuleTurns, AModuleThatWaitsIsAskedMeanwhile) {
  begin(2);
  submit(1);
  const auto item = call();
  submit(2);
  EXPECT_THAT(tags(), ElementsAre(1, 2));
  lines[1]->answer(core::Answer{});
  module->end_call(item);
}

TEST_F(ModuleTurns, WhoWaitsInTheQueueComesWhenTheModuleMakesACall) {
  begin(2);
  submit(1);
  submit(2);
  EXPECT_THAT(tags(), ElementsAre(1));
  call();
  EXPECT_THAT(tags(), ElementsAre(1, 2));
}

TEST_F(ModuleTurns, ACallThatIsAnsweredAtOnceLetsNobodyIn) {
  begin(2);
  submit(1);
  submit(2);
  const auto item = module->begin_call();
  module->end_call(item);
  EXPECT_THAT(tags(), ElementsAre(1));
}

TEST_F(ModuleTurns, AModuleThatWaitsWithoutAnIdleLineIsBusy) {
  begin(1);
  submit(1);
  call();
  EXPECT_EQ(*submit(2), int{VK_EBUSY});
}

TEST_F(ModuleTurns, AModuleWithoutServingLinesIsBusy) {
  begin(0);
  EXPECT_EQ(*submit(1), int{VK_EBUSY});
}

TEST_F(ModuleTurns, ANewServingLineLetsInWhoWaits) {
  begin(1);
  submit(1);
  submit(2);
  call();
  EXPECT_THAT(tags(), ElementsAre(1));
  lines.push_back(std::make_shared<FakeLine>(9));
  module->add_serving(lines.back());
  EXPECT_THAT(tags(), ElementsAre(1, 2));
}

TEST_F(ModuleTurns, AnAnsweredCallIsTakenOutBelowTheRequestThatIsServed) {
  begin(3);
  submit(1);
  const auto item = call();
  submit(2);
  module->end_call(item);  // the module serves on
  submit(3);
  EXPECT_THAT(tags(), ElementsAre(1, 2));
  lines[1]->answer(core::Answer{});  // and now goes on with the first
  EXPECT_THAT(tags(), ElementsAre(1, 2));
  lines[0]->answer(core::Answer{});
  EXPECT_THAT(lines[2]->asked.back().tag, 3);
}

TEST_F(ModuleTurns, ServingTellsTheNearestRequest) {
  begin(2);
  EXPECT_EQ(module->serving(), nullptr);
  call();
  EXPECT_EQ(module->serving(), nullptr);
  submit(1);
  const core::CallPtr first = module->serving();
  EXPECT_NE(first, nullptr);
  call();
  EXPECT_EQ(module->serving(), first);
  submit(2);
  EXPECT_NE(module->serving(), first);
}

TEST_F(ModuleTurns, ALineThatEndsAnswersItsRequestAndIsNotUsedAgain) {
  begin(1);
  const auto status = submit(1);
  const auto waiting = submit(2);
  lines[0]->fail(VK_EIO);
  module->lose(*lines[0]);
  EXPECT_EQ(*status, int{VK_EIO});
  EXPECT_EQ(*waiting, -1);
  EXPECT_EQ(*submit(3), int{VK_EBUSY});
}

TEST_F(ModuleTurns, WhatALineThatEndsDidNotSendGoesOutOnTheNextBeforeWhoWaits) {
  begin(3);
  const auto first = submit(1);
  const auto second = submit(2);
  lines[0]->fail_unsent();
  lines[1]->fail_unsent();
  EXPECT_EQ(*first, -1);
  EXPECT_THAT(tags(), ElementsAre(1, 1, 1));
  lines[2]->answer(core::Answer{VK_ETYPE});
  EXPECT_EQ(*first, int{VK_ETYPE});
  EXPECT_THAT(lines[2]->asked.back().tag, 2);
  EXPECT_EQ(*second, -1);
}

TEST_F(ModuleTurns, WhatALineThatEndsMayHaveSentIsNotSentAgain) {
  begin(2);
  const auto first = submit(1);
  const auto second = submit(2);
  lines[0]->fail(VK_EIO);
  EXPECT_EQ(*first, int{VK_EIO});
  EXPECT_EQ(*second, -1);
  EXPECT_THAT(tags(), ElementsAre(1, 2));
}

TEST_F(ModuleTurns, WhatTheLastLineDidNotSendIsAnswered) {
  begin(1);
  const auto status = submit(1);
  lines[0]->fail_unsent();
  EXPECT_EQ(*status, int{VK_EIO});
}

TEST_F(ModuleTurns, AnIdleLineThatEndsIsNotUsed) {
  begin(2);
  module->lose(*lines[0]);
  submit(1);
  EXPECT_TRUE(lines[0]->asked.empty());
  EXPECT_TRUE(lines[1]->is_asked());
}

TEST_F(ModuleTurns, AnEndAnswersAllThatIsOpenAndAllThatWaits) {
  begin(2);
  const auto first = submit(1);
  const auto item = call();
  const auto second = submit(2);
  const auto third = submit(3);
  module->end(VK_EIO);
  EXPECT_EQ(*first, int{VK_EIO});
  EXPECT_EQ(*second, int{VK_EIO});
  EXPECT_EQ(*third, int{VK_EIO});
  module->end_call(item);
  lines[0]->answer(core::Answer{});
  EXPECT_EQ(*submit(4), int{VK_EIO});
  EXPECT_THAT(lines[0]->asked.size(), 1);
}

TEST_F(ModuleTurns, ItsLinesCloseTogether) {
  begin(1);
  const auto calling = std::make_shared<FakeLine>(9);
  module->add_calling(calling);
  module->close_lines();
  EXPECT_TRUE(main->closed);
  EXPECT_TRUE(lines[0]->closed);
  EXPECT_TRUE(calling->closed);
}

TEST_F(ModuleTurns, TheModuleIsOneProcessOfOneUserAndGroup) {
  begin();
  EXPECT_TRUE(module->is({1, 1, 1, true}));
  EXPECT_FALSE(module->is({2, 1, 1, true}));
  EXPECT_FALSE(module->is({1, 2, 1, true}));
  EXPECT_FALSE(module->is({1, 1, 2, true}));
}

}  // namespace
}  // namespace vesk::test
