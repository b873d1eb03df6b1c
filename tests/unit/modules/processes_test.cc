#include "modules/deviceinfo/processes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdint>
#include <filesystem>
#include <string>

#include "tests/support/allocation_fault.h"
#include "tests/support/trees.h"
#include "tests/unit/modules/environment.h"

namespace vesk::test {
namespace {

using modules::kLongestTable;
using modules::ObjectBuilder;
using modules::ProcessorTime;

struct Stat {
  std::string id;
  std::string command = "command";
  char state = 'S';
  int priority = 20;
  int user_ticks = 0;
  int system_ticks = 0;
  int64_t pages = 0;
};

// As the kernel writes it, with numbers of their own in the fields that do not count.
std::string line(const Stat& stat) {
  return stat.id + " (" + stat.command + ") " + stat.state + " 1 2 3 4 -1 4194304 5 6 7 8 " +
         std::to_string(stat.user_ticks) + ' ' + std::to_string(stat.system_ticks) + " 9 10 " +
         std::to_string(stat.priority) + " -11 12 13 14 15 " + std::to_string(stat.pages) +
         " 18446744073709551615 16 17\n";
}

class Processes : public testing::Test {
 protected:
  void run(const Stat& stat) { environment_.write("/proc/" + stat.id + "/stat", line(stat)); }

  Tree table() {
    const Value object = new_object();
    ObjectBuilder status(object.get());
    modules::add_process_status(status, last_);
    EXPECT_EQ(status.error(), VK_EOK);
    return tree_of(*vk_object_find_item(object.get(), "Process"));
  }
  // A column of the only row.
  Tree column(const std::string& name) {
    const Tree all = table();
    EXPECT_EQ(all.items.size(), 1U);
    for (const Tree& row : all.items) {
      for (Tree item : row.items) {
        if (item.name == name) return item.name.clear(), item;
      }
    }
    return any();
  }

