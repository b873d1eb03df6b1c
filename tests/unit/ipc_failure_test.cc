#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/channels.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "tests/support/messages.h"
#include "tests/support/tracked_heap.h"

// What a reading that fails leaves behind, above all for want of memory.

namespace vesk::test {
namespace {

using testing::IsEmpty;
using testing::StrEq;

// Reads a value as the value of a response.
uint32_t read_value(const std::string& bytes, const Value& value) {
  const std::string message = u32(0) + bytes;
  wire::Bytes reader = reader_of(message);
  vk_ipc_response response = {0, value.get()};
  return wire::Decoder(reader).get(response);
}

TEST(FailedReading, LeavesATextNullWhoseLengthDoesNotCome) {
  const Value value = new_value();
  char stray[] = "stray";
  value->payload.text = stray;
  EXPECT_EQ(read_value(u32(9) + "\1", value), VK_EIO);
  EXPECT_EQ(value->payload.text, nullptr);
}

TEST(FailedReading, LeavesANodeAsItWasWhoseTypeOrCountDoesNotCome) {
  for (const std::string& bytes : {std::string("\2"), u32(2) + "\1"}) {
    const Value value = planted(integer(5));
    EXPECT_EQ(read_value(bytes, value), VK_EIO);
    EXPECT_EQ(tree_of(*value), integer(5));
  }
}

TEST(FailedReading, ReleasesATextWhoseBytesDoNotCome) {
  const auto heap = probe_heap();
  const Value value = new_value();
  value->heap = &heap->head;
  EXPECT_EQ(read_value(u32(9) + u32(4) + "abc", value), VK_EIO);
  EXPECT_EQ(value->payload.text, nullptr);
  EXPECT_EQ(heap->asked, kOwnerWord + 5);
  EXPECT_EQ(heap->freed, heap->room.data());
}

TEST(FailedReading, LeavesTheBufferToTheHeapWhoseBytesDoNotCome) {
  for (const vk_type type : {VK_TYPE_BASE64, VK_TYPE_HEXBINARY}) {
    const auto heap = probe_heap();
    const Value value = new_value();
    value->heap = &heap->head;
    EXPECT_EQ(read_value(u32(type) + u32(4) + "abc", value), VK_EIO);
    EXPECT_EQ(value->payload.binary.data, nullptr);
    EXPECT_EQ(value->payload.binary.len, 0U);
    EXPECT_EQ(heap->asked, kOwnerWord + 4);
    EXPECT_EQ(heap->freed, nullptr);
  }
}

// Reads a request of these bytes, whose path is a stray one before.
class FailedRequest : public testing::Test {
 protected:
  void read(const std::string& bytes) {
    Incoming incoming(bytes);
    const Value value = new_value();
    vk_ipc_request request = {0, stray_, 0, value.get()};
    EXPECT_EQ(vk_ipc_read_request(incoming.fd(), &request), VK_EIO);
    path_ = request.path;
  }

