#include "vesk/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <climits>
#include <cstdio>
#include <string>

#include "lib/log.h"
#include "tests/support/allocation_fault.h"
#include "tests/support/log_spy.h"
#include "tests/support/module_process.h"
#include "tests/support/unencodable.h"
#include "vesk/module.h"

// The library's own vk_log, behind the test kit's wrapper, which formats the text by itself.
extern "C" void __real_vk_log(int category, int level, const char* file, unsigned int line,
                              const char* function, const char* format, ...) VK_PRINTF(6, 7);

namespace vesk::test {
namespace {

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::IsEmpty;

const char kOpenUser[] = "openlog vesk 2 8";
const char kOpenLocal0[] = "openlog vesk 2 128";
const char kOpenLocal1[] = "openlog vesk 2 136";
const char kSendError[] = "syslog 3 %s";

const vk_stream* const stream_at_start = vk_log_stream;

int begin(int category, int level) {
  return vk_log_begin_message(category, level, "log_test.cc", 1, "begin");
}

void log_error(int category, const char* text) {
  __real_vk_log(category, VK_LOG_ERROR, "log_test.cc", 1, "log_error", "%s", text);
}

// Logging ready for use, with a facility for each category.
void use_facilities(int category0, int category1, int category2) {
  log_ensure_initialised();
  log_state.category_facilities = {category0, category1, category2};
}

TEST(LogInitialisation, HasNoStreamInAFreshProcess) { EXPECT_EQ(stream_at_start, nullptr); }

TEST(LogInitialisation, StartsFromTheStateOfAFreshProcess) {
  const LogState fresh;
  EXPECT_FALSE(fresh.initialised);
  EXPECT_EQ(fresh.length, 0U);
  EXPECT_EQ(fresh.priority, 7);
  EXPECT_EQ(fresh.facility, 8);
  EXPECT_THAT(fresh.category_facilities, ElementsAre(8, 8, 8));
}

TEST(LogInitialisation, OpensTheConnectionAsVeskForTheUserFacility) {
  const LogSpy log;
  log_ensure_initialised();
  EXPECT_THAT(log.connection(), ElementsAre(kOpenUser));
}

TEST(LogInitialisation, SetsTheStateWhateverItHeld) {
  const LogSpy log;
  log_state.category_facilities = {LOG_DAEMON, LOG_LOCAL0, LOG_LOCAL1};
  log_state.facility = LOG_DAEMON;
  log_state.priority = LOG_ERR;
  log_state.length = 3;
  log_state.text[0] = 'x';
  log_ensure_initialised();
  EXPECT_TRUE(log_state.initialised);
  EXPECT_THAT(log_state.category_facilities, ElementsAre(LOG_USER, LOG_USER, LOG_USER));
  EXPECT_EQ(log_state.facility, LOG_USER);
  EXPECT_EQ(log_state.priority, LOG_DEBUG);
  EXPECT_EQ(log_state.length, 0U);
  EXPECT_EQ(log_state.text[0], '\0');
}

TEST(LogInitialisation, MakesTheStreamReady) {
  const LogSpy log;
  log_ensure_initialised();
  ASSERT_EQ(vk_log_stream, &log_state.stream);
  EXPECT_EQ(vk_log_stream->error, VK_EOK);
  EXPECT_EQ(vk_log_stream->magic, VK_MAGIC_STREAM);
}

TEST(LogInitialisation, HappensOnce) {
  const LogSpy log;
  use_facilities(LOG_DAEMON, LOG_LOCAL0, LOG_LOCAL1);
  log_ensure_initialised();
  EXPECT_THAT(log.connection(), ElementsAre(kOpenUser));
  EXPECT_THAT(log_state.category_facilities, ElementsAre(LOG_DAEMON, LOG_LOCAL0, LOG_LOCAL1));
}

TEST(LogInitialisation, HappensWithTheFirstMessage) {
  const LogSpy log;
  EXPECT_EQ(vk_log_stream, nullptr);
  log_error(0, "first");
  log_error(0, "second");
  EXPECT_EQ(vk_log_stream, &log_state.stream);
  EXPECT_THAT(log.connection(), ElementsAre(kOpenUser, kSendError, kSendError));
}

TEST(Log, SendsPrefixAndTextInOneMessage) {
  const LogSpy log;
  __real_vk_log(0, 3, "log_test.cc", 1, "test", "x");
  EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_ERR, "NONE: x"}));
}

TEST(Log, FormatsItsArguments) {
  const LogSpy log;
  __real_vk_log(0, VK_LOG_ERROR, "log_test.cc", 1, "test", "%s of %u: 0x%02X%%", "item", 7U, 10U);
  EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_ERR, "NONE: item of 7: 0x0A%"}));
}

