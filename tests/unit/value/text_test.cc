#include "vesk/value/text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/binaries.h"
#include "tests/support/datetimes.h"
#include "tests/support/heaps.h"
#include "tests/support/leaves.h"
#include "tests/support/log_spy.h"
#include "tests/support/trees.h"
#include "tests/support/values.h"
#include "tests/unit/value/leaf_reading.h"
#include "vesk/value/attribute.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Every type of leaf

class LeafText : public testing::TestWithParam<LeafKind> {
 protected:
  const vk_type type_ = GetParam().sample.type;
};

INSTANTIATE_TEST_SUITE_P(Leaves, LeafText, testing::ValuesIn(leaf_kinds()), name_of_kind);

TEST_P(LeafText, MakesAFreshNodeTheLeafThatItDenotes) {
  const LogSpy log;
  const Value node = new_value();
  EXPECT_EQ(vk_value_set_from_string(node.get(), type_, GetParam().text), VK_EOK);
  EXPECT_EQ(tree_of(*node), GetParam().sample);
  EXPECT_THAT(log.calls(), IsEmpty());
}

TEST_P(LeafText, KeepsNameNumberPolicyAndHeap) {
  const Heap heap(vk_mm_heap_new("leaves"));
  const Value node = new_value(heap.get());
  ASSERT_EQ(vk_value_set_id(node.get(), "7"), VK_EOK);
  node->index = 7;
  node->policy = VK_POLICY_INDEXED;
  EXPECT_EQ(vk_value_set_from_string(node.get(), type_, GetParam().text), VK_EOK);
  EXPECT_STREQ(node->id, "7");
  EXPECT_EQ(node->index, 7U);
  EXPECT_EQ(node->policy, VK_POLICY_INDEXED);
  EXPECT_THAT(heaps_of(*node), ElementsAre(heap.get()));
}

TEST_P(LeafText, MayBeTheNodesOwn) {
  const Value node = planted(text(GetParam().text));
  char* const own = node->payload.text;
  EXPECT_EQ(vk_value_set_from_string(node.get(), type_, own), VK_EOK);
  EXPECT_EQ(tree_of(*node), GetParam().sample);
  if (type_ == VK_TYPE_BASE64 || type_ == VK_TYPE_HEXBINARY) vk_free(own);
}

TEST_P(LeafText, IsReadWhateverErrnoWasBefore) {
  const Value node = new_value();
  const int before = std::exchange(errno, ERANGE);
  EXPECT_EQ(vk_value_set_from_string(node.get(), type_, GetParam().text), VK_EOK);
  errno = before;
}

// Whether a text that is accepted clears the node first

class ClearingLeafText : public testing::TestWithParam<LeafKind> {};

std::vector<LeafKind> clearing_kinds() {
  std::vector<LeafKind> kinds = scalar_kinds();
  kinds.push_back(block_kinds().front());
  return kinds;
}

INSTANTIATE_TEST_SUITE_P(Leaves, ClearingLeafText, testing::ValuesIn(clearing_kinds()),
                         name_of_kind);

TEST_P(ClearingLeafText, ReplacesWhateverTheNodeHeldAndReleasesIt) {
  for (const Tree& before : all_contents()) {
    SCOPED_TRACE(testing::Message() << before);
    const std::size_t blocks = live_blocks();
    const Value node = planted(before);
    EXPECT_EQ(vk_value_set_from_string(node.get(), GetParam().sample.type, GetParam().text),
              VK_EOK);
    EXPECT_EQ(tree_of(*node), GetParam().sample);
    EXPECT_EQ(live_blocks(), blocks + (GetParam().bytes == 0 ? 1 : 2));
  }
}

TEST(ClearingKinds, AreAllButThoseOfBytes) {
  EXPECT_EQ(clearing_kinds().back().sample.type, VK_TYPE_STRING);
  EXPECT_EQ(clearing_kinds().size() + 2, leaf_kinds().size());
}

class BinaryLeafText : public testing::TestWithParam<LeafKind> {
 protected:
  vk_error read_into(const Value& node) const {
    return vk_value_set_from_string(node.get(), GetParam().sample.type, GetParam().text);
  }
};

INSTANTIATE_TEST_SUITE_P(Leaves, BinaryLeafText,
                         testing::Values(block_kinds().at(1), block_kinds().at(2)), name_of_kind);

TEST_P(BinaryLeafText, DoesNotReleaseAStringThatTheNodeHeld) {
  const Value node = planted(text("old text"));
  char* const old = node->payload.text;
  const std::size_t blocks = live_blocks();
  EXPECT_EQ(read_into(node), VK_EOK);
  EXPECT_EQ(tree_of(*node), GetParam().sample);
  EXPECT_EQ(live_blocks(), blocks + 1);
  EXPECT_STREQ(old, "old text");
  vk_free(old);
}

