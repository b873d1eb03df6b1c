#include "vesk/binary.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/binaries.h"
#include "tests/support/heaps.h"
#include "tests/support/huge_text.h"
#include "tests/support/log_spy.h"
#include "vesk/log.h"

namespace vesk::test {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

constexpr std::string_view kAlphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

std::optional<std::string> from_base64(const std::string& text) {
  return read_binary(&vk_binary_from_base64, text);
}

std::string to_base64(std::string_view bytes) {
  return written_binary(&vk_binary_write_base64, bytes);
}

/// What base64 decoding logs about a text that it refuses, oldest first.
std::vector<std::string> complaints(const std::string& text) {
  const LogSpy log;
  EXPECT_EQ(from_base64(text), std::nullopt);
  for (const LogCall& call : log.calls()) {
    EXPECT_EQ(call,
              (LogCall{0, VK_LOG_ERROR, "lib/binary", 0, "vk_binary_from_base64", call.text}));
  }
  std::vector<std::string> texts;
  for (const LogLine& line : log.lines()) {
    EXPECT_EQ(line.priority, LOG_ERR);
    texts.push_back(line.text);
  }
  return texts;
}

struct Coding {
  std::string bytes;
  std::string text;
};

// RFC 4648, section 10, and bytes in which all bits are 0 or 1.
const Coding kCodings[] = {
    {"", ""},
    {"f", "Zg=="},
    {"fo", "Zm8="},
    {"foo", "Zm9v"},
    {"foob", "Zm9vYg=="},
    {"fooba", "Zm9vYmE="},
    {"foobar", "Zm9vYmFy"},
    {"M", "TQ=="},
    {"Ma", "TWE="},
    {"Man", "TWFu"},
    {"\0"s, "AA=="},
    {"\0\0"s, "AAA="},
    {"\0\0\0"s, "AAAA"},
    {"\xFF", "/w=="},
    {"\xFF\xFF", "//8="},
    {"\xFF\xFF\xFF", "////"},
};

TEST(Base64Writer, WritesTheStandardCodings) {
  for (const Coding& coding : kCodings) {
    EXPECT_EQ(to_base64(coding.bytes), coding.text);
  }
}

TEST(Base64Reader, ReadsTheStandardCodings) {
  const LogSpy log;
  for (const Coding& coding : kCodings) EXPECT_EQ(from_base64(coding.text), coding.bytes);
  EXPECT_THAT(log.connection(), IsEmpty());
}

/// The bytes of four sextets.
std::string packed(unsigned int first) {
  const unsigned int bits = first << 18 | (first + 1) << 12 | (first + 2) << 6 | (first + 3);
  return {static_cast<char>(bits >> 16), static_cast<char>(bits >> 8 & 0xFF),
          static_cast<char>(bits & 0xFF)};
}

TEST(Base64, CountsTheAlphabetFrom0To63) {
  std::string bytes;
  for (unsigned int sextet = 0; sextet < kAlphabet.size(); sextet += 4) bytes += packed(sextet);
  EXPECT_EQ(to_base64(bytes), kAlphabet);
  EXPECT_EQ(from_base64(std::string(kAlphabet)), bytes);
}

TEST(Base64Writer, MakesOneWriteOfFourCharactersForEachGroup) {
  EXPECT_THAT(binary_writes(&vk_binary_write_base64, "ManMan"), ElementsAre("TWFu", "TWFu"));
  EXPECT_THAT(binary_writes(&vk_binary_write_base64, "ManM"), ElementsAre("TWFu", "TQ=="));
  EXPECT_THAT(binary_writes(&vk_binary_write_base64, "ManMa"), ElementsAre("TWFu", "TWE="));
}

TEST(Base64Writer, WritesNothingForAnEmptyBinary) {
  EXPECT_THAT(binary_writes(&vk_binary_write_base64, ""), IsEmpty());
}

TEST(Base64Writer, BreaksNoLines) {
  EXPECT_EQ(to_base64(every_byte()).find_first_of("\r\n"), std::string::npos);
}

TEST(Base64Reader, SkipsBlanksTabsAndLineEndsAnywhere) {
  EXPECT_EQ(from_base64("T Q = =\n"), "M");
  EXPECT_EQ(from_base64(" \t\r\nT \tW\r\nF  u"), "Man");
  EXPECT_EQ(from_base64("TQ=\t=\r\n \t"), "M");
  EXPECT_EQ(from_base64(" \t\r\n"), "");
}

TEST(Base64Reader, DropsTheBitsThatPaddingLeavesOver) {
  EXPECT_EQ(from_base64("TR=="), "M");
  EXPECT_EQ(from_base64("T/=="), "O");
  EXPECT_EQ(from_base64("TWF="), "Ma");
}

TEST(Base64Reader, ReadsAnOpeningBraceAsZero) {
  EXPECT_EQ(from_base64("T{=="), "L");
  EXPECT_EQ(from_base64("{{{{"), "\0\0\0"s);
}

TEST(Base64Reader, TakesThreeBytesForEachFourCharactersAndOneMore) {
  for (const char* text : {"", "TQ=", "TQ==", "TQ==   ", "TWFuTWFu", "-"}) {
    const AllocationLog allocations;
    const LogSpy log;
    from_base64(text);
    ASSERT_EQ(allocations.count(), 1U);
    EXPECT_EQ(allocations.size_of(0), kOwnerWord + std::strlen(text) / 4 * 3 + 1);
  }
}

#if SIZE_MAX > UINT32_MAX
// The shortest text for which 32 bits do not hold the size of the buffer.
constexpr std::size_t kFirstTooLong = (std::size_t{UINT32_MAX} + 2) / 3 * 4;

// Reads a text that no memory can be had for.
vk_error read_without_memory(const char* text) {
  vk_binary binary = kStrayBinary;
  AllocationFault fault{1, AllocationFault::Extent::kAllFromThere};
  const vk_error result =
      fault.during([&] { return vk_binary_from_base64(&binary, text, vk_default_allocator()); });
  EXPECT_THAT(binary, IsStray());
  return result;
}

TEST(Base64Reader, FindsNoMemoryForATextThatALengthOf32BitsCannotSay) {
  const HugeText texts{kFirstTooLong};
  const AllocationLog allocations;
  EXPECT_EQ(read_without_memory(texts.of_length(kFirstTooLong)), VK_ENOMEM);
  EXPECT_EQ(allocations.count(), 0U);
}

TEST(Base64Reader, AsksForMemoryForTheLongestTextThatALengthOf32BitsCanSay) {
  const HugeText texts{kFirstTooLong};
  const LogSpy log;
  const AllocationLog allocations;
  EXPECT_EQ(read_without_memory(texts.of_length(kFirstTooLong - 1)), VK_ENOMEM);
  ASSERT_EQ(allocations.count(), 1U);
  EXPECT_EQ(allocations.size_of(0), kOwnerWord + UINT32_MAX - 2);
}
#endif

struct Refusal {
  const char* text;
  std::vector<std::string> messages;
};

void expect_complaints(const std::vector<Refusal>& refusals) {
  for (const Refusal& refusal : refusals) {
    SCOPED_TRACE(refusal.text);
    EXPECT_THAT(complaints(refusal.text), ElementsAreArray(refusal.messages));
  }
}

TEST(Base64Reader, RefusesAnIncompleteLastBlock) {
  expect_complaints({
      {"T", {"NONE: Imcomplete last base64 block, len 1"}},
      {"TQ", {"NONE: Imcomplete last base64 block, len 2"}},
      {"TQ=", {"NONE: Imcomplete last base64 block, len 3"}},
      {"TWFuT", {"NONE: Imcomplete last base64 block, len 1"}},
      {"TWFu=", {"NONE: Imcomplete last base64 block, len 1"}},
      {"TWE==", {"NONE: Imcomplete last base64 block, len 1"}},
      {"=", {"NONE: Imcomplete last base64 block, len 1"}},
      {"==", {"NONE: Imcomplete last base64 block, len 2"}},
  });
}

TEST(Base64Reader, RefusesAThirdPadding) {
  expect_complaints({
      {"TQ===", {"NONE: Extra padding '=' in base64"}},
      {"TQ= = \n=", {"NONE: Extra padding '=' in base64"}},
      {"TQ==-", {"NONE: Unexpected character '-' (0x2d) in base64 data"}},
      {"T===", {"NONE: Extra padding '=' in base64", "NONE: Imcomplete last base64 block, len 3"}},
      {"====", {"NONE: Extra padding '=' in base64", "NONE: Imcomplete last base64 block, len 2"}},
  });
}

TEST(Base64Reader, RefusesCharactersAfterThePadding) {
  expect_complaints({
      {"TQ==TQ==", {"NONE: Character 'T' after base64 EOS '='"}},
      {"TQ== \nx", {"NONE: Character 'x' after base64 EOS '='"}},
      {"TQ=={", {"NONE: Character '{' after base64 EOS '='"}},
      {"TQ=a",
       {"NONE: Character 'a' after base64 EOS '='", "NONE: Imcomplete last base64 block, len 3"}},
      {"=A",
       {"NONE: Character 'A' after base64 EOS '='", "NONE: Imcomplete last base64 block, len 1"}},
  });
}

TEST(Base64Reader, RefusesUnexpectedCharacters) {
  expect_complaints({
      {"-", {"NONE: Unexpected character '-' (0x2d) in base64 data"}},
      {"TWFu*", {"NONE: Unexpected character '*' (0x2a) in base64 data"}},
      {"TW-u",
       {"NONE: Unexpected character '-' (0x2d) in base64 data",
        "NONE: Imcomplete last base64 block, len 2"}},
      {"TQ=%",
       {"NONE: Unexpected character '%' (0x25) in base64 data",
        "NONE: Imcomplete last base64 block, len 3"}},
  });
}

TEST(Base64Reader, StopsAtTheFirstMistake) {
  expect_complaints({{"-*", {"NONE: Unexpected character '-' (0x2d) in base64 data"}}});
}

TEST(Base64Reader, LogsAByteThatIsNotAsciiWithItsUnsignedValue) {
  expect_complaints({
      {"\x80", {"NONE: Unexpected character '\x80' (0x80) in base64 data"}},
      {"\xC3", {"NONE: Unexpected character '\xC3' (0xc3) in base64 data"}},
      {"\xFF", {"NONE: Unexpected character '\xFF' (0xff) in base64 data"}},
  });
}

TEST(Base64Reader, RefusesEveryCharacterThatIsNeitherCodeNorWhiteSpace) {
  const std::string accepted = std::string(kAlphabet) + "={ \t\r\n";
  for (int byte = 1; byte < 256; ++byte) {
    const char character = static_cast<char>(byte);
    if (accepted.find(character) != std::string::npos) continue;
    std::array<char, 80> message;
    std::snprintf(message.data(), message.size(),
                  "NONE: Unexpected character '%c' (0x%02x) in base64 data", byte,
                  static_cast<unsigned int>(byte));
    EXPECT_THAT(complaints(std::string(1, character)), ElementsAre(message.data()));
  }
}

}  // namespace
}  // namespace vesk::test
