#include "vesk/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <cstddef>
#include <string>

#include "lib/log.h"
#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "tests/support/module_process.h"
#include "vesk/log_names.h"
#include "vesk/mm/gta.h"
#include "vesk/mm/stack.h"

namespace vesk::test {
namespace {

// The facilities of the three categories, chosen by one text.

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

const char kOpenUser[] = "openlog vesk 2 8";
const char kOpenDaemon[] = "openlog vesk 2 24";
const char kOpenLocal0[] = "openlog vesk 2 128";
const char kOpenLocal1[] = "openlog vesk 2 136";
const char kClose[] = "closelog";
const char kSendError[] = "syslog 3 %s";

const auto& facilities = log_state.category_facilities;

void log_in(int category) {
  vk_log(category, VK_LOG_ERROR, "log_facility_test.cc", 1, "log_in", "text");
}

struct Gta {
  Gta() {
    vk_gta_destroy();
    EXPECT_EQ(vk_gta_init(), VK_EOK);
  }
  ~Gta() { vk_gta_destroy(); }
  Gta(const Gta&) = delete;
  Gta& operator=(const Gta&) = delete;
};

class LogFacility : public testing::Test {
 protected:
  // Each category has another facility than those that the tests choose.
  static void begin_with_three_facilities() {
    ASSERT_EQ(vk_log_facility_config("mail,news,cron"), VK_EOK);
  }

