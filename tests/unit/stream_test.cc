#include "vesk/stream.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "lib/stream.h"
#include "tests/support/allocation_fault.h"
#include "tests/support/huge_text.h"
#include "tests/support/log_spy.h"
#include "tests/support/text_stream.h"
#include "tests/support/unencodable.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The system's number as it is, not one of the library's codes.
constexpr vk_error kFormatterFailure = EILSEQ;

vk_error ignore_write(vk_stream*, const void*, uint32_t) { return VK_EOK; }
vk_error ignore_puts(vk_stream*, const char*) { return VK_EOK; }

// A stream embedded in a larger record, with both operations its owner's.
struct Recorder {
  vk_stream stream = {};
  std::vector<std::string> written = {};
  std::vector<std::string> put = {};
  vk_error result = VK_EOK;

  Recorder() { vk_stream_init(&stream, &write_op, &puts_op); }

  static Recorder& of(vk_stream* stream) { return *reinterpret_cast<Recorder*>(stream); }

  static vk_error write_op(vk_stream* stream, const void* bytes, uint32_t count) {
    of(stream).written.emplace_back(static_cast<const char*>(bytes), count);
    return of(stream).result;
  }

  static vk_error puts_op(vk_stream* stream, const char* text) {
    of(stream).put.emplace_back(text);
    return of(stream).result;
  }
};

TEST(StreamInit, StoresTheOwnersOperations) {
  vk_stream stream;
  vk_stream_init(&stream, &ignore_write, &ignore_puts);
  EXPECT_EQ(stream.write, &ignore_write);
  EXPECT_EQ(stream.puts, &ignore_puts);
}

TEST(StreamInit, StoresADefaultTextWriterWhenTheOwnerGivesNone) {
  vk_stream stream;
  vk_stream_init(&stream, &ignore_write, nullptr);
  EXPECT_EQ(stream.write, &ignore_write);
  EXPECT_NE(stream.puts, nullptr);
}

TEST(StreamInit, ClearsTheErrorAndSetsTheMagic) {
  vk_stream stream = {};
  stream.error = VK_EIO;
  stream.magic = VK_MAGIC_DEAD;
  vk_stream_init(&stream, &ignore_write, nullptr);
  EXPECT_EQ(stream.error, VK_EOK);
  EXPECT_EQ(stream.magic, 0x37E9B3E1U);
}

TEST(StreamDefaultPuts, MeasuresTheTextAndWritesItInOneCall) {
  TextStream stream;
  EXPECT_EQ(stream.get()->puts(stream.get(), "some text"), VK_EOK);
  EXPECT_THAT(stream.writes(), ElementsAre("some text"));
}

TEST(StreamDefaultPuts, WritesTheEmptyTextAsZeroBytes) {
  TextStream stream;
  EXPECT_EQ(stream.get()->puts(stream.get(), ""), VK_EOK);
  EXPECT_THAT(stream.writes(), ElementsAre(""));
}

TEST(StreamDefaultPuts, HasNoLimitOfLength) {
  TextStream stream;
  const std::string text(5000, 't');
  EXPECT_EQ(stream.get()->puts(stream.get(), text.c_str()), VK_EOK);
  EXPECT_THAT(stream.writes(), ElementsAre(text));
}

TEST(StreamDefaultPuts, TakesAPercentSignAsItIs) {
  TextStream stream;
  stream.get()->puts(stream.get(), "%s%n 100%");
  EXPECT_EQ(stream.text(), "%s%n 100%");
}

TEST(StreamDefaultPuts, GivesTheResultOfWriteAndLeavesTheErrorToItsCaller) {
  TextStream stream;
  stream.fail_with(VK_EIO);
  EXPECT_EQ(stream.get()->puts(stream.get(), "text"), VK_EIO);
  EXPECT_EQ(stream.error(), VK_EOK);
}

TEST(StreamDefaultPuts, DoesNotLookAtTheError) {
  TextStream stream;
  stream.set_error(VK_EIO);
  EXPECT_EQ(stream.get()->puts(stream.get(), "text"), VK_EOK);
  EXPECT_EQ(stream.text(), "text");
  EXPECT_EQ(stream.error(), VK_EIO);
}

#if SIZE_MAX > UINT32_MAX
// Counts what is written, for texts that no test could keep.
struct Counter {
  vk_stream stream = {};
  std::vector<uint32_t> counts = {};

  Counter() {
    const auto count = [](vk_stream* sink, const void*, uint32_t bytes) {
      reinterpret_cast<Counter*>(sink)->counts.push_back(bytes);
      return vk_error{VK_EOK};
    };
    vk_stream_init(&stream, count, nullptr);
  }
};

