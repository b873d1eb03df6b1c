#include "vesk/value/object.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <syslog.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "tests/support/values.h"
#include "vesk/value/attribute.h"
#include "vesk/value/leaf.h"

// Objects of policy 1: the instances of a table, in ascending order of their numbers.

namespace vesk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;
using ::testing::StrEq;

vk_error insert(const Value& object, const char* name) {
  Value child = new_value();
  const vk_error result = vk_object_insert(object.get(), name, child.get());
  if (result == VK_EOK) child.release();
  return result;
}

vk_error init(const Value& object, const char* name) {
  return vk_object_init_item(object.get(), name) == nullptr ? VK_EINVAL : VK_EOK;
}

// The two ways to a new member, which keep one rule.
struct Way {
  const char* name;
  vk_error (*add)(const Value& object, const char* name);
};

std::ostream& operator<<(std::ostream& out, const Way& way) { return out << way.name; }

class IndexedObject : public testing::TestWithParam<Way> {
 protected:
  static Value table(const Names& names = {}) {
    Value object = new_object(VK_POLICY_INDEXED);
    for (const std::string& name : names) {
      EXPECT_EQ(GetParam().add(object, name.c_str()), VK_EOK);
    }
    return object;
  }

  static vk_error add(const Value& object, const char* name) {
    return GetParam().add(object, name);
  }
};

INSTANTIATE_TEST_SUITE_P(FilledBy, IndexedObject,
                         testing::Values(Way{"Insert", insert}, Way{"InitItem", init}),
                         [](const auto& row) { return row.param.name; });

TEST_P(IndexedObject, KeepsItsMembersInAscendingOrder) {
  EXPECT_THAT(member_names(table({"3", "1", "2"})), ElementsAre("1", "2", "3"));
}

TEST_P(IndexedObject, IsTheSameWhateverTheOrderOfInsertion) {
  Names names = {"1", "2", "3", "4", "5"};
  do {
    const Value object = table(names);
    EXPECT_THAT(member_names(object), ElementsAre("1", "2", "3", "4", "5"));
    EXPECT_EQ(add(object, "6"), VK_EOK);
    EXPECT_THAT(member_names(object).back(), StrEq("6"));
  } while (std::next_permutation(names.begin(), names.end()));
}

TEST_P(IndexedObject, OrdersByNumberAndNotByText) {
  EXPECT_THAT(member_names(table({"10", "9", "100", "011"})), ElementsAre("9", "10", "011", "100"));
}

TEST_P(IndexedObject, ComparesNumbersWithoutASign) {
  EXPECT_THAT(member_names(table({"4294967295", "1", "2147483648", "2147483647"})),
              ElementsAre("1", "2147483647", "2147483648", "4294967295"));
}

TEST_P(IndexedObject, PutsTheNewestOfEqualNumbersLast) {
  EXPECT_THAT(member_names(table({"2", "1", "01", "3", "001", "02"})),
              ElementsAre("1", "01", "001", "2", "02", "3"));
}

TEST_P(IndexedObject, NotesTheNumberOfEachMember) {
  const Value object = table({"007", "4294967295", "1", " 5"});
  std::vector<uint32_t> numbers;
  for (const vk_value* const member : items_of(object)) numbers.push_back(member->index);
  EXPECT_THAT(numbers, ElementsAre(1, 5, 7, 4294967295U));
}

TEST_P(IndexedObject, RefusesANameThatIsNoInstanceNumber) {
  for (const Names& names : {Names{}, Names{"1", "3"}}) {
    for (const char* const name : {"x", "", "0", "00", "1x", "x1", "99999999999", "4294967296"}) {
      SCOPED_TRACE(name);
      const Value object = table(names);
      const LogSpy spy;
      EXPECT_EQ(add(object, name), VK_EINVAL);
      EXPECT_THAT(member_names(object), ElementsAreArray(names));
      EXPECT_THAT(spy.calls(), IsEmpty());
      EXPECT_EQ(add(object, "4"), VK_EOK);
      EXPECT_THAT(member_names(object).back(), StrEq("4"));
    }
  }
}

// A message at the place that it names for good.
void expect_call(const LogCall& call, const std::string& text, unsigned int line) {
  EXPECT_EQ(call, (LogCall{0, 1, "lib/value", line, "object_insert_value_item", text}));
  EXPECT_EQ(call.line, line);
}

