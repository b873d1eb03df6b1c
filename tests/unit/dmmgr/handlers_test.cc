#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <iterator>

#include "tests/support/frames.h"
#include "vesk/dmmgr/frame.h"
#include "vesk/dmmgr/provider.h"

// The dispatch of frames to a provider's handlers.

namespace vesk::test {
namespace {

template <uint32_t Slot>
uint32_t answer(vk_frame*, void*) {
  return Slot;
}

// By position: the twelve actions in the order of their numbers, then any other.
constexpr dm_handlers kAll = {answer<101>, answer<102>, answer<103>, answer<104>, answer<105>,
                              answer<106>, answer<107>, answer<108>, answer<109>, answer<110>,
                              answer<111>, answer<112>, answer<113>};

constexpr dm_handler dm_handlers::*kSlots[] = {
    &dm_handlers::get,      &dm_handlers::set,     &dm_handlers::info,    &dm_handlers::add,
    &dm_handlers::del,      &dm_handlers::getattr, &dm_handlers::setattr, &dm_handlers::commit,
    &dm_handlers::rollback, &dm_handlers::config,  &dm_handlers::level,   &dm_handlers::provide,
    &dm_handlers::other};

uint32_t dispatched(dm_handlers table, uint32_t action) {
  const OwnedFrame frame = new_frame();
  vk_frame_set_action(frame.get(), action);
  return dmmgr_handler_funcs(&table, frame.get(), nullptr);
}

TEST(DmHandlers, AreRunByTheActionOfTheFrame) {
  for (uint32_t action = 0; action < 12; ++action)
    EXPECT_EQ(dispatched(kAll, action), 101 + action);
}

TEST(DmHandlers, HaveOneForAnyOtherAction) {
  for (const uint32_t action : {12U, 13U, 255U, 256U, 0x80000000U, UINT32_MAX}) {
    EXPECT_EQ(dispatched(kAll, action), 113U) << action;
  }
}

TEST(DmHandlers, HaveTheNamesOfTheActions) {
  for (uint32_t action = 0; action < std::size(kSlots); ++action) {
    dm_handlers table = {};
    table.*kSlots[action] = answer<7>;
    EXPECT_EQ(dispatched(table, action), 7U) << dm_action_to_string(action);
  }
}

TEST(DmHandlers, DeclineAnActionThatHasNone) {
  for (uint32_t action = 0; action < std::size(kSlots); ++action) {
    dm_handlers table = kAll;
    table.*kSlots[action] = nullptr;
    EXPECT_EQ(dispatched(table, action), VK_ENOANSWER) << dm_action_to_string(action);
  }
}

uint32_t note_argument(vk_frame* frame, void* argument) {
  *static_cast<vk_frame**>(argument) = frame;
  return 4000000000U;
}

TEST(DmHandlers, ReceiveFrameAndArgumentAndGiveTheResult) {
  const OwnedFrame frame = new_frame();
  vk_frame_set_action(frame.get(), VK_DM_COMMIT);
  dm_handlers table = {};
  table.commit = note_argument;
  const vk_frame_handler dispatcher = dmmgr_handler_funcs;
  vk_frame* noted = nullptr;
  EXPECT_EQ(dispatcher(&table, frame.get(), &noted), 4000000000U);
  EXPECT_EQ(noted, frame.get());
}

}  // namespace
}  // namespace vesk::test
