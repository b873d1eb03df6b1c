#include "vesk/datetime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>
#include <cstdint>
#include <ctime>
#include <string>
#include <utility>

#include "tests/support/datetimes.h"
#include "tests/support/libc_fakes.h"
#include "tests/support/log_spy.h"
#include "tests/support/text_stream.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The unknown time

TEST(Datetime, SetUnknownFillsTheWholeRecord) {
  vk_datetime datetime = kStrayDatetime;
  vk_datetime_set_unknown(&datetime);
  EXPECT_EQ(datetime.time, 0);
  EXPECT_EQ(datetime.kind, 2U);
  EXPECT_EQ(datetime.usec, 0U);
}

// Differences

TEST(DatetimeDiff, CountsTheSecondsFromTheFirstToTheSecond) {
  struct Row {
    vk_datetime a, b;
    int32_t seconds;
  };
  for (const Row& row :
       {Row{absolute(1000), absolute(1060), 60}, Row{absolute(1060), absolute(1000), -60},
        Row{absolute(-5), absolute(5), 10}, Row{absolute(7), absolute(7), 0},
        Row{relative(100), relative(250), 150}, Row{relative(250), relative(100), -150}}) {
    int32_t seconds = 0x55555555;
    EXPECT_EQ(vk_datetime_diff(&row.a, &row.b, &seconds), VK_EOK);
    EXPECT_EQ(seconds, row.seconds);
  }
}

TEST(DatetimeDiff, IgnoresMicroseconds) {
  const vk_datetime a = absolute(10, 999999);
  const vk_datetime b = absolute(11, 0);
  int32_t seconds = 0;
  EXPECT_EQ(vk_datetime_diff(&a, &b, &seconds), VK_EOK);
  EXPECT_EQ(seconds, 1);
}

TEST(DatetimeDiff, WrapsWhereTheSecondsDoNotFit) {
  const vk_datetime a = absolute(kEarliestTime);
  const vk_datetime b = absolute(kLatestTime);
  int32_t seconds = 0;
  EXPECT_EQ(vk_datetime_diff(&a, &b, &seconds), VK_EOK);
  EXPECT_EQ(seconds, -1);
}

TEST(DatetimeDiff, RefusesTimesOfDifferentKindsAndUnknownTimes) {
  const vk_datetime kinds[] = {absolute(100), relative(100), unknown()};
  for (const vk_datetime& a : kinds) {
    for (const vk_datetime& b : kinds) {
      if (a.kind == b.kind && a.kind != VK_DATETIME_UNKNOWN) continue;
      SCOPED_TRACE(testing::Message() << "from kind " << a.kind << " to kind " << b.kind);
      int32_t seconds = 0x55555555;
      EXPECT_EQ(vk_datetime_diff(&a, &b, &seconds), VK_EINVAL);
      EXPECT_EQ(seconds, 0x55555555);
    }
  }
}

TEST(DatetimeDiff, LogsNothingAboutTimesThatItRefuses) {
  const LogSpy log;
  const vk_datetime a = absolute(100);
  const vk_datetime b = relative(100);
  int32_t seconds = 0;
  EXPECT_EQ(vk_datetime_diff(&a, &b, &seconds), VK_EINVAL);
  EXPECT_THAT(log.connection(), IsEmpty());
}

// Texts written

std::string text_of(const vk_datetime& datetime) {
  TextStream stream;
  EXPECT_EQ(vk_datetime_write(stream.get(), &datetime), VK_EOK);
  EXPECT_EQ(stream.error(), VK_EOK);
  return stream.text();
}

struct Writing {
  vk_datetime datetime;
  const char* text;
};