TEST(Log, LeavesFileLineAndFunctionOutOfTheMessage) {
  const LogSpy log;
  __real_vk_log(0, VK_LOG_ERROR, "lib/value", 12, "copy", "text");
  __real_vk_log(0, VK_LOG_ERROR, "", 0, "", "text");
  EXPECT_THAT(log.lines(),
              ElementsAre(LogLine{LOG_ERR, "NONE: text"}, LogLine{LOG_ERR, "NONE: text"}));
}

TEST(Log, SendsThePrefixAloneForAnEmptyText) {
  const LogSpy log;
  log_error(0, "");
  EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_ERR, "NONE: "}));
}

TEST(Log, SendsThePrefixAloneWhenTheFormatFails) {
  const LogSpy log;
  __real_vk_log(0, VK_LOG_ERROR, "log_test.cc", 1, "test", "text %lc", kUnencodable);
  EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_ERR, "NONE: "}));
}

TEST(Log, CutsALongTextSilentlyAt255CharactersWithThePrefix) {
  const LogSpy log;
  log_error(0, std::string(300, 'x').c_str());
  EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_ERR, "NONE: " + std::string(249, 'x')}));
}

TEST(Log, KeepsATextThatFillsTheMessageExactly) {
  const LogSpy log;
  const std::string text = std::string(248, 'x') + "!";
  log_error(0, text.c_str());
  log_error(0, (text + "?").c_str());
  EXPECT_THAT(log.lines(), Each(LogLine{LOG_ERR, "NONE: " + text}));
  EXPECT_EQ(log.lines().size(), 2U);
}

TEST(Log, BeginsEachMessageAnewAfterALongOne) {
  const LogSpy log;
  log_error(0, std::string(300, 'x').c_str());
  log_error(0, "short");
  EXPECT_EQ(log.lines().back(), (LogLine{LOG_ERR, "NONE: short"}));
}

TEST(Log, PassesTheTextAsAnArgumentSoThatAPercentSignIsHarmless) {
  const LogSpy log;
  log_error(0, "100% %s %n");
  EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_ERR, "NONE: 100% %s %n"}));
  EXPECT_THAT(log.connection(), ElementsAre(kOpenUser, kSendError));
}

TEST(Log, WritesNothingToStandardErrorOrOutput) {
  const LogSpy log;
  testing::internal::CaptureStderr();
  testing::internal::CaptureStdout();
  log_error(0, "text");
  std::fflush(stdout);
  EXPECT_THAT(testing::internal::GetCapturedStdout(), IsEmpty());
  EXPECT_THAT(testing::internal::GetCapturedStderr(), IsEmpty());
}

TEST(Log, AllocatesNothing) {
  const LogSpy spy;
  const AllocationLog allocations;
  __real_vk_log(0, VK_LOG_ERROR, "log_test.cc", 1, "test", "%300d", 1);
  __real_vk_log(1, VK_LOG_INFO, "log_test.cc", 1, "test", "%lc", kUnencodable);
  begin(0, VK_LOG_DEBUG);
  vk_log_printf("%d", 1);
  vk_log_stream->puts(vk_log_stream, "text");
  vk_log_end_message();
  EXPECT_EQ(allocations.count(), 0U);
  EXPECT_EQ(spy.lines().size(), 3U);
}

TEST(Log, MacroPassesThePositionOfItsCaller) {
  const LogSpy log;
  VK_LOG(1, VK_LOG_INFO, "%s %d", "answer", 42);
  const unsigned int line = __LINE__ - 1;
  EXPECT_THAT(log.calls(),
              ElementsAre(AllOf(Field(&LogCall::line, line),
                                LogCall{1, VK_LOG_INFO, __FILE__, line, __func__, "answer 42"})));
}

struct Level {
  int level;
  int priority;
};

constexpr Level kLevels[] = {
    {VK_LOG_DEBUG, LOG_DEBUG},     {0, 7}, {VK_LOG_INFO, LOG_INFO}, {1, 6},
    {VK_LOG_WARNING, LOG_WARNING}, {2, 4}, {VK_LOG_ERROR, LOG_ERR}, {3, 3},
};

constexpr int kOtherLevels[] = {4, -1, 100, 7, 256, INT_MAX, INT_MIN};

TEST(LogLevel, IsMappedToAPriority) {
  for (const Level& row : kLevels) {
    SCOPED_TRACE(row.level);
    const LogSpy log;
    __real_vk_log(0, row.level, "log_test.cc", 1, "test", "text");
    EXPECT_THAT(log.lines(), ElementsAre(LogLine{row.priority, "NONE: text"}));
  }
}