TEST(StreamDefaultPuts, RefusesATextWhoseLengthDoesNotFit32Bits) {
  constexpr std::size_t kFirstTooLong = std::size_t{UINT32_MAX} + 1;
  const HugeText texts{kFirstTooLong + 5};
  Counter counter;
  for (const std::size_t length : {kFirstTooLong, kFirstTooLong + 5}) {
    SCOPED_TRACE(length);
    EXPECT_EQ(counter.stream.puts(&counter.stream, texts.of_length(length)), VK_EINVAL);
  }
  EXPECT_THAT(counter.counts, IsEmpty());
}

TEST(StreamDefaultPuts, WritesTheLongestTextThatFits) {
  const HugeText texts{UINT32_MAX};
  Counter counter;
  EXPECT_EQ(counter.stream.puts(&counter.stream, texts.of_length(UINT32_MAX)), VK_EOK);
  EXPECT_THAT(counter.counts, ElementsAre(UINT32_MAX));
}
#endif

TEST(StreamPrintf, FormatsAndWritesInOneCall) {
  TextStream stream;
  vk_stream_printf(stream.get(), "%s is %u, 0x%04X%%", "port", 80U, 0xBEEU);
  EXPECT_THAT(stream.writes(), ElementsAre("port is 80, 0x0BEE%"));
  EXPECT_EQ(stream.error(), VK_EOK);
}

TEST(StreamPrintf, UsesWriteAlsoWhenTheOwnerHasATextWriter) {
  Recorder recorder;
  vk_stream_printf(&recorder.stream, "%s", "text");
  EXPECT_THAT(recorder.written, ElementsAre("text"));
  EXPECT_THAT(recorder.put, IsEmpty());
}

TEST(StreamPrintf, WritesOneTextAfterTheOther) {
  TextStream stream;
  vk_stream_printf(stream.get(), "%d,", 1);
  vk_stream_printf(stream.get(), "%d", 2);
  EXPECT_THAT(stream.writes(), ElementsAre("1,", "2"));
  EXPECT_EQ(stream.text(), "1,2");
}

TEST(StreamPrintf, WritesTheEmptyTextAsZeroBytes) {
  TextStream stream;
  vk_stream_printf(stream.get(), "%s", "");
  EXPECT_THAT(stream.writes(), ElementsAre(""));
  EXPECT_EQ(stream.error(), VK_EOK);
}

TEST(StreamPrintf, WritesAZeroByteInsideTheText) {
  TextStream stream;
  vk_stream_printf(stream.get(), "a%cb", 0);
  EXPECT_EQ(stream.text(), std::string("a\0b", 3));
}

TEST(StreamPrintf, WritesATextOf511Characters) {
  TextStream stream;
  const std::string longest(511, 'x');
  vk_stream_printf(stream.get(), "%s", longest.c_str());
  EXPECT_THAT(stream.writes(), ElementsAre(longest));
  EXPECT_EQ(stream.error(), VK_EOK);
}

TEST(StreamPrintf, RefusesATextOf512CharactersAndWritesNothingOfIt) {
  TextStream stream;
  vk_stream_printf(stream.get(), "%512d", 1);
  EXPECT_THAT(stream.writes(), IsEmpty());
  EXPECT_EQ(stream.error(), VK_EINVAL);
}

TEST(StreamPrintf, RefusesAMuchLongerText) {
  TextStream stream;
  vk_stream_printf(stream.get(), "%100000d", 1);
  EXPECT_THAT(stream.writes(), IsEmpty());
  EXPECT_EQ(stream.error(), VK_EINVAL);
}

TEST(StreamPrintf, StoresTheSystemsErrnoWhenTheFormatFails) {
  TextStream stream;
  vk_stream_printf(stream.get(), "text %lc", kUnencodable);
  EXPECT_THAT(stream.writes(), IsEmpty());
  EXPECT_EQ(stream.error(), kFormatterFailure);
}

TEST(StreamPrintf, StoresTheCodeOfAFailedWrite) {
  for (const vk_error code : {VK_ENOENT + 0U, VK_ENOANSWER + 0U, 0xFFFFFFFFU}) {
    SCOPED_TRACE(code);
    TextStream stream;
    stream.fail_with(code);
    vk_stream_printf(stream.get(), "text");
    EXPECT_EQ(stream.error(), code);
  }
}

TEST(StreamPrintf, WritesNothingAfterAFailedWriteAndKeepsItsCode) {
  Recorder recorder;
  recorder.result = VK_EIO;
  vk_stream_printf(&recorder.stream, "first");
  recorder.result = VK_ENOMEM;
  vk_stream_printf(&recorder.stream, "second");
  recorder.result = VK_EOK;
  vk_stream_printf(&recorder.stream, "third");
  EXPECT_THAT(recorder.written, ElementsAre("first"));
  EXPECT_EQ(recorder.stream.error, VK_EIO);
}

TEST(StreamPrintf, WritesNothingAfterAnOverlongText) {
  TextStream stream;
  vk_stream_printf(stream.get(), "%512d", 1);
  vk_stream_printf(stream.get(), "short");
  EXPECT_THAT(stream.writes(), IsEmpty());
  EXPECT_EQ(stream.error(), VK_EINVAL);
}