TEST_P(IndexedObject, LogsAnInsertionAtTheHeadOfAnEmptyList) {
  const Value object = table();
  const LogSpy spy;
  add(object, "5");
  EXPECT_THAT(spy.lines(), ElementsAre(LogLine{LOG_INFO, "NONE: Insert HEAD"}));
  ASSERT_EQ(spy.calls().size(), 1U);
  expect_call(spy.calls()[0], "Insert HEAD", 406);
}

TEST_P(IndexedObject, LogsAnInsertionBeforeAllOthers) {
  const Value object = table({"5", "6"});
  const LogSpy spy;
  add(object, "4");
  EXPECT_THAT(spy.lines(), ElementsAre(LogLine{LOG_INFO, "NONE: Insert HEAD"}));
  ASSERT_EQ(spy.calls().size(), 1U);
  expect_call(spy.calls()[0], "Insert HEAD", 406);
}

TEST_P(IndexedObject, LogsAfterWhichNumberAMemberIsInserted) {
  struct Row {
    const char* name;
    const char* message;
  };
  constexpr Row kRows[] = {
      {"7", "Insert '7' after '6'"},
      {"3", "Insert '3' after '2'"},
      {"02", "Insert '2' after '2'"},
      {"4294967295", "Insert '4294967295' after '6'"},
  };
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.name);
    const Value object = table({"2", "6"});
    const LogSpy spy;
    add(object, row.name);
    EXPECT_THAT(spy.lines(), ElementsAre(LogLine{LOG_INFO, std::string("NONE: ") + row.message}));
    ASSERT_EQ(spy.calls().size(), 1U);
    expect_call(spy.calls()[0], row.message, 400);
  }
}

TEST_P(IndexedObject, TakesTheNextMemberAfterEachOneWasRemoved) {
  for (const char* const name : {"1", "2", "3"}) {
    SCOPED_TRACE(name);
    Names expected = {"1", "2", "3"};
    const Value object = table(expected);
    vk_object_delete_item(object.get(), name);
    std::erase(expected, name);
    EXPECT_THAT(member_names(object), ElementsAreArray(expected));
    EXPECT_EQ(add(object, "4"), VK_EOK);
    expected.push_back("4");
    EXPECT_THAT(member_names(object), ElementsAreArray(expected));
    EXPECT_EQ(add(object, name), VK_EOK);
    EXPECT_THAT(member_names(object), ElementsAre("1", "2", "3", "4"));
  }
}

TEST_P(IndexedObject, TakesANewMemberAfterItsOnlyOneWasRemoved) {
  const Value object = table({"7"});
  vk_object_delete_item(object.get(), "7");
  EXPECT_EQ(add(object, "5"), VK_EOK);
  EXPECT_THAT(member_names(object), ElementsAre("5"));
}

// A member stays where it is and keeps its number, which counts for those that come later.
TEST_P(IndexedObject, DoesNotSortAMemberAnewThatIsRenamed) {
  const Value object = table({"1", "5"});
  vk_value_set_id(vk_object_find_item(object.get(), "1"), "9");
  EXPECT_THAT(member_names(object), ElementsAre("9", "5"));
  EXPECT_EQ(vk_object_item_first(object.get())->index, 1U);
  EXPECT_EQ(add(object, "3"), VK_EOK);
  EXPECT_THAT(member_names(object), ElementsAre("9", "3", "5"));
}

