#include "vesk/binary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/binaries.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "tests/support/text_stream.h"
#include "vesk/mm/stack.h"

namespace vesk::test {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;

std::optional<std::string> from_base16(const std::string& text) {
  return read_binary(&vk_binary_from_base16, text);
}

// The record

TEST(Binary, InitTakesTheBufferOverWithoutCopying) {
  auto* const data = static_cast<uint8_t*>(vk_alloc(vk_default_allocator(), 3));
  vk_binary binary = kStrayBinary;
  vk_binary_init(&binary, data, 3);
  EXPECT_EQ(binary.len, 3U);
  EXPECT_EQ(binary.data, data);
  EXPECT_EQ(binary.magic, 0x37E9B1A1U);
  vk_binary_destroy(&binary);
}

TEST(Binary, GivesItsLengthAndItsBuffer) {
  const Binary binary{"abc"};
  EXPECT_EQ(vk_binary_len(binary.get()), 3U);
  EXPECT_EQ(vk_binary_data(binary.get()), binary.get()->data);
}

TEST(Binary, DestroyFreesTheBufferAndLeavesTheFieldsAsTheyWere) {
  const std::size_t blocks = live_blocks();
  vk_binary binary = binary_of("abc");
  const auto address = reinterpret_cast<std::uintptr_t>(binary.data);
  vk_binary_destroy(&binary);
  EXPECT_EQ(live_blocks(), blocks);
  EXPECT_EQ(binary.len, 3U);
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(binary.data), address);
}

TEST(Binary, DestroyMarksTheRecordAsDead) {
  vk_binary binary = binary_of("abc");
  vk_binary_destroy(&binary);
  EXPECT_EQ(binary.magic, 0xDEADBEAFU);
}

// A heap that looks, when it gets a block back, at the binary that the block belonged to.
struct WitnessHeap {
  vk_allocator head;
  const vk_binary* binary;
  uint32_t magic_when_freed;
};

TEST(Binary, DestroyMarksTheRecordBeforeItFreesTheBuffer) {
  vk_alloc_ops ops = *vk_default_allocator()->ops;
  ops.free = [](vk_allocator* heap, void* block) {
    auto* const witness = reinterpret_cast<WitnessHeap*>(heap);
    witness->magic_when_freed = witness->binary->magic;
    vk_default_allocator()->ops->free(vk_default_allocator(), block);
  };
  WitnessHeap heap = {{&ops, "witness", nullptr, nullptr, VK_MAGIC_ALLOCATOR}, nullptr, 0};
  vk_binary binary = binary_of("abc", &heap.head);
  heap.binary = &binary;
  vk_binary_destroy(&binary);
  EXPECT_EQ(heap.magic_when_freed, VK_MAGIC_DEAD);
}

TEST(Binary, DestroysAnEmptyBinaryWithoutABuffer) {
  vk_binary binary;
  vk_binary_init(&binary, nullptr, 0);
  vk_binary_destroy(&binary);
  EXPECT_EQ(binary.magic, VK_MAGIC_DEAD);
}

// Comparison

TEST(Binary, EqualsOneWithTheSameBytes) {
  EXPECT_TRUE(vk_binary_eq(Binary{"a\0b"s}.get(), Binary{"a\0b"s}.get()));
}

TEST(Binary, EqualsItself) {
  const Binary binary{"abc"};
  EXPECT_TRUE(vk_binary_eq(binary.get(), binary.get()));
}

TEST(Binary, DiffersFromOneWithOtherBytes) {
  EXPECT_FALSE(vk_binary_eq(Binary{"a\0b"s}.get(), Binary{"a\0c"s}.get()));
}

TEST(Binary, DiffersFromOneOfAnotherLength) {
  EXPECT_FALSE(vk_binary_eq(Binary{"abc"}.get(), Binary{"ab"}.get()));
  EXPECT_FALSE(vk_binary_eq(Binary{"ab"}.get(), Binary{"abc"}.get()));
  EXPECT_FALSE(vk_binary_eq(Binary{""}.get(), Binary{"\0"s}.get()));
}

TEST(Binary, EqualsAnotherEmptyOneWhateverTheirBuffers) {
  vk_binary without_buffer;
  vk_binary_init(&without_buffer, nullptr, 0);
  const Binary with_buffer{""};
  EXPECT_TRUE(vk_binary_eq(&without_buffer, &without_buffer));
  EXPECT_TRUE(vk_binary_eq(&without_buffer, with_buffer.get()));
  EXPECT_TRUE(vk_binary_eq(with_buffer.get(), &without_buffer));
}

// Base16

constexpr std::array<uint8_t, 3> kBytes = {0x00, 0x9A, 0xFF};

TEST(Base16String, FillsABufferOfExactlyTwiceTheLengthAndOne) {
  std::vector<char> buffer(2 * kBytes.size() + 1, '?');
  EXPECT_EQ(vk_base16_string(buffer.data(), buffer.size(), kBytes.data(), kBytes.size()), VK_EOK);
  EXPECT_EQ(std::string(buffer.begin(), buffer.end()), "009AFF\0"s);
}

