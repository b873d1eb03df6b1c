#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "runtime/scan.h"
#include "tests/unit/runtime/bytes.h"

// What messages may be, at the limits and beyond.

namespace vesk::test {
namespace {

using rt::Limits;
using rt::Message;
using rt::Scanner;
using State = Scanner::State;

struct Case {
  const char* what;
  Message message;
  uint32_t Limits::*limit;
  uint32_t allowed;
  ByteString at;       // a message that just may be
  ByteString beyond;   // one that may not
  const char* broken;  // the limit that it breaks, and the figure
  uint64_t figure;
};

Fields member(const Fields& value = Fields().number(VK_TYPE_ANY)) {
  return Fields().text("m").times(1, value);
}

Fields object_of(uint32_t members, const Fields& value = Fields().number(VK_TYPE_ANY)) {
  return Fields().number(VK_TYPE_OBJECT).times(members, member(value)).number(0);
}

Fields array_of(uint32_t elements, const Fields& value = Fields().number(VK_TYPE_ANY)) {
  return Fields().number(VK_TYPE_ARRAY).number(elements).times(elements, value);
}

Fields response(const Fields& value) { return response_head().times(1, value); }

Fields text_of(std::size_t size, uint32_t type = VK_TYPE_STRING) {
  return Fields().number(type).text(std::string(size, 'x'));
}

// So many arrays within each other.
Fields nested(uint32_t depth) {
  Fields value = array_of(0);
  while (--depth != 0) value = array_of(1, value);
  return value;
}

const std::vector<Case>& cases() {
  static const std::vector<Case> all = {
      {"message", Message::kResponse, &Limits::message, 24, response(text_of(12)),
       response(text_of(13)), "message", 25},
      {"message of fields", Message::kResponse, &Limits::message, 24, response(array_of(3)),
       response(array_of(4)), "message", 28},
      {"depth of arrays", Message::kResponse, &Limits::depth, 3, response(nested(3)),
       response(nested(4)), "depth", 4},
      {"depth of objects", Message::kResponse, &Limits::depth, 2, response(object_of(1)),
       response(object_of(1, object_of(1))), "depth", 3},
      {"depth of leaves", Message::kResponse, &Limits::depth, 1, response(text_of(1)),
       response(array_of(1)), "depth", 2},
      {"nodes of an object", Message::kResponse, &Limits::nodes, 4, response(object_of(3)),
       response(object_of(4)), "nodes", 5},
      {"nodes of an array", Message::kResponse, &Limits::nodes, 4, response(array_of(3)),
       response(array_of(9)), "nodes", 10},
      {"members, though of one name", Message::kResponse, &Limits::members, 3,
       response(object_of(3)), response(object_of(4)), "members", 4},
      {"members of each object", Message::kResponse, &Limits::members, 2,
       response(array_of(3, object_of(2))), response(object_of(1, object_of(3))), "members", 3},
      {"pairs", Message::kResponse, &Limits::pairs, 6, response(object_of(4)),
       response(object_of(5)), "pairs", 10},
      {"pairs of all objects", Message::kResponse, &Limits::pairs, 6,
       response(array_of(2, object_of(3))), response(array_of(3, object_of(3))), "pairs", 7},
      {"text", Message::kResponse, &Limits::text, 5, response(text_of(5)), response(text_of(6)),
       "text", 6},
      {"base64", Message::kResponse, &Limits::text, 5, response(text_of(5, VK_TYPE_BASE64)),
       response(text_of(6, VK_TYPE_BASE64)), "text", 6},
      {"hexBinary", Message::kResponse, &Limits::text, 5, response(text_of(5, VK_TYPE_HEXBINARY)),
       response(text_of(6, VK_TYPE_HEXBINARY)), "text", 6},
      {"path", Message::kRequest, &Limits::path, 5, request_head("abcde").number(0),
       request_head("abcdef").number(0), "path", 6},
      {"name", Message::kResponse, &Limits::name, 5,
       response_head().number(VK_TYPE_OBJECT).text("abcde").number(0).number(0),
       response_head().number(VK_TYPE_OBJECT).text("abcdef").number(0).number(0), "name", 6},
  };
  return all;
}

Scanner scanned(Message message, const Limits& limits, const ByteString& bytes) {
  Scanner scanner(message, limits);
  scanner.scan(bytes);
  return scanner;
}

void expect_refused(const Scanner& scanner, const char* limit, uint64_t allowed, uint64_t found) {
  ASSERT_EQ(State::kRefused, scanner.state());
  EXPECT_STREQ(limit, scanner.refusal().limit);
  EXPECT_EQ(allowed, scanner.refusal().allowed);
  EXPECT_EQ(found, scanner.refusal().found);
}

TEST(ScannerLimits, AllowWhatIsJustWithinThem) {
  for (const Case& row : cases()) {
    SCOPED_TRACE(row.what);
    Limits limits;
    limits.*row.limit = row.allowed;
    const Scanner scanner = scanned(row.message, limits, row.at);
    EXPECT_EQ(State::kComplete, scanner.state());
    EXPECT_EQ(row.at.size(), scanner.size());
  }
}

TEST(ScannerLimits, RefuseWhatIsBeyondWithItsFigure) {
  for (const Case& row : cases()) {
    SCOPED_TRACE(row.what);
    Limits limits;
    limits.*row.limit = row.allowed;
    expect_refused(scanned(row.message, limits, row.beyond), row.broken, row.allowed, row.figure);
  }
}

// So that nobody keeps bytes of what is going to be refused.
TEST(ScannerLimits, RefuseALengthBeforeItsBytesCome) {
  constexpr uint32_t kHuge = 4000000000;
  const auto promised = [](Fields fields) { return fields.number(kHuge); };
  Limits limits;
  expect_refused(scanned(Message::kRequest, limits, promised(Fields().number(0))), "path", 4352,
                 kHuge);
  expect_refused(
      scanned(Message::kResponse, limits, promised(response_head().number(VK_TYPE_OBJECT))), "name",
      256, kHuge);
  for (const vk_type type : {VK_TYPE_STRING, VK_TYPE_BASE64, VK_TYPE_HEXBINARY}) {
    expect_refused(scanned(Message::kResponse, limits, promised(response_head().number(type))),
                   "text", 262144, kHuge);
  }
  expect_refused(
      scanned(Message::kResponse, limits, promised(response_head().number(VK_TYPE_ARRAY))), "nodes",
      32768, uint64_t{kHuge} + 1);
  limits = Limits::widest();
  expect_refused(scanned(Message::kResponse, limits,
                         Fields(response_head()).number(VK_TYPE_STRING).number(UINT32_MAX)),
                 "message", UINT32_MAX, uint64_t{UINT32_MAX} + 12);
}

TEST(ScannerLimits, HaveTheirDefaults) {
  const Limits limits;
  EXPECT_EQ(1048576U, limits.message);
  EXPECT_EQ(32U, limits.depth);
  EXPECT_EQ(32768U, limits.nodes);
  EXPECT_EQ(4096U, limits.members);
  EXPECT_EQ(8388608U, limits.pairs);
  EXPECT_EQ(262144U, limits.text);
  EXPECT_EQ(4352U, limits.path);
  EXPECT_EQ(256U, limits.name);
}

TEST(ScannerLimits, OfDepthEndWhereTheScannersOwnDoes) {
  EXPECT_EQ(State::kComplete,
            scanned(Message::kResponse, Limits::widest(), response(nested(256))).state());
  Limits limits;
  limits.depth = 1000;
  expect_refused(scanned(Message::kResponse, limits, response(nested(257))), "depth", 256, 257);
}

TEST(ScannerLimits, KnowTheTypes) {
  expect_refused(scanned(Message::kResponse, Limits(), response_head().number(12)), "type", 11, 12);
  expect_refused(scanned(Message::kResponse, Limits(),
                         response_head().number(VK_TYPE_ARRAY).number(2).number(UINT32_MAX)),
                 "type", 11, UINT32_MAX);
}

TEST(ScannerLimits, RefuseANulInAPathANameOrAText) {
  using std::string_view_literals::operator""sv;
  expect_refused(scanned(Message::kRequest, Limits(), request_head("ab\0c"sv).number(0)), "NUL", 0,
                 10);
  expect_refused(scanned(Message::kResponse, Limits(),
                         response_head().number(VK_TYPE_OBJECT).text("\0"sv).number(0).number(0)),
                 "NUL", 0, 12);
  expect_refused(scanned(Message::kResponse, Limits(),
                         response_head().number(VK_TYPE_STRING).text("text\0"sv)),
                 "NUL", 0, 16);
}

TEST(ScannerLimits, SeeANulInAPieceOfAText) {
  const ByteString bytes =
      response_head().number(VK_TYPE_STRING).text(std::string_view("abc\0defg", 8));
  Scanner scanner(Message::kResponse, Limits());
  EXPECT_EQ(State::kIncomplete, scanner.scan({bytes.data(), 15}));
  EXPECT_EQ(State::kRefused, scanner.scan({bytes.data(), 16}));
}

TEST(ScannerLimits, AllowANulInBytesAndNumbers) {
  for (const Tree& tree : {base64(std::string(4, '\0')), hex(std::string(4, '\0')), boolean(0),
                           integer(0), unsigned_long(0)}) {
    EXPECT_EQ(State::kComplete,
              scanned(Message::kResponse, Limits(), response_head() + encoded(tree)).state());
  }
}

}  // namespace
}  // namespace vesk::test
