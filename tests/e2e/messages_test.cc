// The messages of a typical request: their sizes, and what becomes of it when they do not come.

#include <gtest/gtest.h>
#include <vesk/vesk.h>

#include <cerrno>
#include <cstring>

#include "tests/e2e/typical_request.h"

namespace vesk::test {
namespace {

TEST_F(TypicalRequest, GivesAnErrorIfThePeerIsGone) {
  answerer.peer.close();
  expect_broken("Device");
  EXPECT_EQ(uint32_t{EPIPE}, module.sending);
}

TEST_F(TypicalRequest, GivesAnErrorIfThePeerDiesBeforeItAnswers) {
  answerer.start("leave");
  expect_broken("Device");
  EXPECT_EQ(VK_EIO, module.receiving);
  expect_broken("Device");
  EXPECT_EQ(uint32_t{EPIPE}, module.sending);
}

TEST_F(TypicalRequest, GivesAnErrorIfThePeerDiesWithinItsAnswer) {
  answerer.start("break");
  expect_broken("Device");
  EXPECT_EQ(VK_EIO, module.receiving);
}

// Sizes on the wire, in bytes, from the layout of the messages.

constexpr int kWord = 4;

int text_size(const char* text) { return kWord + static_cast<int>(std::strlen(text)); }

int size_of(const vk_value& value);

int size_of_members(const vk_value& object) {
  int size = 0;
  for (const vk_item* item = vk_object_item_first(&object); item != nullptr;
       item = vk_item_next(item)) {
    size += text_size(item->id) + size_of(*item);
  }
  return size;
}

int size_of(const vk_value& value) {
  switch (value.type) {
    case VK_TYPE_OBJECT:
      return kWord + size_of_members(value) + kWord;
    case VK_TYPE_STRING:
      return kWord + text_size(value.payload.text);
    case VK_TYPE_BASE64:
    case VK_TYPE_HEXBINARY:
      return kWord + kWord + static_cast<int>(vk_binary_len(&value.payload.binary));
    case VK_TYPE_BOOLEAN:
      return kWord + 1;
    case VK_TYPE_DATETIME:
      return kWord + 3 * kWord;
    case VK_TYPE_INT:
    case VK_TYPE_UNSIGNEDINT:
      return kWord + 4;
    default:
      return kWord + 8;
  }
}

// The process is started when its request is there, and ends when it has answered, so that each
// message can be measured as a whole.
TEST_F(TypicalRequest, TakesTheBytesOfItsFieldsAndNoMore) {
  int request = 0;
  int response = 0;
  module.on_sent = [&] {
    request = answerer.peer.waiting();
    answerer.start("once");
    answerer.wait();
    response = answerer.connection.waiting();
  };
  ASSERT_NE(nullptr, value_of("Device.DeviceInfo.UpTime"));

  const int flags = text_size("dm-flags") + kWord + 4;
  const int names =
      text_size("ParameterNames") + kWord + kWord + kWord + text_size("Device.DeviceInfo.UpTime");
  EXPECT_EQ(kWord + text_size(kValuesPath) + kWord + kWord + flags + names + kWord, request);
  const int list = text_size("ParameterList") + size_of(*data_model);
  EXPECT_EQ(kWord + kWord + flags + names + list + kWord, response);
  EXPECT_EQ(0, answerer.connection.waiting());
}

}  // namespace
}  // namespace vesk::test
