#include "vesk/value/array.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "tests/support/values.h"
#include "vesk/value/attribute.h"
#include "vesk/value/leaf.h"

namespace vesk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

using Numbers = std::vector<int>;

Value array_of(int count) {
  Value array = new_array();
  for (int number = 0; number < count; ++number) {
    vk_value_set_int(vk_array_add_item(array.get()), number);
  }
  return array;
}

// The numbers in a sound array.
Numbers numbers_in(const Value& array) {
  Numbers numbers;
  for (const vk_value* const element : items_of(array)) {
    numbers.push_back(element->type == VK_TYPE_INT ? element->payload.s32 : -1);
  }
  return numbers;
}

Numbers first_numbers(int count) {
  Numbers numbers;
  for (int number = 0; number < count; ++number) numbers.push_back(number);
  return numbers;
}

constexpr int kAppended = -1;  // what `numbers_in` shows for a new element

TEST(ArrayInit, MakesAnEmptyArray) {
  const Value value = new_value();
  vk_array_init(value.get());
  EXPECT_EQ(value->type, VK_TYPE_ARRAY);
  EXPECT_THAT(items_of(value), IsEmpty());
}

TEST(ArrayInit, LeavesThePolicyAlone) {
  for (const uint32_t policy : {0U, 1U, 2U, std::numeric_limits<uint32_t>::max()}) {
    const Value value = new_value();
    value->policy = policy;
    vk_array_init(value.get());
    EXPECT_EQ(value->policy, policy);
  }
}

TEST(ArrayInit, DoesNotClearTheNode) {
  const Value value = array_of(1);
  const Value element{vk_array_item_first(value.get())};
  vk_value_set_error(value.get(), 7);
  vk_value_set_id(value.get(), "name");
  const std::size_t blocks = live_blocks();
  vk_array_init(value.get());
  EXPECT_EQ(live_blocks(), blocks);
  EXPECT_EQ(outline(value), "name: array{}<Error: int 7>");
}

TEST(ArrayAddItem, AppendsElementsOfTypeAnyWithoutNames) {
  const Value array = new_array();
  const vk_value* const first = vk_array_add_item(array.get());
  const vk_value* const second = vk_array_add_item(array.get());
  EXPECT_THAT(items_of(array), ElementsAre(first, second));
  EXPECT_EQ(outline(array), "array{any, any}");
  EXPECT_EQ(first->id, nullptr);
  EXPECT_EQ(second->next, nullptr);
}

TEST(ArrayAddItem, MakesTheElementOnTheArraysHeap) {
  const Heap heap{vk_mm_heap_new("own")};
  const Value array = new_array(heap.get());
  vk_value* const element = vk_array_add_item(array.get());
  EXPECT_EQ(element->heap, heap.get());
  EXPECT_EQ(owner_of(element), heap.get());
}

TEST(ArrayAddItem, TakesElementsOfAllTypes) {
  const Value array = new_array();
  vk_value_set_int(vk_array_add_item(array.get()), 7);
  vk_value_set_string(vk_array_add_item(array.get()), "text");
  vk_object_init_with_policy(vk_array_add_item(array.get()), VK_POLICY_ORDERED);
  vk_array_add_item(array.get());
  vk_array_init(vk_array_add_item(array.get()));
  EXPECT_EQ(outline(array), "array{int 7, string 'text', object/2{}, any, array{}}");
}

TEST(ArrayAddItem, LogsNothing) {
  const LogSpy spy;
  array_of(3);
  EXPECT_THAT(spy.calls(), IsEmpty());
}

TEST(ArrayAddItem, LeavesTheArrayWhenTheHeapIsExhausted) {
  for (const int count : {0, 2}) {
    for_every_allocation_fault([count](AllocationFault& fault) {
      const LogSpy spy;
      const Value array = array_of(count);
      const vk_value* const element =
          fault.during([&array] { return vk_array_add_item(array.get()); });
      ASSERT_EQ(element == nullptr, fault.struck());
      if (!fault.struck()) return;
      EXPECT_THAT(spy.lines(), ElementsAre(allocation_failure(sizeof(vk_value), "default")));
      Numbers expected = first_numbers(count);
      EXPECT_THAT(numbers_in(array), ElementsAreArray(expected));
      vk_array_add_item(array.get());
      expected.push_back(kAppended);
      EXPECT_THAT(numbers_in(array), ElementsAreArray(expected));
    });
  }
}

