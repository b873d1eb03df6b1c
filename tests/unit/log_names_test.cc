#include "vesk/log_names.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <ostream>
#include <string>
#include <vector>

namespace vesk::test {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::Field;
using testing::Not;

struct Row {
  std::string name;
  int32_t value;

  bool operator==(const Row&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Row& row) {
  return out << '"' << row.name << "\" " << row.value;
}

// All entries but the one that ends the table.
std::vector<Row> rows_of(const vk_log_name* table) {
  std::vector<Row> rows;
  for (; table->name != nullptr; ++table) rows.push_back({table->name, table->value});
  return rows;
}

TEST(PriorityNames, AreThoseOfSyslogInAlphabeticalOrder) {
  EXPECT_THAT(rows_of(prioritynames),
              ElementsAre(Row{"alert", 1}, Row{"crit", 2}, Row{"debug", 7}, Row{"emerg", 0},
                          Row{"err", 3}, Row{"error", 3}, Row{"info", 6}, Row{"none", 0x10},
                          Row{"notice", 5}, Row{"panic", 0}, Row{"warn", 4}, Row{"warning", 4}));
}

TEST(PriorityNames, EndWithANullNameAndMinusOne) {
  EXPECT_EQ(prioritynames[12].name, nullptr);
  EXPECT_EQ(prioritynames[12].value, -1);
}

TEST(FacilityNames, AreThoseOfSyslogFollowedByTheSystemsOwnTwo) {
  EXPECT_THAT(
      rows_of(facilitynames),
      ElementsAre(Row{"auth", 0x20}, Row{"authpriv", 0x50}, Row{"cron", 0x48}, Row{"daemon", 0x18},
                  Row{"ftp", 0x58}, Row{"kern", 0x00}, Row{"lpr", 0x30}, Row{"mail", 0x10},
                  Row{"mark", 0xC0}, Row{"news", 0x38}, Row{"security", 0x20}, Row{"syslog", 0x28},
                  Row{"user", 0x08}, Row{"uucp", 0x40}, Row{"local0", 0x80}, Row{"local1", 0x88},
                  Row{"local2", 0x90}, Row{"local3", 0x98}, Row{"local4", 0xA0},
                  Row{"local5", 0xA8}, Row{"SYS", 0xB0}, Row{"CRM", 0xB8}));
}

TEST(FacilityNames, CallTheLastTwoLocalFacilitiesSysAndCrm) {
  const std::vector<Row> rows = rows_of(facilitynames);
  EXPECT_THAT(rows, Contains(Row{"SYS", LOG_LOCAL6}));
  EXPECT_THAT(rows, Contains(Row{"CRM", LOG_LOCAL7}));
  EXPECT_THAT(rows, Not(Contains(Field(&Row::name, "local6"))));
  EXPECT_THAT(rows, Not(Contains(Field(&Row::name, "local7"))));
}

TEST(FacilityNames, EndWithANullNameAndMinusOne) {
  EXPECT_EQ(facilitynames[22].name, nullptr);
  EXPECT_EQ(facilitynames[22].value, -1);
}

}  // namespace
}  // namespace vesk::test
