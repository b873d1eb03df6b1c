#include "core/tree.h"

#include <gtest/gtest.h>

#include "tests/support/values.h"
#include "vesk/value/compare.h"
#include "vesk/value/member.h"

namespace vesk::test {
namespace {

TEST(ATree, IsTheSameAfterBytes) {
  const Value tree = object_with({"a", "b"});
  ASSERT_NE(grow(tree.get(), "inner"), nullptr);
  const core::Bytes bytes = core::encode(*tree);
  const OwnedValue read = core::decode(&bytes);
  EXPECT_TRUE(vk_value_equal(read.get(), tree.get()));
}

TEST(ATree, IsAnyWithoutBytes) {
  const core::Bytes none;
  EXPECT_EQ(core::decode(nullptr)->type, VK_TYPE_ANY);
  EXPECT_EQ(core::decode(&none)->type, VK_TYPE_ANY);
}

TEST(ATree, ThatIsCutOffThrows) {
  core::Bytes bytes = core::encode(*object_with({"a"}));
  bytes.pop_back();
  EXPECT_THROW(core::decode(&bytes), std::bad_alloc);
}

TEST(ATree, ThatEndsEarlyThrows) {
  core::Bytes bytes = core::encode(*object_with({"a"}));
  bytes.push_back(std::byte{0});
  EXPECT_THROW(core::decode(&bytes), std::bad_alloc);
}

TEST(TextMember, IsAStringOfAnObject) {
  const Value tree = new_object();
  ASSERT_EQ(vk_object_set_string(tree.get(), "s", "text"), VK_EOK);
  ASSERT_EQ(vk_object_set_uint(tree.get(), "u", 5), VK_EOK);
  EXPECT_STREQ(core::text_member(*tree, "s"), "text");
  EXPECT_EQ(core::text_member(*tree, "u"), nullptr);
  EXPECT_EQ(core::text_member(*tree, "x"), nullptr);
  EXPECT_EQ(core::text_member(*new_value(), "s"), nullptr);
}

TEST(NumberMember, IsAnUnsignedIntOfAnObject) {
  const Value tree = new_object();
  ASSERT_EQ(vk_object_set_uint(tree.get(), "u", 5), VK_EOK);
  ASSERT_EQ(vk_object_set_int(tree.get(), "i", 5), VK_EOK);
  ASSERT_NE(core::number_member(*tree, "u"), nullptr);
  EXPECT_EQ(*core::number_member(*tree, "u"), 5U);
  EXPECT_EQ(core::number_member(*tree, "i"), nullptr);
  EXPECT_EQ(core::number_member(*new_value(), "u"), nullptr);
}

}  // namespace
}  // namespace vesk::test
