#include "modules/support/system_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>

#include "tests/support/transfers.h"
#include "tests/unit/modules/environment.h"

namespace vesk::test {
namespace {

using modules::Text;

Text filled_text() {
  Text text;
  text.fill('x');
  return text;
}

// What reading gave, with the text that it left.
struct Reading {
  bool done;
  std::string text;

  bool operator==(const Reading&) const = default;
};

Reading reading(bool (*read)(const char*, Text&), const char* path) {
  Text text = filled_text();
  const bool done = read(path, text);
  return {done, text.data()};
}

TEST(SystemFile, IsReadWhole) {
  const Environment environment;
  environment.write("/etc/file", "first\nsecond\n");
  EXPECT_EQ(reading(modules::read_file, "/etc/file"), (Reading{true, "first\nsecond\n"}));
}

TEST(SystemFile, ThatIsMissingOrEmptyOrNoFileLeavesAnEmptyText) {
  const Environment environment;
  environment.write("/etc/empty", "");
  for (const char* const path : {"/etc/missing", "/etc/empty", "/etc"}) {
    SCOPED_TRACE(path);
    EXPECT_EQ(reading(modules::read_file, path), (Reading{false, ""}));
    EXPECT_EQ(reading(modules::read_line, path), (Reading{false, ""}));
  }
}

// The number that the next descriptor gets.
int next_descriptor() {
  const int fd = dup(0);
  close(fd);
  return fd;
}

TEST(SystemFile, IsReadOnUntilItsEnd) {
  const Environment environment;
  environment.write("/file", "a text");
  Transfers transfers(next_descriptor());
  transfers.cut(0, 1);
  EXPECT_EQ(reading(modules::read_file, "/file"), (Reading{true, "a text"}));
}

TEST(SystemFile, ThatFailsHalfwayLeavesAnEmptyText) {
  const Environment environment;
  environment.write("/file", "a text");
  Transfers transfers(next_descriptor());
  transfers.fail(1, EIO);
  EXPECT_EQ(reading(modules::read_file, "/file"), (Reading{false, ""}));
  EXPECT_EQ(transfers.sizes.size(), 2U);
}

TEST(SystemFile, ThatIsTooLongIsCutBetweenLines) {
  const Environment environment;
  std::string lines;
  while (lines.size() < 2 * sizeof(Text)) lines += "0123456789\n";
  environment.write("/file", lines);
  const Reading read = reading(modules::read_file, "/file");
  EXPECT_TRUE(read.done);
  EXPECT_EQ(read.text.size(), (sizeof(Text) - 1) / 11 * 11 - 1);
  EXPECT_EQ(read.text, lines.substr(0, read.text.size()));
}

TEST(SystemFile, OfOneLongLineIsCut) {
  const Environment environment;
  environment.write("/file", std::string(2 * sizeof(Text), 'a'));
  EXPECT_EQ(reading(modules::read_file, "/file"), (Reading{true, std::string(4095, 'a')}));
  EXPECT_EQ(reading(modules::read_line, "/file"), (Reading{true, std::string(4095, 'a')}));
}

TEST(SystemLine, IsTheFirstWithoutWhiteSpaceAroundIt) {
  const Environment environment;
  struct Row {
    const char* content;
    Reading expected;
  };
  const Row rows[] = {
      {"text", {true, "text"}},           {" \ta text \r\nsecond\n", {true, "a text"}},
      {"\nsecond\n", {false, ""}},        {" \t\n", {false, ""}},
      {"\"kept\"\n", {true, "\"kept\""}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.content);
    environment.write("/file", row.content);
    EXPECT_EQ(reading(modules::read_line, "/file"), row.expected);
  }
}

TEST(SystemLine, EndsAtANulAsTextsOfADeviceTreeDo) {
  const Environment environment;
  environment.write("/file", std::string("maker,model\0other,one\0", 22));
  EXPECT_EQ(reading(modules::read_line, "/file"), (Reading{true, "maker,model"}));
}

TEST(SystemRoot, IsWhereEveryPathBegins) {
  const Environment environment;
  EXPECT_EQ(modules::below_root("/proc").data(), environment.folder() + "/proc");
}

TEST(SystemRoot, IsTheRealOneWithoutTheParameter) {
  { const Environment gone; }
  EXPECT_STREQ(modules::below_root("/proc").data(), "/proc");
}

Text text_of(const std::string& content) {
  Text text{};
  std::copy(content.begin(), content.end(), text.begin());
  return text;
}

struct ValueRow {
  const char* lines;
  const char* value;  // of "KEY"
};

TEST(SystemValue, IsWhatStandsBehindItsKey) {
  const ValueRow rows[] = {
      {"KEY=value", "value"},
      {"KEY=value\nKEY=later\n", "value"},
      {"A=1\n\nKEY:  16 kB \nB=2\n", "16 kB"},
      {"KEYS=1\nXKEY=2\n KEY=3\nKEY=4", "4"},
      {"#KEY=1\nKEY 2\n", ""},
      {"KEY=", ""},
      {"KEY=\nnext=1", ""},
      {"KEY", ""},
      {"", ""},
  };
  for (const ValueRow& row : rows) {
    SCOPED_TRACE(row.lines);
    EXPECT_STREQ(modules::value_of(text_of(row.lines), "KEY").data(), row.value);
  }
}

TEST(SystemValue, LosesTheQuotesOfAShell) {
  const ValueRow rows[] = {
      {R"(KEY="two words")", "two words"},
      {R"(KEY=" kept ")", " kept "},
      {R"(KEY='single "inside"')", R"(single "inside")"},
      {R"(KEY="a \"b\" \\ \$ \` c")", R"(a "b" \ $ ` c)"},
      {R"(KEY='no \escape')", R"(no \escape)"},
      {R"(KEY="")", ""},
      {R"(KEY="not closed)", "not closed"},
      {R"(KEY="ends with \)", R"(ends with \)"},
      {R"(KEY=in"side")", R"(in"side")"},
  };
  for (const ValueRow& row : rows) {
    SCOPED_TRACE(row.lines);
    EXPECT_STREQ(modules::value_of(text_of(row.lines), "KEY").data(), row.value);
  }
}

TEST(SystemValue, MayFillItsText) {
  const std::string line(sizeof(Text) - 1 - 4, 'a');
  EXPECT_EQ(modules::value_of(text_of("KEY=" + line), "KEY").data(), line);
}

TEST(SystemNumber, IsTheDecimalOneAtTheBeginning) {
  EXPECT_EQ(modules::number_of(text_of("16316412 kB")), 16316412U);
  EXPECT_EQ(modules::number_of(text_of("18446744073709551615")), UINT64_MAX);
  EXPECT_EQ(modules::number_of(text_of("kB 1")), 0U);
  EXPECT_EQ(modules::number_of(text_of("")), 0U);
}

}  // namespace
}  // namespace vesk::test
