#include "vesk/value/compare.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/datetimes.h"
#include "tests/support/log_spy.h"
#include "tests/support/trees.h"
#include "vesk/value/leaf.h"
#include "vesk/value/object.h"
#include "vesk/value/prototype.h"

namespace vesk::test {
namespace {

using testing::IsEmpty;
using std::string_literals::operator""s;

// In both orders, which must agree.
bool equal(const Value& a, const Value& b) {
  const bool result = vk_value_equal(a.get(), b.get());
  EXPECT_EQ(vk_value_equal(b.get(), a.get()), result);
  return result;
}

bool equal(const Tree& a, const Tree& b) { return equal(planted(a), planted(b)); }

// Of each type the tree that looks most like those of the others.
Value prototype(vk_type type) {
  Value value = new_value();
  EXPECT_EQ(vk_value_set_prototype(value.get(), type), VK_EOK);
  return value;
}

TEST(ValueEqual, NeverHoldsBetweenDifferentTypes) {
  for (vk_type a = VK_TYPE_ANY; a <= VK_TYPE_UNSIGNEDLONG; ++a) {
    for (vk_type b = VK_TYPE_ANY; b < a; ++b) {
      EXPECT_FALSE(equal(prototype(a), prototype(b)))
          << vk_type_to_string(a) << " and " << vk_type_to_string(b);
    }
  }
}

TEST(ValueEqual, HoldsOfTheSameDefaultTwiceUnlessItIsAnArray) {
  for (vk_type type = VK_TYPE_ANY; type <= VK_TYPE_UNSIGNEDLONG; ++type) {
    EXPECT_EQ(equal(prototype(type), prototype(type)), type != VK_TYPE_ARRAY)
        << vk_type_to_string(type);
  }
}

TEST(ValueEqual, NeverHoldsOfANumberThatIsNoType) {
  for (const vk_type type : {12U, 13U, 255U, 0x80000001U, 0xFFFFFFFFU}) {
    EXPECT_FALSE(equal(of_no_type(type), of_no_type(type))) << type;
  }
}

TEST(ValueEqual, HoldsOfNodesThatHoldNothing) { EXPECT_TRUE(equal(any(), any())); }

TEST(ValueEqual, HoldsOfANodeAndItself) {
  const Value value = planted(object({{"A", text("a")}, {"B", object({{"C", any()}})}}));
  EXPECT_TRUE(equal(value, value));
}

// Objects

TEST(ValueEqual, HoldsOfTwoEmptyObjects) { EXPECT_TRUE(equal(object({}), object({}))); }

TEST(ValueEqual, HoldsOfObjectsWithEqualMembers) {
  const Tree tree = object({{"A", integer(1)}, {"B", object({{"C", text("c")}})}});
  EXPECT_TRUE(equal(tree, tree));
}

TEST(ValueEqual, HoldsOfObjectsWithTheSameMembersInAnotherOrder) {
  EXPECT_TRUE(equal(object({{"A", integer(1)}, {"B", integer(2)}, {"C", integer(3)}}),
                    object({{"C", integer(3)}, {"A", integer(1)}, {"B", integer(2)}})));
}

TEST(ValueEqual, FailsForObjectsOfDifferentSizes) {
  const Tree smaller = object({{"A", integer(1)}});
  EXPECT_FALSE(equal(smaller, object({{"A", integer(1)}, {"B", integer(2)}})));
  EXPECT_FALSE(equal(smaller, object({})));
}

TEST(ValueEqual, FailsForObjectsWithMembersOfOtherNames) {
  const Tree tree = object({{"A", integer(1)}, {"B", integer(2)}});
  EXPECT_FALSE(equal(tree, object({{"A", integer(1)}, {"C", integer(2)}})));
  EXPECT_FALSE(equal(tree, object({{"A", integer(1)}, {"b", integer(2)}})));
  EXPECT_FALSE(equal(tree, object({{"A", integer(1)}, {"", integer(2)}})));
}

TEST(ValueEqual, FailsForObjectsWithAMemberOfAnotherValue) {
  const Tree tree = object({{"A", integer(1)}, {"B", integer(2)}});
  EXPECT_FALSE(equal(tree, object({{"A", integer(0)}, {"B", integer(2)}})));
  EXPECT_FALSE(equal(tree, object({{"A", integer(1)}, {"B", integer(0)}})));
  EXPECT_FALSE(equal(tree, object({{"A", integer(2)}, {"B", integer(1)}})));
  EXPECT_FALSE(equal(tree, object({{"A", integer(1)}, {"B", unsigned_integer(2)}})));
}

TEST(ValueEqual, FailsForADifferenceBelowAMember) {
  const auto tree = [](const char* deepest) {
    return object({{"A", object({{"B", object({{"C", text(deepest)}})}})}});
  };
  EXPECT_TRUE(equal(tree("c"), tree("c")));
  EXPECT_FALSE(equal(tree("c"), tree("d")));
}

TEST(ValueEqual, FailsForObjectsWithAMemberOfNoType) {
  const Tree tree = object({{"A", of_no_type()}});
  EXPECT_FALSE(equal(tree, tree));
}

TEST(ValueEqual, PassesOverTheNamesOfTheTwoNodes) {
  const Value parent = planted(object({{"A", integer(1)}, {"B", integer(1)}}));
  const vk_value* const a = vk_object_find_item(parent.get(), "A");
  const vk_value* const b = vk_object_find_item(parent.get(), "B");
  EXPECT_TRUE(vk_value_equal(a, b));
  EXPECT_TRUE(vk_value_equal(a, planted(integer(1)).get()));
}

TEST(ValueEqual, PassesOverPoliciesAtEveryLevel) {
  EXPECT_TRUE(equal(object({}), indexed({})));
  EXPECT_TRUE(equal(object({{"2", integer(2)}, {"1", integer(1)}}),
                    indexed({{"2", integer(2)}, {"1", integer(1)}})));
  EXPECT_TRUE(
      equal(object({{"A", object({{"1", any()}})}}), object({{"A", indexed({{"1", any()}})}})));
}

TEST(ValueEqual, ComparesInstanceNumbersAsNames) {
  EXPECT_FALSE(equal(indexed({{"1", integer(1)}}), indexed({{"01", integer(1)}})));
}

TEST(ValueEqual, PassesOverAttributesAtEveryLevel) {
  const Tree plain = object({{"A", object({{"B", integer(1)}})}});
  const Tree::Named attribute = {"Error", integer(7)};
  EXPECT_TRUE(equal(plain, plain.with({attribute})));
  EXPECT_TRUE(equal(plain, object({{"A", object({{"B", integer(1)}}).with({attribute})}})));
  EXPECT_TRUE(equal(plain, object({{"A", object({{"B", integer(1).with({attribute})}})}})));
  EXPECT_TRUE(equal(plain.with({{"Error", integer(8)}}), plain.with({attribute})));
}

// An object in which two members share a name.
Value twice_a(int32_t first, int32_t second) {
  Value value = planted(object({{"A", integer(first)}, {"B", integer(second)}}));
  rename_member(*value, "B", "A");
  return value;
}

TEST(ValueEqual, ComparesWithTheFirstMemberOfAName) {
  const Value ones = twice_a(1, 1);
  EXPECT_TRUE(vk_value_equal(ones.get(), twice_a(1, 2).get()));
  EXPECT_FALSE(vk_value_equal(ones.get(), twice_a(2, 1).get()));
}

// Arrays

TEST(ValueEqual, NeverHoldsOfArrays) {
  EXPECT_FALSE(equal(array({}), array({})));
  EXPECT_FALSE(equal(array({integer(1)}), array({integer(1)})));
}

TEST(ValueEqual, DoesNotEvenHoldOfAnArrayAndItself) {
  const Value value = planted(array({}));
  EXPECT_FALSE(equal(value, value));
}

TEST(ValueEqual, NeverHoldsOfObjectsWithAnArrayBelow) {
  const Tree tree = object({{"A", object({{"B", array({})}})}});
  EXPECT_FALSE(equal(tree, tree));
}

// Leaves

struct Leaves {
  const char* what;
  std::vector<Tree> different;  // each from all others
};

const Leaves kLeaves[] = {
    {"strings", {text(""), text("a"), text("A"), text("b"), text("ab"), text("a\xFF")}},
    {"base64s",
     {base64(""), base64("a"), base64("b"), base64("ab"), base64("\0"s), base64("\0a"s),
      base64("\0b"s)}},
    {"hexBinaries", {hex(""), hex("a"), hex("b"), hex("ab"), hex("\0"s), hex("\0a"s), hex("\0b"s)}},
    {"booleans", {boolean(0), boolean(1), boolean(2), boolean(255)}},
    {"ints", {integer(0), integer(1), integer(-1), integer(INT32_MIN), integer(INT32_MAX)}},
    {"unsignedInts",
     {unsigned_integer(0), unsigned_integer(1), unsigned_integer(1U << 31),
      unsigned_integer(UINT32_MAX)}},
    {"longs in their upper or lower half",
     {long_integer(0), long_integer(1), long_integer(int64_t{1} << 32),
      long_integer((int64_t{1} << 32) + 1), long_integer(-1), long_integer(INT64_MIN),
      long_integer(INT64_MAX)}},
    {"unsignedLongs in their upper or lower half",
     {unsigned_long(0), unsigned_long(1), unsigned_long(uint64_t{1} << 32),
      unsigned_long((uint64_t{1} << 32) + 1), unsigned_long(uint64_t{1} << 63),
      unsigned_long(UINT64_MAX)}},
    {"dateTimes in any of their words",
     {date(absolute(0)), date(absolute(1)), date(absolute(-1)), date(absolute(0, 1)),
      date(absolute(0, 2)), date(relative(0)), date(relative(0, 1)), date(unknown()),
      date({1, VK_DATETIME_UNKNOWN, 0}), date({0, VK_DATETIME_UNKNOWN, 1})}},
};

TEST(ValueEqual, HoldsOfLeavesOfEqualValueOnly) {
  for (const auto& [what, different] : kLeaves) {
    SCOPED_TRACE(what);
    for (const Tree& a : different) {
      for (const Tree& b : different) EXPECT_EQ(equal(a, b), &a == &b) << a << " and " << b;
    }
  }
}

// A payload has room for more than a flag or a word, and keeps what lay there before.
TEST(ValueEqual, PassesOverWhatElseLiesInThePayload) {
  struct {
    const char* what;
    void (*set)(vk_value*);
  } const shorter[] = {
      {"flag", [](vk_value* value) { vk_value_set_bool(value, 1); }},
      {"int", [](vk_value* value) { vk_value_set_int(value, -7); }},
      {"unsignedInt", [](vk_value* value) { vk_value_set_uint(value, 7); }},
  };
  for (const auto& [what, set] : shorter) {
    const Value a = planted(unsigned_long(0));
    const Value b = planted(unsigned_long(UINT64_MAX));
    set(a.get());
    set(b.get());
    EXPECT_TRUE(equal(a, b)) << what;
  }
}

TEST(ValueEqual, ChangesAndLogsNothing) {
  const LogSpy spy;
  const Tree tree = object({{"A", integer(1)}, {"B", array({text("b")})}}).with({{"C", any()}});
  const Value a = planted(tree);
  const Value b = planted(tree);
  EXPECT_FALSE(equal(a, b));
  EXPECT_EQ(tree_of(*a), tree);
  EXPECT_EQ(tree_of(*b), tree);
  EXPECT_THAT(spy.calls(), IsEmpty());
}

}  // namespace
}  // namespace vesk::test
