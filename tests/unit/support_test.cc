#include <gmock/gmock.h>
#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <sys/sysinfo.h>
#include <syslog.h>

#include <cstdlib>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

#include "lib/log.h"
#include "tests/support/allocation_fault.h"
#include "tests/support/libc_fakes.h"
#include "tests/support/log_spy.h"
#include "tests/support/module_process.h"
#include "tests/support/text_stream.h"
#include "vesk/log.h"

namespace vesk::test {
namespace {

// The kit itself: what it observes, and that it notices what it is there to notice.

using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

using Extent = AllocationFault::Extent;

// Volatile, so that no compiler leaves out an allocation whose block is not used.
void* (*volatile allocate)(std::size_t) = std::malloc;
void* (*volatile resize)(void*, std::size_t) = std::realloc;
void (*volatile release)(void*) = std::free;

// Which of three allocations succeed.
std::vector<bool> three_allocations(AllocationFault& fault) {
  void* blocks[3] = {};
  fault.during([&] {
    for (void*& block : blocks) block = allocate(1);
  });
  std::vector<bool> succeeded;
  for (void* const block : blocks) {
    succeeded.push_back(block != nullptr);
    release(block);
  }
  return succeeded;
}

// What a piece of a test reports as failed, instead of failing.
std::vector<std::string> failures_of(const std::function<void()>& piece) {
  testing::TestPartResultArray results;
  {
    const testing::ScopedFakeTestPartResultReporter reporter{
        testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &results};
    piece();
  }
  std::vector<std::string> messages;
  for (int i = 0; i < results.size(); ++i) {
    messages.emplace_back(results.GetTestPartResult(i).message());
  }
  return messages;
}

TEST(AllocationFault, RefusesExactlyTheOneAllocation) {
  AllocationFault fault{2, Extent::kOne};
  EXPECT_THAT(three_allocations(fault), ElementsAre(true, false, true));
  EXPECT_TRUE(fault.struck());
}

TEST(AllocationFault, RefusesAllAllocationsFromOneOn) {
  AllocationFault fault{2, Extent::kAllFromThere};
  EXPECT_THAT(three_allocations(fault), ElementsAre(true, false, false));
  EXPECT_TRUE(fault.struck());
}

TEST(AllocationFault, StrikesNothingWhenTooFewAllocationsAreMade) {
  AllocationFault fault{4, Extent::kAllFromThere};
  EXPECT_THAT(three_allocations(fault), ElementsAre(true, true, true));
  EXPECT_FALSE(fault.struck());
}

TEST(AllocationFault, RefusesAReallocationAndLeavesItsBlock) {
  AllocationFault fault{1, Extent::kOne};
  const std::size_t before = live_blocks();
  void* const block = allocate(1);
  EXPECT_EQ(fault.during([&] { return resize(block, 2); }), nullptr);
  EXPECT_EQ(live_blocks(), before + 1);
  release(block);
}

TEST(AllocationFault, LeavesWhatIsOutsideTheCallAlone) {
  AllocationFault fault{1, Extent::kAllFromThere};
  void* const earlier = allocate(1);
  fault.during([] {});
  void* const later = allocate(1);
  EXPECT_NE(earlier, nullptr);
  EXPECT_NE(later, nullptr);
  EXPECT_FALSE(fault.struck());
  release(earlier);
  release(later);
}

TEST(EveryAllocationFault, RefusesEachAloneAndThenEachWithAllThatFollow) {
  std::vector<std::vector<bool>> runs;
  for_every_allocation_fault(
      [&](AllocationFault& fault) { runs.push_back(three_allocations(fault)); });
  const std::vector<bool> all = {true, true, true};
  EXPECT_THAT(runs, ElementsAre(std::vector{false, true, true}, std::vector{true, false, true},
                                std::vector{true, true, false}, all,  //
                                std::vector{false, false, false}, std::vector{true, false, false},
                                std::vector{true, true, false}, all));
}

TEST(EveryAllocationFault, PassesAScenarioThatFreesWhatItAllocated) {
  EXPECT_THAT(
      failures_of([] {
        for_every_allocation_fault([](AllocationFault& fault) { three_allocations(fault); });
      }),
      IsEmpty());
}

TEST(EveryAllocationFault, NoticesALeak) {
  void* leaked = nullptr;
  const auto leak_once = [&](AllocationFault& fault) {
    void* const block = fault.during([] { return allocate(1); });
    if (leaked == nullptr) {
      leaked = block;
    } else {
      release(block);
    }
  };
  EXPECT_NONFATAL_FAILURE(for_every_allocation_fault(leak_once), "the scenario leaked");
  release(leaked);
}

TEST(EveryAllocationFault, NoticesAScenarioThatAllocatesNothing) {
  const std::vector<std::string> failures = failures_of(
      [] { for_every_allocation_fault([](AllocationFault& fault) { fault.during([] {}); }); });
  EXPECT_THAT(failures, SizeIs(2));
  EXPECT_THAT(failures, Each(HasSubstr("the scenario allocates nothing")));
}

TEST(LiveBlocks, CountsWhatIsAllocatedAndNotFreed) {
  const std::size_t before = live_blocks();
  void* block = allocate(1);
  EXPECT_EQ(live_blocks(), before + 1);
  block = resize(block, 100000);
  EXPECT_EQ(live_blocks(), before + 1);
  release(block);
  EXPECT_EQ(live_blocks(), before);
}

TEST(AllocationLog, TellsTheSizesAskedForInOrderWithTheRefusedOnes) {
  AllocationFault fault{1, Extent::kOne};
  const AllocationLog log;
  void* const block = resize(allocate(10), 20);
  EXPECT_EQ(fault.during([] { return allocate(30); }), nullptr);
  ASSERT_EQ(log.count(), 3U);
  EXPECT_EQ(log.size_of(0), 10U);
  EXPECT_EQ(log.size_of(1), 20U);
  EXPECT_EQ(log.size_of(2), 30U);
  release(block);
}

TEST(Unwatched, KeepsAllocationsOutOfCountsAndRefusals) {
  AllocationFault fault{1, Extent::kAllFromThere};
  const AllocationLog log;
  const std::size_t before = live_blocks();
  void* const block = fault.during([] {
    const Unwatched unwatched;
    return allocate(1);
  });
  EXPECT_NE(block, nullptr);
  EXPECT_EQ(log.count(), 0U);
  EXPECT_EQ(live_blocks(), before);
  release(block);
}

TEST(LogSpy, RecordsWhatIsDoneWithSyslog) {
  const LogSpy log;
  openlog("someone", LOG_PID, LOG_DAEMON);
  syslog(LOG_INFO, "%s %d", "text", 1);
  closelog();
  EXPECT_THAT(log.connection(), ElementsAre("openlog someone 1 24", "syslog 6 %s %d", "closelog"));
  EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_INFO, "text 1"}));
}

