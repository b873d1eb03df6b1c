#include "vesk/datetime.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <string>
#include <vector>

#include "tests/support/datetimes.h"
#include "tests/support/log_spy.h"
#include "vesk/log.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Reading {
  const char* text;
  vk_datetime datetime;
};

void expect_readings(const std::vector<Reading>& readings) {
  for (const Reading& reading : readings) {
    SCOPED_TRACE(reading.text);
    vk_datetime datetime = kStrayDatetime;
    EXPECT_EQ(vk_datetime_from_string(&datetime, reading.text), VK_EOK);
    EXPECT_THAT(datetime, IsTime(reading.datetime));
  }
}

/// For texts whose seconds are -1 or do not fit: `time` of the readings must be -1.
void expect_out_of_range(const std::vector<Reading>& readings) {
  for (const Reading& reading : readings) {
    SCOPED_TRACE(reading.text);
    vk_datetime datetime = kStrayDatetime;
    EXPECT_EQ(vk_datetime_from_string(&datetime, reading.text), VK_EINVAL);
    EXPECT_THAT(datetime, IsTime(reading.datetime));
    EXPECT_EQ(datetime.time, -1);
  }
}

TEST(DatetimeReader, ReadsTheUnknownTime) {
  expect_readings({{"0001-01-01T00:00:00Z", unknown()}});
}

TEST(DatetimeReader, ReadsATimeWithTheSuffixAsAbsolute) {
  expect_readings({
      {"1970-01-01T00:00:00Z", absolute(0)},
      {"1970-01-01T00:00:01Z", absolute(1)},
      {"1999-12-31T23:59:59Z", absolute(946684799)},
      {"2000-02-29T00:00:00Z", absolute(951782400)},
      {"2024-02-29T23:59:59Z", absolute(1709251199)},
      {"2024-03-01T12:00:00Z", absolute(1709294400)},
      {"1969-12-31T23:59:58Z", absolute(-2)},
  });
}

TEST(DatetimeReader, AcceptsAnyTailAndAppliesNoOffset) {
  expect_readings({
      {"2024-03-01T12:00:00+05:00", absolute(1709294400)},
      {"2024-03-01T12:00:00-11:30", absolute(1709294400)},
      {"2024-03-01T12:00:00 ", absolute(1709294400)},
      {"2024-03-01T12:00:00z", absolute(1709294400)},
      {"2024-03-01T12:00:00?!", absolute(1709294400)},
      {"2024-03-01T12:00:00.5+02:00", absolute(1709294400, 500000)},
      {"2024-03-01T12:00:00,5Z", absolute(1709294400)},
  });
}

TEST(DatetimeReader, TakesTheFieldsAsUtcWhateverTheTimeZone) {
  const FarFromGreenwich far;
  expect_readings(
      {{"2024-03-01T12:00:00Z", absolute(1709294400)}, {"0001-01-01T00:01:40", relative(100)}});
}

TEST(DatetimeReader, CutsTheFractionAfterSixDigits) {
  expect_readings({
      {"2024-03-01T12:00:00.5Z", absolute(1709294400, 500000)},
      {"2024-03-01T12:00:00.05Z", absolute(1709294400, 50000)},
      {"2024-03-01T12:00:00.000001Z", absolute(1709294400, 1)},
      {"2024-03-01T12:00:00.123456Z", absolute(1709294400, 123456)},
      {"2024-03-01T12:00:00.1234567Z", absolute(1709294400, 123456)},
      {"2024-03-01T12:00:00.9999999Z", absolute(1709294400, 999999)},
      {"2024-03-01T12:00:00.0000009Z", absolute(1709294400)},
      {"2024-03-01T12:00:00.00000000000000000000000000000000000000001Z", absolute(1709294400)},
      {"2024-03-01T12:00:00.99999999999999999999999999999999999999999Z",
       absolute(1709294400, 999999)},
  });
}

TEST(DatetimeReader, ReadsAFractionOfAnyNumberOfDigits) {
  const std::string fraction = "2024-03-01T12:00:00." + std::string(100000, '9');
  expect_readings({{(fraction + "Z").c_str(), absolute(1709294400, 999999)}});
}

TEST(DatetimeReader, ReadsAPointWithoutDigitsAsNoFraction) {
  expect_readings({
      {"2024-03-01T12:00:00.Z", absolute(1709294400)},
      {"2024-03-01T12:00:00..5Z", absolute(1709294400)},
      {"0001-01-01T00:01:40.", relative(100)},
  });
}

TEST(DatetimeReader, ReadsAYearBelow1000WithoutATailAsTimeSinceBoot) {
  expect_readings({
      {"0001-01-01T00:00:00", relative(0)},
      {"0001-01-01T00:01:40", relative(100)},
      {"0001-01-01T00:01:40.25", relative(100, 250000)},
      {"0001-12-31T23:59:59", relative(31535999)},
      {"0002-01-01T00:00:00", relative(31536000)},
      {"0003-01-01T00:00:00", relative(63072000)},
      {"0000-12-31T23:59:58", relative(-2)},
      {"0069-01-19T03:14:07", relative(kLatestTime)},
  });
}

TEST(DatetimeReader, CountsTimeSinceBootByTheCalendarFrom1970) {
  // Year 4 becomes 1973, which has no 29th of February.
  expect_readings({{"0004-02-29T00:00:00", relative(99792000)}});
}

