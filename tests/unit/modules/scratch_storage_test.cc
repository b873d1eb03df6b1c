#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/allocation_fault.h"
#include "tests/support/trees.h"
#include "tests/unit/modules/program.h"

// The module that others begin with: what it keeps, and what it does without memory.

namespace vesk::test {
namespace {

const std::string kRoot = "dm.Device.X_VESK_Scratch";

Tree saved(const char* note, uint32_t last, std::initializer_list<Tree::Named> entries) {
  const auto count = static_cast<uint32_t>(entries.size());
  return object({{"Data", object({{"Note", text(note)},
                                  {"EntryNumberOfEntries", unsigned_integer(count)},
                                  {"Entry", object(entries)}})},
                 {"Last", unsigned_integer(last)}});
}

const Tree kEntry = object({{"Name", text("a")}, {"Text", text("b")}});

TEST(ScratchStorage, KeepsWhatIsCommitted) {
  Program program(scratch_main);
  ASSERT_EQ(program.start(), VK_EOK);
  EXPECT_EQ(program.ask(VK_DM_ADD, kRoot + ".Entry").result, VK_EOK);
  EXPECT_EQ(program.set(kRoot + ".Entry.1.Name", text("a")), VK_EOK);
  EXPECT_EQ(program.set(kRoot + ".Entry.1.Text", text("b")), VK_EOK);
  EXPECT_EQ(program.set(kRoot + ".Note", text("kept")), VK_EOK);
  EXPECT_TRUE(program.stored.empty());
  EXPECT_EQ(program.commit(kRoot), VK_EOK);
  EXPECT_EQ(program.stored["scratch"], saved("kept", 1, {{"1", kEntry}}));
}

TEST(ScratchStorage, IsServedAfterARestart) {
  Program program(scratch_main);
  program.stored["scratch"] = saved("kept", 7, {{"2", kEntry}, {"5", kEntry}});
  ASSERT_EQ(program.start(), VK_EOK);
  EXPECT_EQ(program.value_at(kRoot + ".Note"), text("kept"));
  EXPECT_EQ(program.value_at(kRoot + ".Entry"), object({{"2", kEntry}, {"5", kEntry}}));
  EXPECT_EQ(program.ask(VK_DM_ADD, kRoot + ".Entry"),
            (Answer{VK_EOK, object({{"InstanceNumber", unsigned_integer(8)}})}));
}

TEST(ScratchStorage, BeginsAnewIfWhatWasSavedIsDamaged) {
  Program program(scratch_main);
  program.load_result = VK_EVALUE;
  ASSERT_EQ(program.start(), VK_EOK);
  EXPECT_EQ(program.value_at(kRoot + ".Note"), text(""));
  EXPECT_EQ(program.environment.log().lines().size(), 1U);
}

// As another version may have saved it.
TEST(ScratchStorage, BeginsAnewIfWhatWasSavedHasAnotherShape) {
  const Tree data = saved("old", 1, {}).items[0];
  const Tree last = unsigned_integer(1);
  const Tree note = text("old");
  const Tree trees[] = {text("x"),
                        array({data, last}),
                        object({}),
                        object({{"Data", data}}),
                        object({{"Last", last}}),
                        object({{"Data", data}, {"Last", text("1")}}),
                        object({{"Data", text("x")}, {"Last", last}}),
                        object({{"Data", object({{"Note", note}})}, {"Last", last}}),
                        object({{"Data", object({{"Entry", object({})}})}, {"Last", last}})};
  for (const Tree& tree : trees) {
    SCOPED_TRACE(testing::PrintToString(tree));
    Program program(scratch_main);
    program.stored["scratch"] = tree;
    ASSERT_EQ(program.start(), VK_EOK);
    EXPECT_EQ(program.environment.log().lines().size(), 1U);
    EXPECT_EQ(program.set(kRoot + ".Note", text("new")), VK_EOK);
    EXPECT_EQ(program.commit(kRoot), VK_EOK);
    EXPECT_EQ(program.stored["scratch"], saved("new", 0, {}));
  }
}

TEST(ScratchStorage, EndsTheModuleIfItCannotBeReadJustNow) {
  for (const uint32_t result : {VK_EBUSY, VK_EIO, VK_ETIMEDOUT, VK_ENOMEM, VK_ENOANSWER}) {
    Program program(scratch_main);
    program.load_result = result;
    EXPECT_EQ(program.start(), result);
    EXPECT_TRUE(program.hooks.registrations.empty());
  }
}

TEST(ScratchStorage, DropsAChangeThatItRefuses) {
  Program program(scratch_main);
  ASSERT_EQ(program.start(), VK_EOK);
  program.save_result = VK_EBUSY;
  EXPECT_EQ(program.set(kRoot + ".Note", text("new")), VK_EOK);
  EXPECT_EQ(program.commit(kRoot), VK_EBUSY);
  EXPECT_EQ(program.value_at(kRoot + ".Note"), text(""));
  program.save_result = VK_EOK;
  EXPECT_EQ(program.commit(kRoot), VK_EOK);
  EXPECT_EQ(program.value_at(kRoot + ".Note"), text(""));
  EXPECT_TRUE(program.stored.empty());
}

TEST(ScratchStorage, LetsTheModuleBeAskedWhileItSaves) {
  Program program(scratch_main);
  ASSERT_EQ(program.start(), VK_EOK);
  EXPECT_EQ(program.set(kRoot + ".Note", text("first")), VK_EOK);
  program.while_saving = [&] {
    program.while_saving = [] {};
    EXPECT_EQ(program.value_at(kRoot + ".Note"), text(""));
    EXPECT_EQ(program.rollback(kRoot), VK_EOK);
    EXPECT_EQ(program.set(kRoot + ".Note", text("second")), VK_EOK);
    EXPECT_EQ(program.commit(kRoot), VK_EOK);
    EXPECT_EQ(program.value_at(kRoot + ".Note"), text("second"));
    EXPECT_EQ(program.set(kRoot + ".Note", text("third")), VK_EOK);
  };
  EXPECT_EQ(program.commit(kRoot), VK_EOK);
  EXPECT_EQ(program.value_at(kRoot + ".Note"), text("first"));
  EXPECT_EQ(program.commit(kRoot), VK_EOK);
  EXPECT_EQ(program.value_at(kRoot + ".Note"), text("third"));
}

TEST(ScratchStart, IsRefusedIfItsHandlerIs) {
  Program program(scratch_main);
  program.hooks.results = {VK_EEXIST};
  EXPECT_EQ(program.start(), VK_EEXIST);
}

TEST(ScratchStart, NeedsMemory) {
  for_every_allocation_fault([](AllocationFault& fault) {
    Program program(scratch_main);
    const vk_error result = fault.during([&] { return program.start(); });
    EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
  });
}

struct Change {
  uint32_t action;
  const char* path;
  Tree value;
  Tree after;
};

TEST(ScratchChange, IsMadeWholeOrNotAtAllWithoutMemory) {
  const Tree before = saved("old", 1, {{"1", kEntry}});
  const Tree fresh = object({{"Name", text("")}, {"Text", text("")}});
  const Change changes[] = {
      {VK_DM_SET, ".Note", object({{"Value", text("new")}}), saved("new", 1, {{"1", kEntry}})},
      {VK_DM_ADD, ".Entry", object({}), saved("old", 2, {{"1", kEntry}, {"2", fresh}})},
      {VK_DM_DEL, ".Entry.1", object({}), saved("old", 1, {})}};
  for (const Change& change : changes) {
    SCOPED_TRACE(change.path);
    for_every_allocation_fault([&](AllocationFault& fault) {
      Program program(scratch_main);
      program.stored["scratch"] = before;
      ASSERT_EQ(program.start(), VK_EOK);
      Request request(program, change.action, kRoot + change.path, change.value);
      const uint32_t result = fault.during([&] { return request.send(); });
      EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : VK_EOK);
      EXPECT_EQ(program.value_at(kRoot + ".Note"), text("old"));
      EXPECT_EQ(program.commit(kRoot), VK_EOK);
      EXPECT_EQ(program.stored["scratch"], fault.struck() ? before : change.after);
    });
  }
}

}  // namespace
}  // namespace vesk::test
