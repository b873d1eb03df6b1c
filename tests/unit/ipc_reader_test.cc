#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <set>
#include <string>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/channels.h"
#include "tests/support/heaps.h"
#include "tests/support/messages.h"
#include "tests/support/recording_heap.h"
#include "tests/support/transfers.h"
#include "vesk/value/leaf.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::NotNull;
using testing::StrEq;

// What a call that reads from a stream did with it.
struct Read {
  uint32_t result;
  std::vector<std::size_t> sizes;
  std::string rest;  // what it did not take
};

// Reads a value as the value of a response whose status is 23.
Read read_value(const std::string& bytes, const Value& value) {
  Incoming incoming(u32(23) + bytes);
  Transfers transfers(incoming.fd());
  vk_ipc_response response = {0, value.get()};
  const uint32_t result = vk_ipc_read_response(incoming.fd(), &response);
  EXPECT_EQ(response.status, 23U);
  const std::vector<std::size_t> sizes = transfers.sizes;
  return {result, {sizes.begin() + 1, sizes.end()}, incoming.rest()};
}

TEST(IpcReader, ReadsEveryTypeByOneTransferAField) {
  for (const WireSample& sample : wire_samples()) {
    SCOPED_TRACE(testing::PrintToString(sample.tree));
    const Value value = new_value();
    const Read read = read_value(sample.fields.bytes() + "next", value);
    EXPECT_EQ(read.result, 0U);
    EXPECT_EQ(tree_of(*value), as_read(sample.tree));
    EXPECT_EQ(read.sizes, sample.fields.sizes());
    EXPECT_EQ(read.rest, "next");
  }
}

TEST(IpcReader, ReadsTheFieldsOfARequestInOrder) {
  Incoming incoming(u32(UINT32_MAX) + u32(3) + "a.b" + u32(0x80000001) + u32(7) +
                    std::string("\xFF\xFF\xFF\xFF"));
  Transfers transfers(incoming.fd());
  const Value value = new_value();
  vk_ipc_request request = {1, nullptr, 2, value.get()};
  ASSERT_EQ(vk_ipc_read_request(incoming.fd(), &request), 0U);
  const Block path(request.path);
  EXPECT_EQ(request.tag, UINT32_MAX);
  EXPECT_THAT(request.path, StrEq("a.b"));
  EXPECT_EQ(request.action, 0x80000001U);
  EXPECT_EQ(request.value, value.get());
  EXPECT_EQ(tree_of(*value), integer(-1));
  EXPECT_THAT(transfers.sizes, ElementsAre(4, 4, 3, 4, 4, 4));
}

TEST(IpcReader, ReadsAnEmptyPathAsAnEmptyText) {
  Incoming incoming(u32(1) + u32(0) + u32(2) + u32(0));
  const Value value = new_value();
  vk_ipc_request request = {0, nullptr, 0, value.get()};
  EXPECT_EQ(vk_ipc_read_request(incoming.fd(), &request), 0U);
  const Block path(request.path);
  EXPECT_THAT(request.path, StrEq(""));
  EXPECT_EQ(request.action, 2U);
}

TEST(IpcReader, TakesAllFromTheHeapOfTheValue) {
  for (const MessageKind& kind : kMessageKinds) {
    SCOPED_TRACE(kind);
    RecordingHeap heap;
    Incoming incoming(kind.fields(wire_mixture()).bytes());
    const AllocationLog log;
    const Value value = new_value(heap.get());
    EXPECT_EQ(kind.read(incoming.fd(), value.get()), 0U);
    EXPECT_EQ(heaps_of(*value), std::set<const vk_allocator*>{heap.get()});
    EXPECT_EQ(log.count(), heap.asked());
  }
}

TEST(IpcReader, TakesThePathFromTheHeapOfTheValue) {
  const Heap heap(vk_mm_heap_new("of the value"));
  Incoming incoming(request_fields(any()).bytes());
  const Value value = new_value(heap.get());
  vk_ipc_request request = {0, nullptr, 0, value.get()};
  ASSERT_EQ(vk_ipc_read_request(incoming.fd(), &request), 0U);
  const Block path(request.path);
  EXPECT_EQ(owner_of(request.path), heap.get());
}

TEST(IpcReader, AsksForTheSizesOfTextsWithTheirEndsAndOfBytes) {
  for (const Tree& tree : {text("some text"), text(""), base64("bytes"), hex("")}) {
    SCOPED_TRACE(testing::PrintToString(tree));
    const Value read = new_value();
    const std::string bytes = response_fields(tree).bytes();
    wire::Bytes reader = reader_of(bytes);
    vk_ipc_response response = {0, read.get()};
    const AllocationLog log;
    EXPECT_EQ(wire::Decoder(reader).get(response), 0U);
    ASSERT_EQ(log.count(), 1U);
    const std::size_t end = tree.type == VK_TYPE_STRING ? 1 : 0;
    EXPECT_EQ(log.size_of(0), kOwnerWord + std::get<std::string>(tree.payload).size() + end);
  }
}