TEST_P(BinaryLeafText, DoesNotReleaseBytesThatTheNodeHeld) {
  for (const Tree& before : {hex("old"), base64("old")}) {
    const Value node = planted(before);
    vk_binary old = node->payload.binary;
    EXPECT_EQ(read_into(node), VK_EOK);
    EXPECT_EQ(tree_of(*node), GetParam().sample);
    EXPECT_EQ(content(old), "old");
    vk_binary_destroy(&old);
  }
}

TEST_P(BinaryLeafText, DoesNotReleaseMembersThatTheNodeHeld) {
  for (const Tree& before : {object({{"A", text("a")}}), array({text("a")})}) {
    const Value node = planted(before);
    const Value member(node->payload.items.first);
    EXPECT_EQ(read_into(node), VK_EOK);
    EXPECT_EQ(tree_of(*node), GetParam().sample);
    EXPECT_EQ(tree_of(*member), text("a"));
  }
}

TEST_P(BinaryLeafText, LeavesTheAttributes) {
  const Value node = planted(any().with({{"Error", integer(9005)}, {"type", text("t")}}));
  const vk_value* const first = vk_value_attribute_first(node.get());
  EXPECT_EQ(read_into(node), VK_EOK);
  EXPECT_EQ(tree_of(*node),
            GetParam().sample.with({{"Error", integer(9005)}, {"type", text("t")}}));
  EXPECT_EQ(vk_value_attribute_first(node.get()), first);
}

TEST_P(BinaryLeafText, GivesTheNodeItsBytesToRelease) {
  const std::size_t blocks = live_blocks();
  const Value node = new_value();
  EXPECT_EQ(read_into(node), VK_EOK);
  EXPECT_EQ(live_blocks(), blocks + 2);
  vk_value_clear(node.get());
  EXPECT_EQ(live_blocks(), blocks + 1);
}

// Booleans

TEST(BooleanText, IsOneOfFourWords) {
  expect_read("true", boolean(1));
  expect_read("1", boolean(1));
  expect_read("false", boolean(0));
  expect_read("0", boolean(0));
}

TEST(BooleanText, IsNoOtherWord) {
  for (const char* const word :
       {"",  " ",   "TRUE",  "True", "tRUE",  "FALSE", "False",  "yes",    "on",  "no", "off", "t",
        "f", "tru", "truee", "fals", " true", "true ", "\ttrue", "true\n", "01",  "00", "10",  "11",
        "2", "-1",  "+1",    "-0",   "1 ",    " 0",    "0x1",    "true1",  "null"}) {
    expect_refused(word, VK_TYPE_BOOLEAN, kRefused);
  }
}

// Strings

TEST(StringText, IsTakenAsItIs) {
  for (const std::string& any_text : {std::string(), std::string(" "), std::string("  12 \n"),
                                      std::string("\"quoted\" & <marked>"), std::string("100%s"),
                                      every_byte().substr(1), std::string(100000, 'x')}) {
    expect_read(any_text, text(any_text));
  }
}

// Bytes

TEST(Base64Text, MayBeEmptyOrBroken) {
  for (const auto& [text, bytes] : {std::pair{"", ""}, {"TQ==", "M"}, {"T Q =\n=\t", "M"}}) {
    const Value node = new_value();
    EXPECT_EQ(read(node.get(), VK_TYPE_BASE64, text), kAccepted);
    EXPECT_EQ(tree_of(*node), base64(bytes));
  }
}

TEST(Base64Text, IsRefusedAsTheDecoderRefusesIt) {
  for (const Tree& before : all_contents()) {
    const LogSpy log;
    const Value node = planted(before);
    EXPECT_EQ(vk_value_set_from_string(node.get(), VK_TYPE_BASE64, "TWFuTQ="), VK_EINVAL);
    EXPECT_EQ(tree_of(*node), before);
    EXPECT_THAT(log.lines(),
                ElementsAre(LogLine{LOG_ERR, "NONE: Imcomplete last base64 block, len 3"}));
  }
}

TEST(HexText, IsAnyEvenNumberOfDigits) {
  for (const auto& [text, bytes] : {std::pair{"", ""}, {"0a1B", "\x0A\x1B"}}) {
    const Value node = new_value();
    EXPECT_EQ(read(node.get(), VK_TYPE_HEXBINARY, text), kAccepted);
    EXPECT_EQ(tree_of(*node), hex(bytes));
  }
}

TEST(HexText, IsRefusedAsTheDecoderRefusesIt) {
  for (const char* const word : {"0", "0a1", "0a 1b", "0x0a", "xyz", "4D616E "}) {
    expect_refused(word, VK_TYPE_HEXBINARY, kRefused);
  }
}

// Times

