#include "core/options.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <vector>

namespace vesk::test {
namespace {

using core::Options;
using testing::ElementsAre;
using testing::HasSubstr;

bool read(std::vector<std::string> arguments, Options& options) {
  arguments.insert(arguments.begin(), "veskd");
  std::vector<char*> pointers;
  for (std::string& argument : arguments) pointers.push_back(argument.data());
  pointers.push_back(nullptr);
  testing::internal::CaptureStderr();
  const bool good =
      core::read_options(static_cast<int>(arguments.size()), pointers.data(), options);
  const std::string said = testing::internal::GetCapturedStderr();
  EXPECT_EQ(said.empty(), good) << said;
  return good;
}

TEST(TheOptions, HaveTheDocumentedDefaults) {
  Options options;
  EXPECT_TRUE(read({}, options));
  EXPECT_EQ(options.deed, Options::Deed::kRun);
  EXPECT_EQ(options.socket, "/tmp/vesk.sock");
  EXPECT_EQ(options.store, "/var/lib/vesk/store.db");
  EXPECT_FALSE(options.foreground);
  const core::Settings& settings = options.settings;
  EXPECT_EQ(settings.processes, 64U);
  EXPECT_EQ(settings.lines, 512U);
  EXPECT_EQ(settings.chain, 32U);
  EXPECT_EQ(settings.queue, 64U);
  EXPECT_EQ(settings.buffers, 16U << 20);
  EXPECT_EQ(settings.answer.count(), 30'000);
  EXPECT_EQ(settings.waiting.count(), 30'000);
  EXPECT_EQ(settings.patience.count(), 300'000);
  EXPECT_EQ(settings.completion.count(), 5'000);
  EXPECT_EQ(settings.taking.count(), 5'000);
}

TEST(TheOptions, TakeTimesInSecondsOrMilliseconds) {
  Options options;
  EXPECT_TRUE(read({"--answer-time=7", "--queue-time=8s", "--patience", "90ms"}, options));
  EXPECT_EQ(options.settings.answer.count(), 7'000);
  EXPECT_EQ(options.settings.waiting.count(), 8'000);
  EXPECT_EQ(options.settings.patience.count(), 90);
}

TEST(TheOptions, TakeUsersAndAGroupByNameOrNumber) {
  Options options;
  EXPECT_TRUE(read({"--allow-uid", "root", "--allow-uid", "77", "--allow-gid", "88"}, options));
  EXPECT_THAT(options.access.users, ElementsAre(0, 77));
  EXPECT_EQ(options.access.group, gid_t{88});
  EXPECT_TRUE(read({"--allow-gid", "root"}, options));
  EXPECT_EQ(options.access.group, gid_t{0});
}

TEST(TheOptions, RefuseWhatIsWrong) {
  const std::vector<std::vector<std::string>> wrong = {{"--unknown"},
                                                       {"--socket"},
                                                       {"--socket", ""},
                                                       {"word"},
                                                       {"--answer-time", "0"},
                                                       {"--answer-time", "1m"},
                                                       {"--answer-time", "-1"},
                                                       {"--answer-time", ""},
                                                       {"--max", "5"},
                                                       {"--allow", "1"},
                                                       {"--max-depth", "257"},
                                                       {"--max-depth", "0"},
                                                       {"--max-lines", "1x"},
                                                       {"--max-text", "4294967296"},
                                                       {"--allow-uid", "no such user"},
                                                       {"--allow-gid", "-5"},
                                                       {"--allow-uid", "4294967295"},
                                                       {"--allow-gid", "4294967295"},
                                                       {"--check=yes"}};
  for (const auto& arguments : wrong) {
    Options options;
    EXPECT_FALSE(read(arguments, options)) << arguments[0];
  }
}

TEST(TheOptions, NameEachLimit) {
  struct Row {
    const char* option;
    uint32_t rt::Limits::*limit;
  };
  constexpr Row kRows[] = {
      {"--max-message", &rt::Limits::message}, {"--max-depth", &rt::Limits::depth},
      {"--max-nodes", &rt::Limits::nodes},     {"--max-members", &rt::Limits::members},
      {"--max-pairs", &rt::Limits::pairs},     {"--max-text", &rt::Limits::text},
      {"--max-path", &rt::Limits::path},       {"--max-name", &rt::Limits::name}};
  for (const Row& row : kRows) {
    Options options;
    EXPECT_TRUE(read({row.option, "17"}, options));
    EXPECT_EQ(options.settings.message.*row.limit, 17U) << row.option;
  }
}

TEST(TheOptions, SayWhatIsToBeDone) {
  const std::vector<std::pair<std::string, Options::Deed>> rows = {
      {"--check", Options::Deed::kCheck},
      {"--print-config", Options::Deed::kPrintConfig},
      {"--help", Options::Deed::kHelp},
      {"--version", Options::Deed::kVersion}};
  for (const auto& [option, deed] : rows) {
    Options options;
    EXPECT_TRUE(read({option}, options));
    EXPECT_EQ(options.deed, deed) << option;
  }
}

// The lines of the printed options, as arguments.
std::vector<std::string> printed(const Options& options) {
  std::vector<std::string> arguments;
  std::string word;
  for (const char character : core::to_text(options)) {
    if (character != ' ' && character != '\n') {
      word += character;
    } else if (!word.empty()) {
      arguments.push_back(std::exchange(word, ""));
    }
  }
  return arguments;
}

TEST(TheOptions, CanBeReadAsTheyArePrinted) {
  Options given;
  ASSERT_TRUE(read({"--socket",    "/x", "--store=/y",    "--log", "daemon,user", "--foreground",
                    "--allow-uid", "5",  "--allow-gid",   "6",     "--inform",    "A.B",
                    "--inform",    "C",  "--answer-time", "70ms",  "--max-pairs", "9",
                    "--max-queue", "3",  "--max-buffers", "99999"},
                   given));
  Options again;
  ASSERT_TRUE(read(printed(given), again));
  EXPECT_EQ(core::to_text(again), core::to_text(given));
  EXPECT_EQ(again.socket, "/x");
  EXPECT_EQ(again.store, "/y");
  EXPECT_EQ(again.log, "daemon,user");
  EXPECT_TRUE(again.foreground);
  EXPECT_THAT(again.access.users, ElementsAre(5));
  EXPECT_EQ(again.access.group, gid_t{6});
  EXPECT_THAT(again.inform, ElementsAre("A.B", "C"));
  EXPECT_EQ(again.settings.answer.count(), 70);
  EXPECT_EQ(again.settings.message.pairs, 9U);
  EXPECT_EQ(again.settings.queue, 3U);
  EXPECT_EQ(again.settings.buffers, 99999U);
}

TEST(TheOptions, AreAllInTheHelp) {
  const std::string help = core::help();
  for (const std::string& argument : printed(Options())) {
    if (!argument.starts_with("--")) continue;
    EXPECT_THAT(help, HasSubstr(argument + " "));
  }
}

}  // namespace
}  // namespace vesk::test