TEST(Base16String, RefusesABufferOfOneByteLessAndLeavesItUnwritten) {
  std::string buffer(2 * kBytes.size(), '?');
  EXPECT_EQ(vk_base16_string(buffer.data(), buffer.size(), kBytes.data(), kBytes.size()),
            VK_EINVAL);
  EXPECT_EQ(buffer, "??????");
}

TEST(Base16String, WritesNothingBehindItsTerminator) {
  std::string buffer(9, '?');
  EXPECT_EQ(vk_base16_string(buffer.data(), buffer.size(), kBytes.data(), kBytes.size()), VK_EOK);
  EXPECT_EQ(buffer, "009AFF\0??"s);
}

TEST(Base16String, WritesALoneTerminatorForNoBytes) {
  std::string buffer = "??";
  EXPECT_EQ(vk_base16_string(buffer.data(), 1, nullptr, 0), VK_EOK);
  EXPECT_EQ(buffer, "\0?"s);
}

TEST(Base16String, RefusesABufferWithoutRoomForTheTerminator) {
  char untouched = '?';
  EXPECT_EQ(vk_base16_string(&untouched, 0, nullptr, 0), VK_EINVAL);
  EXPECT_EQ(untouched, '?');
}

TEST(Base16String, RefusesALengthWhoseTextNoSizeCanHold) {
  constexpr std::size_t kMost = std::numeric_limits<std::size_t>::max();
  for (const std::size_t length : {kMost / 2 + 1, kMost / 2 + 2, kMost - 1, kMost}) {
    for (const std::size_t size : {std::size_t{1}, std::size_t{3}, std::size_t{4}}) {
      SCOPED_TRACE(testing::Message() << length << " bytes into " << size);
      std::string buffer = "????";
      EXPECT_EQ(vk_base16_string(buffer.data(), size, nullptr, length), VK_EINVAL);
      EXPECT_EQ(buffer, "????");
    }
  }
}

TEST(Base16String, LogsNothingAboutABufferThatIsTooSmall) {
  const LogSpy log;
  const uint8_t byte = 0x0A;
  char buffer[2];
  EXPECT_EQ(vk_base16_string(buffer, sizeof buffer, &byte, 1), VK_EINVAL);
  EXPECT_EQ(vk_base16_string(buffer, 0, &byte, 0), VK_EINVAL);
  EXPECT_THAT(log.connection(), IsEmpty());
}

TEST(Base16Writer, WritesTwoUpperCaseDigitsForEachByteHighNibbleFirst) {
  EXPECT_EQ(written_binary(&vk_binary_write_base16, "\x01\x23\x45\x67\x89\xAB\xCD\xEF"),
            "0123456789ABCDEF");
}

TEST(Base16, IsTheSameForEveryByteWhereverItIsWritten) {
  for (unsigned int number = 0; number < 256; ++number) {
    const auto byte = static_cast<uint8_t>(number);
    std::array<char, 16> expected;
    std::snprintf(expected.data(), expected.size(), "%02X", number);
    std::array<char, 3> buffer;
    EXPECT_EQ(vk_base16_string(buffer.data(), buffer.size(), &byte, 1), VK_EOK);
    EXPECT_STREQ(buffer.data(), expected.data());
    EXPECT_EQ(written_binary(&vk_binary_write_base16, std::string(1, static_cast<char>(byte))),
              expected.data());
  }
}

TEST(Base16Writer, MakesOneWriteOfTwoCharactersForEachByte) {
  EXPECT_THAT(binary_writes(&vk_binary_write_base16, "\x0A\x1B\xF0"),
              ElementsAre("0A", "1B", "F0"));
}

TEST(Base16Writer, WritesNothingForAnEmptyBinary) {
  EXPECT_THAT(binary_writes(&vk_binary_write_base16, ""), IsEmpty());
}

TEST(Base16Reader, ReadsDigitsOfEitherCaseFreelyMixed) {
  EXPECT_EQ(from_base16("0a1B"), "\x0A\x1B"s);
  EXPECT_EQ(from_base16("0123456789aBcDeF"), "\x01\x23\x45\x67\x89\xAB\xCD\xEF"s);
  EXPECT_EQ(from_base16("AbCdEf"), "\xAB\xCD\xEF"s);
}

TEST(Base16Reader, ReadsTheEmptyTextAsAnEmptyBinary) {
  vk_binary binary = kStrayBinary;
  ASSERT_EQ(vk_binary_from_base16(&binary, "", vk_default_allocator()), VK_EOK);
  EXPECT_EQ(binary.len, 0U);
  EXPECT_NE(binary.data, nullptr);
  EXPECT_EQ(binary.magic, VK_MAGIC_BINARY);
  vk_binary_destroy(&binary);
}

