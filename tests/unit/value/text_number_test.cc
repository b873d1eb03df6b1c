#include "vesk/value/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/trees.h"
#include "tests/unit/value/leaf_reading.h"

namespace vesk::test {
namespace {

// Numbers from texts. Every type reads the same texts on every machine, whatever its long has.

using std::string_literals::operator""s;

// A type of number, with the ends of its range and the first texts beyond them.
struct NumberKind {
  const char* name;
  Tree (*of)(int number);
  bool is_signed;
  std::vector<std::pair<std::string, Tree>> ends;
  std::vector<std::string> beyond;
};

std::ostream& operator<<(std::ostream& out, const NumberKind& kind) { return out << kind.name; }

const NumberKind kNumberKinds[] = {
    {"Int",
     [](int number) { return integer(number); },
     true,
     {{"2147483647", integer(INT32_MAX)},
      {"+2147483647", integer(INT32_MAX)},
      {"-2147483648", integer(INT32_MIN)}},
     {"2147483648", "-2147483649", "4294967295", "4294967296", "4294967297", "-4294967296",
      "9223372036854775807", "9223372036854775808", "-9223372036854775809",
      "18446744073709551616"}},
    {"UnsignedInt",
     [](int number) { return unsigned_integer(static_cast<uint32_t>(number)); },
     false,
     {{"2147483648", unsigned_integer(0x80000000)},
      {"4294967295", unsigned_integer(UINT32_MAX)},
      {"+4294967295", unsigned_integer(UINT32_MAX)}},
     {"4294967296", "4294967297", "42949672950", "9223372036854775808", "18446744073709551615",
      "18446744073709551616"}},
    {"Long",
     [](int number) { return long_integer(number); },
     true,
     {{"2147483648", long_integer(2147483648)},
      {"-4294967297", long_integer(-4294967297)},
      {"9223372036854775807", long_integer(INT64_MAX)},
      {"+9223372036854775807", long_integer(INT64_MAX)},
      {"-9223372036854775808", long_integer(INT64_MIN)}},
     {"9223372036854775808", "-9223372036854775809", "18446744073709551615", "18446744073709551616",
      "-18446744073709551616"}},
    {"UnsignedLong",
     [](int number) { return unsigned_long(static_cast<uint64_t>(number)); },
     false,
     {{"4294967296", unsigned_long(4294967296)},
      {"9223372036854775808", unsigned_long(UINT64_C(1) << 63)},
      {"18446744073709551615", unsigned_long(UINT64_MAX)},
      {"+18446744073709551615", unsigned_long(UINT64_MAX)}},
     {"18446744073709551616", "18446744073709551617", "184467440737095516150"}},
};

class NumberText : public testing::TestWithParam<NumberKind> {
 protected:
  static void expect(const std::string& text, int number) {
    expect_read(text, GetParam().of(number));
  }
  static void expect_no_number(const std::string& text) {
    expect_refused(text, GetParam().of(0).type, kRefused);
  }
  static void expect_out_of_range(const std::string& text) {
    expect_refused(text, GetParam().of(0).type, kOutOfRange);
  }
};

INSTANTIATE_TEST_SUITE_P(Types, NumberText, testing::ValuesIn(kNumberKinds),
                         [](const auto& kind) { return kind.param.name; });

class SignedNumberText : public NumberText {};

INSTANTIATE_TEST_SUITE_P(Types, SignedNumberText, testing::Values(kNumberKinds[0], kNumberKinds[2]),
                         [](const auto& kind) { return kind.param.name; });

class UnsignedNumberText : public NumberText {};

INSTANTIATE_TEST_SUITE_P(Types, UnsignedNumberText,
                         testing::Values(kNumberKinds[1], kNumberKinds[3]),
                         [](const auto& kind) { return kind.param.name; });

TEST_P(NumberText, IsDecimal) {
  expect("0", 0);
  expect("12", 12);
  expect("2147483647", 2147483647);
  expect("010", 10);
  expect("0"s + std::string(100, '0') + "12", 12);
}

TEST_P(NumberText, MayBeEmptyAndIsZeroThen) { expect("", 0); }

TEST_P(NumberText, MayBeginWithWhiteSpace) {
  expect(" 12", 12);
  expect(" \t\n\v\f\r12", 12);
}

TEST_P(NumberText, MayHaveAPlus) {
  expect("+12", 12);
  expect("+0", 0);
  expect("  +12", 12);
}

TEST_P(NumberText, HasNothingBehindItsDigits) {
  for (const char* const text : {"12abc", "12 ", "12\n", "1 2", "1.5", "12.", "1e3", "1,000",
                                 "0x10", "12L", "12u", "1_000", "12\xB2"}) {
    expect_no_number(text);
  }
}

TEST_P(NumberText, HasDigitsUnlessItIsEmpty) {
  for (const char* const text :
       {" ", "\t\n", "+", " +", "++1", "+ 1", "abc", "x12", ".5", "\xA0"}) {
    expect_no_number(text);
  }
}

TEST_P(NumberText, ReachesTheEndsOfItsRange) {
  for (const auto& [text, tree] : GetParam().ends) expect_read(text, tree);
}

TEST_P(NumberText, IsRefusedBeyondTheEndsOfItsRange) {
  for (const std::string& text : GetParam().beyond) expect_out_of_range(text);
  expect_out_of_range(std::string(200, '9'));
  expect_out_of_range("  +" + std::string(200, '9'));
}

TEST_P(NumberText, IsRefusedOutOfRangeWhateverFollows) {
  expect_out_of_range(std::string(200, '9') + "x");
}

TEST_P(SignedNumberText, MayHaveAMinus) {
  expect("-12", -12);
  expect(" -12", -12);
  expect("-0", 0);
}

TEST_P(SignedNumberText, HasOneSignBeforeItsDigits) {
  for (const char* const text : {"-", " -", "--1", "+-1", "-+1", "- 1", "1-", "1-2"}) {
    expect_no_number(text);
  }
  expect_out_of_range("-" + std::string(200, '9'));
}

TEST_P(UnsignedNumberText, HasNoMinusAnywhere) {
  for (const char* const text : {"-1", "-0", " -1", "-", "--1", "+-1", "1-", "1-2", "12 -", "x-",
                                 "-4294967295", "-18446744073709551615"}) {
    expect_no_number(text);
  }
}

TEST_P(UnsignedNumberText, IsRefusedForAMinusBeforeItIsConverted) {
  expect_no_number("-" + std::string(200, '9'));
  expect_no_number(std::string(200, '9') + "-");
}

}  // namespace
}  // namespace vesk::test