TEST(IndexedObjectInsert, TellsNamesApartAndNotNumbers) {
  const Value object = new_object(VK_POLICY_INDEXED);
  EXPECT_EQ(insert(object, "1"), VK_EOK);
  EXPECT_EQ(insert(object, "01"), VK_EOK);
  const LogSpy spy;
  EXPECT_EQ(insert(object, "1"), VK_EEXIST);
  EXPECT_EQ(insert(object, "01"), VK_EEXIST);
  EXPECT_THAT(member_names(object), ElementsAre("1", "01"));
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST(IndexedObjectInsert, LeavesARefusedChildToTheCallerWithTheNumber0) {
  const Value object = new_object(VK_POLICY_INDEXED);
  insert(object, "1");
  const Value child = new_value();
  vk_value_set_id(child.get(), "mine");
  child->index = 17;
  EXPECT_EQ(vk_object_insert(object.get(), "x", child.get()), VK_EINVAL);
  EXPECT_EQ(VK_EINVAL, 4U);
  EXPECT_EQ(outline(child), "mine: any");
  EXPECT_THAT(member_names(object), ElementsAre("1"));
}

TEST(IndexedObjectInsert, UnlinksTheChildAgainWhenItCannotBeNamed) {
  struct Row {
    const char* name;
    const char* message;
  };
  constexpr Row kRows[] = {{"1", "NONE: Insert HEAD"},
                           {"5", "NONE: Insert '5' after '4'"},
                           {"9", "NONE: Insert '9' after '8'"}};
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.name);
    for_every_allocation_fault([&row](AllocationFault& fault) {
      const Value object = new_object(VK_POLICY_INDEXED);
      for (const char* const name : {"2", "4", "6", "8"}) insert(object, name);
      const LogSpy spy;
      Value child = new_value();
      const vk_error result =
          fault.during([&] { return vk_object_insert(object.get(), row.name, child.get()); });
      EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
      if (!fault.struck()) return static_cast<void>(child.release());
      EXPECT_THAT(spy.lines(),
                  ElementsAre(LogLine{LOG_INFO, row.message}, allocation_failure(2, "default")));
      EXPECT_THAT(member_names(object), ElementsAre("2", "4", "6", "8"));
      EXPECT_EQ(child->id, nullptr);
      insert(object, "10");
      EXPECT_THAT(member_names(object), ElementsAre("2", "4", "6", "8", "10"));
    });
  }
}

TEST(IndexedObjectInsert, LeavesAnEmptyListWhenTheOnlyChildCannotBeNamed) {
  for_every_allocation_fault([](AllocationFault& fault) {
    const Value object = new_object(VK_POLICY_INDEXED);
    Value child = new_value();
    fault.during([&] { return vk_object_insert(object.get(), "1", child.get()); });
    if (!fault.struck()) return static_cast<void>(child.release());
    EXPECT_THAT(member_names(object), IsEmpty());
    insert(object, "2");
    EXPECT_THAT(member_names(object), ElementsAre("2"));
  });
}

TEST(IndexedObjectInitItem, ClearsAnExistingMemberInItsPlaceAndLogsNothing) {
  const Value object = new_object(VK_POLICY_INDEXED);
  for (const char* const name : {"1", "2", "3"}) init(object, name);
  vk_value* const member = vk_object_find_item(object.get(), "2");
  vk_value_set_string(member, "text");
  vk_value_set_error(member, 7);
  const LogSpy spy;
  EXPECT_EQ(vk_object_init_item(object.get(), "2"), member);
  EXPECT_EQ(outline(object), "object/1{1#1: any, 2#2: any, 3#3: any}");
  EXPECT_THAT(member_names(object), ElementsAre("1", "2", "3"));
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST(IndexedObjectInitItem, ReleasesTheNodeThatCouldNotBeInserted) {
  const Value object = new_object(VK_POLICY_INDEXED);
  const std::size_t blocks = live_blocks();
  EXPECT_EQ(vk_object_init_item(object.get(), "x"), nullptr);
  EXPECT_EQ(vk_object_init_object_with_policy(object.get(), "x", VK_POLICY_ORDERED), nullptr);
  EXPECT_EQ(vk_object_init_array(object.get(), "x"), nullptr);
  EXPECT_EQ(live_blocks(), blocks);
  EXPECT_THAT(member_names(object), IsEmpty());
}

TEST(IndexedObjectInitItem, LeavesTheObjectWhenTheHeapIsExhausted) {
  for_every_allocation_fault([](AllocationFault& fault) {
    const Value object = new_object(VK_POLICY_INDEXED);
    for (const char* const name : {"1", "3"}) init(object, name);
    const LogSpy spy;
    fault.during([&] { return vk_object_init_item(object.get(), "2"); });
    EXPECT_THAT(member_names(object),
                ElementsAreArray(fault.struck() ? Names{"1", "3"} : Names{"1", "2", "3"}));
    if (!fault.struck()) return;
    ASSERT_EQ(spy.lines().size(), 1U);
    EXPECT_EQ(spy.lines()[0].priority, LOG_ERR);
  });
}

}  // namespace
}  // namespace vesk::test
