#include "core/log.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <syslog.h>

#include <cstdlib>

#include "tests/support/log_spy.h"

namespace vesk::test {
namespace {

using namespace std::chrono_literals;  // NOLINT(google-build-using-namespace)
using core::escaped;
using core::LogBudget;
using core::Peer;

TEST(TheLog, GoesToTheLibrarys) {
  const LogSpy spy;
  core::log(VK_LOG_WARNING, "%s and %d", "text", 5);
  EXPECT_THAT(spy.lines(), testing::ElementsAre(LogLine{LOG_WARNING, "NONE: text and 5"}));
}

// In a process of its own, since it cannot be taken back.
TEST(TheLog, HasTheLibraryWriteToStandardErrorToo) {
  EXPECT_EXIT(
      {
        const LogSpy spy;
        core::log_to_standard_error();
        vk_log(0, VK_LOG_ERROR, "lib", 1, "function", "message");
        const std::string last = "openlog vesk " + std::to_string(LOG_CONS | LOG_PERROR) + " 0";
        const bool good = spy.connection().size() >= 2 && *(spy.connection().end() - 2) == last;
        std::_Exit(good ? 0 : 2);
      },
      testing::ExitedWithCode(0), "");
}

TEST(Escaped, LetsPrintableTextThrough) { EXPECT_EQ(escaped("a B-9 ~"), "a B-9 ~"); }

TEST(Escaped, SpellsControlBytesAndBackslashes) {
  EXPECT_EQ(escaped("a\nb\x1B\x7F\\"), "a\\x0Ab\\x1B\\x7F\\x5C");
  EXPECT_EQ(escaped("\xC2\x9B"), "\\xC2\\x9B");
  EXPECT_EQ(escaped(std::string_view("\0", 1)), "\\x00");
}

TEST(Escaped, CutsLongTexts) { EXPECT_EQ(escaped(std::string(100, 'a')), std::string(64, 'a')); }

class ABudget : public testing::Test {
 protected:
  unsigned spend(const Peer& peer, LogBudget::Clock::time_point now, unsigned times) {
    unsigned granted = 0;
    for (unsigned i = 0; i != times; ++i) granted += budget_.spend(peer, now) ? 1U : 0U;
    return granted;
  }

  LogBudget budget_;
  const LogBudget::Clock::time_point start_ = LogBudget::Clock::now();
  const Peer peer_ = {1, 1, 1, true};
};

TEST_F(ABudget, GrantsTenMessagesInAnySecond) {
  EXPECT_EQ(spend(peer_, start_, 4), 4U);
  EXPECT_EQ(spend(peer_, start_ + 900ms, 30), 6U);
  EXPECT_EQ(spend(peer_, start_ + 999ms, 30), 0U);
  EXPECT_EQ(spend(peer_, start_ + 1000ms, 30), 4U);
  EXPECT_EQ(spend(peer_, start_ + 1899ms, 30), 0U);
  EXPECT_EQ(spend(peer_, start_ + 1900ms, 30), 6U);
}

TEST_F(ABudget, LogsErrorsAsLongAsItLasts) {
  const LogSpy spy;
  for (int i = 0; i != 10; ++i) budget_.spend(peer_, start_ + 3600s);
  budget_.complain(peer_, "too many");
  EXPECT_TRUE(spy.lines().empty());
  budget_.complain({1, 1, 2, true}, "100 %s");
  EXPECT_THAT(spy.lines(), testing::ElementsAre(LogLine{LOG_ERR, "NONE: 100 %s"}));
}

TEST_F(ABudget, IsEachProcesssOwn) {
  EXPECT_EQ(spend(peer_, start_, 30), 10U);
  EXPECT_EQ(spend({1, 1, 2, true}, start_, 30), 10U);
  EXPECT_EQ(spend({2, 1, 1, true}, start_, 30), 10U);
}

}  // namespace
}  // namespace vesk::test
