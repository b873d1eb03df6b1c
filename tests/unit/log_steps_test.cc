#include "vesk/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <string>

#include "tests/support/log_spy.h"
#include "tests/support/module_process.h"
#include "tests/support/unencodable.h"

namespace vesk::test {
namespace {

// Messages built in steps: begin, appends through vk_log_printf or the log's stream, end.

using testing::ElementsAre;
using testing::IsEmpty;

int begin() { return vk_log_begin_message(0, VK_LOG_ERROR, "log_steps_test.cc", 1, "begin"); }

vk_error put(const char* text) { return vk_log_stream->puts(vk_log_stream, text); }

std::string message_of(const LogSpy& log) {
  vk_log_end_message();
  return log.lines().back().text;
}

TEST(LogBegin, GivesTheLengthOfThePrefix) {
  const LogSpy log;
  EXPECT_EQ(begin(), 6);
  EXPECT_EQ(message_of(log), "NONE: ");
}

TEST(LogBegin, GivesTheLengthOfAModulesPrefix) {
  const LogSpy log;
  const ModuleProcess module{"wlan0"};
  EXPECT_EQ(begin(), 7);
  EXPECT_EQ(message_of(log), "wlan0: ");
}

TEST(LogBegin, GivesNoMoreThan255ForAPrefixThatIsCut) {
  for (const std::size_t length : {253U, 254U, 400U}) {
    SCOPED_TRACE(length);
    const LogSpy log;
    const std::string name(length, 'm');
    const ModuleProcess module{name.c_str()};
    EXPECT_EQ(begin(), 255);
    EXPECT_EQ(message_of(log), (name + ": ").substr(0, 255));
  }
}

TEST(LogBegin, SendsNothing) {
  const LogSpy log;
  begin();
  vk_log_printf("text");
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(LogBegin, DiscardsAMessageThatWasNotEnded) {
  const LogSpy log;
  begin();
  vk_log_printf("a long forgotten text");
  begin();
  vk_log_printf("text");
  EXPECT_EQ(message_of(log), "NONE: text");
}

TEST(LogPrintf, AppendsToTheMessage) {
  const LogSpy log;
  begin();
  vk_log_printf("%s = ", "width");
  vk_log_printf("%d", 12);
  EXPECT_EQ(message_of(log), "NONE: width = 12");
}

TEST(LogPrintf, GivesTheNewLengthOfTheMessage) {
  const LogSpy log;
  begin();
  EXPECT_EQ(vk_log_printf("abc"), 9);
  EXPECT_EQ(vk_log_printf("%d", 12345), 14);
}

TEST(LogPrintf, GivesZeroForAnEmptyTextAndLeavesTheMessage) {
  const LogSpy log;
  begin();
  vk_log_printf("kept");
  EXPECT_EQ(vk_log_printf("%s", ""), 0);
  vk_log_printf("!");
  EXPECT_EQ(message_of(log), "NONE: kept!");
}

TEST(LogPrintf, GivesTheNegativeResultOfAFormatThatFailsAndLeavesTheMessage) {
  const LogSpy log;
  begin();
  vk_log_printf("kept");
  EXPECT_EQ(vk_log_printf("lost %lc", kUnencodable), -1);
  vk_log_printf("!");
  EXPECT_EQ(message_of(log), "NONE: kept!");
}

TEST(LogPrintf, BuildsAMessageForDebuggingBeforeAnyBegin) {
  const LogSpy log;
  EXPECT_EQ(vk_log_printf("%s", "text"), 4);
  EXPECT_EQ(vk_log_printf("%d", 42), 6);
  vk_log_end_message();
  EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_DEBUG, "text42"}));
}

TEST(LogPrintf, EndsTheMessageCleanlyAfterAFormatThatFailed) {
  const LogSpy log;
  begin();
  vk_log_printf("kept");
  vk_log_printf("lost %lc", kUnencodable);
  EXPECT_EQ(message_of(log), "NONE: kept");
}

TEST(LogPrintf, FillsTheMessageUpTo255Characters) {
  const LogSpy log;
  begin();
  EXPECT_EQ(vk_log_printf("%248d", 1), 254);
  EXPECT_EQ(vk_log_printf("x"), 255);
  EXPECT_EQ(message_of(log), "NONE: " + std::string(247, ' ') + "1x");
}

TEST(LogPrintf, CutsWhatIsBeyond255Characters) {
  const LogSpy log;
  begin();
  vk_log_printf("%247d", 1);
  EXPECT_EQ(vk_log_printf("abc"), 255);
  EXPECT_EQ(message_of(log), "NONE: " + std::string(246, ' ') + "1ab");
}

TEST(LogPrintf, Gives255ForEveryTextBeyondAFullMessage) {
  const LogSpy log;
  begin();
  EXPECT_EQ(vk_log_printf("%-300d", 1), 255);
  EXPECT_EQ(vk_log_printf("more"), 255);
  EXPECT_EQ(vk_log_printf("%s", ""), 0);
  EXPECT_EQ(message_of(log), "NONE: 1" + std::string(248, ' '));
}

TEST(LogStream, AppendsATextToTheMessage) {
  const LogSpy log;
  begin();
  EXPECT_EQ(put("some text"), VK_EOK);
  EXPECT_EQ(message_of(log), "NONE: some text");
}

