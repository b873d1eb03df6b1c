#include "vesk/value/writer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/binaries.h"
#include "tests/support/datetimes.h"
#include "tests/support/leaves.h"
#include "tests/support/libc_fakes.h"
#include "tests/support/log_spy.h"
#include "tests/support/text_stream.h"
#include "tests/support/trees.h"
#include "tests/support/values.h"
#include "vesk/value/text.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A stream that notes which of its operations are called, and with what.
class OperationSpy {
 public:
  OperationSpy() { vk_stream_init(&record_.stream, &write, &puts); }

  /// Makes every operation give a code.
  void answer(vk_error result) { record_.result = result; }

  /// The calls, as "write TEXT" and "puts TEXT".
  const std::vector<std::string>& calls() const { return record_.calls; }

  vk_stream* get() { return &record_.stream; }
  vk_error& error() { return record_.stream.error; }

 private:
  struct Record {
    vk_stream stream;  // first, so that the operations find the rest from its address
    vk_error result = VK_EOK;
    std::vector<std::string> calls;
  };

  static vk_error note(vk_stream* stream, const char* operation, std::string_view text) {
    const Unwatched unwatched;
    Record& record = *reinterpret_cast<Record*>(stream);
    record.calls.push_back(operation + std::string(text));
    return record.result;
  }
  static vk_error write(vk_stream* stream, const void* bytes, uint32_t count) {
    return note(stream, "write ", {static_cast<const char*>(bytes), count});
  }
  static vk_error puts(vk_stream* stream, const char* text) { return note(stream, "puts ", text); }

  Record record_;
};

// The operations that write a tree.
std::vector<std::string> operations_for(const Tree& tree) {
  OperationSpy stream;
  vk_value_write(stream.get(), planted(tree).get());
  EXPECT_EQ(stream.error(), VK_EOK);
  return stream.calls();
}

std::string written(const Tree& tree) {
  TextStream stream;
  vk_value_write(stream.get(), planted(tree).get());
  EXPECT_EQ(stream.error(), VK_EOK);
  return stream.text();
}

// Every type that is written

std::vector<Tree> what_is_written() {
  std::vector<Tree> trees = one_of_each_leaf();
  trees.push_back(any());
  return trees;
}

TEST(ValueWriter, WritesALeafAsCwmpCarriesIt) {
  for (const LeafKind& kind : leaf_kinds()) EXPECT_EQ(written(kind.sample), kind.text);
}

TEST(ValueWriter, CallsAStreamThatHasFailedForNoType) {
  for (const Tree& tree : what_is_written()) {
    SCOPED_TRACE(testing::Message() << tree);
    OperationSpy stream;
    stream.error() = VK_EBUSY;
    vk_value_write(stream.get(), planted(tree).get());
    EXPECT_THAT(stream.calls(), IsEmpty());
    EXPECT_EQ(stream.error(), VK_EBUSY);
  }
}

TEST(ValueWriter, LeavesTheFailureOfAnOperationInTheStream) {
  for (const Tree& tree : what_is_written()) {
    SCOPED_TRACE(testing::Message() << tree);
    OperationSpy stream;
    stream.answer(VK_EIO);
    vk_value_write(stream.get(), planted(tree).get());
    EXPECT_EQ(stream.calls().size(), 1U);
    EXPECT_EQ(stream.error(), VK_EIO);
  }
}

TEST(ValueWriter, LeavesTheValueAsItIs) {
  for (const Tree& tree : one_of_each_type()) {
    TextStream stream;
    const Value node = planted(tree);
    vk_value_write(stream.get(), node.get());
    EXPECT_EQ(tree_of(*node), tree);
  }
}

TEST(ValueWriter, AllocatesAndLogsNothing) {
  const LogSpy log;
  for (const Tree& tree : one_of_each_type()) {
    OperationSpy stream;
    const Value node = planted(tree);
    const AllocationLog allocations;
    vk_value_write(stream.get(), node.get());
    EXPECT_EQ(allocations.count(), 0U);
  }
  EXPECT_THAT(log.calls(), IsEmpty());
}

TEST(ValueWriter, LeavesAttributesOut) {
  for (const Tree& tree : one_of_each_type()) {
    EXPECT_EQ(written(tree.with({{"Error", integer(1)}, {"type", text("t")}})), written(tree));
  }
}

// Each type

TEST(ValueWriter, WritesANumberInFullByOneWrite) {
  struct Row {
    Tree number;
    const char* operation;
  };
  const Row rows[] = {
      {integer(0), "write 0"},
      {integer(-1), "write -1"},
      {integer(INT32_MIN), "write -2147483648"},
      {integer(INT32_MAX), "write 2147483647"},
      {unsigned_integer(0), "write 0"},
      {unsigned_integer(0x80000000), "write 2147483648"},
      {unsigned_integer(UINT32_MAX), "write 4294967295"},
      {long_integer(0), "write 0"},
      {long_integer(-1), "write -1"},
      {long_integer(4294967296), "write 4294967296"},
      {long_integer(INT64_MIN), "write -9223372036854775808"},
      {long_integer(INT64_MAX), "write 9223372036854775807"},
      {unsigned_long(0), "write 0"},
      {unsigned_long(4294967296), "write 4294967296"},
      {unsigned_long(UINT64_MAX), "write 18446744073709551615"},
  };
  for (const Row& row : rows) EXPECT_THAT(operations_for(row.number), ElementsAre(row.operation));
}