  const Environment environment_;
  ProcessorTime last_;
};

TEST_F(Processes, StandInATableByTheirIds) {
  const auto ticks = static_cast<uint64_t>(sysconf(_SC_CLK_TCK));
  const auto page = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
  run({"42", "shell", 'R', 25, 300, 70, 12});
  environment_.write("/proc/self/stat", line({"43"}));
  environment_.write("/proc/4x/stat", line({"44"}));
  environment_.write("/proc/uptime", "1 1");
  const Value object = new_object();
  ObjectBuilder status(object.get());
  modules::add_process_status(status, last_);
  EXPECT_EQ(status.error(), VK_EOK);
  const Tree row =
      test::object({{"PID", unsigned_integer(42)},
                    {"Command", text("shell")},
                    {"Size", unsigned_integer(static_cast<uint32_t>(12 * page / 1024))},
                    {"Priority", unsigned_integer(25)},
                    {"CPUTime", unsigned_integer(static_cast<uint32_t>(370 * 1000 / ticks))},
                    {"State", text("Running")}});
  EXPECT_EQ(tree_of(*object), test::object({{"CPUUsage", unsigned_integer(0)},
                                            {"Process", test::object({{"42", row}})},
                                            {"ProcessNumberOfEntries", unsigned_integer(1)}}));
}

TEST_F(Processes, MayHaveAnyCommand) {
  const struct {
    const char* command;
    const char* shown;
  } rows[] = {
      {"two words", "two words"}, {"a) R 1 (b", "a) R 1 (b"}, {")", ")"}, {"(", "("}, {"", ""},
      {"line\nend", "line?end"},  {"\xFF\x01", "??"}};
  for (const auto& row : rows) {
    SCOPED_TRACE(row.command);
    run({.id = "1", .command = row.command});
    EXPECT_EQ(column("Command"), text(row.shown));
    EXPECT_EQ(column("State"), text("Sleeping"));
  }
}

TEST_F(Processes, HaveTheStatesOfTheDataModel) {
  const struct {
    char letter;
    const char* name;
  } rows[] = {{'R', "Running"}, {'S', "Sleeping"}, {'D', "Uninterruptible"},
              {'T', "Stopped"}, {'t', "Stopped"},  {'Z', "Zombie"},
              {'X', "Zombie"},  {'I', "Idle"},     {'W', "Sleeping"}};
  for (const auto& row : rows) {
    run({.id = "1", .state = row.letter});
    EXPECT_EQ(column("State"), text(row.name));
  }
}

TEST_F(Processes, HavePrioritiesFrom0To99) {
  const struct {
    int kernel;
    uint32_t shown;
  } rows[] = {{-100, 0}, {-1, 0}, {0, 0}, {39, 39}, {99, 99}, {100, 99}, {139, 99}};
  for (const auto& row : rows) {
    run({.id = "1", .priority = row.kernel});
    EXPECT_EQ(column("Priority"), unsigned_integer(row.shown));
  }
}

TEST_F(Processes, HaveTheLargestSizeForOneThatDoesNotFit) {
  run({.id = "1", .pages = int64_t{1} << 40});
  EXPECT_EQ(column("Size"), unsigned_integer(UINT32_MAX));
}

TEST_F(Processes, AreLeftOutWhenTheyVanishOrCannotBeRead) {
  run({"1"});
  environment_.write("/proc/2/comm", "vanished");
  const std::string turned = "3 ) S 1 2 3 4 -1 5 6 7 8 9 1 1 9 10 20 -11 12 13 14 15 16 (";
  for (const std::string& stat : {std::string(), std::string("3"), std::string("3 ("),
                                  std::string("3 (x)"), std::string("3 (x) S 1 2 3"), turned}) {
    SCOPED_TRACE(stat);
    environment_.write("/proc/3/stat", stat);
    const Tree all = table();
    ASSERT_EQ(all.items.size(), 1U);
    EXPECT_EQ(all.items[0].name, "1");
  }
}

TEST_F(Processes, AreNoneWithoutTheirFolder) { EXPECT_EQ(table(), object({})); }

TEST_F(Processes, AreAFailureIfTheirFolderCannotBeRead) {
  environment_.write("/proc", "a file");
  const Value object = new_object();
  ObjectBuilder status(object.get());
  modules::add_process_status(status, last_);
  EXPECT_EQ(status.error(), VK_EIO);
}

TEST_F(Processes, AreShownUpToALimit) {
  run({"1"});
  for (uint32_t id = 2; id <= kLongestTable + 1; ++id) {
    const std::string link = environment_.folder() + "/proc/" + std::to_string(id);
    std::filesystem::create_directory_symlink("1", link);
  }
  EXPECT_EQ(table().items.size(), kLongestTable);
}

TEST(ProcessesWithoutMemory, AreAFailure) {
  const Environment environment;
  environment.write("/proc/1/stat", line({"1"}));
  environment.write("/proc/2/stat", line({"2"}));
  for_every_allocation_fault([](AllocationFault& fault) {
    const Value object = new_object();
    ObjectBuilder status(object.get());
    ProcessorTime last;
    fault.during([&] { modules::add_process_status(status, last); });
    EXPECT_EQ(status.error(), fault.struck() ? VK_ENOMEM : VK_EOK);
  });
}

class ProcessorLoad : public Processes {
 protected:
  uint32_t after(const std::string& stat) {
    environment_.write("/proc/stat", stat);
    const Value object = new_object();
    ObjectBuilder status(object.get());
    modules::add_process_status(status, last_);
    return vk_object_find_item(object.get(), "CPUUsage")->payload.u32;
  }
};

TEST_F(ProcessorLoad, IsThatSinceTheStartAtFirstAndThenSinceTheLastTime) {
  EXPECT_EQ(after("cpu  10 10 10 50 20 0 0 0 0 0\ncpu0 1 1 1 1\n"), 30U);
  EXPECT_EQ(after("cpu  20 20 20 55 25 10 20 10 7 7\n"), 87U);  // 70 of 80
}

TEST_F(ProcessorLoad, MayBeNoneOrAll) {
  EXPECT_EQ(after("cpu 0 0 0 100 0 0 0 0\n"), 0U);
  EXPECT_EQ(after("cpu 0 0 100 100 0 0 0 0\n"), 100U);
  EXPECT_EQ(after("cpu 0 0 100 100 0 0 0 0\n"), 0U);
}

TEST_F(ProcessorLoad, IsNotToldWhenCountsGoBack) {
  EXPECT_EQ(after("cpu 50 0 0 100 0 0 0 0\n"), 33U);
  EXPECT_EQ(after("cpu 60 0 0 89 0 0 0 0\n"), 0U);
  EXPECT_EQ(after("cpu 50 0 0 150 0 0 0 0\n"), 0U);
  EXPECT_EQ(after("cpu 90 0 0 140 0 0 0 0\n"), 0U);
}

TEST_F(ProcessorLoad, IsNoneWithoutItsFile) {
  EXPECT_EQ(after(""), 0U);
  EXPECT_EQ(after("nothing of it\n"), 0U);
}

}  // namespace
}  // namespace vesk::test