  char stray_[6] = "stray";
  char* path_ = nullptr;
};

TEST_F(FailedRequest, DoesNotTouchThePathBeforeTheTagHasCome) {
  read("");
  EXPECT_EQ(path_, stray_);
}

TEST_F(FailedRequest, HasNoPathIfItsLengthDoesNotCome) {
  read(u32(1) + "\1");
  EXPECT_EQ(path_, nullptr);
}

TEST_F(FailedRequest, HasNoPathIfItsBytesDoNotCome) {
  const std::size_t blocks = live_blocks();
  read(u32(1) + u32(3) + "ab");
  EXPECT_EQ(path_, nullptr);
  EXPECT_EQ(live_blocks(), blocks);
}

TEST_F(FailedRequest, KeepsAPathThatHasCome) {
  for (const std::string& rest : {std::string(), u32(2), u32(2) + u32(7)}) {
    read(u32(1) + u32(3) + "a.b" + rest);
    const Block path(path_);
    EXPECT_THAT(path_, StrEq("a.b"));
  }
}

TEST(FailedReading, LeavesATextUntouchedThatFindsNoMemory) {
  const LogSpy log;
  const Value value = new_value();
  char stray[] = "stray";
  value->payload.text = stray;
  AllocationFault fault(1, AllocationFault::Extent::kOne);
  const uint32_t result =
      fault.during([&] { return read_value(Fields().value(text("abc")).bytes(), value); });
  EXPECT_EQ(result, VK_ENOMEM);
  EXPECT_EQ(value->payload.text, stray);
  value->payload.text = nullptr;
}

TEST(FailedReading, LeavesAPathUntouchedThatFindsNoMemory) {
  const LogSpy log;
  char stray[] = "stray";
  const Value value = new_value();
  vk_ipc_request request = {0, stray, 0, value.get()};
  Incoming incoming(request_fields(any()).bytes());
  AllocationFault fault(1, AllocationFault::Extent::kOne);
  const uint32_t result =
      fault.during([&] { return vk_ipc_read_request(incoming.fd(), &request); });
  EXPECT_EQ(result, VK_ENOMEM);
  EXPECT_EQ(request.path, stray);
}

TEST(FailedReading, EndsAnArrayThatNoMemoryHolds) {
  const LogSpy log;
  const Value value = new_value();
  AllocationFault fault(3, AllocationFault::Extent::kOne);
  const std::string bytes = u32(2) + u32(UINT32_MAX) + u32(0) + u32(0) + u32(0);
  EXPECT_EQ(fault.during([&] { return read_value(bytes, value); }), VK_ENOMEM);
  EXPECT_EQ(tree_of(*value), array({any(), any()}));
}

// Lengths that no block can have

constexpr uint32_t kLongestText = UINT32_MAX - 1 - sizeof(void*);

/// Where texts stand in a message.
struct Place {
  const char* name;
  std::string (*bytes)(uint32_t length);
};

constexpr Place kPlaces[] = {
    {"text", [](uint32_t length) { return u32(9) + u32(length); }},
    {"name", [](uint32_t length) { return u32(1) + u32(length); }},
};

TEST(FailedReading, FindsNoMemoryForATextThatNoBlockHolds) {
  for (const Place& place : kPlaces) {
    for (const uint32_t length : {kLongestText + 1, UINT32_MAX - 1, UINT32_MAX}) {
      SCOPED_TRACE(place.name + std::to_string(length));
      const LogSpy spy;
      const Value value = new_value();
      const AllocationLog log;
      EXPECT_EQ(read_value(place.bytes(length) + "text", value), VK_ENOMEM);
      EXPECT_EQ(log.count(), 0U);
      EXPECT_THAT(spy.lines(), IsEmpty());
    }
  }
}

TEST(FailedReading, LeavesAPathUntouchedThatNoBlockHolds) {
  for (const uint32_t length : {kLongestText + 1, UINT32_MAX}) {
    char stray[] = "stray";
    const Value value = new_value();
    vk_ipc_request request = {0, stray, 0, value.get()};
    Incoming incoming(u32(1) + u32(length) + "text");
    const LogSpy spy;
    const AllocationLog log;
    EXPECT_EQ(vk_ipc_read_request(incoming.fd(), &request), VK_ENOMEM);
    EXPECT_EQ(log.count(), 0U);
    EXPECT_THAT(spy.lines(), IsEmpty());
    EXPECT_EQ(request.path, stray);
  }
}

TEST(FailedReading, AsksForTheLongestTextThatABlockHolds) {
  for (const Place& place : kPlaces) {
    SCOPED_TRACE(place.name);
    const LogSpy spy;
    const Value value = new_value();
    const AllocationLog log;
    AllocationFault fault(1, AllocationFault::Extent::kOne);
    const uint32_t result =
        fault.during([&] { return read_value(place.bytes(kLongestText), value); });
    EXPECT_EQ(result, VK_ENOMEM);
    ASSERT_EQ(log.count(), 1U);
    EXPECT_EQ(log.size_of(0), UINT32_MAX);
    EXPECT_THAT(spy.lines(),
                testing::ElementsAre(allocation_failure(std::size_t{kLongestText} + 1, "default")));
  }
}

TEST(FailedReading, FindsNoMemoryForBytesThatTheHeapRefuses) {
  for (const vk_type type : {VK_TYPE_BASE64, VK_TYPE_HEXBINARY}) {
    const LogSpy spy;
    const Value value = new_value();
    AllocationFault fault(1, AllocationFault::Extent::kOne);
    const std::string bytes = u32(type) + u32(UINT32_MAX) + "bytes";
    EXPECT_EQ(fault.during([&] { return read_value(bytes, value); }), VK_ENOMEM);
    EXPECT_EQ(value->payload.binary.data, nullptr);
    EXPECT_THAT(spy.lines(), testing::ElementsAre(allocation_failure(UINT32_MAX, "default")));
  }
}

TEST(FailedReading, CanBeDeletedWhenAMemberThatCameTwiceWasCut) {
  const Tree binaries = object({{"A", base64("first")}, {"A", base64("second")}});
  const Tree texts = object({{"A", text("first")}, {"A", text("second")}});
  for (const Tree& tree : {binaries, texts}) {
    const LogSpy log;
    const std::string bytes = Fields().number(0).value(tree).bytes();
    for (std::size_t size = 0; size < bytes.size(); ++size) {
      const std::string cut = bytes.substr(0, size);
      wire::Bytes reader = reader_of(cut);
      TrackedHeap heap;
      Value value = new_value(heap.get());
      vk_ipc_response response = {0, value.get()};
      EXPECT_EQ(wire::Decoder(reader).get(response), VK_EIO);
    }
  }
}
TEST(FailedReading, CanBeDeletedWhenATextThatCameTwiceFoundNoMemory) {
  const LogSpy log;
  const std::string bytes =
      Fields().number(0).value(object({{"A", text("first")}, {"A", text("second")}})).bytes();
  wire::Bytes reader = reader_of(bytes);
  const Value value = new_value();
  vk_ipc_response response = {0, value.get()};
  AllocationFault fault(6, AllocationFault::Extent::kOne);
  EXPECT_EQ(fault.during([&] { return wire::Decoder(reader).get(response); }), VK_ENOMEM);
}

}  // namespace
}  // namespace vesk::test