TEST(Base16Reader, RefusesWhatIsNotAnEvenNumberOfDigits) {
  const LogSpy log;
  for (const char* text : {"0", "0a1", "0a 1b", "0x0a", " 0a", "0a ", "0a\n", "0a:1b", "-1", "0g",
                           "g0", "0a1b0", "garbage"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(from_base16(text), std::nullopt);
  }
  EXPECT_THAT(log.connection(), IsEmpty());
}

TEST(Base16Reader, RefusesEveryCharacterThatIsNoDigit) {
  constexpr std::string_view kDigits = "0123456789abcdefABCDEF";
  for (int byte = 1; byte < 256; ++byte) {
    const char character = static_cast<char>(byte);
    if (kDigits.find(character) != std::string_view::npos) continue;
    SCOPED_TRACE(byte);
    EXPECT_EQ(from_base16("00"s + character), std::nullopt);
    EXPECT_EQ(from_base16("00"s + character + "0"), std::nullopt);
  }
}

TEST(Base16Reader, AllocatesHalfAsManyBytesAsThereAreDigits) {
  for (const char* text : {"", "0a", "0a1b2c3d"}) {
    const AllocationLog allocations;
    EXPECT_NE(from_base16(text), std::nullopt);
    ASSERT_EQ(allocations.count(), 1U);
    EXPECT_EQ(allocations.size_of(0), kOwnerWord + std::strlen(text) / 2);
  }
}

TEST(Base16Reader, AllocatesNothingForATextThatItRefuses) {
  const AllocationLog allocations;
  EXPECT_EQ(from_base16("0a1"), std::nullopt);
  EXPECT_EQ(from_base16("0a1b "), std::nullopt);
  EXPECT_EQ(allocations.count(), 0U);
}

// Both forms

struct Form {
  const char* name;
  BinaryWriter write;
  BinaryReader read;
  std::size_t bytes_per_write;
  const char* sample;
  const char* exhausted;
};

class BinaryText : public testing::TestWithParam<Form> {};

INSTANTIATE_TEST_SUITE_P(
    Forms, BinaryText,
    testing::Values(Form{"Base16", &vk_binary_write_base16, &vk_binary_from_base16, 1, "4D616E",
                         "NONE: Failed to allocate 3 bytes of memory in 'default'"},
                    Form{"Base64", &vk_binary_write_base64, &vk_binary_from_base64, 3, "TWFu",
                         "NONE: Failed to allocate 4 bytes of memory in 'default'"}),
    [](const auto& form) { return form.param.name; });

TEST_P(BinaryText, ReadsBackWhatItWrites) {
  std::string bytes = every_byte();
  while (!bytes.empty()) {
    EXPECT_EQ(read_binary(GetParam().read, written_binary(GetParam().write, bytes)), bytes);
    bytes.pop_back();
  }
}

TEST_P(BinaryText, StopsWritingAtTheFirstFailure) {
  for (std::size_t good = 0; good < 3; ++good) {
    const Binary binary{std::string(3 * GetParam().bytes_per_write, 'x')};
    TextStream stream;
    stream.fail_after(good, VK_EIO);
    GetParam().write(stream.get(), binary.get());
    EXPECT_EQ(stream.error(), VK_EIO);
    EXPECT_EQ(stream.writes().size(), good + 1);
  }
}

TEST_P(BinaryText, WritesNothingToAStreamThatHasFailed) {
  const Binary binary{"Man"};
  TextStream stream;
  stream.set_error(VK_EBUSY);
  GetParam().write(stream.get(), binary.get());
  EXPECT_EQ(stream.error(), VK_EBUSY);
  EXPECT_THAT(stream.writes(), IsEmpty());
}

TEST_P(BinaryText, ReadsIntoTheHeapThatItIsGiven) {
  vk_allocator* const heap = vk_mm_stack_new("bytes");
  vk_binary binary;
  ASSERT_EQ(GetParam().read(&binary, GetParam().sample, heap), VK_EOK);
  EXPECT_NE(heap->ops->owns(heap, binary.data), 0);
  EXPECT_EQ(content(binary), "Man");
  vk_allocator_delete(heap);
}

TEST_P(BinaryText, LeavesTheRecordAloneWhenTheHeapIsExhausted) {
  for_every_allocation_fault([](AllocationFault& fault) {
    const LogSpy log;
    vk_binary binary = kStrayBinary;
    const vk_error result = fault.during(
        [&] { return GetParam().read(&binary, GetParam().sample, vk_default_allocator()); });
    if (!fault.struck()) {
      EXPECT_EQ(result, VK_EOK);
      vk_binary_destroy(&binary);
      return;
    }
    EXPECT_EQ(result, VK_ENOMEM);
    EXPECT_THAT(binary, IsStray());
    EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_ERR, GetParam().exhausted}));
  });
}

}  // namespace
}  // namespace vesk::test