TEST(ArrayItemFirst, GivesTheFirstElementOrNull) {
  const Value array = new_array();
  EXPECT_EQ(vk_array_item_first(array.get()), nullptr);
  const vk_value* const first = vk_array_add_item(array.get());
  vk_array_add_item(array.get());
  EXPECT_EQ(vk_array_item_first(array.get()), first);
}

class ArrayOf : public testing::TestWithParam<int> {
 protected:
  const Value array_ = array_of(GetParam());
};

INSTANTIATE_TEST_SUITE_P(Elements, ArrayOf, testing::Range(0, 5));

TEST_P(ArrayOf, KeepsTheOrderOfAppending) {
  EXPECT_THAT(numbers_in(array_), ElementsAreArray(first_numbers(GetParam())));
}

TEST_P(ArrayOf, HasThatLength) {
  EXPECT_EQ(vk_array_get_len(array_.get()), static_cast<uint32_t>(GetParam()));
}

TEST_P(ArrayOf, TellsItsLengthWithoutCounting) {
  array_->payload.items.count = 77;
  EXPECT_EQ(vk_array_get_len(array_.get()), 77U);
}

TEST_P(ArrayOf, GivesEachElementByItsPosition) {
  uint32_t position = 0;
  for (const vk_value* const element : items_of(array_)) {
    EXPECT_EQ(vk_array_get_item(array_.get(), position++), element);
  }
}

TEST_P(ArrayOf, GivesNullBehindItsEnd) {
  const uint32_t length = vk_array_get_len(array_.get());
  for (const uint32_t position :
       {length, length + 1, 0x80000000U, std::numeric_limits<uint32_t>::max()}) {
    EXPECT_EQ(vk_array_get_item(array_.get(), position), nullptr) << position;
  }
}

TEST_P(ArrayOf, LosesEachElementAndTakesTheNext) {
  for (int removed = 0; removed < GetParam(); ++removed) {
    SCOPED_TRACE(removed);
    const Value array = array_of(GetParam());
    vk_array_delete_item(array.get(),
                         vk_array_get_item(array.get(), static_cast<uint32_t>(removed)));
    Numbers expected = first_numbers(GetParam());
    std::erase(expected, removed);
    EXPECT_THAT(numbers_in(array), ElementsAreArray(expected));
    vk_array_add_item(array.get());
    expected.push_back(kAppended);
    EXPECT_THAT(numbers_in(array), ElementsAreArray(expected));
  }
}

TEST_P(ArrayOf, IsEmptyOnceAllElementsAreDeletedAndTakesTheNext) {
  for (const bool backwards : {false, true}) {
    const Value array = array_of(GetParam());
    while (vk_array_get_len(array.get()) != 0) {
      const uint32_t position = backwards ? vk_array_get_len(array.get()) - 1 : 0;
      vk_array_delete_item(array.get(), vk_array_get_item(array.get(), position));
    }
    EXPECT_THAT(numbers_in(array), IsEmpty());
    vk_array_add_item(array.get());
    EXPECT_THAT(numbers_in(array), ElementsAre(kAppended));
  }
}

TEST(ArrayDeleteItem, FindsTheElementByIdentityAndNotByValue) {
  const Value array = new_array();
  for (const char* const mark : {"a", "b", "c"}) {
    vk_value* const element = vk_array_add_item(array.get());
    vk_value_set_string(element, "same");
    vk_value_add_attribute(element, mark);
  }
  vk_array_delete_item(array.get(), vk_array_get_item(array.get(), 1));
  EXPECT_EQ(outline(array), "array{string 'same'<a: any>, string 'same'<c: any>}");
}

TEST(ArrayDeleteItem, CountsTheElementsAnewWhateverTheCountWas) {
  const Value array = array_of(3);
  array->payload.items.count = 77;
  vk_array_delete_item(array.get(), vk_array_item_first(array.get()));
  EXPECT_EQ(vk_array_get_len(array.get()), 2U);
}

TEST(ArrayDeleteItem, ReleasesTheElementWithAllBelowItAndAsksForNoMemory) {
  const Value array = array_of(2);
  const std::size_t blocks = live_blocks();
  vk_value* const element = vk_array_add_item(array.get());
  vk_array_init(element);
  vk_value_set_string(vk_array_add_item(element), "text");
  vk_value_set_typename(element, "type");
  const LogSpy spy;
  const AllocationLog log;
  vk_array_delete_item(array.get(), element);
  EXPECT_EQ(log.count(), 0U);
  EXPECT_EQ(live_blocks(), blocks);
  EXPECT_THAT(spy.calls(), IsEmpty());
}

}  // namespace
}  // namespace vesk::test
