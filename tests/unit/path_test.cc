#include "vesk/path.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <cerrno>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/log_spy.h"
#include "tests/support/text_stream.h"
#include "vesk/mm/stack.h"

namespace vesk::test {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::StrEq;

/// A parsed path. A component that reads as a number above 0 is an instance.
class PathList {
 public:
  PathList(std::initializer_list<std::string> names) : names_(names), nodes_(names.size()) {
    for (std::size_t i = 0; i < nodes_.size(); ++i) {
      vk_path_node* const next = i + 1 < nodes_.size() ? &nodes_[i + 1] : nullptr;
      nodes_[i] = {next, vk_path_str_to_index(names_[i].c_str()), names_[i].data()};
    }
  }

  vk_path_node* first() { return nodes_.empty() ? nullptr : nodes_.data(); }
  vk_path_node* at(std::size_t which) { return &nodes_.at(which); }

 private:
  std::vector<std::string> names_;
  std::vector<vk_path_node> nodes_;
};

// The syntax

TEST(Path, IsPartialWhenItIsEmptyOrEndsInAFullStop) {
  for (const char* path : {"", ".", "A.", "A.B.", "A..", ".A."}) {
    EXPECT_TRUE(vk_path_is_partial(path)) << path;
  }
  for (const char* path : {"A", "A.B", ".A", "A..B", " ", "A. "}) {
    EXPECT_FALSE(vk_path_is_partial(path)) << path;
  }
}

TEST(PathIndex, IsTheNumberThatAWholeComponentReadsAs) {
  const std::pair<const char*, uint32_t> rows[] = {
      {"1", 1},
      {"12", 12},
      {"007", 7},
      {"4294967295", 4294967295},
      {"00000000000000000000000000000007", 7},
  };
  for (const auto& [component, index] : rows) {
    EXPECT_EQ(vk_path_str_to_index(component), index) << component;
  }
}

TEST(PathIndex, AcceptsLeadingWhiteSpaceAndASign) {
  const std::pair<const char*, uint32_t> rows[] = {
      {" 7", 7},          {" \t\n\v\f\r7", 7}, {"+7", 7},          {" +7", 7},
      {"-1", 4294967295}, {" -4294967295", 1}, {"-7", 4294967289},
  };
  for (const auto& [component, index] : rows) {
    EXPECT_EQ(vk_path_str_to_index(component), index) << component;
  }
}

TEST(PathIndex, Is0ForAComponentThatIsNoInstance) {
  for (const char* component : {"0",
                                "00",
                                "-0",
                                "",
                                " ",
                                "+",
                                "-",
                                "a",
                                "1a",
                                "12x",
                                "a1",
                                "0x10",
                                "7 ",
                                "1.2",
                                "- 7",
                                "+-7",
                                "--7",
                                "4294967296",
                                "-4294967296",
                                "99999999999",
                                "18446744073709551617",
                                "340282366920938463463374607431768211457"}) {
    EXPECT_EQ(vk_path_str_to_index(component), 0U) << component;
  }
}

TEST(PathIndex, Is0ForNull) { EXPECT_EQ(vk_path_str_to_index(nullptr), 0U); }

TEST(PathIndex, IsNotMisledByAnEarlierErrno) {
  errno = ERANGE;
  EXPECT_EQ(vk_path_str_to_index("12"), 12U);
  EXPECT_EQ(errno, 0);
}

TEST(PathIndex, LeavesErrnoAt0OrAtRange) {
  errno = EBADF;
  EXPECT_EQ(vk_path_str_to_index("A"), 0U);
  EXPECT_EQ(errno, 0);
  EXPECT_EQ(vk_path_str_to_index("4294967296"), 0U);
  EXPECT_EQ(errno, ERANGE);
}

TEST(PathIndex, LogsNothingAboutANumberThatDoesNotFit) {
  const LogSpy log;
  EXPECT_EQ(vk_path_str_to_index("4294967296"), 0U);
  EXPECT_THAT(log.connection(), IsEmpty());
}

// Joining

std::string concat(const char* left, const char* right) {
  char* const joined = vk_path_concat(vk_default_allocator(), left, right);
  std::string text = joined;
  vk_free(joined);
  return text;
}

TEST(PathConcat, JoinsWithAFullStop) {
  EXPECT_EQ(concat("A.B", "C"), "A.B.C");
  EXPECT_EQ(concat("A", "B.C."), "A.B.C.");
}

TEST(PathConcat, GivesTheRightPathAloneWhenTheLeftIsEmpty) {
  EXPECT_EQ(concat("", "X"), "X");
  EXPECT_EQ(concat("", ""), "");
}

TEST(PathConcat, DropsNoSeparator) {
  EXPECT_EQ(concat("A.", "C"), "A..C");
  EXPECT_EQ(concat("A", ".C"), "A..C");
  EXPECT_EQ(concat("A", ""), "A.");
  EXPECT_EQ(concat(".", "."), "...");
}

TEST(PathConcat, TakesTheTextFromTheHeapThatItIsGiven) {
  vk_allocator* const heap = vk_mm_stack_new("paths");
  for (const char* left : {"", "A"}) {
    const char* const joined = vk_path_concat(heap, left, "B");
    EXPECT_NE(heap->ops->owns(heap, joined), 0);
  }
  vk_allocator_delete(heap);
}

TEST(PathConcat, GivesNullWhenTheHeapIsExhausted) {
  for (const char* left : {"", "A.B"}) {
    for_every_allocation_fault([left](AllocationFault& fault) {
      const LogSpy log;
      char* const joined =
          fault.during([left] { return vk_path_concat(vk_default_allocator(), left, "C"); });
      if (!fault.struck()) return vk_free(joined);
      EXPECT_EQ(joined, nullptr);
      EXPECT_THAT(
          log.lines(),
          ElementsAre(LogLine{LOG_ERR, *left == '\0' ? "NONE: Failed to allocate 2 bytes of memory "
                                                       "in 'default'"
                                                     : "NONE: Failed to allocate 6 bytes of memory "
                                                       "in 'default'"}));
    });
  }
}

// Parsed paths

TEST(PathNode, IsAnInstanceWhenItsIndexIsNot0) {
  char name[] = "name";
  vk_path_node node = {nullptr, 0, name};
  EXPECT_FALSE(vk_path_node_is_instance(&node));
  for (const uint32_t index : {1U, 256U, 0x80000000U, 0xFFFFFFFFU}) {
    node.index = index;
    EXPECT_TRUE(vk_path_node_is_instance(&node)) << index;
  }
}

std::string printed(PathList list) {
  TextStream stream;
  vk_path_node_print(stream.get(), list.first());
  EXPECT_EQ(stream.error(), VK_EOK);
  return stream.text();
}

TEST(PathPrint, ShowsInstancesInBraces) {
  EXPECT_EQ(printed({"Device", "Hosts", "2"}), "Device.Hosts.{2}");
  EXPECT_EQ(printed({"2", "Hosts"}), "{2}.Hosts");
  EXPECT_EQ(printed({"007"}), "{007}");
  EXPECT_EQ(printed({"0", "1a"}), "0.1a");
}

TEST(PathPrint, WritesNothingForAnEmptyList) {
  TextStream stream;
  vk_path_node_print(stream.get(), nullptr);
  EXPECT_THAT(stream.writes(), IsEmpty());
}

TEST(PathPrint, WritesNamesAsTextsAndTheRestAsBytes) {
  PathList list = {"Device", "2"};
  TextStream stream;
  stream.get()->puts = [](vk_stream* sink, const char* text) {
    vk_stream_printf(sink, "puts(%s)", text);
    return sink->error;
  };
  vk_path_node_print(stream.get(), list.first());
  EXPECT_THAT(stream.writes(), ElementsAre("puts(Device)", ".", "{", "puts(2)", "}"));
}

TEST(PathPrint, StopsAtTheFirstFailure) {
  PathList list = {"Device", "2", "Name"};
  const std::vector<std::string> parts = {"Device", ".", "{", "2", "}", ".", "Name"};
  for (std::size_t good = 0; good < parts.size(); ++good) {
    TextStream stream;
    stream.fail_after(good, VK_EIO);
    vk_path_node_print(stream.get(), list.first());
    EXPECT_EQ(stream.error(), VK_EIO);
    EXPECT_EQ(stream.writes(),
              std::vector(parts.begin(), parts.begin() + static_cast<std::ptrdiff_t>(good) + 1));
  }
}

TEST(PathPrint, WritesNothingToAStreamThatHasFailed) {
  PathList list = {"2", "Device"};
  TextStream stream;
  stream.set_error(VK_EBUSY);
  vk_path_node_print(stream.get(), list.first());
  EXPECT_EQ(stream.error(), VK_EBUSY);
  EXPECT_THAT(stream.writes(), IsEmpty());
}

struct Fit {
  std::size_t size;
  vk_error result;
  std::string buffer;  // of 16 characters "?", of which the function wrote the first
};

void expect_fits(PathList list, const std::vector<Fit>& fits) {
  for (const Fit& fit : fits) {
    SCOPED_TRACE(testing::Message() << "size " << fit.size);
    std::string buffer(16, '?');
    EXPECT_EQ(vk_path_node2str(list.first(), buffer.data(), fit.size, '.'), fit.result);
    EXPECT_EQ(buffer, fit.buffer + std::string(16 - fit.buffer.size(), '?'));
  }
}

TEST(PathToText, WritesWhatFitsOfNamesAndSeparators) {
  expect_fits({"A", "B"}, {
                              {16, VK_EOK, "A.B\0"s},
                              {5, VK_EOK, "A.B\0"s},
                              {4, VK_EOK, "A.B\0"s},
                              {3, VK_ENAMETOOLONG, "A.\0"s},
                              {2, VK_ENAMETOOLONG, "A\0"s},
                              {1, VK_ENAMETOOLONG, "\0"s},
                          });
}

TEST(PathToText, NeverCutsAName) {
  expect_fits({"Device", "Hosts"}, {
                                       {13, VK_EOK, "Device.Hosts\0"s},
                                       {12, VK_ENAMETOOLONG, "Device.\0"s},
                                       {8, VK_ENAMETOOLONG, "Device.\0"s},
                                       {7, VK_ENAMETOOLONG, "Device\0"s},
                                       {6, VK_ENAMETOOLONG, "\0"s},
                                   });
}

TEST(PathToText, LeavesABufferWithoutSizeAlone) {
  expect_fits({"A"}, {{0, VK_ENAMETOOLONG, ""}});
  expect_fits({}, {{0, VK_ENAMETOOLONG, ""}});
}

TEST(PathToText, LogsNothingAboutABufferThatIsTooSmall) {
  const LogSpy log;
  expect_fits({"A"}, {{0, VK_ENAMETOOLONG, ""}, {1, VK_ENAMETOOLONG, "\0"s}});
  EXPECT_THAT(log.connection(), IsEmpty());
}

TEST(PathToText, WritesTheEmptyTextForAnEmptyList) {
  expect_fits({}, {{1, VK_EOK, "\0"s}, {16, VK_EOK, "\0"s}});
}

TEST(PathToText, WritesEmptyNames) {
  expect_fits({"A", ""}, {{3, VK_EOK, "A.\0"s}, {2, VK_ENAMETOOLONG, "A\0"s}});
  expect_fits({"", "A"}, {{3, VK_EOK, ".A\0"s}, {2, VK_ENAMETOOLONG, ".\0"s}});
}

TEST(PathToText, WritesInstancesWithoutBraces) {
  expect_fits({"Hosts", "2"}, {{16, VK_EOK, "Hosts.2\0"s}});
}

TEST(PathToText, JoinsWithTheSeparatorThatItIsGiven) {
  PathList list = {"A", "B", "C"};
  char buffer[6];
  EXPECT_EQ(vk_path_node2str(list.first(), buffer, sizeof buffer, '/'), VK_EOK);
  EXPECT_THAT(buffer, StrEq("A/B/C"));
}

TEST(PathPrefix, GivesTheComponentAfterThePrefix) {
  PathList list = {"dm", "Device", "Hosts"};
  EXPECT_EQ(vk_path_node_seek_prefix(list.first(), "dm."), list.at(1));
  EXPECT_EQ(vk_path_node_seek_prefix(list.first(), "dm"), list.at(1));
  EXPECT_EQ(vk_path_node_seek_prefix(list.first(), "dm.Device"), list.at(2));
  EXPECT_EQ(vk_path_node_seek_prefix(list.first(), "dm.Device."), list.at(2));
}

TEST(PathPrefix, GivesTheFirstComponentForAnEmptyPrefix) {
  PathList list = {"dm", "Device"};
  for (const char* prefix : {"", ".", ".dm"}) {
    EXPECT_EQ(vk_path_node_seek_prefix(list.first(), prefix), list.first()) << prefix;
  }
  EXPECT_EQ(vk_path_node_seek_prefix(list.first(), nullptr), list.first());
}

TEST(PathPrefix, EndsThePrefixAtAnEmptyComponent) {
  PathList list = {"dm", "Device", "Hosts"};
  EXPECT_EQ(vk_path_node_seek_prefix(list.first(), "dm..Device"), list.at(1));
}

TEST(PathPrefix, GivesNullForAPathThatBeginsOtherwise) {
  PathList list = {"dm", "Device", "Hosts"};
  for (const char* prefix : {"Device", "d", "dmx", "DM", "dm.Dev", "dm.Devices", "dm.Hosts"}) {
    EXPECT_EQ(vk_path_node_seek_prefix(list.first(), prefix), nullptr) << prefix;
  }
}

TEST(PathPrefix, GivesNullWhenNothingFollows) {
  PathList list = {"dm", "Device"};
  EXPECT_EQ(vk_path_node_seek_prefix(list.first(), "dm.Device"), nullptr);
  EXPECT_EQ(vk_path_node_seek_prefix(list.first(), "dm.Device."), nullptr);
}

TEST(PathPrefix, GivesNullForAPathThatEndsBeforeThePrefix) {
  PathList list = {"dm", "Device"};
  EXPECT_EQ(vk_path_node_seek_prefix(list.first(), "dm.Device.Hosts"), nullptr);
  EXPECT_EQ(vk_path_node_seek_prefix(nullptr, "dm"), nullptr);
  EXPECT_EQ(vk_path_node_seek_prefix(nullptr, ""), nullptr);
}

TEST(PathPrefix, ComparesInstancesAsTexts) {
  PathList list = {"Host", "02", "Name"};
  EXPECT_EQ(vk_path_node_seek_prefix(list.first(), "Host.2"), nullptr);
  EXPECT_EQ(vk_path_node_seek_prefix(list.first(), "Host.02"), list.at(2));
}

TEST(PathPrefix, ComparesAComponentOfMoreThan4096CharactersByWhatAWalkerKeepsOfIt) {
  const std::string kept(VK_PATH_COMPONENT_MAX, 'x');
  const std::string longer = kept + "yz";
  PathList list = {kept, "Device", "Hosts"};
  EXPECT_EQ(vk_path_node_seek_prefix(list.first(), longer.c_str()), list.at(1));
  EXPECT_EQ(vk_path_node_seek_prefix(list.first(), (longer + ".Device").c_str()), list.at(2));
  PathList same = {longer, "Device"};
  EXPECT_EQ(vk_path_node_seek_prefix(same.first(), longer.c_str()), nullptr);
}

}  // namespace
}  // namespace vesk::test
