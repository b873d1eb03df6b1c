#include "vesk/value/object.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <ostream>
#include <string>
#include <tuple>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/values.h"
#include "vesk/value/attribute.h"
#include "vesk/value/leaf.h"

// Members that leave their object, deleted or extracted.

namespace vesk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

Names without(Names names, const std::string& name) {
  std::erase(names, name);
  return names;
}

// Takes a member out of an object, and hands it over if the operation does.
using Removal = Value (*)(const Value& object, const char* name);

Value delete_item(const Value& object, const char* name) {
  vk_object_delete_item(object.get(), name);
  return nullptr;
}

Value extract(const Value& object, const char* name) {
  return Value(vk_object_extract(object.get(), name));
}

struct RemovalRow {
  const char* name;
  Removal remove;
};

std::ostream& operator<<(std::ostream& out, const RemovalRow& row) { return out << row.name; }

class ObjectRemoval : public testing::TestWithParam<std::tuple<RemovalRow, int>> {
 protected:
  Names names() const {
    const Names all = {"a", "b", "c", "d"};
    return {all.begin(), all.begin() + std::get<1>(GetParam())};
  }
  Value remove(const Value& object, const std::string& name) const {
    return std::get<0>(GetParam()).remove(object, name.c_str());
  }
};

INSTANTIATE_TEST_SUITE_P(Of, ObjectRemoval,
                         testing::Combine(testing::Values(RemovalRow{"Deleted", delete_item},
                                                          RemovalRow{"Extracted", extract}),
                                          testing::Range(1, 5)),
                         [](const auto& row) {
                           return std::get<0>(row.param).name + std::string("From") +
                                  std::to_string(std::get<1>(row.param));
                         });

TEST_P(ObjectRemoval, OfEachMemberLeavesTheOthersAndATailForTheNext) {
  for (const std::string& name : names()) {
    SCOPED_TRACE(name);
    const Value object = object_with(names());
    const Value removed = remove(object, name);
    Names expected = without(names(), name);
    EXPECT_THAT(member_names(object), ElementsAreArray(expected));
    vk_object_init_item(object.get(), "z");
    expected.push_back("z");
    EXPECT_THAT(member_names(object), ElementsAreArray(expected));
  }
}

TEST_P(ObjectRemoval, OfAllMembersInAnyDirectionLeavesAnEmptyObjectForTheNext) {
  for (const bool backwards : {false, true}) {
    Names order = names();
    if (backwards) std::reverse(order.begin(), order.end());
    const Value object = object_with(names());
    for (const std::string& name : order) remove(object, name);
    EXPECT_TRUE(vk_object_is_empty(object.get()));
    EXPECT_THAT(member_names(object), IsEmpty());
    vk_object_init_item(object.get(), "z");
    EXPECT_THAT(member_names(object), ElementsAre("z"));
  }
}

TEST_P(ObjectRemoval, OfNoMemberChangesNothing) {
  const Value object = object_with(names());
  vk_value_add_attribute(object.get(), "other");
  const std::string before = outline(object);
  EXPECT_EQ(remove(object, "other"), nullptr);
  EXPECT_EQ(outline(object), before);
  EXPECT_THAT(member_names(object), ElementsAreArray(names()));
}

TEST_P(ObjectRemoval, TakesTheFirstOfTwoMembersOfOneName) {
  const Value object = object_with(names());
  vk_value_set_string(vk_object_init_item(object.get(), "twin"), "second");
  vk_value_set_id(vk_object_item_first(object.get()), "twin");
  remove(object, "twin");
  Names expected = without(names(), "a");
  expected.push_back("twin");
  EXPECT_THAT(member_names(object), ElementsAreArray(expected));
}

TEST_P(ObjectRemoval, DecrementsTheCountWhateverItWas) {
  const Value object = object_with(names());
  object->payload.items.count = 77;
  remove(object, "a");
  EXPECT_EQ(vk_object_get_size(object.get()), 76U);
}

TEST_P(ObjectRemoval, MayBeGivenTheMembersOwnName) {
  const Value object = object_with(names());
  const Value removed = remove(object, vk_object_item_first(object.get())->id);
  EXPECT_THAT(member_names(object), ElementsAreArray(without(names(), "a")));
}

TEST(ObjectDeleteItem, ReleasesTheMemberWithAllBelowIt) {
  const Value object = object_with({"a", "b"});
  const std::size_t blocks = live_blocks();
  vk_value* const below = vk_object_init_object_with_policy(object.get(), "c", VK_POLICY_ORDERED);
  vk_value_set_string(vk_object_init_item(below, "text"), "text");
  vk_value_set_error(below, 7);
  vk_object_delete_item(object.get(), "c");
  EXPECT_EQ(live_blocks(), blocks);
}

TEST(ObjectExtract, GivesTheMemberAsItWasWithItsNext) {
  const Value object = object_with({"a", "b", "c"});
  vk_value* const b = vk_object_find_item(object.get(), "b");
  vk_value_set_error(b, 7);
  const std::size_t blocks = live_blocks();
  const Value extracted{vk_object_extract(object.get(), "b")};
  EXPECT_EQ(extracted.get(), b);
  EXPECT_EQ(outline(extracted), "b: string 'b'<Error: int 7>");
  EXPECT_EQ(extracted->next, vk_object_find_item(object.get(), "c"));
  EXPECT_EQ(live_blocks(), blocks);
}

TEST(ObjectExtract, GivesAMemberThatOutlivesTheObject) {
  Value object = object_with({"a", "b"});
  const Value extracted{vk_object_extract(object.get(), "a")};
  object.reset();
  EXPECT_EQ(outline(extracted), "a: string 'a'");
}

}  // namespace
}  // namespace vesk::test
