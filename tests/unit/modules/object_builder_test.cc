#include "modules/support/object_builder.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

#include "tests/support/allocation_fault.h"
#include "tests/support/log_spy.h"
#include "tests/support/trees.h"
#include "tests/support/values.h"

namespace vesk::test {
namespace {

using modules::ObjectBuilder;

vk_error fill(vk_value* object) {
  ObjectBuilder all(object);
  all.text("Text", "a");
  all.number("Number", 2);
  all.long_number("Long", UINT64_MAX);
  all.flag("Flag", true);
  ObjectBuilder below = all.object("Below");
  below.number("Deep", 1);
  all.include(below);
  return all.error();
}

const Tree kFilled = object({{"Text", text("a")},
                             {"Number", unsigned_integer(2)},
                             {"Long", unsigned_long(UINT64_MAX)},
                             {"Flag", boolean(1)},
                             {"Below", object({{"Deep", unsigned_integer(1)}})}});

TEST(ObjectBuilder, FillsMembersInOrder) {
  const Value object = new_object();
  EXPECT_EQ(fill(object.get()), VK_EOK);
  EXPECT_EQ(tree_of(*object), kFilled);
}

TEST(ObjectBuilder, TellsOfMemoryThatRanOutAnywhere) {
  const LogSpy log;
  for_every_allocation_fault([](AllocationFault& fault) {
    const Value object = new_object();
    const vk_error result = fault.during([&] { return fill(object.get()); });
    EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
  });
}

TEST(ObjectBuilder, FillsNothingWithoutAnObject) { EXPECT_EQ(fill(nullptr), VK_ENOMEM); }

TEST(ObjectBuilder, KeepsTheFirstFailure) {
  const Value object = new_object();
  ObjectBuilder all(object.get());
  all.fail(VK_EOK);
  EXPECT_EQ(all.error(), VK_EOK);
  all.fail(VK_EIO);
  all.fail(VK_EBUSY);
  all.text("Text", "a");
  EXPECT_EQ(all.error(), VK_EIO);
  EXPECT_EQ(tree_of(*object), test::object({}));
}

TEST(ObjectBuilder, ClampsNumbersTo32Bits) {
  const Value object = new_object();
  ObjectBuilder all(object.get());
  all.number("Fits", UINT32_MAX);
  all.number("Larger", uint64_t{UINT32_MAX} + 2);
  EXPECT_EQ(tree_of(*object), test::object({{"Fits", unsigned_integer(UINT32_MAX)},
                                            {"Larger", unsigned_integer(UINT32_MAX)}}));
}

TEST(ObjectBuilder, MakesTextsPlain) {
  struct Row {
    std::string given;
    std::string kept;
  };
  const Row rows[] = {
      {" ~", " ~"},
      {"a\x01\n\x7F\xC3\xA9z", "a?????z"},
      {std::string(64, 'a'), std::string(64, 'a')},
      {std::string(65, 'a'), std::string(64, 'a')},
      {std::string(300, '\xFF'), std::string(64, '?')},
  };
  for (const Row& row : rows) {
    const Value object = new_object();
    ObjectBuilder all(object.get());
    all.text("Text", row.given.c_str());
    EXPECT_EQ(tree_of(*object), test::object({{"Text", text(row.kept)}}));
  }
}

}  // namespace
}  // namespace vesk::test