TEST(IpcReader, ReadsAnEmptyTextAsATextAndEmptyBytesAsABuffer) {
  const Value empty = new_value();
  EXPECT_EQ(read_value(u32(9) + u32(0), empty).result, 0U);
  EXPECT_THAT(empty->payload.text, StrEq(""));
  const Value binary = new_value();
  EXPECT_EQ(read_value(u32(3) + u32(0), binary).result, 0U);
  EXPECT_EQ(binary->payload.binary.len, 0U);
  EXPECT_THAT(binary->payload.binary.data, NotNull());
  EXPECT_EQ(binary->payload.binary.magic, VK_MAGIC_BINARY);
}

TEST(IpcReader, KeepsTheBytesOfATextBehindAZero) {
  using namespace std::string_literals;
  const Value value = new_value();
  EXPECT_EQ(read_value(u32(9) + u32(4) + "a\0bc"s, value).result, 0U);
  EXPECT_EQ(std::memcmp(value->payload.text, "a\0bc", 5), 0);
}

TEST(IpcReader, MakesIndexedObjectsOrderedInTheOrderOfTheBytes) {
  const Value value = new_value();
  EXPECT_EQ(read_value(Fields().value(object({{"10", any()}, {"2", any()}})).bytes(), value).result,
            0U);
  EXPECT_EQ(outline(value), "object/2{10: any, 2: any}");
}

TEST(IpcReader, MakesAnObjectOrderedWhateverItsNodeWas) {
  const Value value = new_object(VK_POLICY_INDEXED);
  EXPECT_EQ(read_value(u32(1) + u32(0), value).result, 0U);
  EXPECT_EQ(outline(value), "object/2{}");
}

TEST(IpcReader, LetsTheLastOfTwoMembersWithOneNameCount) {
  const Value value = new_value();
  const Tree twice = object({{"A", object({{"a", text("first")}})}, {"B", any()}, {"A", hex("2")}});
  EXPECT_EQ(read_value(Fields().value(twice).bytes(), value).result, 0U);
  EXPECT_EQ(tree_of(*value), object({{"A", hex("2")}, {"B", any()}}));
}

TEST(IpcReader, EndsAnObjectAtAMemberWithAnEmptyName) {
  const Value value = new_value();
  const Read read = read_value(
      Fields().value(object({{"A", any()}, {"", integer(1)}, {"B", any()}})).bytes(), value);
  EXPECT_EQ(read.result, 0U);
  EXPECT_EQ(tree_of(*value), object({{"A", any()}}));
  EXPECT_EQ(read.rest, u32(7) + u32(1) + u32(1) + "B" + u32(0) + u32(0));
}

// Nodes that are not fresh

TEST(IpcReader, LeavesANodeAsItWasForATypeThatIsNone) {
  const Tree before = object({{"A", text("kept")}}, VK_POLICY_ORDERED).with({{"a", integer(1)}});
  for (const vk_type type : {12U, 13U, 0x80000000U, UINT32_MAX}) {
    SCOPED_TRACE(type);
    const Value value = planted(before);
    const Read read = read_value(u32(type) + "next", value);
    EXPECT_EQ(read.result, 0U);
    EXPECT_EQ(tree_of(*value), before);
    EXPECT_THAT(read.sizes, ElementsAre(4));
    EXPECT_EQ(read.rest, "next");
  }
}

TEST(IpcReader, LeavesAMemberAndAnElementFreshForATypeThatIsNone) {
  const Value value = new_value();
  const Tree tree = object({{"A", of_no_type()}, {"B", array({of_no_type(99), any()})}});
  EXPECT_EQ(read_value(Fields().value(tree).bytes(), value).result, 0U);
  EXPECT_EQ(tree_of(*value), object({{"A", any()}, {"B", array({any(), any()})}}));
}

TEST(IpcReader, MakesANodeAnyAndReadsNothingMore) {
  const Value value = planted(integer(5));
  const Read read = read_value(u32(0) + "next", value);
  EXPECT_EQ(read.result, 0U);
  EXPECT_EQ(tree_of(*value), any());
  EXPECT_EQ(read.rest, "next");
}

TEST(IpcReader, DoesNotReleaseWhatTheNodeHeld) {
  const Value value = planted(text("held"));
  const Block held(value->payload.text);
  EXPECT_EQ(read_value(u32(7) + u32(6), value).result, 0U);
  EXPECT_EQ(tree_of(*value), integer(6));
  EXPECT_THAT(static_cast<const char*>(held.get()), StrEq("held"));
}

TEST(IpcReader, KeepsNameAndAttributesOfTheNode) {
  const Value value = planted(any().with({{"a", integer(1)}}));
  EXPECT_EQ(vk_value_set_id(value.get(), "name"), VK_EOK);
  EXPECT_EQ(read_value(u32(7) + u32(6), value).result, 0U);
  EXPECT_EQ(outline(value), "name: int 6<a: int 1>");
}

}  // namespace
}  // namespace vesk::test