TEST(ValueWriter, WritesAFlagOtherThanZeroAsTrue) {
  EXPECT_THAT(operations_for(boolean(0)), ElementsAre("write false"));
  for (const uint8_t flag : std::array<uint8_t, 5>{1, 2, 127, 128, 255}) {
    EXPECT_THAT(operations_for(boolean(flag)), ElementsAre("write true"));
  }
}

TEST(ValueWriter, PutsAStringAsItIs) {
  for (const std::string& any_text :
       {std::string("text"), std::string("\"quoted\" & <marked>\n"), std::string("100%s%n"),
        every_byte().substr(1), std::string(100000, 'x')}) {
    EXPECT_THAT(operations_for(text(any_text)), ElementsAre("puts " + any_text));
  }
}

TEST(ValueWriter, WritesNothingForAnEmptyString) { EXPECT_EQ(written(text("")), ""); }

TEST(ValueWriter, LeavesTheErrorAsPutsGivesItForAnEmptyString) {
  for (const vk_error result : {VK_EOK, VK_EIO}) {
    OperationSpy stream;
    stream.answer(result);
    vk_value_write(stream.get(), planted(text("")).get());
    EXPECT_THAT(stream.calls(), ElementsAre("puts "));
    EXPECT_EQ(stream.error(), result);
  }
}

TEST(ValueWriter, PutsAnyAsNil) { EXPECT_THAT(operations_for(any()), ElementsAre("puts NIL")); }

TEST(ValueWriter, WritesBase64AsTheBinarysOwnWriterDoes) {
  EXPECT_THAT(operations_for(base64("Man is")), ElementsAre("write TWFu", "write IGlz"));
  EXPECT_THAT(operations_for(base64("M")), ElementsAre("write TQ=="));
  EXPECT_THAT(operations_for(base64("")), IsEmpty());
}

TEST(ValueWriter, WritesHexBinaryAsTheBinarysOwnWriterDoes) {
  EXPECT_THAT(operations_for(hex("\x0A\xFF")), ElementsAre("write 0A", "write FF"));
  EXPECT_THAT(operations_for(hex("")), IsEmpty());
}

TEST(ValueWriter, WritesADateTimeAsItsOwnWriterDoes) {
  struct Row {
    vk_datetime datetime;
    const char* text;
  };
  for (const Row& row :
       {Row{absolute(1709294400), "2024-03-01T12:00:00Z"},
        Row{absolute(1709294400, 500000), "2024-03-01T12:00:00.500000Z"},
        Row{relative(100), "0001-01-01T00:01:40"}, Row{unknown(), "0001-01-01T00:00:00Z"}}) {
    EXPECT_EQ(written(date(row.datetime)), row.text);
  }
}

TEST(ValueWriter, WritesNothingForADateTimeWithoutACalendarForm) {
  LibcFakes fakes;
  fakes.gmtime_fails = true;
  EXPECT_THAT(operations_for(date(absolute(1709294400))), IsEmpty());
}

TEST(ValueWriter, WritesNothingForAContainer) {
  for (const Tree& container : {object({}), array({}), object({{"A", integer(1)}}),
                                indexed({{"1", text("a")}}), array({text("a"), any()})}) {
    SCOPED_TRACE(testing::Message() << container);
    EXPECT_THAT(operations_for(container), IsEmpty());
  }
}

TEST(ValueWriter, WritesNothingForATypeThatIsNone) {
  for (const vk_type type : {VK_TYPE_UNSIGNEDLONG + 1, 0x107U, UINT32_MAX}) {
    EXPECT_THAT(operations_for(of_no_type(type)), IsEmpty());
  }
}

TEST(ValueWriter, LeavesAnEarlierErrorWhereItWritesNothing) {
  for (const Tree& tree : {object({{"A", integer(1)}}), array({}), of_no_type()}) {
    OperationSpy stream;
    stream.error() = VK_EBUSY;
    vk_value_write(stream.get(), planted(tree).get());
    EXPECT_EQ(stream.error(), VK_EBUSY);
  }
}

TEST(ValueWriter, WritesNumbersFlagsAndStringsThatReadBackEqual) {
  for (const Tree& leaf :
       {integer(0), integer(INT32_MIN), integer(INT32_MAX), unsigned_integer(0),
        unsigned_integer(UINT32_MAX), long_integer(0), long_integer(INT64_MIN),
        long_integer(INT64_MAX), unsigned_long(0), unsigned_long(UINT64_MAX), boolean(0),
        boolean(1), text(""), text(" a b "), text(every_byte().substr(1))}) {
    SCOPED_TRACE(testing::Message() << leaf);
    const Value node = new_value();
    EXPECT_EQ(vk_value_set_from_string(node.get(), leaf.type, written(leaf).c_str()), VK_EOK);
    EXPECT_EQ(tree_of(*node), leaf);
  }
}

}  // namespace
}  // namespace vesk::test