TEST(LogLevel, IsANoticeWhenOutOfRange) {
  for (const int level : kOtherLevels) {
    SCOPED_TRACE(level);
    const LogSpy log;
    __real_vk_log(0, level, "log_test.cc", 1, "test", "text");
    EXPECT_THAT(log.lines(), ElementsAre(LogLine{5, "NONE: text"}));
  }
}

TEST(LogLevel, IsThatOfTheMessagesOwnBegin) {
  const LogSpy log;
  begin(0, VK_LOG_ERROR);
  begin(0, VK_LOG_INFO);
  vk_log_end_message();
  EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_INFO, "NONE: "}));
}

TEST(LogCategory, IsOneOfThree) { EXPECT_EQ(VK_LOG_CATEGORIES, 3); }

TEST(LogCategory, KeepsTheConnectionForMessagesOfTheSameCategory) {
  const LogSpy log;
  use_facilities(LOG_USER, LOG_LOCAL0, LOG_LOCAL1);
  log_error(1, "first");
  log_error(1, "second");
  EXPECT_THAT(log.connection(),
              ElementsAre(kOpenUser, "closelog", kOpenLocal0, kSendError, kSendError));
}

TEST(LogCategory, KeepsTheConnectionForAnotherCategoryOfTheSameFacility) {
  const LogSpy log;
  use_facilities(LOG_USER, LOG_USER, LOG_USER);
  log_error(0, "first");
  log_error(1, "second");
  log_error(2, "third");
  EXPECT_THAT(log.connection(), ElementsAre(kOpenUser, kSendError, kSendError, kSendError));
}

TEST(LogCategory, ReopensTheConnectionAtEveryChangeOfFacility) {
  const LogSpy log;
  use_facilities(LOG_USER, LOG_LOCAL0, LOG_LOCAL1);
  log_error(0, "first");
  log_error(1, "second");
  log_error(0, "third");
  log_error(2, "fourth");
  EXPECT_THAT(log.connection(),
              ElementsAre(kOpenUser, kSendError, "closelog", kOpenLocal0, kSendError, "closelog",
                          kOpenUser, kSendError, "closelog", kOpenLocal1, kSendError));
}

TEST(LogCategory, TakesANewFacilityAtItsNextMessage) {
  const LogSpy log;
  log_error(0, "first");
  use_facilities(LOG_LOCAL0, LOG_USER, LOG_USER);
  EXPECT_THAT(log.connection(), ElementsAre(kOpenUser, kSendError));
  log_error(0, "second");
  EXPECT_THAT(log.connection(),
              ElementsAre(kOpenUser, kSendError, "closelog", kOpenLocal0, kSendError));
}

TEST(LogCategory, LeavesThePriorityFreeOfTheFacility) {
  const LogSpy log;
  use_facilities(LOG_LOCAL1, LOG_USER, LOG_USER);
  log_error(0, "text");
  EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_ERR, "NONE: text"}));
}

TEST(LogCategory, KeepsTheFacilityInUseWhenOutOfRange) {
  for (const int category : {3, 4, 100, INT_MAX, -1, -100, INT_MIN}) {
    SCOPED_TRACE(category);
    LogSpy log;
    use_facilities(LOG_USER, LOG_LOCAL0, LOG_LOCAL1);
    log_error(1, "in a category");
    log.forget();
    log_error(category, "in none");
    EXPECT_THAT(log.connection(), ElementsAre(kSendError));
    EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_ERR, "NONE: in none"}));
  }
}

TEST(LogPrefix, IsNoneInAProcessThatIsNoModule) {
  const LogSpy log;
  ASSERT_EQ(vk_module_ctx, nullptr);
  log_error(0, "text");
  EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_ERR, "NONE: text"}));
}

TEST(LogPrefix, IsTheModulesName) {
  const LogSpy log;
  const ModuleProcess module{"wlan"};
  log_error(0, "text");
  EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_ERR, "wlan: text"}));
}

TEST(LogPrefix, TakesAPercentSignInTheNameAsItIs) {
  const LogSpy log;
  const ModuleProcess module{"%d%n"};
  log_error(0, "text");
  EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_ERR, "%d%n: text"}));
}

TEST(LogPrefix, IsCutToo) {
  const LogSpy log;
  const std::string name(300, 'm');
  const ModuleProcess module{name.c_str()};
  log_error(0, "text");
  EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_ERR, std::string(255, 'm')}));
}

}  // namespace
}  // namespace vesk::test