TEST(DatetimeWriter, WritesEachKindInItsForm) {
  for (const Writing& writing : {
           Writing{unknown(), "0001-01-01T00:00:00Z"},
           Writing{absolute(0), "1970-01-01T00:00:00Z"},
           Writing{absolute(1709294400), "2024-03-01T12:00:00Z"},
           Writing{absolute(1709251199), "2024-02-29T23:59:59Z"},
           Writing{absolute(-1), "1969-12-31T23:59:59Z"},
           Writing{absolute(kEarliestTime), "1901-12-13T20:45:52Z"},
           Writing{absolute(kLatestTime), "2038-01-19T03:14:07Z"},
           Writing{relative(0), "0001-01-01T00:00:00"},
           Writing{relative(100), "0001-01-01T00:01:40"},
           Writing{relative(31535999), "0001-12-31T23:59:59"},
           Writing{relative(31536000), "0002-01-01T00:00:00"},
           Writing{relative(-1), "0000-12-31T23:59:59"},
           Writing{relative(kLatestTime), "0069-01-19T03:14:07"},
       }) {
    EXPECT_EQ(text_of(writing.datetime), writing.text);
  }
}

TEST(DatetimeWriter, WritesMicrosecondsThatAreNot0WithSixDigits) {
  EXPECT_EQ(text_of(absolute(1709294400, 500000)), "2024-03-01T12:00:00.500000Z");
  EXPECT_EQ(text_of(absolute(1709294400, 1)), "2024-03-01T12:00:00.000001Z");
  EXPECT_EQ(text_of(absolute(1709294400, 999999)), "2024-03-01T12:00:00.999999Z");
  EXPECT_EQ(text_of(relative(100, 250000)), "0001-01-01T00:01:40.250000");
}

TEST(DatetimeWriter, WritesTheUnknownTimeWhateverTheOtherFieldsHold) {
  EXPECT_EQ(text_of({1709294400, VK_DATETIME_UNKNOWN, 500000}), "0001-01-01T00:00:00Z");
}

TEST(DatetimeWriter, WritesAKindThatThereIsNotAsTheCalendarWithoutASuffix) {
  EXPECT_EQ(text_of({1709294400, 3, 500000}), "2024-03-01T12:00:00.500000");
  EXPECT_EQ(text_of({100, 0xFFFFFFFF, 0}), "1970-01-01T00:01:40");
}

TEST(DatetimeWriter, WritesAYearBefore0AsAnUnsignedNumber) {
  EXPECT_EQ(text_of(relative(-31536000)), "0000-01-01T00:00:00");
  EXPECT_EQ(text_of(relative(-31536001)), "4294967295-12-31T23:59:59");
  EXPECT_EQ(text_of(relative(kEarliestTime)), "4294967228-12-13T20:45:52");
}

TEST(DatetimeWriter, WritesUtcWhateverTheTimeZone) {
  const FarFromGreenwich far;
  EXPECT_EQ(text_of(absolute(1709294400)), "2024-03-01T12:00:00Z");
  EXPECT_EQ(text_of(relative(100)), "0001-01-01T00:01:40");
}

TEST(DatetimeWriter, WritesWhatItReadBackExactly) {
  for (const char* text :
       {"0001-01-01T00:00:00Z", "0001-01-01T00:00:00", "0001-01-01T00:01:40",
        "0001-01-01T00:01:40.000250", "2024-03-01T12:00:00Z", "2024-03-01T12:00:00.500000Z"}) {
    vk_datetime datetime = kStrayDatetime;
    EXPECT_EQ(vk_datetime_from_string(&datetime, text), VK_EOK);
    EXPECT_EQ(text_of(datetime), text);
  }
}

TEST(DatetimeWriter, MakesOneWriteForEachPart) {
  const vk_datetime datetime = absolute(1709294400, 500000);
  TextStream stream;
  EXPECT_EQ(vk_datetime_write(stream.get(), &datetime), VK_EOK);
  EXPECT_THAT(stream.writes(), ElementsAre("2024-03-01T12:00:00", ".500000", "Z"));
}