TEST(LogStream, AppendsFormattedTextToTheMessage) {
  const LogSpy log;
  begin();
  vk_stream_printf(vk_log_stream, "%s %d", "answer", 42);
  EXPECT_EQ(vk_log_stream->error, VK_EOK);
  EXPECT_EQ(message_of(log), "NONE: answer 42");
}

TEST(LogStream, AppendsExactlyTheGivenBytes) {
  const LogSpy log;
  begin();
  EXPECT_EQ(vk_log_stream->write(vk_log_stream, "text and more", 4), VK_EOK);
  EXPECT_EQ(message_of(log), "NONE: text");
}

TEST(LogStream, AppendsNothingForZeroBytes) {
  const LogSpy log;
  begin();
  EXPECT_EQ(vk_log_stream->write(vk_log_stream, "text", 0), VK_EOK);
  EXPECT_EQ(message_of(log), "NONE: ");
}

TEST(LogStream, AppendsNothingForZeroBytesAtNull) {
  const LogSpy log;
  begin();
  EXPECT_EQ(vk_log_stream->write(vk_log_stream, nullptr, 0), VK_EOK);
  put("text");
  EXPECT_EQ(message_of(log), "NONE: text");
}

TEST(LogStream, TakesAPercentSignAsItIs) {
  const LogSpy log;
  begin();
  put("100% %s %n");
  EXPECT_EQ(message_of(log), "NONE: 100% %s %n");
}

TEST(LogStream, MixesWithFormattedAppends) {
  const LogSpy log;
  begin();
  vk_log_printf("%s", "value ");
  put("<");
  vk_stream_printf(vk_log_stream, "%d", 7);
  put(">");
  EXPECT_EQ(vk_log_printf("."), 16);
  EXPECT_EQ(message_of(log), "NONE: value <7>.");
}

TEST(LogStream, FillsTheMessageUpTo255Characters) {
  const LogSpy log;
  begin();
  put(std::string(248, 'x').c_str());
  EXPECT_EQ(put("yz"), VK_EOK);
  EXPECT_EQ(message_of(log), "NONE: " + std::string(248, 'x') + "y");
}

TEST(LogStream, ReportsSuccessWhenBytesAreDropped) {
  const LogSpy log;
  begin();
  EXPECT_EQ(put(std::string(300, 'x').c_str()), VK_EOK);
  EXPECT_EQ(put("more"), VK_EOK);
  vk_stream_printf(vk_log_stream, "%400d", 1);
  EXPECT_EQ(vk_log_stream->error, VK_EOK);
  EXPECT_EQ(message_of(log), "NONE: " + std::string(249, 'x'));
}

TEST(LogStream, DropsBytesForOneMessageOnly) {
  const LogSpy log;
  begin();
  put(std::string(300, 'x').c_str());
  vk_log_end_message();
  begin();
  put("next");
  EXPECT_EQ(message_of(log), "NONE: next");
}

TEST(LogStream, StaysTheSameFromMessageToMessage) {
  const LogSpy log;
  begin();
  vk_stream* const first = vk_log_stream;
  vk_log_end_message();
  begin();
  EXPECT_EQ(vk_log_stream, first);
}

TEST(LogStream, KeepsItsErrorFromMessageToMessage) {
  const LogSpy log;
  begin();
  vk_stream_printf(vk_log_stream, "%512d", 1);
  vk_log_end_message();
  begin();
  EXPECT_EQ(vk_log_stream->error, VK_EINVAL);
  vk_stream_printf(vk_log_stream, "silenced");
  vk_log_printf("heard");
  EXPECT_EQ(message_of(log), "NONE: heard");
}

TEST(LogEnd, SendsTheMessageInOnePieceWithItsPriority) {
  const LogSpy log;
  vk_log_begin_message(0, VK_LOG_WARNING, "log_steps_test.cc", 1, "test");
  vk_log_printf("one, ");
  put("two");
  vk_log_end_message();
  EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_WARNING, "NONE: one, two"}));
  EXPECT_THAT(log.connection(), ElementsAre("openlog vesk 2 8", "syslog 4 %s"));
}

TEST(LogEnd, SendsAnEmptyMessageForDebuggingBeforeAnyBegin) {
  const LogSpy log;
  vk_log_end_message();
  EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_DEBUG, ""}));
}

TEST(LogEnd, LeavesTheMessageUntilTheNextBegin) {
  const LogSpy log;
  begin();
  vk_log_printf("text");
  vk_log_end_message();
  EXPECT_EQ(message_of(log), "NONE: text");
}

TEST(LogSteps, UseOnlyCategoryAndLevelOfTheirBegin) {
  const LogSpy log;
  vk_log_begin_message(0, VK_LOG_INFO, "lib/value", 12, "copy");
  vk_log_end_message();
  vk_log_begin_message(0, VK_LOG_INFO, "", 0, "");
  vk_log_end_message();
  EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_INFO, "NONE: "}, LogLine{LOG_INFO, "NONE: "}));
}

TEST(LogSteps, AreNoCallsOfTheOneCallForm) {
  const LogSpy log;
  begin();
  vk_log_end_message();
  EXPECT_THAT(log.calls(), IsEmpty());
}

}  // namespace
}  // namespace vesk::test