TEST(DatetimeText, IsReadAsATime) {
  struct Row {
    const char* text;
    vk_datetime datetime;
  };
  for (const Row& row :
       {Row{"2024-03-01T12:00:00Z", absolute(1709294400)},
        Row{"2024-03-01T12:00:00+05:00", absolute(1709294400)},
        Row{"2024-03-01T12:00:00.5Z", absolute(1709294400, 500000)},
        Row{"0001-01-01T00:01:40", relative(100)}, Row{"0001-01-01T00:00:00Z", unknown()}}) {
    SCOPED_TRACE(row.text);
    const Value node = planted(text("before").with({{"Error", integer(1)}}));
    EXPECT_EQ(vk_value_set_from_string(node.get(), VK_TYPE_DATETIME, row.text), VK_EOK);
    EXPECT_EQ(tree_of(*node), date(row.datetime));
  }
}

TEST(DatetimeText, IsAcceptedWithTheReadersWarning) {
  const LogSpy log;
  const Value node = new_value();
  EXPECT_EQ(vk_value_set_from_string(node.get(), VK_TYPE_DATETIME, "2024-03-01T12:00:00"), VK_EOK);
  EXPECT_EQ(tree_of(*node), date(absolute(1709294400)));
  EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_WARNING,
                                               "NONE: Datetime value '2024-03-01T12:00:00' does "
                                               "not have timezone suffix"}));
}

TEST(DatetimeText, IsRefusedAsTheReaderRefusesIt) {
  for (const char* const word : {"", "garbage", "2024-03-01", "1969-12-31T23:59:59Z"}) {
    SCOPED_TRACE(word);
    for (const Tree& before : all_contents()) {
      const Value node = planted(before);
      EXPECT_EQ(vk_value_set_from_string(node.get(), VK_TYPE_DATETIME, word), VK_EINVAL);
      EXPECT_EQ(tree_of(*node), before);
    }
  }
}

TEST(DatetimeText, BeginsWithErrnoZeroToo) {
  expect_refused("garbage", VK_TYPE_DATETIME, kRefused);
}

// What is no leaf

TEST(TextOfNoLeaf, IsRefusedWhateverItSays) {
  for (const vk_type type : {VK_TYPE_ANY, VK_TYPE_OBJECT, VK_TYPE_ARRAY, VK_TYPE_UNSIGNEDLONG + 1,
                             uint32_t{13}, uint32_t{0x107}, UINT32_MAX}) {
    for (const char* const word : {"", "0", "1", "NIL", "text"}) {
      expect_refused(word, type, kRefused);
    }
  }
}

// Failing memory

class BlockLeafText : public testing::TestWithParam<LeafKind> {};

INSTANTIATE_TEST_SUITE_P(Leaves, BlockLeafText, testing::ValuesIn(block_kinds()), name_of_kind);

TEST_P(BlockLeafText, LeavesTheNodeAsItWasWhenMemoryIsOut) {
  // Base64 takes room for a block more than its text has.
  const std::size_t size = GetParam().bytes + (GetParam().sample.type == VK_TYPE_BASE64 ? 1 : 0);
  for (const Tree& before : {any(), any().with({{"Error", integer(9005)}})}) {
    for_every_allocation_fault([&](AllocationFault& fault) {
      const LogSpy log;
      const Value node = planted(before);
      const vk_error result = fault.during([&] {
        return vk_value_set_from_string(node.get(), GetParam().sample.type, GetParam().text);
      });
      if (!fault.struck()) {
        EXPECT_EQ(result, VK_EOK);
        EXPECT_EQ(without_attributes(tree_of(*node)), GetParam().sample);
        return;
      }
      EXPECT_EQ(result, VK_ENOMEM);
      EXPECT_EQ(tree_of(*node), before);
      EXPECT_THAT(log.lines(), ElementsAre(allocation_failure(size, "default")));
    });
  }
}

TEST_P(BlockLeafText, KeepsWhatTheNodeHeldWhenMemoryIsOut) {
  const LogSpy log;
  for (const Tree& before : all_contents()) {
    const Value node = planted(before);
    AllocationFault fault{1, AllocationFault::Extent::kAllFromThere};
    EXPECT_EQ(fault.during([&] {
      return vk_value_set_from_string(node.get(), GetParam().sample.type, GetParam().text);
    }),
              VK_ENOMEM);
    EXPECT_EQ(tree_of(*node), before);
  }
}

TEST(LeafTexts, OfNumbersFlagsAndTimesTakeNoMemory) {
  for (const LeafKind& kind : scalar_kinds()) {
    SCOPED_TRACE(kind.name);
    const Value node = new_value();
    const AllocationLog allocations;
    EXPECT_EQ(vk_value_set_from_string(node.get(), kind.sample.type, kind.text), VK_EOK);
    EXPECT_EQ(allocations.count(), 0U);
  }
}

}  // namespace
}  // namespace vesk::test