TEST(DatetimeWriter, WritesTheUnknownTimeAsAText) {
  const vk_datetime datetime = unknown();
  TextStream stream;
  stream.get()->puts = [](vk_stream* sink, const char* text) {
    vk_stream_printf(sink, "puts(%s)", text);
    return vk_error{VK_EBUSY};
  };
  EXPECT_EQ(vk_datetime_write(stream.get(), &datetime), VK_EOK);
  EXPECT_EQ(stream.text(), "puts(0001-01-01T00:00:00Z)");
  EXPECT_EQ(stream.error(), VK_EBUSY);
}

TEST(DatetimeWriter, StopsWritingAtTheFirstFailureAndStillSucceeds) {
  const vk_datetime datetime = absolute(1709294400, 500000);
  for (std::size_t good = 0; good < 3; ++good) {
    TextStream stream;
    stream.fail_after(good, VK_EIO);
    EXPECT_EQ(vk_datetime_write(stream.get(), &datetime), VK_EOK);
    EXPECT_EQ(stream.error(), VK_EIO);
    EXPECT_EQ(stream.writes().size(), good + 1);
  }
}

TEST(DatetimeWriter, WritesNothingToAStreamThatHasFailed) {
  for (const vk_datetime& datetime : {unknown(), absolute(100, 5), relative(100, 5)}) {
    TextStream stream;
    stream.set_error(VK_EBUSY);
    EXPECT_EQ(vk_datetime_write(stream.get(), &datetime), VK_EOK);
    EXPECT_EQ(stream.error(), VK_EBUSY);
    EXPECT_THAT(stream.writes(), IsEmpty());
  }
}

TEST(DatetimeWriter, RefusesATimeWithoutACalendarForm) {
  const LogSpy log;
  LibcFakes libc;
  libc.gmtime_fails = true;
  for (const vk_datetime& datetime : {absolute(100, 5), relative(100, 5)}) {
    TextStream stream;
    EXPECT_EQ(vk_datetime_write(stream.get(), &datetime), VK_EINVAL);
    EXPECT_EQ(stream.error(), VK_EOK);
    EXPECT_THAT(stream.writes(), IsEmpty());
  }
  EXPECT_THAT(log.connection(), IsEmpty());
}

TEST(DatetimeWriter, NeedsNoCalendarForTheUnknownTime) {
  LibcFakes libc;
  libc.gmtime_fails = true;
  EXPECT_EQ(text_of(unknown()), "0001-01-01T00:00:00Z");
}

// Clocks

TEST(DatetimeClock, TheMonotonicClockIsTheUptime) {
  LibcFakes libc;
  libc.uptime = 0;
  EXPECT_EQ(vk_datetime_get_monotonic(), 0U);
  libc.uptime = 12345;
  EXPECT_EQ(vk_datetime_get_monotonic(), 12345U);
}

#if LONG_MAX > INT32_MAX
TEST(DatetimeClock, TheMonotonicClockIsTheUptimeIn32Bits) {
  LibcFakes libc;
  libc.uptime = 0x7FFFFFFF;
  EXPECT_EQ(vk_datetime_get_monotonic(), 0x7FFFFFFFU);
  libc.uptime = 0x80000000;
  EXPECT_EQ(vk_datetime_get_monotonic(), 0x80000000U);
  libc.uptime = 0xFFFFFFFE;
  EXPECT_EQ(vk_datetime_get_monotonic(), 0xFFFFFFFEU);
  libc.uptime = 0x100000007;
  EXPECT_EQ(vk_datetime_get_monotonic(), 7U);
}
#endif

TEST(DatetimeClock, TheMonotonicClockThatCannotBeReadIsAllOnes) {
  LibcFakes libc;
  libc.sysinfo_fails = true;
  EXPECT_EQ(vk_datetime_get_monotonic(), 0xFFFFFFFFU);
}

TEST(DatetimeClock, TheCurrentTimeIsAbsoluteWhenTheClockHasBeenSet) {
  LibcFakes libc;
  libc.wall_clock = 1709294400;
  libc.uptime = 1000;
  vk_datetime datetime = kStrayDatetime;
  EXPECT_EQ(vk_datetime_set_current(&datetime), 1);
  EXPECT_THAT(datetime, IsTime(absolute(1709294400)));
}

