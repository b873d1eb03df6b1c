#include "runtime/scan.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "tests/support/allocation_fault.h"
#include "tests/unit/runtime/bytes.h"

// Where messages end, however their bytes come.

namespace vesk::test {
namespace {

using rt::Limits;
using rt::Message;
using rt::Scanner;
using State = Scanner::State;

/// Gives a scanner the message byte by byte, and expects it to be incomplete before the last one.
Scanner fed_byte_by_byte(Message message, const ByteString& bytes) {
  Scanner scanner(message, Limits());
  for (std::size_t come = 0; come < bytes.size(); ++come) {
    EXPECT_EQ(State::kIncomplete, scanner.scan({bytes.data(), come})) << "after " << come;
  }
  scanner.scan(bytes);
  return scanner;
}

void expect_whole(Message message, const ByteString& head, const ByteString& value) {
  const ByteString bytes = head + value;
  const Scanner scanner = fed_byte_by_byte(message, bytes);
  EXPECT_EQ(State::kComplete, scanner.state());
  EXPECT_EQ(bytes.size(), scanner.size());
  EXPECT_EQ(head.size(), scanner.value_at());
}

std::vector<Tree> samples() {
  std::vector<Tree> trees = one_of_each_type();
  trees.insert(trees.end(),
               {object({}), array({}), text(""), hex(""), text("some text"),
                object({{"a", array({array({}), array({text("b"), boolean(1)})})},
                        {"c", object({{"d", object({})}})},
                        {"e", base64("bytes")}}),
                array({object({{"f", any()}}), object({{"f", array({any()})}}), any()})});
  return trees;
}

TEST(Scanner, FindsTheEndOfEverySampleByteByByte) {
  for (const Tree& tree : samples()) {
    SCOPED_TRACE(tree);
    expect_whole(Message::kResponse, response_head(), encoded(tree));
    expect_whole(Message::kRequest, request_head("sys.fd.add"), encoded(tree));
  }
}

TEST(Scanner, TakesARequestWithAnEmptyPath) {
  expect_whole(Message::kRequest, request_head(""), encoded(any()));
}

TEST(Scanner, LeavesWhatFollowsAMessageAlone) {
  const ByteString message = response_head() + encoded(object({{"a", integer(1)}}));
  Scanner scanner(Message::kResponse, Limits());
  EXPECT_EQ(State::kComplete, scanner.scan(message + ByteString(100, std::byte{0xFF})));
  EXPECT_EQ(message.size(), scanner.size());
}

TEST(Scanner, StaysWithItsVerdict) {
  const ByteString whole = response_head() + encoded(any());
  Scanner complete(Message::kResponse, Limits());
  complete.scan(whole);
  EXPECT_EQ(State::kComplete, complete.scan(whole + whole));
  EXPECT_EQ(whole.size(), complete.size());
  Scanner refused(Message::kResponse, Limits());
  refused.scan(ByteString(response_head().number(12)));
  EXPECT_EQ(State::kRefused, refused.scan(whole));
}

TEST(Scanner, TakesNoMemory) {
  const ByteString bytes = response_head() + encoded(samples().back());
  const AllocationLog log;
  Scanner scanner(Message::kResponse, Limits());
  scanner.scan(bytes);
  EXPECT_EQ(0U, log.count());
}

TEST(Scanner, TakesTextsBeforeTheyAreAllThere) {
  const ByteString bytes = response_head().number(VK_TYPE_STRING).text("twelve bytes");
  Scanner scanner(Message::kResponse, Limits());
  EXPECT_EQ(State::kIncomplete, scanner.scan({bytes.data(), bytes.size() - 5}));
  EXPECT_EQ(State::kIncomplete, scanner.scan({bytes.data(), bytes.size() - 1}));
  EXPECT_EQ(State::kComplete, scanner.scan(bytes));
}

// What a member whose name is empty does to a reader, which the scanner is too.
TEST(Scanner, TakesAnEmptyNameForTheEndOfItsObject) {
  const Fields head = response_head().number(VK_TYPE_OBJECT).number(0);
  const ByteString bytes = Fields(head).number(VK_TYPE_ANY).number(0);
  Scanner scanner(Message::kResponse, Limits());
  EXPECT_EQ(State::kComplete, scanner.scan(bytes));
  EXPECT_EQ(ByteString(head).size(), scanner.size());
}

class RandomMessages : public testing::Test {
 protected:
  uint32_t below(uint32_t bound) {
    return std::uniform_int_distribution<uint32_t>(0, bound - 1)(source_);
  }

  Tree tree(uint32_t depth) {
    Tree made;
    switch (below(depth == 0 ? 4 : 8)) {
      case 0:
        return any();
      case 1:
        return text(std::string(below(40), 'x'));
      case 2:
        return hex(std::string(below(40), '\0'));
      case 3:
        return unsigned_long(below(1000));
      case 4:
      case 5:
        made.type = VK_TYPE_ARRAY;
        for (uint32_t left = below(5); left != 0; --left) made.items.push_back(tree(depth - 1));
        return made;
      default:
        made = object({});
        for (uint32_t left = below(5); left != 0; --left) {
          made.items.push_back(tree(depth - 1));
          made.items.back().name = "m" + std::to_string(left);
        }
        return made;
    }
  }

  std::mt19937 source_{20};
};

TEST_F(RandomMessages, EndWhereTheEncoderEndedThem) {
  for (int round = 0; round < 2000; ++round) {
    const ByteString bytes = response_head() + encoded(tree(6));
    Scanner scanner(Message::kResponse, Limits());
    for (std::size_t come = 0; come < bytes.size(); come += 1 + below(30)) {
      ASSERT_EQ(State::kIncomplete, scanner.scan({bytes.data(), come}));
    }
    ASSERT_EQ(State::kComplete, scanner.scan(bytes));
    ASSERT_EQ(bytes.size(), scanner.size());
  }
}

// Of bytes without sense there are two things to say: no byte beyond them is read, which the
// sanitizers see to, and what is complete can be decoded to its end.
TEST_F(RandomMessages, OfGarbageAreDecodedToTheEndThatWasFound) {
  int complete = 0;
  for (int round = 0; round < 20000; ++round) {
    Fields fields = response_head();
    for (uint32_t left = 1 + below(12); left != 0; --left) {
      fields.number(below(4) == 0 ? below(UINT32_MAX) : below(13));
    }
    const ByteString bytes = fields;
    Scanner scanner(Message::kResponse, Limits());
    if (scanner.scan(bytes) != State::kComplete) continue;
    ++complete;
    wire::Bytes reader({bytes.data(), scanner.size()});
    const Value value = new_value();
    vk_ipc_response response{0, value.get()};
    ASSERT_EQ(VK_EOK, wire::Decoder(reader).get(response));
    ASSERT_TRUE(reader.rest().empty());
  }
  EXPECT_GT(complete, 1000);
}

}  // namespace
}  // namespace vesk::test
