#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cerrno>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/channels.h"
#include "tests/support/huge_text.h"
#include "tests/support/messages.h"
#include "tests/support/transfers.h"
#include "vesk/value/member.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::StrEq;

// What a call that writes to a descriptor did.
struct Written {
  uint32_t result;
  std::string bytes;
  std::vector<std::size_t> sizes;
};

template <typename Call>
Written written_by(Call&& call) {
  const MemoryFile file;
  Transfers transfers(file.fd());
  const uint32_t result = call(file.fd());
  return {result, file.content(), transfers.sizes};
}

Written written_response(vk_value* value) {
  return written_by([&](int fd) {
    const vk_ipc_response response = response_with(value);
    return vk_ipc_write_response(fd, &response);
  });
}

Written written_request(const vk_ipc_request& request) {
  return written_by([&](int fd) { return vk_ipc_write_request(fd, &request); });
}

TEST(IpcSocketPath, IsATextOf15BytesWithItsEnd) {
  EXPECT_THAT(vk_ipc_socket_path, StrEq("/tmp/vesk.sock"));
  EXPECT_EQ(sizeof vk_ipc_socket_path, 15U);
}

TEST(IpcWriter, WritesEveryTypeByOneTransferAField) {
  for (const WireSample& sample : wire_samples()) {
    SCOPED_TRACE(testing::PrintToString(sample.tree));
    const Value value = planted(sample.tree);
    const Written written = written_response(value.get());
    std::vector<std::size_t> sizes = sample.fields.sizes();
    sizes.insert(sizes.begin(), 4);
    EXPECT_EQ(written.result, 0U);
    EXPECT_EQ(written.bytes, u32(23) + sample.fields.bytes());
    EXPECT_EQ(written.sizes, sizes);
  }
}

TEST(IpcWriter, WritesTheFieldsOfARequestInOrder) {
  const Value value = planted(integer(-1));
  char path[] = "a.b";
  const Written written = written_request({UINT32_MAX, path, 0x80000001, value.get()});
  EXPECT_EQ(written.result, 0U);
  EXPECT_EQ(written.bytes, u32(UINT32_MAX) + u32(3) + "a.b" + u32(0x80000001) + u32(7) +
                               std::string("\xFF\xFF\xFF\xFF"));
  EXPECT_THAT(written.sizes, ElementsAre(4, 4, 3, 4, 4, 4));
}

TEST(IpcWriter, WritesNumbersInTheByteOrderOfTheMachine) {
  const Value value = planted(unsigned_long(0x0102030405060708));
  const Written written = written_response(value.get());
  const bool little = std::endian::native == std::endian::little;
  using namespace std::string_literals;
  EXPECT_EQ(written.bytes, little ? "\x17\0\0\0\x0B\0\0\0\x08\x07\x06\x05\x04\x03\x02\x01"s
                                  : "\0\0\0\x17\0\0\0\x0B\x01\x02\x03\x04\x05\x06\x07\x08"s);
}

TEST(IpcWriter, WritesAnEmptyPathAsItsLengthAlone) {
  const Value value = planted(any());
  char path[] = "";
  const Written written = written_request({1, path, 2, value.get()});
  EXPECT_EQ(written.result, 0U);
  EXPECT_EQ(written.bytes, u32(1) + u32(0) + u32(2) + u32(0));
  EXPECT_THAT(written.sizes, ElementsAre(4, 4, 4, 4));
}

TEST(IpcWriter, DoesNotWriteAttributes) {
  const Tree plain = object({{"A", integer(1)}, {"B", array({text("b")})}});
  Tree decorated = plain.with({{"onRoot", integer(2)}});
  decorated.items[0].attributes = decorated.attributes;
  decorated.items[1].items[0].attributes = decorated.attributes;
  const Value value = planted(decorated);
  EXPECT_EQ(written_response(value.get()).bytes, response_fields(plain).bytes());
}

TEST(IpcWriter, LeavesTheMessageAsItWas) {
  const Tree tree = wire_mixture();
  const Value value = planted(tree);
  EXPECT_EQ(written_response(value.get()).result, 0U);
  EXPECT_EQ(tree_of(*value), tree);
}

// Texts that are not there

TEST(IpcWriter, RefusesARequestWithoutAPathAfterItsTag) {
  const Value value = planted(any());
  const Written written = written_request({5, nullptr, 0, value.get()});
  EXPECT_EQ(written.result, VK_EINVAL);
  EXPECT_EQ(written.bytes, u32(5));
  EXPECT_THAT(written.sizes, ElementsAre(4));
}

TEST(IpcWriter, RefusesAStringWithoutATextAfterItsType) {
  const Value value = new_value();
  value->type = VK_TYPE_STRING;
  const Written written = written_response(value.get());
  EXPECT_EQ(written.result, VK_EINVAL);
  EXPECT_EQ(written.bytes, u32(23) + u32(9));
}

TEST(IpcWriter, StopsAnArrayAtItsFirstFailure) {
  const Value value = planted(array({any(), any(), integer(1)}));
  vk_array_get_item(value.get(), 1)->type = VK_TYPE_STRING;
  const Written written = written_response(value.get());
  EXPECT_EQ(written.result, VK_EINVAL);
  EXPECT_EQ(written.bytes, u32(23) + u32(2) + u32(3) + u32(0) + u32(9));
}

TEST(IpcWriter, EndsAnObjectAtAMemberWithoutATextAndSucceeds) {
  const Value value = planted(object({{"A", any()}, {"B", any()}, {"C", any()}}));
  vk_object_find_item(value.get(), "B")->type = VK_TYPE_STRING;
  const Written written = written_response(value.get());
  EXPECT_EQ(written.result, 0U);
  EXPECT_EQ(written.bytes,
            u32(23) + u32(1) + u32(1) + "A" + u32(0) + u32(1) + "B" + u32(9) + u32(0));
}

