#include "vesk/module.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <cerrno>
#include <cstdint>
#include <ostream>
#include <string>
#include <utility>

#include "tests/support/allocation_fault.h"
#include "tests/support/log_spy.h"
#include "tests/support/module_process.h"
#include "tests/support/trees.h"
#include "tests/support/values.h"
#include "vesk/log.h"
#include "vesk/value/member.h"

namespace vesk::test {
namespace {

// What a module reads of its parameters.

using testing::ElementsAre;
using testing::IsEmpty;

char stray_text[] = "not touched";
constexpr uint32_t kStrayNumber = 0x55555555;

// What a call gave: its result, and its output or the stray that was there before.
struct Text {
  vk_error result;
  const char* text;
};

struct Number {
  vk_error result;
  uint32_t number;

  bool operator==(const Number&) const = default;
};

std::ostream& operator<<(std::ostream& out, const Number& number) {
  return out << vk_strerror(number.result) << ", " << number.number;
}

constexpr Number kAbsent = {VK_ENOENT, kStrayNumber};
constexpr Number kNoNumber = {VK_EINVAL, kStrayNumber};

Text text_param(const char* name) {
  char* text = stray_text;
  const vk_error result = vk_module_get_param_str(name, &text);
  return {result, text};
}

Number uint_param(const char* name) {
  uint32_t number = kStrayNumber;
  const vk_error result = vk_module_get_param_uint(name, &number);
  return {result, number};
}

// Runs as the module "wlan".
class ModuleParam : public testing::Test {
 protected:
  ModuleParam() { module_.context.params = params_.get(); }

  void set(const char* name, const std::string& text) {
    EXPECT_EQ(vk_object_set_string(params_.get(), name, text.c_str()), VK_EOK);
  }

