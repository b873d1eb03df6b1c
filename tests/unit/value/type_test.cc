#include "vesk/value/type.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <ostream>
#include <type_traits>

namespace vesk::test {
namespace {

using ::testing::StrEq;

struct TypeRow {
  uint32_t number;
  vk_type constant;
  const char* name;
};

std::ostream& operator<<(std::ostream& out, const TypeRow& row) { return out << row.name; }

constexpr TypeRow kTypes[] = {
    {0, VK_TYPE_ANY, "any"},
    {1, VK_TYPE_OBJECT, "object"},
    {2, VK_TYPE_ARRAY, "array"},
    {3, VK_TYPE_BASE64, "base64"},
    {4, VK_TYPE_BOOLEAN, "boolean"},
    {5, VK_TYPE_DATETIME, "dateTime"},
    {6, VK_TYPE_HEXBINARY, "hexBinary"},
    {7, VK_TYPE_INT, "int"},
    {8, VK_TYPE_LONG, "long"},
    {9, VK_TYPE_STRING, "string"},
    {10, VK_TYPE_UNSIGNEDINT, "unsignedInt"},
    {11, VK_TYPE_UNSIGNEDLONG, "unsignedLong"},
};

class Type : public testing::TestWithParam<TypeRow> {};

INSTANTIATE_TEST_SUITE_P(All, Type, testing::ValuesIn(kTypes),
                         [](const auto& row) { return row.param.name; });

TEST_P(Type, HasAFixedNumber) { EXPECT_EQ(GetParam().constant, GetParam().number); }

TEST_P(Type, HasAName) {
  EXPECT_THAT(vk_type_to_string(GetParam().number), StrEq(GetParam().name));
}

TEST_P(Type, IsFoundByItsName) {
  EXPECT_EQ(vk_type_from_string(GetParam().name), GetParam().number);
}

TEST(Types, AreUnsigned32BitNumbers) { static_assert(std::is_same_v<vk_type, uint32_t>); }

class NoType : public testing::TestWithParam<vk_type> {};

INSTANTIATE_TEST_SUITE_P(Numbers, NoType,
                         testing::Values(12, 13, 255, 256 + VK_TYPE_STRING, 0x80000000U,
                                         std::numeric_limits<vk_type>::max()));

TEST_P(NoType, IsCalledUnknown) {
  EXPECT_THAT(vk_type_to_string(GetParam()), StrEq("(unknown type)"));
}

class NoTypeName : public testing::TestWithParam<const char*> {};

INSTANTIATE_TEST_SUITE_P(Texts, NoTypeName,
                         testing::Values("", "Object", "OBJECT", "datetime", "hexbinary",
                                         "unsignedint", "strin", "strings", " int", "int ",
                                         "unknown", "(unknown type)"));

TEST_P(NoTypeName, IsTakenForAny) { EXPECT_EQ(vk_type_from_string(GetParam()), VK_TYPE_ANY); }

}  // namespace
}  // namespace vesk::test
