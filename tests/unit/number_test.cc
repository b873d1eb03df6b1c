#include "lib/support/number.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <utility>

namespace vesk::test {
namespace {

// No call of libc leaves this in `errno`.
constexpr int kUntouched = 12345;

// What reading one text gave.
template <typename Number>
struct Reading {
  Number number;
  std::ptrdiff_t read;  // characters before `end`
  int error;

  bool operator==(const Reading&) const = default;

  friend std::ostream& operator<<(std::ostream& out, const Reading& reading) {
    return out << reading.number << " of " << reading.read << " characters, errno "
               << reading.error;
  }
};

template <typename Number>
using Reader = Number (*)(const char*, const char**);

template <typename Number>
Reading<Number> read(Reader<Number> reader, const char* text) {
  const int before = std::exchange(errno, kUntouched);
  const char* end = nullptr;
  const Number number = reader(text, &end);
  return {number, end - text, std::exchange(errno, before)};
}

template <typename Number>
struct Row {
  std::string text;
  Number number;
};

// The whole text is a number in range.
template <typename Number, std::size_t kCount>
void expect_read(Reader<Number> reader, const Row<Number> (&rows)[kCount]) {
  for (const Row<Number>& row : rows) {
    SCOPED_TRACE(row.text);
    const auto length = static_cast<std::ptrdiff_t>(row.text.size());
    EXPECT_EQ(read(reader, row.text.c_str()), (Reading<Number>{row.number, length, kUntouched}));
  }
}

// The whole text is a number out of range.
template <typename Number, std::size_t kCount>
void expect_out_of_range(Reader<Number> reader, const Row<Number> (&rows)[kCount]) {
  for (const Row<Number>& row : rows) {
    SCOPED_TRACE(row.text);
    const auto length = static_cast<std::ptrdiff_t>(row.text.size());
    EXPECT_EQ(read(reader, row.text.c_str()), (Reading<Number>{row.number, length, ERANGE}));
  }
}

// The four readers, for what is the same of all.
template <typename Traits>
class Number : public testing::Test {};

template <auto kReader>
struct Of;
template <typename Type, Type (*kReader)(const char*, const char**)>
struct Of<kReader> {
  static Reading<Type> read(const char* text) { return test::read<Type>(kReader, text); }
  static Type call(const char* text, const char** end) { return kReader(text, end); }
  static Reading<Type> reading(int number, std::ptrdiff_t length) {
    return {static_cast<Type>(number), length, kUntouched};
  }
};

using Readers =
    testing::Types<Of<text_to_int32>, Of<text_to_uint32>, Of<text_to_int64>, Of<text_to_uint64>>;
TYPED_TEST_SUITE(Number, Readers);

TYPED_TEST(Number, ReadsDigits) {
  EXPECT_EQ(TypeParam::read("0"), TypeParam::reading(0, 1));
  EXPECT_EQ(TypeParam::read("7"), TypeParam::reading(7, 1));
  EXPECT_EQ(TypeParam::read("1234567890"), TypeParam::reading(1234567890, 10));
}

TYPED_TEST(Number, ReadsEveryNumberInBase10) {
  EXPECT_EQ(TypeParam::read("010"), TypeParam::reading(10, 3));
  EXPECT_EQ(TypeParam::read("08"), TypeParam::reading(8, 2));
  EXPECT_EQ(TypeParam::read("0x1F"), TypeParam::reading(0, 1));
  EXPECT_EQ(TypeParam::read("1F"), TypeParam::reading(1, 1));
}

TYPED_TEST(Number, ReadsAnyCountOfLeadingZeros) {
  const std::string text = std::string(100, '0') + "42";
  EXPECT_EQ(TypeParam::read(text.c_str()), TypeParam::reading(42, 102));
  EXPECT_EQ(TypeParam::read(("-" + text).c_str()), TypeParam::reading(-42, 103));
}

TYPED_TEST(Number, SkipsLeadingWhiteSpace) {
  EXPECT_EQ(TypeParam::read(" \t\n\v\f\r42"), TypeParam::reading(42, 8));
  EXPECT_EQ(TypeParam::read("  -42"), TypeParam::reading(-42, 5));
}

TYPED_TEST(Number, AcceptsOneSign) {
  EXPECT_EQ(TypeParam::read("+42"), TypeParam::reading(42, 3));
  EXPECT_EQ(TypeParam::read("-42"), TypeParam::reading(-42, 3));
  EXPECT_EQ(TypeParam::read("-0"), TypeParam::reading(0, 2));
  EXPECT_EQ(TypeParam::read("+0"), TypeParam::reading(0, 2));
}

TYPED_TEST(Number, StopsAtTheFirstCharacterThatIsNoDigit) {
  EXPECT_EQ(TypeParam::read("42 "), TypeParam::reading(42, 2));
  EXPECT_EQ(TypeParam::read("42.5"), TypeParam::reading(42, 2));
  EXPECT_EQ(TypeParam::read("4-2"), TypeParam::reading(4, 1));
  EXPECT_EQ(TypeParam::read("4/"), TypeParam::reading(4, 1));
  EXPECT_EQ(TypeParam::read("4:"), TypeParam::reading(4, 1));
  EXPECT_EQ(TypeParam::read("4\xB2"), TypeParam::reading(4, 1));
  EXPECT_EQ(TypeParam::read("1,000"), TypeParam::reading(1, 1));
}

TYPED_TEST(Number, Is0AndStopsAtTheBeginningWithoutDigits) {
  for (const char* const text : {"", " ", " \t\n", "-", "+", "  -", "+-5", "-+5", "--5", "- 5", "x",
                                 " x5", ".5", "/", ":", "\xA0\x35", "\0015"}) {
    SCOPED_TRACE(text);
    EXPECT_EQ(TypeParam::read(text), TypeParam::reading(0, 0));
  }
}

TYPED_TEST(Number, DoesNotNeedToSayWhereItStopped) {
  EXPECT_EQ(TypeParam::call("42x", nullptr), TypeParam::reading(42, 2).number);
  EXPECT_EQ(TypeParam::call("", nullptr), TypeParam::reading(0, 0).number);
}

TYPED_TEST(Number, ReadsAllDigitsOfANumberOutOfRange) {
  const std::string text = "-" + std::string(200, '9') + "x";
  const auto reading = TypeParam::read(text.c_str());
  EXPECT_EQ(reading.read, 201);
  EXPECT_EQ(reading.error, ERANGE);
}

TYPED_TEST(Number, IsOutOfRangeWhateverErrnoWasBefore) {
  const int before = std::exchange(errno, 0);
  TypeParam::call("99999999999999999999999999", nullptr);
  EXPECT_EQ(std::exchange(errno, before), ERANGE);
}

TEST(Int32, ReadsFromTheLeastToTheGreatest) {
  const Row<int32_t> rows[] = {{"2147483647", INT32_MAX},
                               {"+2147483647", INT32_MAX},
                               {"-2147483648", INT32_MIN},
                               {"-2147483647", -INT32_MAX},
                               {"-1", -1}};
  expect_read<int32_t>(text_to_int32, rows);
}

TEST(Int32, GivesTheNearerBoundWhenOutOfRange) {
  const Row<int32_t> rows[] = {
      {"2147483648", INT32_MAX},
      {"4294967295", INT32_MAX},
      {"4294967296", INT32_MAX},
      {"4294967297", INT32_MAX},
      {"21474836470", INT32_MAX},
      {"18446744073709551616", INT32_MAX},
      {"99999999999999999999999999", INT32_MAX},
      {"-2147483649", INT32_MIN},
      {"-4294967295", INT32_MIN},
      {"-4294967296", INT32_MIN},
      {"-18446744073709551616", INT32_MIN},
      {"-99999999999999999999999999", INT32_MIN},
  };
  expect_out_of_range<int32_t>(text_to_int32, rows);
}

TEST(Uint32, AppliesTheSignModulo2To32) {
  const Row<uint32_t> rows[] = {
      {"4294967295", UINT32_MAX},  {"+4294967295", UINT32_MAX}, {"2147483648", 0x80000000U},
      {"-1", UINT32_MAX},          {"-2", UINT32_MAX - 1},      {"-2147483648", 0x80000000U},
      {"-2147483649", 2147483647}, {"-4294967295", 1},
  };
  expect_read<uint32_t>(text_to_uint32, rows);
}

TEST(Uint32, GivesTheGreatestWhenOutOfRangeWhateverTheSign) {
  const Row<uint32_t> rows[] = {
      {"4294967296", UINT32_MAX},
      {"4294967297", UINT32_MAX},
      {"42949672950", UINT32_MAX},
      {"18446744073709551616", UINT32_MAX},
      {"99999999999999999999999999", UINT32_MAX},
      {"-4294967296", UINT32_MAX},
      {"-4294967297", UINT32_MAX},
      {"-18446744073709551615", UINT32_MAX},
      {"-99999999999999999999999999", UINT32_MAX},
  };
  expect_out_of_range<uint32_t>(text_to_uint32, rows);
}

TEST(Int64, ReadsFromTheLeastToTheGreatest) {
  const Row<int64_t> rows[] = {{"9223372036854775807", INT64_MAX},
                               {"-9223372036854775808", INT64_MIN},
                               {"-9223372036854775807", -INT64_MAX},
                               {"4294967296", 4294967296},
                               {"-4294967296", -4294967296}};
  expect_read<int64_t>(text_to_int64, rows);
}

TEST(Int64, GivesTheNearerBoundWhenOutOfRange) {
  const Row<int64_t> rows[] = {
      {"9223372036854775808", INT64_MAX},   {"18446744073709551615", INT64_MAX},
      {"18446744073709551616", INT64_MAX},  {"92233720368547758070", INT64_MAX},
      {"-9223372036854775809", INT64_MIN},  {"-18446744073709551615", INT64_MIN},
      {"-18446744073709551616", INT64_MIN}, {"-99999999999999999999999999", INT64_MIN},
  };
  expect_out_of_range<int64_t>(text_to_int64, rows);
}

TEST(Uint64, AppliesTheSignModulo2To64) {
  const Row<uint64_t> rows[] = {
      {"18446744073709551615", UINT64_MAX},
      {"18446744073709551610", UINT64_MAX - 5},
      {"4294967296", 4294967296},
      {"-1", UINT64_MAX},
      {"-9223372036854775808", uint64_t{1} << 63},
      {"-18446744073709551615", 1},
  };
  expect_read<uint64_t>(text_to_uint64, rows);
}

TEST(Uint64, GivesTheGreatestWhenOutOfRangeWhateverTheSign) {
  const Row<uint64_t> rows[] = {
      {"18446744073709551616", UINT64_MAX},        {"18446744073709551617", UINT64_MAX},
      {"18446744073709551620", UINT64_MAX},        {"184467440737095516150", UINT64_MAX},
      {"99999999999999999999999999", UINT64_MAX},  {"-18446744073709551616", UINT64_MAX},
      {"-99999999999999999999999999", UINT64_MAX},
  };
  expect_out_of_range<uint64_t>(text_to_uint64, rows);
}

}  // namespace
}  // namespace vesk::test