  const LogSpy log_;
  ModuleProcess module_{"wlan"};
  const Value params_ = new_object();
};

TEST_F(ModuleParam, IsATextByItsName) {
  set("mode", "bridge");
  set("mtu", "1500");
  const auto [result, text] = text_param("mtu");
  EXPECT_EQ(result, VK_EOK);
  EXPECT_STREQ(text, "1500");
}

TEST_F(ModuleParam, GivesItsOwnTextAndNoCopy) {
  set("mtu", "1500");
  const AllocationLog allocations;
  const auto [result, text] = text_param("mtu");
  EXPECT_EQ(result, VK_EOK);
  EXPECT_EQ(text, vk_object_find_item(params_.get(), "mtu")->payload.text);
  EXPECT_EQ(allocations.count(), 0U);
}

TEST_F(ModuleParam, MayBeAnyText) {
  for (const char* const any_text : {"", " ", "100%s", "not a number"}) {
    set("text", any_text);
    const auto [result, text] = text_param("text");
    EXPECT_EQ(result, VK_EOK);
    EXPECT_STREQ(text, any_text);
  }
  EXPECT_THAT(log_.connection(), IsEmpty());
}

TEST_F(ModuleParam, MayBeTheTextOfANumber) {
  set("mtu", "42");
  EXPECT_EQ(uint_param("mtu"), (Number{VK_EOK, 42}));
  EXPECT_THAT(log_.connection(), IsEmpty());
}

TEST_F(ModuleParam, IsAbsentByAnyOtherName) {
  set("mtu", "1500");
  for (const char* const name : {"", "MTU", "mt", "mtu ", "mtux", "$"}) {
    SCOPED_TRACE(name);
    const auto [result, text] = text_param(name);
    EXPECT_EQ(result, VK_ENOENT);
    EXPECT_EQ(text, stray_text);
    EXPECT_EQ(uint_param(name), kAbsent);
  }
  EXPECT_THAT(log_.connection(), IsEmpty());
}

TEST_F(ModuleParam, IsAbsentAmongNone) {
  EXPECT_EQ(text_param("mtu").result, VK_ENOENT);
  EXPECT_EQ(uint_param("mtu"), kAbsent);
  EXPECT_THAT(log_.connection(), IsEmpty());
}

TEST_F(ModuleParam, IsAbsentUnlessItIsAString) {
  for (const Tree& tree : one_of_each_type()) {
    if (tree.type == VK_TYPE_STRING) continue;
    SCOPED_TRACE(testing::Message() << tree);
    const Value params = planted(object({{"mtu", tree}}));
    module_.context.params = params.get();
    const auto [result, text] = text_param("mtu");
    EXPECT_EQ(result, VK_ENOENT);
    EXPECT_EQ(text, stray_text);
    EXPECT_EQ(uint_param("mtu"), kAbsent);
  }
  EXPECT_THAT(log_.connection(), IsEmpty());
}

TEST_F(ModuleParam, IsReadFromTheParametersOfThePresentContext) {
  set("mtu", "1500");
  const Value others = planted(object({{"mtu", text("9000")}}));
  module_.context.params = others.get();
  EXPECT_EQ(uint_param("mtu"), (Number{VK_EOK, 9000}));
}

TEST_F(ModuleParam, IsNotChangedByReading) {
  set("good", "1");
  set("bad", "x");
  EXPECT_EQ(uint_param("good").result, VK_EOK);
  EXPECT_EQ(uint_param("bad").result, VK_EINVAL);
  EXPECT_EQ(tree_of(*params_), object({{"good", text("1")}, {"bad", text("x")}}));
}

TEST_F(ModuleParam, IsANumberAsStrtoulReadsIt) {
  struct Row {
    const char* text;
    uint32_t number;
  };
  const Row rows[] = {
      {"0", 0},
      {"42", 42},
      {"007", 7},
      {"+7", 7},
      {" 42", 42},
      {" \t\n\v\f\r42", 42},
      {"2147483648", 2147483648},
      {"4294967295", 4294967295},
      {"+4294967295", 4294967295},
      {"000000000000000000004294967295", 4294967295},
      {"-0", 0},
      {"-1", 4294967295},
      {" -2", 4294967294},
      {"-2147483648", 2147483648},
      {"-4294967295", 1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.text);
    set("mtu", row.text);
    EXPECT_EQ(uint_param("mtu"), (Number{VK_EOK, row.number}));
  }
  EXPECT_THAT(log_.connection(), IsEmpty());
}

TEST_F(ModuleParam, IsNoNumberWithAnythingBehindItsDigits) {
  for (const char* const text : {"42 ", "42\n", "42x", "4 2", "4.2", "42,", "0x10", "1e3", "42-"}) {
    SCOPED_TRACE(text);
    set("mtu", text);
    EXPECT_EQ(uint_param("mtu"), kNoNumber);
  }
}

TEST_F(ModuleParam, IsNoNumberWithoutDigits) {
  for (const char* const text : {"", " ", "+", "-", "--1", "+-1", "- 1", "x", "x1", ".5"}) {
    SCOPED_TRACE(text);
    set("mtu", text);
    EXPECT_EQ(uint_param("mtu"), kNoNumber);
  }
}

TEST_F(ModuleParam, IsNoNumberBeyond32Bits) {
  for (const char* const text : {"4294967296", "4294967297", "42949672950", "-4294967296",
                                 "-4294967297", "9223372036854775808", "18446744073709551615",
                                 "18446744073709551616", "-18446744073709551615"}) {
    SCOPED_TRACE(text);
    set("mtu", text);
    EXPECT_EQ(uint_param("mtu"), kNoNumber);
  }
}

TEST_F(ModuleParam, IsReadWhateverErrnoWasBefore) {
  set("mtu", "42");
  const int before = std::exchange(errno, ERANGE);
  const Number number = uint_param("mtu");
  EXPECT_EQ(std::exchange(errno, before), 0);
  EXPECT_EQ(number, (Number{VK_EOK, 42}));
}

TEST_F(ModuleParam, IsReportedOnceIfItIsNoNumber) {
  set("mtu", "42 ");
  EXPECT_EQ(uint_param("mtu"), kNoNumber);
  EXPECT_THAT(log_.calls(),
              ElementsAre(LogCall{0, VK_LOG_ERROR, "lib/module", 0, "vk_module_get_param_uint",
                                  "The value '42 ' of 'mtu' parameter of 'wlan' module is not "
                                  "'unsigned int'"}));
  EXPECT_THAT(log_.lines(),
              ElementsAre(LogLine{LOG_ERR,
                                  "wlan: The value '42 ' of 'mtu' parameter of 'wlan' module is "
                                  "not 'unsigned int'"}));
}

TEST_F(ModuleParam, IsReportedWithItsTextAsItIs) {
  set("100%n", "%s");
  EXPECT_EQ(uint_param("100%n"), kNoNumber);
  EXPECT_THAT(log_.lines(),
              ElementsAre(LogLine{LOG_ERR,
                                  "wlan: The value '%s' of '100%n' parameter of 'wlan' module is "
                                  "not 'unsigned int'"}));
}

TEST_F(ModuleParam, IsReportedIfItIsEmptyOrOutOfRange) {
  set("empty", "");
  set("large", "4294967296");
  uint_param("empty");
  uint_param("large");
  EXPECT_THAT(
      log_.lines(),
      ElementsAre(LogLine{LOG_ERR,
                          "wlan: The value '' of 'empty' parameter of 'wlan' module is not "
                          "'unsigned int'"},
                  LogLine{LOG_ERR,
                          "wlan: The value '4294967296' of 'large' parameter of 'wlan' module is "
                          "not 'unsigned int'"}));
}

TEST_F(ModuleParam, TakesNoMemoryToBeReadAsANumber) {
  set("mtu", "1500");
  const AllocationLog allocations;
  EXPECT_EQ(uint_param("mtu"), (Number{VK_EOK, 1500}));
  EXPECT_EQ(allocations.count(), 0U);
}

}  // namespace
}  // namespace vesk::test