TEST(DatetimeClock, TheCurrentTimeIsRelativeWithin2SecondsOfTheUptime) {
  struct Row {
    std::time_t wall_clock;
    long uptime;
    uint32_t kind;
  };
  for (const Row& row :
       {Row{997, 1000, VK_DATETIME_ABSOLUTE}, Row{998, 1000, VK_DATETIME_RELATIVE},
        Row{999, 1000, VK_DATETIME_RELATIVE}, Row{1000, 1000, VK_DATETIME_RELATIVE},
        Row{1001, 1000, VK_DATETIME_RELATIVE}, Row{1002, 1000, VK_DATETIME_RELATIVE},
        Row{1003, 1000, VK_DATETIME_ABSOLUTE},
        // The bounds are signed.
        Row{0, 0, VK_DATETIME_RELATIVE}, Row{0, 1, VK_DATETIME_RELATIVE},
        Row{-1, 1, VK_DATETIME_RELATIVE}, Row{-2, 1, VK_DATETIME_ABSOLUTE},
        Row{-2, 0, VK_DATETIME_RELATIVE}, Row{-3, 0, VK_DATETIME_ABSOLUTE},
        // So is the uptime: one of 2^31 seconds counts as the earliest time.
        Row{kEarliestTime, kEarliestTime, VK_DATETIME_RELATIVE},
        Row{kEarliestTime + 2, kEarliestTime, VK_DATETIME_RELATIVE},
        Row{kEarliestTime + 3, kEarliestTime, VK_DATETIME_ABSOLUTE},
        Row{kLatestTime, kEarliestTime, VK_DATETIME_ABSOLUTE},
        Row{-1000, -1000, VK_DATETIME_RELATIVE}, Row{-1003, -1000, VK_DATETIME_ABSOLUTE},
        // Neither bound wraps.
        Row{kEarliestTime, kLatestTime, VK_DATETIME_ABSOLUTE},
        Row{kLatestTime, kLatestTime, VK_DATETIME_RELATIVE},
        Row{kLatestTime - 3, kLatestTime, VK_DATETIME_ABSOLUTE}}) {
    SCOPED_TRACE(testing::Message() << row.wall_clock << " after " << row.uptime);
    LibcFakes libc;
    libc.wall_clock = row.wall_clock;
    libc.uptime = row.uptime;
    vk_datetime datetime = kStrayDatetime;
    EXPECT_EQ(vk_datetime_set_current(&datetime), 1);
    EXPECT_THAT(datetime, IsTime({static_cast<int32_t>(row.wall_clock), row.kind, 0}));
  }
}

#if SIZE_MAX > UINT32_MAX
TEST(DatetimeClock, TheCurrentTimeIsCutTo32Bits) {
  for (const auto& [wall_clock, time] : {std::pair<std::time_t, int32_t>{0x7FFFFFFF, kLatestTime},
                                         {0x80000000, kEarliestTime},
                                         {0xFFFFFFFE, -2},
                                         {0x100000000 + 1709294400, 1709294400}}) {
    SCOPED_TRACE(wall_clock);
    LibcFakes libc;
    libc.wall_clock = wall_clock;
    libc.uptime = 1000;
    vk_datetime datetime = kStrayDatetime;
    EXPECT_EQ(vk_datetime_set_current(&datetime), 1);
    EXPECT_THAT(datetime, IsTime(absolute(time)));
  }
}
#endif

TEST(DatetimeClock, TheCurrentTimeIsAbsoluteWhenTheUptimeCannotBeRead) {
  const LogSpy log;
  LibcFakes libc;
  libc.wall_clock = 1000;
  libc.sysinfo_fails = true;
  vk_datetime datetime = kStrayDatetime;
  EXPECT_EQ(vk_datetime_set_current(&datetime), -1);
  EXPECT_THAT(datetime, IsTime(absolute(1000)));
  EXPECT_THAT(log.connection(), IsEmpty());
}

}  // namespace
}  // namespace vesk::test