TEST(DatetimeReader, ReadsAYearBelow1000WithATailAsAbsolute) {
  expect_out_of_range({
      {"0001-01-01T00:01:40Z", absolute(-1)},
      {"0001-01-01T00:00:00+00:00", absolute(-1)},
      {"0001-01-01T00:00:00.5Z", absolute(-1, 500000)},
      {"0001-01-01T00:00:00Z ", absolute(-1)},
  });
}

TEST(DatetimeReader, WarnsOfAnAbsoluteTimeWithoutATailAndAcceptsIt) {
  const LogSpy log;
  expect_readings({{"2024-03-01T12:00:00", absolute(1709294400)},
                   {"2024-03-01T12:00:00.25", absolute(1709294400, 250000)}});
  EXPECT_THAT(log.lines(),
              ElementsAre(LogLine{LOG_WARNING,
                                  "NONE: Datetime value '2024-03-01T12:00:00' does not have "
                                  "timezone suffix"},
                          LogLine{LOG_WARNING,
                                  "NONE: Datetime value '2024-03-01T12:00:00.25' does not "
                                  "have timezone suffix"}));
}

TEST(DatetimeReader, WarnsInItsOwnName) {
  const LogSpy log;
  expect_readings({{"2024-03-01T12:00:00", absolute(1709294400)}});
  EXPECT_THAT(
      log.calls(),
      ElementsAre(LogCall{0, VK_LOG_WARNING, "lib/datetime", 0, "vk_datetime_from_string",
                          "Datetime value '2024-03-01T12:00:00' does not have timezone suffix"}));
}

TEST(DatetimeReader, WarnsFromTheYear1000On) {
  const LogSpy log;
  expect_out_of_range({{"0999-12-31T23:59:59", relative(-1)}});
  EXPECT_THAT(log.lines(), IsEmpty());
  expect_out_of_range({{"1000-01-01T00:00:00", absolute(-1)}});
  EXPECT_THAT(log.lines(),
              ElementsAre(LogLine{
                  LOG_WARNING,
                  "NONE: Datetime value '1000-01-01T00:00:00' does not have timezone suffix"}));
}

TEST(DatetimeReader, LogsNothingElse) {
  const LogSpy log;
  expect_readings({{"0001-01-01T00:00:00Z", unknown()},
                   {"0001-01-01T00:01:40", relative(100)},
                   {"2024-03-01T12:00:00Z", absolute(1709294400)},
                   {"2024-03-01T12:00:00+05:00", absolute(1709294400)}});
  expect_out_of_range(
      {{"1969-12-31T23:59:59Z", absolute(-1)}, {"2038-01-19T03:14:08Z", absolute(-1)}});
  vk_datetime datetime;
  EXPECT_EQ(vk_datetime_from_string(&datetime, "garbage"), VK_EINVAL);
  EXPECT_THAT(log.connection(), IsEmpty());
}

TEST(DatetimeReader, RefusesWhatIsNoTimeAndLeavesTheRecordAlone) {
  for (const char* text :
       {"", "garbage", "Z", "2024", "2024-03-01", "2024-03-01T", "2024-03-01 12:00:00Z",
        "2024-03-01T12:00Z", "2024-03-01T12:00:Z", "2024-03-01T12:00:.5Z", "2024/03/01T12:00:00Z",
        "2024-13-01T12:00:00Z", "2024-03-32T12:00:00Z", "2024-03-01T25:00:00Z",
        "2024-03-01T12:60:00Z", "12:00:00Z", "x2024-03-01T12:00:00Z"}) {
    SCOPED_TRACE(text);
    vk_datetime datetime = kStrayDatetime;
    EXPECT_EQ(vk_datetime_from_string(&datetime, text), VK_EINVAL);
    EXPECT_THAT(datetime, IsTime(kStrayDatetime));
  }
}

TEST(DatetimeReader, RefusesTheSecondBefore1970ThatStandsForFailure) {
  expect_out_of_range({
      {"1969-12-31T23:59:59Z", absolute(-1)},
      {"1969-12-31T23:59:59.25Z", absolute(-1, 250000)},
      {"0000-12-31T23:59:59", relative(-1)},
      {"0000-12-31T23:59:59.25", relative(-1, 250000)},
  });
}

TEST(DatetimeReader, ReadsTheFirstAndTheLastSecondThatFit) {
  expect_readings({{"1901-12-13T20:45:52Z", absolute(kEarliestTime)},
                   {"2038-01-19T03:14:07Z", absolute(kLatestTime)}});
}

TEST(DatetimeReader, RefusesSecondsThatDoNotFit) {
  expect_out_of_range({
      {"1901-12-13T20:45:51Z", absolute(-1)},
      {"2038-01-19T03:14:08Z", absolute(-1)},
      {"2038-01-19T03:14:08.75Z", absolute(-1, 750000)},
      {"2106-02-07T06:28:16Z", absolute(-1)},
      {"2242-03-16T12:56:32Z", absolute(-1)},
      {"9999-12-31T23:59:59Z", absolute(-1)},
      {"0069-01-19T03:14:08", relative(-1)},
      {"0137-02-07T06:28:16.5", relative(-1, 500000)},
  });
}

}  // namespace
}  // namespace vesk::test