TEST(StreamPrintf, WritesNothingAfterAFormatThatFailed) {
  TextStream stream;
  vk_stream_printf(stream.get(), "%lc", kUnencodable);
  vk_stream_printf(stream.get(), "short");
  EXPECT_THAT(stream.writes(), IsEmpty());
  EXPECT_EQ(stream.error(), kFormatterFailure);
}

TEST(StreamPrintf, ReplacesAnEarlierErrorWhenTheTextIsTooLong) {
  TextStream stream;
  stream.set_error(VK_EIO);
  vk_stream_printf(stream.get(), "%512d", 1);
  EXPECT_THAT(stream.writes(), IsEmpty());
  EXPECT_EQ(stream.error(), VK_EINVAL);
}

TEST(StreamPrintf, ReplacesAnEarlierErrorWhenTheFormatFails) {
  TextStream stream;
  stream.set_error(VK_EIO);
  vk_stream_printf(stream.get(), "%lc", kUnencodable);
  EXPECT_THAT(stream.writes(), IsEmpty());
  EXPECT_EQ(stream.error(), kFormatterFailure);
}

TEST(StreamPrintf, AllocatesNothing) {
  vk_stream stream;
  vk_stream_init(&stream, &ignore_write, nullptr);
  const AllocationLog log;
  vk_stream_printf(&stream, "%511d", 1);
  vk_stream_printf(&stream, "%512d", 1);
  vk_stream_printf(&stream, "%lc", kUnencodable);
  EXPECT_EQ(log.count(), 0U);
}

TEST(StreamPrintf, LogsNoFailure) {
  const LogSpy log;
  TextStream stream;
  stream.fail_with(VK_EIO);
  vk_stream_printf(stream.get(), "refused by write");
  vk_stream_printf(stream.get(), "%512d", 1);
  vk_stream_printf(stream.get(), "%lc", kUnencodable);
  EXPECT_THAT(log.calls(), IsEmpty());
  EXPECT_THAT(log.connection(), IsEmpty());
}

TEST(StreamDestroy, MarksTheStreamDeadAndTakesItsWriterAway) {
  vk_stream stream;
  vk_stream_init(&stream, &ignore_write, &ignore_puts);
  vk_stream_destroy(&stream);
  EXPECT_EQ(stream.magic, 0xDEADBEAFU);
  EXPECT_EQ(stream.write, nullptr);
}

TEST(StreamDestroy, LeavesTheRestOfTheRecordAlone) {
  Recorder recorder;
  vk_stream_printf(&recorder.stream, "text");
  recorder.stream.error = VK_EIO;
  vk_stream_destroy(&recorder.stream);
  EXPECT_EQ(recorder.stream.puts, &Recorder::puts_op);
  EXPECT_EQ(recorder.stream.error, VK_EIO);
  EXPECT_THAT(recorder.written, ElementsAre("text"));
}

TEST(StreamDestroy, LetsTheRecordBeInitialisedAnew) {
  TextStream stream;
  const vk_stream_write_fn write = stream.get()->write;
  vk_stream_destroy(stream.get());
  vk_stream_init(stream.get(), write, nullptr);
  vk_stream_printf(stream.get(), "text");
  EXPECT_EQ(stream.text(), "text");
}

TEST(StreamDirectWrite, WritesExactlyTheGivenBytes) {
  TextStream stream;
  stream_write(*stream.get(), std::string_view("a\0b", 3));
  EXPECT_EQ(stream.text(), std::string("a\0b", 3));
  EXPECT_EQ(stream.error(), VK_EOK);
}

TEST(StreamDirectWrite, StoresTheFirstFailureAndIsSilentFromThenOn) {
  Recorder recorder;
  recorder.result = VK_EIO;
  stream_write(recorder.stream, "first");
  recorder.result = VK_EOK;
  stream_write(recorder.stream, "second");
  EXPECT_THAT(recorder.written, ElementsAre("first"));
  EXPECT_EQ(recorder.stream.error, VK_EIO);
}

TEST(StreamDirectPuts, UsesTheOwnersTextWriter) {
  Recorder recorder;
  stream_puts(recorder.stream, "text");
  EXPECT_THAT(recorder.put, ElementsAre("text"));
  EXPECT_THAT(recorder.written, IsEmpty());
  EXPECT_EQ(recorder.stream.error, VK_EOK);
}

TEST(StreamDirectPuts, StoresTheFirstFailureAndIsSilentFromThenOn) {
  Recorder recorder;
  recorder.result = VK_EIO;
  stream_puts(recorder.stream, "first");
  recorder.result = VK_EOK;
  stream_puts(recorder.stream, "second");
  EXPECT_THAT(recorder.put, ElementsAre("first"));
  EXPECT_EQ(recorder.stream.error, VK_EIO);
}

}  // namespace
}  // namespace vesk::test
