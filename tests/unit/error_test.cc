#include "vesk/error.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <type_traits>

#include "tests/support/aborts.h"
#include "tests/support/allocation_fault.h"
#include "tests/support/log_spy.h"

namespace vesk::test {
namespace {

using testing::Eq;
using testing::ExitedWithCode;
using testing::IsEmpty;
using testing::KilledBySignal;

struct Code {
  vk_error code;
  uint32_t number;
  const char* name;
};

constexpr Code kCodes[] = {
    {VK_EOK, 0, "EOK"},
    {VK_ENOENT, 1, "ENOENT"},
    {VK_EIO, 2, "EIO"},
    {VK_ENOMEM, 3, "ENOMEM"},
    {VK_EINVAL, 4, "EINVAL"},
    {VK_EEXIST, 5, "EEXIST"},
    {VK_ENAMETOOLONG, 6, "ENAMETOOLONG"},
    {VK_ENOSYS, 7, "ENOSYS"},
    {VK_EBUSY, 8, "EBUSY"},
    {VK_ETIMEDOUT, 9, "ETIMEDOUT"},
    {VK_EFAULT, 10, "EFAULT"},
    {VK_EOPNOTSUPP, 11, "EOPNOTSUPP"},
    {VK_ENOTITEM, 12, "ENOTITEM"},
    {VK_ESOAP, 13, "ESOAP"},
    {VK_EAUTH, 14, "EAUTH"},
    {VK_EFOUND, 15, "EFOUND"},
    {VK_EXML, 16, "EXML"},
    {VK_ETIMER, 17, "ETIMER"},
    {VK_EPROVIDER, 18, "EPROVIDER"},
    {VK_ERO, 19, "ERO"},
    {VK_EINTERNAL, 20, "EINTERNAL"},
    {VK_ETYPE, 21, "ETYPE"},
    {VK_EVALUE, 22, "EVALUE"},
    {VK_ENOANSWER, 23, "ENOANSWER"},
};

constexpr uint32_t kOutOfRange[] = {24, 255, 256, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};

TEST(ErrorCode, IsAnUnsigned32BitNumber) { EXPECT_TRUE((std::is_same_v<vk_error, uint32_t>)); }

TEST(ErrorCode, HasTheNumberThatTravelsBetweenProcesses) {
  for (const Code& row : kCodes) {
    SCOPED_TRACE(row.name);
    EXPECT_EQ(row.code, row.number);
  }
}

TEST(Strerror, NamesEveryCode) {
  for (const Code& row : kCodes) {
    SCOPED_TRACE(row.number);
    EXPECT_STREQ(vk_strerror(row.number), row.name);
  }
}

TEST(Strerror, NamesEveryOtherNumberUnknown) {
  for (const uint32_t code : kOutOfRange) {
    SCOPED_TRACE(code);
    EXPECT_STREQ(vk_strerror(code), "UNKNOWN");
  }
}

TEST(Strerror, GivesAConstantText) {
  const char* const known = vk_strerror(VK_EIO);
  const char* const unknown = vk_strerror(24);
  vk_strerror(VK_ENOANSWER);
  EXPECT_EQ(vk_strerror(VK_EIO), known);
  EXPECT_EQ(vk_strerror(24), unknown);
}

TEST(Strerror, AllocatesNothing) {
  const AllocationLog log;
  vk_strerror(VK_EOK);
  vk_strerror(VK_ENOANSWER);
  vk_strerror(0xFFFFFFFF);
  EXPECT_EQ(log.count(), 0U);
}

struct Printed {
  int result;
  std::string text;
};

Printed print_validation_fail(const char* message) {
  testing::internal::CaptureStderr();
  const int result = vk_print_validation_fail(message);
  return {result, testing::internal::GetCapturedStderr()};
}

TEST(PrintValidationFail, PrintsTheMessageOnALineOfStandardErrorAndReturns) {
  EXPECT_EQ(print_validation_fail("bad").text, "Validation failed: bad\n");
}

TEST(PrintValidationFail, GivesTheNumberOfCharactersWritten) {
  EXPECT_EQ(print_validation_fail("bad").result, 23);
  EXPECT_EQ(print_validation_fail("").result, 20);
}

TEST(PrintValidationFail, PrintsAPercentSignAsItIs) {
  EXPECT_EQ(print_validation_fail("%s%n 100%").text, "Validation failed: %s%n 100%\n");
}

TEST(PrintValidationFail, PrintsALongMessageWhole) {
  const std::string message(5000, 'm');
  const Printed printed = print_validation_fail(message.c_str());
  EXPECT_EQ(printed.text, "Validation failed: " + message + "\n");
  EXPECT_EQ(printed.result, 5020);
}

TEST(PrintValidationFail, WritesNothingToStandardOutput) {
  testing::internal::CaptureStdout();
  print_validation_fail("bad");
  std::fflush(stdout);
  EXPECT_THAT(testing::internal::GetCapturedStdout(), IsEmpty());
}

TEST(PrintValidationFail, LogsNothing) {
  const LogSpy log;
  print_validation_fail("bad");
  EXPECT_THAT(log.calls(), IsEmpty());
  EXPECT_THAT(log.connection(), IsEmpty());
}

// Keeps standard error's output in memory, so that only what is flushed comes out of a process that
// is killed. A stream that was in use unbuffered goes over to its new buffer with a flush, so
// something must be written here.
void buffer_stderr() {
  static char buffer[BUFSIZ];
  std::setvbuf(stderr, buffer, _IOFBF, sizeof buffer);
  std::fputs("buffered: ", stderr);
  std::fflush(stderr);
}

TEST(PrintValidationFailDeathTest, LetsTheProcessGoOn) {
  const auto go_on = [] {
    vk_print_validation_fail("bad");
    _exit(7);
  };
  EXPECT_EXIT(go_on(), ExitedWithCode(7), Eq("Validation failed: bad\n"));
}

TEST(PrintValidationFailDeathTest, DoesNotFlush) {
  const auto die_without_flush = [] {
    buffer_stderr();
    vk_print_validation_fail("bad");
    std::raise(SIGKILL);
  };
  EXPECT_EXIT(die_without_flush(), KilledBySignal(SIGKILL), Eq("buffered: "));
}

TEST(PrintValidationFailDeathTest, GivesANegativeNumberWhenStandardErrorCannotBeWritten) {
  const auto print_to_closed = [] {
    close(STDERR_FILENO);
    _exit(vk_print_validation_fail("bad") < 0 ? 0 : 1);
  };
  EXPECT_EXIT(print_to_closed(), ExitedWithCode(0), Eq(""));
}

TEST(AssertFailDeathTest, PrintsFileLineFunctionAndExpressionAndAborts) {
  EXPECT_EXIT(vk_assert_fail("lib/value", 12, "vk_value_copy", "n > 0"), KilledBySignal(SIGABRT),
              AbortedAfter("lib/value:12:vk_value_copy(): Assertion n > 0 failed.\n"));
}

TEST(AssertFailDeathTest, PrintsANullFunctionAsTheEmptyText) {
  EXPECT_EXIT(vk_assert_fail("lib/frame", 203, nullptr, "x != NULL"), KilledBySignal(SIGABRT),
              AbortedAfter("lib/frame:203:(): Assertion x != NULL failed.\n"));
}

TEST(AssertFailDeathTest, PrintsTheLineAsAnUnsignedNumber) {
  EXPECT_EXIT(vk_assert_fail("f", 0xFFFFFFFF, "g", "e"), KilledBySignal(SIGABRT),
              AbortedAfter("f:4294967295:g(): Assertion e failed.\n"));
}

TEST(AssertFailDeathTest, PrintsAPercentSignAsItIs) {
  EXPECT_EXIT(vk_assert_fail("%s", 1, "%d", "n % 2 == 0"), KilledBySignal(SIGABRT),
              AbortedAfter("%s:1:%d(): Assertion n % 2 == 0 failed.\n"));
}

TEST(AssertFailDeathTest, FlushesStandardErrorBeforeItAborts) {
  const auto fail_buffered = [] {
    buffer_stderr();
    vk_assert_fail("f", 1, "g", "e");
  };
  EXPECT_EXIT(fail_buffered(), KilledBySignal(SIGABRT),
              AbortedAfter("buffered: f:1:g(): Assertion e failed.\n"));
}

TEST(TypeInvalidFailDeathTest, PrintsFileLineAndExpressionAndAborts) {
  EXPECT_EXIT(vk_type_invalid_fail("type < 12", "lib/value", 77), KilledBySignal(SIGABRT),
              AbortedAfter("lib/value:77: Validation of 'type < 12' failed.\n"));
}

TEST(TypeInvalidFailDeathTest, PrintsTheLineAsAnUnsignedNumber) {
  EXPECT_EXIT(vk_type_invalid_fail("e", "f", 0xFFFFFFFF), KilledBySignal(SIGABRT),
              AbortedAfter("f:4294967295: Validation of 'e' failed.\n"));
}

TEST(TypeInvalidFailDeathTest, PrintsAPercentSignAsItIs) {
  EXPECT_EXIT(vk_type_invalid_fail("n % 2 == 0", "%s", 1), KilledBySignal(SIGABRT),
              AbortedAfter("%s:1: Validation of 'n % 2 == 0' failed.\n"));
}

TEST(TypeInvalidFailDeathTest, FlushesStandardErrorBeforeItAborts) {
  const auto fail_buffered = [] {
    buffer_stderr();
    vk_type_invalid_fail("e", "f", 1);
  };
  EXPECT_EXIT(fail_buffered(), KilledBySignal(SIGABRT),
              AbortedAfter("buffered: f:1: Validation of 'e' failed.\n"));
}

// Runs a fatal check whose abort tells, after the check's own output, whether syslog was touched.
template <typename Check>
void with_log_verdict(const Check& check) {
  static const LogSpy* watched = nullptr;
  const LogSpy log;
  watched = &log;
  std::signal(SIGABRT, [](int) {
    const std::string_view verdict = watched->connection().empty() ? "quiet" : "logged";
    if (write(STDERR_FILENO, verdict.data(), verdict.size()) < 0) _exit(1);
  });
  check();
}

TEST(AssertFailDeathTest, LogsNothing) {
  EXPECT_EXIT(with_log_verdict([] { vk_assert_fail("f", 1, "g", "e"); }), KilledBySignal(SIGABRT),
              AbortedAfter("f:1:g(): Assertion e failed.\nquiet"));
}

TEST(TypeInvalidFailDeathTest, LogsNothing) {
  EXPECT_EXIT(with_log_verdict([] { vk_type_invalid_fail("e", "f", 1); }), KilledBySignal(SIGABRT),
              AbortedAfter("f:1: Validation of 'e' failed.\nquiet"));
}

// Runs a fatal check in a process that tells if it is cleaned up at its end.
template <typename Check>
void with_exit_handler(const Check& check) {
  std::atexit([] { std::fputs("cleaned up", stderr); });
  check();
}

TEST(AssertFailDeathTest, CleansNothingUp) {
  EXPECT_EXIT(with_exit_handler([] { vk_assert_fail("f", 1, "g", "e"); }), KilledBySignal(SIGABRT),
              AbortedAfter("f:1:g(): Assertion e failed.\n"));
}

TEST(TypeInvalidFailDeathTest, CleansNothingUp) {
  EXPECT_EXIT(with_exit_handler([] { vk_type_invalid_fail("e", "f", 1); }), KilledBySignal(SIGABRT),
              AbortedAfter("f:1: Validation of 'e' failed.\n"));
}

constexpr int kAssertLine = __LINE__ + 1;
void assert_positive(int number) { VK_ASSERT(number > 0); }

constexpr int kValidateLine = __LINE__ + 1;
void validate_positive(int number) { VK_VALIDATE(number > 0); }

TEST(AssertMacroDeathTest, PassesFileLineFunctionAndTheTextOfTheExpression) {
  EXPECT_EXIT(assert_positive(0), KilledBySignal(SIGABRT),
              AbortedAfter(__FILE__ ":" + std::to_string(kAssertLine) +
                           ":assert_positive(): Assertion number > 0 failed.\n"));
}

TEST(ValidateMacroDeathTest, PassesFileLineAndTheTextOfTheExpression) {
  EXPECT_EXIT(validate_positive(-1), KilledBySignal(SIGABRT),
              AbortedAfter(__FILE__ ":" + std::to_string(kValidateLine) +
                           ": Validation of 'number > 0' failed.\n"));
}

TEST(AssertMacro, DoesNothingWhenTheExpressionHolds) {
  testing::internal::CaptureStderr();
  assert_positive(1);
  EXPECT_THAT(testing::internal::GetCapturedStderr(), IsEmpty());
}

TEST(ValidateMacro, DoesNothingWhenTheExpressionHolds) {
  testing::internal::CaptureStderr();
  validate_positive(1);
  EXPECT_THAT(testing::internal::GetCapturedStderr(), IsEmpty());
}

TEST(AssertMacro, EvaluatesTheExpressionOnce) {
  int evaluated = 0;
  VK_ASSERT(++evaluated > 0);
  EXPECT_EQ(evaluated, 1);
}

TEST(ValidateMacro, EvaluatesTheExpressionOnce) {
  int evaluated = 0;
  VK_VALIDATE(++evaluated > 0);
  EXPECT_EQ(evaluated, 1);
}

}  // namespace
}  // namespace vesk::test
