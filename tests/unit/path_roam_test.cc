#include "vesk/path.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/allocation_fault.h"

namespace vesk::test {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StrEq;

constexpr std::size_t kLongest = 4096;

std::vector<std::string> components(const char* path) {
  std::vector<std::string> walked;
  vk_path_roam roam;
  for (vk_path_roam_init(&roam, path); !vk_path_roam_end(&roam); vk_path_roam_next(&roam)) {
    walked.emplace_back(vk_path_roam_current_node(&roam));
  }
  return walked;
}

TEST(PathRoam, VisitsTheComponentsInOrder) {
  EXPECT_THAT(components("a"), ElementsAre("a"));
  EXPECT_THAT(components("a.b"), ElementsAre("a", "b"));
  EXPECT_THAT(components("Device.Hosts.Host.2.Name"),
              ElementsAre("Device", "Hosts", "Host", "2", "Name"));
}

TEST(PathRoam, VisitsTheSameComponentsOfAPartialPath) {
  EXPECT_THAT(components("a."), ElementsAre("a"));
  EXPECT_THAT(components("a.b."), ElementsAre("a", "b"));
}

TEST(PathRoam, EndsAtAnEmptyComponent) {
  EXPECT_THAT(components("A..B"), ElementsAre("A"));
  EXPECT_THAT(components("A.B..C.D"), ElementsAre("A", "B"));
  EXPECT_THAT(components(".a"), IsEmpty());
  EXPECT_THAT(components("."), IsEmpty());
  EXPECT_THAT(components(".."), IsEmpty());
}

TEST(PathRoam, TakesAnyOtherCharacterAsPartOfAComponent) {
  EXPECT_THAT(components(" a\\.b/{c}\n.$.\xC3\xA4"),
              ElementsAre(" a\\", "b/{c}\n", "$", "\xC3\xA4"));
}

TEST(PathRoam, WalksAnyNumberOfComponents) {
  std::string path;
  for (int i = 0; i < 5000; ++i) path += "x.";
  EXPECT_EQ(components(path.c_str()).size(), 5000U);
}

TEST(PathRoam, BeginsAtTheFirstComponent) {
  const char* const path = "abc.d";
  vk_path_roam roam;
  vk_path_roam_init(&roam, path);
  EXPECT_EQ(roam.start, path);
  EXPECT_EQ(roam.position, path);
  EXPECT_EQ(roam.node_length, 3U);
  EXPECT_EQ(roam.index, 0U);
  EXPECT_THAT(roam.node, StrEq("abc"));
  EXPECT_FALSE(vk_path_roam_end(&roam));
}

TEST(PathRoam, GivesTheFirstInstanceNumberWhenItBegins) {
  const std::pair<const char*, uint32_t> rows[] = {
      {"7.a", 7}, {"007", 7}, {"-1.a", 4294967295}, {"a.7", 0}, {"0.7", 0}, {".7", 0}, {"", 0},
  };
  for (const auto& [path, index] : rows) {
    SCOPED_TRACE(path);
    vk_path_roam roam;
    EXPECT_EQ(vk_path_roam_init(&roam, path), index);
    EXPECT_EQ(roam.index, index);
  }
}

TEST(PathRoam, KnowsTheInstanceNumberOfEachComponent) {
  vk_path_roam roam;
  std::vector<uint32_t> indices;
  for (vk_path_roam_init(&roam, "Host.2.1a.0. 7.4294967296.-1"); !vk_path_roam_end(&roam);
       vk_path_roam_next(&roam)) {
    indices.push_back(roam.index);
  }
  EXPECT_THAT(indices, ElementsAre(0, 2, 0, 0, 7, 0, 4294967295));
}

TEST(PathRoam, IsPartialWhenATextThatIsNotEmptyEndsInAFullStop) {
  const std::pair<const char*, uint8_t> rows[] = {
      {"a.b.", 1}, {"a.b", 0}, {".", 1}, {"a..", 1}, {".a", 0}, {"", 0}, {nullptr, 0},
  };
  for (const auto& [path, partial] : rows) {
    vk_path_roam roam;
    roam.partial = 0x55;
    vk_path_roam_init(&roam, path);
    EXPECT_EQ(roam.partial, partial) << (path == nullptr ? "null" : path);
  }
}

TEST(PathRoam, EndsAtOnceOnNullAndOnTheEmptyText) {
  for (const char* path : {static_cast<const char*>(nullptr), ""}) {
    vk_path_roam roam;
    EXPECT_EQ(vk_path_roam_init(&roam, path), 0U);
    EXPECT_TRUE(vk_path_roam_end(&roam));
    EXPECT_EQ(roam.node_length, 0U);
    EXPECT_THAT(vk_path_roam_current_node(&roam), StrEq(""));
    EXPECT_EQ(vk_path_roam_next(&roam), nullptr);
    EXPECT_EQ(vk_path_roam_path_tail(&roam), nullptr);
  }
}

TEST(PathRoam, WalksAnEmptyTextOfItsOwnForNullAndForTheEmptyText) {
  const char empty[] = "";
  vk_path_roam of_null;
  vk_path_roam_init(&of_null, nullptr);
  vk_path_roam of_empty;
  vk_path_roam_init(&of_empty, empty);
  EXPECT_THAT(of_null.start, StrEq(""));
  EXPECT_EQ(of_null.position, of_null.start);
  EXPECT_EQ(of_empty.start, of_null.start);
  EXPECT_NE(of_empty.start, static_cast<const char*>(empty));
}

TEST(PathRoam, HandsOutTheBufferOfTheWalker) {
  vk_path_roam roam;
  vk_path_roam_init(&roam, "a.b");
  EXPECT_EQ(vk_path_roam_current_node(&roam), roam.node);
  EXPECT_EQ(vk_path_roam_next(&roam), roam.node);
  EXPECT_THAT(roam.node, StrEq("b"));
}

TEST(PathRoam, StepsBehindTheSeparator) {
  const char* const path = "abc.2.d";
  vk_path_roam roam;
  vk_path_roam_init(&roam, path);
  vk_path_roam_next(&roam);
  EXPECT_EQ(roam.start, path);
  EXPECT_EQ(roam.position, path + 4);
  EXPECT_EQ(roam.node_length, 1U);
  EXPECT_EQ(roam.index, 2U);
}

TEST(PathRoam, GivesTheEmptyTextForTheStepThatEndsTheWalk) {
  for (const char* path : {"a.2", "a.2.", "a.2..b"}) {
    SCOPED_TRACE(path);
    vk_path_roam roam;
    vk_path_roam_init(&roam, path);
    vk_path_roam_next(&roam);
    EXPECT_THAT(vk_path_roam_next(&roam), StrEq(""));
    EXPECT_TRUE(vk_path_roam_end(&roam));
    EXPECT_EQ(roam.node_length, 0U);
    EXPECT_EQ(roam.index, 0U);
  }
}

TEST(PathRoam, StaysAtTheTerminatorWhenTheTextEnds) {
  const char* const path = "abc";
  vk_path_roam roam;
  vk_path_roam_init(&roam, path);
  vk_path_roam_next(&roam);
  EXPECT_EQ(roam.position, path + 3);
}

TEST(PathRoam, GivesNullAndChangesNothingOnceTheWalkIsOver) {
  for (const char* path : {"a", "a.", "a..b", ".a", ""}) {
    SCOPED_TRACE(path);
    vk_path_roam roam;
    std::memset(&roam, 0xA5, sizeof roam);
    vk_path_roam_init(&roam, path);
    if (!vk_path_roam_end(&roam)) vk_path_roam_next(&roam);
    const vk_path_roam ended = roam;
    EXPECT_EQ(vk_path_roam_next(&roam), nullptr);
    EXPECT_EQ(roam.position, ended.position);
    EXPECT_EQ(roam.node_length, 0U);
    EXPECT_EQ(std::memcmp(roam.node, ended.node, sizeof roam.node), 0);
    EXPECT_TRUE(vk_path_roam_end(&roam));
  }
}

TEST(PathRoam, GivesTheTailBehindTheSeparator) {
  vk_path_roam roam;
  vk_path_roam_init(&roam, "a.b.c");
  EXPECT_THAT(vk_path_roam_path_tail(&roam), StrEq("b.c"));
  vk_path_roam_next(&roam);
  EXPECT_THAT(vk_path_roam_path_tail(&roam), StrEq("c"));
}

TEST(PathRoam, GivesTheTailWithoutLookingAtIt) {
  vk_path_roam roam;
  vk_path_roam_init(&roam, "a.");
  EXPECT_THAT(vk_path_roam_path_tail(&roam), StrEq(""));
  vk_path_roam_init(&roam, "a..b");
  EXPECT_THAT(vk_path_roam_path_tail(&roam), StrEq(".b"));
}

TEST(PathRoam, GivesATailBehindTheTerminatorForTheLastComponent) {
  static constexpr char kPath[] = "a.bc";
  vk_path_roam roam;
  vk_path_roam_init(&roam, kPath);
  vk_path_roam_next(&roam);
  EXPECT_EQ(static_cast<const void*>(vk_path_roam_path_tail(&roam)), kPath + sizeof kPath);
}

TEST(PathRoam, HasNoTailOnceTheWalkIsOver) {
  vk_path_roam roam;
  vk_path_roam_init(&roam, ".a");
  EXPECT_EQ(vk_path_roam_path_tail(&roam), nullptr);
  vk_path_roam_init(&roam, "a.");
  vk_path_roam_next(&roam);
  EXPECT_EQ(vk_path_roam_path_tail(&roam), nullptr);
}

TEST(PathRoam, AllocatesNothing) {
  const AllocationLog allocations;
  vk_path_roam roam;
  vk_path_roam_init(&roam, "Device.Hosts.Host.2.Name");
  while (!vk_path_roam_end(&roam)) {
    vk_path_roam_path_tail(&roam);
    vk_path_roam_next(&roam);
  }
  EXPECT_EQ(allocations.count(), 0U);
}

// The buffer

TEST(PathRoam, HoldsAComponentOf4096Characters) {
  const std::string longest(kLongest, 'x');
  const std::string path = longest + ".b";
  vk_path_roam roam;
  vk_path_roam_init(&roam, path.c_str());
  EXPECT_EQ(roam.node, longest);
  EXPECT_EQ(roam.node_length, kLongest);
  EXPECT_THAT(vk_path_roam_next(&roam), StrEq("b"));
}

TEST(PathRoam, CutsALongerComponentAndStepsOverItsFullLength) {
  for (const std::size_t length : {kLongest + 1, kLongest + 2, 3 * kLongest}) {
    SCOPED_TRACE(length);
    const std::string path = "a." + std::string(length, 'x') + ".b.c";
    vk_path_roam roam;
    vk_path_roam_init(&roam, path.c_str());
    vk_path_roam_next(&roam);
    EXPECT_EQ(roam.node, std::string(kLongest, 'x'));
    EXPECT_EQ(roam.node_length, length);
    EXPECT_THAT(vk_path_roam_path_tail(&roam), StrEq("b.c"));
    EXPECT_THAT(vk_path_roam_next(&roam), StrEq("b"));
    EXPECT_EQ(roam.position, path.c_str() + 2 + length + 1);
  }
}

TEST(PathRoam, ReadsTheInstanceNumberOfACutComponentFromWhatIsKept) {
  const std::string seven = std::string(kLongest - 1, '0') + "7";
  const std::pair<std::string, uint32_t> rows[] = {
      {seven, 7}, {seven + "1", 7}, {seven + "x", 7}, {std::string(kLongest, '0') + "7", 0}};
  for (const auto& [component, index] : rows) {
    SCOPED_TRACE(component.substr(kLongest - 1));
    vk_path_roam roam;
    EXPECT_EQ(vk_path_roam_init(&roam, component.c_str()), index);
    EXPECT_EQ(roam.index, index);
  }
}

TEST(PathRoam, CutsALastComponentToo) {
  const std::string path(kLongest + 1, 'x');
  vk_path_roam roam;
  vk_path_roam_init(&roam, path.c_str());
  EXPECT_EQ(roam.node, std::string(kLongest, 'x'));
  EXPECT_THAT(vk_path_roam_next(&roam), StrEq(""));
  EXPECT_EQ(roam.position, path.c_str() + path.size());
}

TEST(PathRoam, WritesAComponentAndItsTerminatorAndNothingBehind) {
  vk_path_roam roam;
  std::fill(std::begin(roam.node), std::end(roam.node), '?');
  std::string expected(sizeof roam.node, '?');
  vk_path_roam_init(&roam, "abcdef.gh.i.");
  for (const std::string_view component : {"abcdef", "gh", "i", ""}) {
    expected.replace(0, component.size(), component);
    expected[component.size()] = '\0';
    EXPECT_EQ(std::string_view(roam.node, sizeof roam.node), expected);
    vk_path_roam_next(&roam);
  }
}

TEST(PathRoam, WritesOnlyATerminatorForTheEmptyPath) {
  for (const char* path : {static_cast<const char*>(nullptr), "", ".a"}) {
    vk_path_roam roam;
    std::fill(std::begin(roam.node), std::end(roam.node), '?');
    vk_path_roam_init(&roam, path);
    EXPECT_EQ(roam.node[0], '\0');
    EXPECT_THAT(std::string_view(roam.node + 1, kLongest), Each('?'));
  }
}

}  // namespace
}  // namespace vesk::test