  LogSpy log_;
  const Gta gta_;
};

TEST_F(LogFacility, IsTakenInTheOrderOfTheCategories) {
  EXPECT_EQ(vk_log_facility_config("daemon,local0,SYS"), VK_EOK);
  EXPECT_THAT(facilities, ElementsAre(LOG_DAEMON, LOG_LOCAL0, LOG_LOCAL6));
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(LogFacility, OfCategory0GoesToThoseWithoutOne) {
  begin_with_three_facilities();
  EXPECT_EQ(vk_log_facility_config("daemon"), VK_EOK);
  EXPECT_THAT(facilities, ElementsAre(LOG_DAEMON, LOG_DAEMON, LOG_DAEMON));
  EXPECT_EQ(vk_log_facility_config("local1,local2"), VK_EOK);
  EXPECT_THAT(facilities, ElementsAre(LOG_LOCAL1, LOG_LOCAL2, LOG_LOCAL1));
}

TEST_F(LogFacility, SkipsEmptyFieldsAndDoesNotCountThem) {
  struct Row {
    const char* text;
    int category0, category1, category2;
  };
  const Row rows[] = {
      {"daemon,,local0", LOG_DAEMON, LOG_LOCAL0, LOG_DAEMON},
      {",daemon,local0", LOG_DAEMON, LOG_LOCAL0, LOG_DAEMON},
      {",,,daemon", LOG_DAEMON, LOG_DAEMON, LOG_DAEMON},
      {"daemon,", LOG_DAEMON, LOG_DAEMON, LOG_DAEMON},
      {"daemon,local0,,", LOG_DAEMON, LOG_LOCAL0, LOG_DAEMON},
      {",,daemon,,local0,,,local1,,", LOG_DAEMON, LOG_LOCAL0, LOG_LOCAL1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    begin_with_three_facilities();
    EXPECT_EQ(vk_log_facility_config(row.text), VK_EOK);
    EXPECT_THAT(facilities, ElementsAre(row.category0, row.category1, row.category2));
  }
}

TEST_F(LogFacility, OfCategory0StaysAndGoesToAllForATextWithoutNames) {
  for (const char* const text : {"", ",", ",,,,"}) {
    SCOPED_TRACE(text);
    begin_with_three_facilities();
    EXPECT_EQ(vk_log_facility_config(text), VK_EOK);
    EXPECT_THAT(facilities, ElementsAre(LOG_MAIL, LOG_MAIL, LOG_MAIL));
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(LogFacility, IsUserForAllInAFreshProcessForTheEmptyText) {
  EXPECT_EQ(vk_log_facility_config(""), VK_EOK);
  EXPECT_THAT(facilities, ElementsAre(LOG_USER, LOG_USER, LOG_USER));
}

TEST_F(LogFacility, IgnoresWhatFollowsTheThirdName) {
  for (const char* const text : {"daemon,local0,local1,mail", "daemon,local0,local1,bogus,local6",
                                 "daemon,,local0,,local1,,bogus"}) {
    SCOPED_TRACE(text);
    begin_with_three_facilities();
    EXPECT_EQ(vk_log_facility_config(text), VK_EOK);
    EXPECT_THAT(facilities, ElementsAre(LOG_DAEMON, LOG_LOCAL0, LOG_LOCAL1));
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(LogFacility, MayBeAnyOfTheTable) {
  for (const vk_log_name* entry = facilitynames; entry->name != nullptr; ++entry) {
    SCOPED_TRACE(entry->name);
    EXPECT_EQ(vk_log_facility_config(entry->name), VK_EOK);
    EXPECT_THAT(facilities, Each(entry->value));
    EXPECT_EQ(vk_log_facility_config((std::string("user,user,") + entry->name).c_str()), VK_EOK);
    EXPECT_THAT(facilities, ElementsAre(LOG_USER, LOG_USER, entry->value));
  }
  EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(LogFacility, CallsTheLastTwoLocalFacilitiesSysAndCrm) {
  EXPECT_EQ(vk_log_facility_config("SYS,CRM"), VK_EOK);
  EXPECT_THAT(facilities, ElementsAre(LOG_LOCAL6, LOG_LOCAL7, LOG_LOCAL6));
}

TEST_F(LogFacility, MayBeThatOfTheKernelWhoseNumberIsZero) {
  begin_with_three_facilities();
  EXPECT_EQ(vk_log_facility_config("kern,kern"), VK_EOK);
  EXPECT_THAT(facilities, Each(0));
}

// Names that are unknown

TEST_F(LogFacility, IsRefusedByAnUnknownNameAndLogged) {
  for (const std::string name :
       {"local6", "local7", "Daemon", "DAEMON", "sys", "crm", "daemo", "daemons", " daemon",
        "daemon ", "daemon;mail", "24", "-1", "100%s", "(null)"}) {
    SCOPED_TRACE(name);
    log_.forget();
    EXPECT_EQ(vk_log_facility_config(name.c_str()), VK_EINVAL);
    const std::string text = "Unknown syslog facility '" + name + "' for category 0";
    EXPECT_THAT(log_.calls(), ElementsAre(LogCall{0, VK_LOG_ERROR, "lib/log", 0,
                                                  "vk_log_facility_config", text}));
    EXPECT_THAT(log_.lines(), ElementsAre(LogLine{LOG_ERR, "NONE: " + text}));
    EXPECT_THAT(facilities, Each(LOG_USER));
  }
}

TEST_F(LogFacility, StaysAsItWasFromTheFirstUnknownNameOn) {
  struct Row {
    const char* text;
    const char* message;
    int category0, category1, category2;
  };
  const Row rows[] = {
      {"bogus", "NONE: Unknown syslog facility 'bogus' for category 0", LOG_MAIL, LOG_NEWS,
       LOG_CRON},
      {"bogus,local0,local1", "NONE: Unknown syslog facility 'bogus' for category 0", LOG_MAIL,
       LOG_NEWS, LOG_CRON},
      {"daemon,bogus,local1", "NONE: Unknown syslog facility 'bogus' for category 1", LOG_DAEMON,
       LOG_NEWS, LOG_CRON},
      {"daemon,bogus", "NONE: Unknown syslog facility 'bogus' for category 1", LOG_DAEMON, LOG_NEWS,
       LOG_CRON},
      {",daemon,,bogus", "NONE: Unknown syslog facility 'bogus' for category 1", LOG_DAEMON,
       LOG_NEWS, LOG_CRON},
      {"daemon,local0,bogus,worse", "NONE: Unknown syslog facility 'bogus' for category 2",
       LOG_DAEMON, LOG_LOCAL0, LOG_CRON},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    begin_with_three_facilities();
    log_.forget();
    EXPECT_EQ(vk_log_facility_config(row.text), VK_EINVAL);
    EXPECT_THAT(log_.lines(), ElementsAre(LogLine{LOG_ERR, row.message}));
    EXPECT_THAT(facilities, ElementsAre(row.category0, row.category1, row.category2));
  }
}

TEST_F(LogFacility, IsRefusedInAModulesName) {
  const ModuleProcess module{"wlan"};
  EXPECT_EQ(vk_log_facility_config("bogus"), VK_EINVAL);
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine{LOG_ERR,
                                                "wlan: Unknown syslog facility 'bogus' for "
                                                "category 0"}));
}

TEST_F(LogFacility, OfCategory0SendsTheMessageOfALaterUnknownName) {
  EXPECT_EQ(vk_log_facility_config("daemon,bogus"), VK_EINVAL);
  EXPECT_THAT(log_.connection(), ElementsAre(kOpenUser, kClose, kOpenDaemon, kSendError));
}

// When it takes effect

TEST_F(LogFacility, InitialisesLogging) {
  EXPECT_EQ(vk_log_facility_config("daemon"), VK_EOK);
  EXPECT_THAT(log_.connection(), ElementsAre(kOpenUser));
  EXPECT_TRUE(log_state.initialised);
  EXPECT_EQ(vk_log_stream, &log_state.stream);
}

TEST_F(LogFacility, LeavesTheOpenConnectionAlone) {
  log_in(0);
  log_.forget();
  EXPECT_EQ(vk_log_facility_config("daemon,local0,local1"), VK_EOK);
  EXPECT_THAT(log_.connection(), IsEmpty());
  EXPECT_EQ(log_state.facility, LOG_USER);
}

TEST_F(LogFacility, TakesEffectAtTheNextMessageOfEachCategory) {
  EXPECT_EQ(vk_log_facility_config("daemon,local0,local1"), VK_EOK);
  for (const int category : {0, 1, 1, 2}) log_in(category);
  EXPECT_THAT(log_.connection(),
              ElementsAre(kOpenUser, kClose, kOpenDaemon, kSendError, kClose, kOpenLocal0,
                          kSendError, kSendError, kClose, kOpenLocal1, kSendError));
}

TEST_F(LogFacility, ReopensNothingForACategoryThatKeepsIts) {
  log_in(0);
  log_.forget();
  EXPECT_EQ(vk_log_facility_config("user,daemon"), VK_EOK);
  log_in(0);
  EXPECT_THAT(log_.connection(), ElementsAre(kSendError));
}

TEST_F(LogFacility, LeavesAMessageThatHasBegunAsItIs) {
  vk_log_begin_message(0, VK_LOG_ERROR, "log_facility_test.cc", 1, "test");
  vk_log_printf("begun");
  EXPECT_EQ(vk_log_facility_config("daemon"), VK_EOK);
  vk_log_end_message();
  EXPECT_THAT(log_.connection(), ElementsAre(kOpenUser, kSendError));
  EXPECT_THAT(log_.lines(), ElementsAre(LogLine{LOG_ERR, "NONE: begun"}));
}

// The copy of the text

TEST_F(LogFacility, LeavesTheTextAsItIs) {
  std::string text = ",daemon,,local0,local1,bogus";
  EXPECT_EQ(vk_log_facility_config(text.c_str()), VK_EOK);
  EXPECT_EQ(text, ",daemon,,local0,local1,bogus");
}

// A text whose copy needs a chunk of its own on "gta".
std::string long_text() { return "daemon,local0,local1" + std::string(5000, ','); }

TEST_F(LogFacility, LeavesACopyOfTheTextOnGta) {
  EXPECT_STREQ(vk_strdup(vk_gta(), "a temporary"), "a temporary");
  const std::size_t blocks = live_blocks();
  EXPECT_EQ(vk_log_facility_config(long_text().c_str()), VK_EOK);
  EXPECT_EQ(live_blocks(), blocks + 1);
  vk_mm_stack_clear(vk_gta());
  EXPECT_EQ(live_blocks(), blocks);
}

TEST_F(LogFacility, AnswersENOMEMToANullTextAndChangesNothing) {
  begin_with_three_facilities();
  log_.forget();
  EXPECT_EQ(vk_log_facility_config(nullptr), VK_ENOMEM);
  EXPECT_THAT(facilities, ElementsAre(LOG_MAIL, LOG_NEWS, LOG_CRON));
  EXPECT_THAT(log_.connection(), IsEmpty());
}

TEST_F(LogFacility, InitialisesNothingForANullText) {
  EXPECT_EQ(vk_log_facility_config(nullptr), VK_ENOMEM);
  EXPECT_FALSE(log_state.initialised);
  EXPECT_EQ(vk_log_stream, nullptr);
  EXPECT_THAT(log_.connection(), IsEmpty());
}

TEST(LogFacilityWithoutMemory, ChangesNothing) {
  for_every_allocation_fault([](AllocationFault& fault) {
    const LogSpy log;
    const Gta gta;
    ASSERT_EQ(vk_log_facility_config("mail,news,cron"), VK_EOK);
    const std::string text = long_text();
    const vk_error result = fault.during([&] { return vk_log_facility_config(text.c_str()); });
    if (!fault.struck()) {
      EXPECT_EQ(result, VK_EOK);
      EXPECT_THAT(facilities, ElementsAre(LOG_DAEMON, LOG_LOCAL0, LOG_LOCAL1));
      return;
    }
    EXPECT_EQ(result, VK_ENOMEM);
    EXPECT_THAT(facilities, ElementsAre(LOG_MAIL, LOG_NEWS, LOG_CRON));
    EXPECT_THAT(log.lines(), ElementsAre(allocation_failure(text.size() + 1, "gta")));
  });
}

}  // namespace
}  // namespace vesk::test