TEST(LogSpy, RecordsTheCallsOfTheLogAndPassesThemOn) {
  const LogSpy log;
  vk_log(0, VK_LOG_ERROR, "lib/value", 12, "copy", "%s %d", "text", 1);
  EXPECT_THAT(log.calls(),
              ElementsAre(LogCall{0, VK_LOG_ERROR, "lib/value", 12, "copy", "text 1"}));
  EXPECT_EQ(log.calls()[0].line, 12U);
  EXPECT_THAT(log.lines(), ElementsAre(LogLine{LOG_ERR, "NONE: text 1"}));
}

TEST(LogSpy, ComparesCallsByAllButTheirLine) {
  const LogCall call = {0, 3, "file", 1, "function", "text"};
  EXPECT_EQ(call, (LogCall{0, 3, "file", 2, "function", "text"}));
  EXPECT_FALSE(call == (LogCall{1, 3, "file", 1, "function", "text"}));
  EXPECT_FALSE(call == (LogCall{0, 2, "file", 1, "function", "text"}));
  EXPECT_FALSE(call == (LogCall{0, 3, "other", 1, "function", "text"}));
  EXPECT_FALSE(call == (LogCall{0, 3, "file", 1, "other", "text"}));
  EXPECT_FALSE(call == (LogCall{0, 3, "file", 1, "function", "other"}));
}

TEST(LogSpy, BeginsWithLoggingAsInAFreshProcess) {
  ModuleProcess module{"wlan"};
  log_state.initialised = true;
  log_state.facility = LOG_DAEMON;
  const LogSpy log;
  EXPECT_EQ(vk_log_stream, nullptr);
  EXPECT_EQ(vk_module_ctx, nullptr);
  EXPECT_FALSE(log_state.initialised);
  EXPECT_EQ(log_state.facility, LOG_USER);
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_THAT(log.calls(), IsEmpty());
  EXPECT_THAT(log.connection(), IsEmpty());
}

TEST(LogSpy, ForgetsWhatItRecordedButNotTheStateOfLogging) {
  LogSpy log;
  vk_log(0, VK_LOG_ERROR, "file", 1, "function", "text");
  log.forget();
  EXPECT_THAT(log.lines(), IsEmpty());
  EXPECT_THAT(log.calls(), IsEmpty());
  EXPECT_THAT(log.connection(), IsEmpty());
  EXPECT_TRUE(log_state.initialised);
}

TEST(LibcFakes, StandInForClocksAndRandomNumbers) {
  LibcFakes fakes;
  fakes.wall_clock = 1000;
  fakes.uptime = 50;
  fakes.random = {7, 8};
  struct sysinfo info = {};
  std::time_t now = 0;
  EXPECT_EQ(std::time(&now), 1000);
  EXPECT_EQ(now, 1000);
  EXPECT_EQ(sysinfo(&info), 0);
  EXPECT_EQ(info.uptime, 50);
  EXPECT_EQ(std::rand(), 7);
  EXPECT_EQ(std::rand(), 8);
  std::srand(3);
  EXPECT_THAT(fakes.seeds, ElementsAre(3U));
}

TEST(LibcFakes, FailWhereATestWantsIt) {
  LibcFakes fakes;
  fakes.sysinfo_fails = true;
  fakes.gmtime_fails = true;
  struct sysinfo info = {};
  std::tm date = {};
  const std::time_t time = 0;
  EXPECT_EQ(sysinfo(&info), -1);
  EXPECT_EQ(gmtime_r(&time, &date), nullptr);
}

TEST(TextStream, CollectsWhatIsWritten) {
  TextStream stream;
  vk_stream_printf(stream.get(), "one ");
  vk_stream_printf(stream.get(), "two");
  EXPECT_EQ(stream.text(), "one two");
  EXPECT_THAT(stream.writes(), ElementsAre("one ", "two"));
}

TEST(TextStream, FailsWhereATestWantsIt) {
  TextStream stream;
  stream.fail_with(VK_EIO);
  vk_stream_printf(stream.get(), "refused");
  EXPECT_EQ(stream.error(), VK_EIO);
  EXPECT_EQ(stream.text(), "");
  EXPECT_THAT(stream.writes(), ElementsAre("refused"));
}

TEST(TextStream, FailsAfterTheWritesThatATestLetsPass) {
  TextStream stream;
  stream.fail_after(1, VK_EIO);
  EXPECT_EQ(stream.get()->puts(stream.get(), "one"), VK_EOK);
  EXPECT_EQ(stream.get()->puts(stream.get(), "two"), VK_EIO);
  EXPECT_EQ(stream.text(), "one");
}

}  // namespace
}  // namespace vesk::test
