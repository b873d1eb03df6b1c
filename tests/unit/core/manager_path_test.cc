#include "core/manager_path.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <optional>
#include <string>

namespace vesk::core::dm {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(ManagerPath, IsTheComponentsOfAName) {
  const std::optional<Name> parameter = read_name("Device.Hosts.12.Name", {});
  ASSERT_TRUE(parameter);
  EXPECT_THAT(parameter->path, ElementsAre("Device", "Hosts", "12", "Name"));
  EXPECT_FALSE(parameter->partial);
  const std::optional<Name> object = read_name("Device.Hosts.", {});
  ASSERT_TRUE(object);
  EXPECT_THAT(object->path, ElementsAre("Device", "Hosts"));
  EXPECT_TRUE(object->partial);
}

TEST(ManagerPath, OfTheRootIsEmpty) {
  for (const char* const text : {"", "."}) {
    const std::optional<Name> root = read_name(text, {});
    ASSERT_TRUE(root);
    EXPECT_THAT(root->path, IsEmpty());
    EXPECT_TRUE(root->partial);
  }
}

TEST(ManagerPath, HasNoEmptyComponentAndNoTemplate) {
  for (const char* const text : {"..", ".A", "A..", "A..B", "A..B.", "$", "A.$.B", "A.$."}) {
    EXPECT_FALSE(read_name(text, {})) << text;
  }
}

TEST(ManagerPath, HasNumbersInOneFormOnly) {
  for (const char* const number : {"1", "9", "10", "2147483648", "4294967295"}) {
    EXPECT_TRUE(is_instance(number)) << number;
    EXPECT_TRUE(read_name(number, {})) << number;
  }
  for (const char* const number : {"0", "01", "007", "4294967296", "9999999999", "10000000000",
                                   "18446744073709551617", "+1", "-1", " 1", "1a", "0x1"}) {
    EXPECT_FALSE(is_instance(number)) << number;
    EXPECT_FALSE(read_name(number, {})) << number;
  }
  for (const char* const name : {"A1", "A$", "$$", "-", "+", "_1", "X-1"}) {
    EXPECT_FALSE(is_instance(name)) << name;
    EXPECT_TRUE(read_name(name, {})) << name;
  }
  EXPECT_FALSE(is_instance(""));
}

TEST(ManagerPath, FitsARequest) {
  const rt::Limits limits{.path = 12, .name = 6};
  EXPECT_TRUE(read_name("Device", limits));
  EXPECT_FALSE(read_name("Devices", limits));
  EXPECT_TRUE(read_name("Dev.Hosts", limits));
  EXPECT_FALSE(read_name("Dev.Hosts.", limits));
}

TEST(ManagerPath, IsJoinedAgain) {
  EXPECT_EQ(joined({"A", "1", "B"}), "A.1.B");
  EXPECT_EQ(joined({}), "");
  EXPECT_EQ(joined_object({"A", "1"}), "A.1.");
  EXPECT_EQ(joined_object({}), "");
  EXPECT_THAT(child_of({"A"}, "B"), ElementsAre("A", "B"));
}

}  // namespace
}  // namespace vesk::core::dm