TEST(IpcWriter, EndsAnObjectAtAMemberWithoutANameAndSucceeds) {
  const Value value = planted(object({{"A", any()}, {"B", any()}, {"C", any()}}));
  EXPECT_EQ(vk_value_set_id(vk_object_find_item(value.get(), "B"), nullptr), VK_EOK);
  const Written written = written_response(value.get());
  EXPECT_EQ(written.result, 0U);
  EXPECT_EQ(written.bytes, response_fields(object({{"A", any()}})).bytes());
}

TEST(IpcWriter, WritesAMemberWithAnEmptyNameAsItIs) {
  const Value value = planted(object({{"", integer(1)}, {"B", any()}}));
  const Written written = written_response(value.get());
  EXPECT_EQ(written.result, 0U);
  EXPECT_EQ(written.bytes, response_fields(object({{"", integer(1)}, {"B", any()}})).bytes());
}

// Descriptors that are none

class NoDescriptor : public testing::Test {
 protected:
  /// Writes a response to a descriptor below 0 as if numbers found their way.
  uint32_t write(const Tree& tree) {
    const Value value = planted(tree);
    const vk_ipc_response response = response_with(value.get());
    transfers_.pretend();
    return vk_ipc_write_response(-1, &response);
  }

  Transfers transfers_{-1};
};

TEST_F(NoDescriptor, IsLeftToTheSystemForNumbers) {
  for (const Tree& tree : {any(), integer(1), long_integer(1), boolean(1), date({1, 2, 3}),
                           array({integer(1)}), of_no_type()}) {
    SCOPED_TRACE(testing::PrintToString(tree));
    EXPECT_EQ(write(tree), 0U);
  }
}

TEST_F(NoDescriptor, IsRefusedForTextsWithoutWriting) {
  EXPECT_EQ(write(text("text")), VK_EINVAL);
  EXPECT_EQ(write(text("")), VK_EINVAL);
  EXPECT_THAT(transfers_.sizes, ElementsAre(4, 4, 4, 4));
}

TEST_F(NoDescriptor, IsRefusedForBinariesWithoutWriting) {
  EXPECT_EQ(write(base64("bytes")), VK_EINVAL);
  EXPECT_EQ(write(hex("")), VK_EINVAL);
  EXPECT_THAT(transfers_.sizes, ElementsAre(4, 4, 4, 4));
}

TEST_F(NoDescriptor, IsRefusedForTheEndOfAnObject) {
  EXPECT_EQ(write(object({{"A", any()}})), VK_EINVAL);
  EXPECT_EQ(write(object({})), VK_EINVAL);
  EXPECT_THAT(transfers_.sizes, ElementsAre(4, 4, 4, 4));
}

TEST_F(NoDescriptor, IsRefusedForAPath) {
  const Value value = planted(any());
  const vk_ipc_request request = request_with(value.get());
  transfers_.pretend();
  EXPECT_EQ(vk_ipc_write_request(-1, &request), VK_EINVAL);
  EXPECT_THAT(transfers_.sizes, ElementsAre(4));
}

// Texts that no length can tell

#if UINTPTR_MAX > UINT32_MAX
constexpr std::size_t kFirstTooLong = std::size_t{UINT32_MAX} + 1;

vk_ipc_request request_for(const char* path, const Value& value) {
  return {1, const_cast<char*>(path), 2, value.get()};
}

TEST(IpcWriter, RefusesTextsWhoseLengthDoesNotFit32Bits) {
  const HugeText texts{kFirstTooLong + 5};
  const Value value = planted(any());
  for (const std::size_t length : {kFirstTooLong, kFirstTooLong + 5}) {
    SCOPED_TRACE(length);
    const Written written = written_request(request_for(texts.of_length(length), value));
    EXPECT_EQ(written.result, VK_EINVAL);
    EXPECT_EQ(written.bytes, u32(1));
  }
}

TEST(IpcWriter, EndsAnObjectAtATextWhoseLengthDoesNotFit32Bits) {
  const HugeText texts{kFirstTooLong};
  char* const huge = const_cast<char*>(texts.of_length(kFirstTooLong));
  const Value value = planted(object({{"A", text("a")}, {"B", any()}}));
  char*& name = vk_object_find_item(value.get(), "B")->id;
  char* const short_name = std::exchange(name, huge);
  EXPECT_EQ(written_response(value.get()).bytes,
            response_fields(object({{"A", text("a")}})).bytes());
  name = short_name;

  char*& leaf = vk_object_find_item(value.get(), "A")->payload.text;
  char* const short_leaf = std::exchange(leaf, huge);
  EXPECT_EQ(written_response(value.get()).bytes, u32(23) + u32(1) + u32(1) + "A" + u32(9) + u32(0));
  leaf = short_leaf;
}

TEST(IpcWriter, AsksForTheLongestTextThatFitsInOneTransfer) {
  const HugeText texts{UINT32_MAX};
  const Value value = planted(any());
  const vk_ipc_request request = request_for(texts.of_length(UINT32_MAX), value);
  const MemoryFile file;
  Transfers transfers(file.fd());
  transfers.fail(2, ENOSPC);
  EXPECT_EQ(vk_ipc_write_request(file.fd(), &request), static_cast<uint32_t>(ENOSPC));
  EXPECT_EQ(file.content(), u32(1) + u32(UINT32_MAX));
  EXPECT_THAT(transfers.sizes, ElementsAre(4, 4, UINT32_MAX));
}
#endif

}  // namespace
}  // namespace vesk::test
