#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

#include "tests/support/allocation_fault.h"
#include "tests/support/trees.h"
#include "tests/unit/modules/program.h"

// The module that others begin with: what its subtree can do.

namespace vesk::test {
namespace {

using Registration = RecordingHooks::Registration;

const std::string kRoot = "dm.Device.X_VESK_Scratch";

Tree entry(const char* name, const char* characters) {
  return object({{"Name", text(name)}, {"Text", text(characters)}});
}

Tree data(const char* note, std::initializer_list<Tree::Named> entries) {
  return object({{"Note", text(note)},
                 {"EntryNumberOfEntries", unsigned_integer(static_cast<uint32_t>(entries.size()))},
                 {"Entry", object(entries)}});
}

class Scratch : public testing::Test {
 protected:
  Scratch() { EXPECT_EQ(program_.start(), VK_EOK); }

  Tree shown() { return program_.value_at(kRoot); }
  uint32_t set(const std::string& path, const Tree& value) {
    return program_.set(kRoot + path, value);
  }
  uint32_t commit() { return program_.commit(kRoot); }
  Answer add(const std::string& path = ".Entry") { return program_.ask(VK_DM_ADD, kRoot + path); }
  uint32_t del(const std::string& path) { return program_.ask(VK_DM_DEL, kRoot + path).result; }

  // Whether a node can be written; -1 if it is not there.
  int writable(const std::string& path) {
    const Answer answer = program_.ask(VK_DM_INFO, kRoot + path);
    if (answer.result != VK_EOK) return -1;
    const Tree& list = answer.value.items.at(0);
    EXPECT_EQ(list.attributes.at(0).name, "Writable");
    return std::get<uint8_t>(list.attributes.at(0).payload);
  }

  Program program_{scratch_main};
};

Answer added(uint32_t number) {
  return {VK_EOK, object({{"InstanceNumber", unsigned_integer(number)}})};
}

TEST_F(Scratch, HasOneHandler) {
  EXPECT_STREQ(program_.descriptor().name, "scratch");
  ASSERT_EQ(program_.hooks.registrations.size(), 1U);
  EXPECT_EQ(program_.hooks.registrations[0].what, "add " + kRoot);
}

TEST_F(Scratch, IsEmptyAtFirst) { EXPECT_EQ(shown(), data("", {})); }

TEST_F(Scratch, ShowsAChangeFromItsCommitOn) {
  EXPECT_EQ(set(".Note", text("new")), VK_EOK);
  EXPECT_EQ(shown(), data("", {}));
  EXPECT_EQ(commit(), VK_EOK);
  EXPECT_EQ(shown(), data("new", {}));
}

TEST_F(Scratch, ForgetsAChangeThatIsRolledBack) {
  EXPECT_EQ(set(".Note", text("new")), VK_EOK);
  EXPECT_EQ(add(), added(1));
  EXPECT_EQ(program_.rollback(kRoot), VK_EOK);
  EXPECT_EQ(commit(), VK_EOK);
  EXPECT_EQ(shown(), data("", {}));
  EXPECT_EQ(program_.stored.size(), 0U);
}

TEST_F(Scratch, MayBeCommittedOrRolledBackWithoutAChange) {
  EXPECT_EQ(program_.rollback(kRoot), VK_EOK);
  EXPECT_EQ(commit(), VK_EOK);
  EXPECT_EQ(program_.stored.size(), 0U);
}

TEST_F(Scratch, AddsEntriesUnderGrowingNumbers) {
  EXPECT_EQ(add(), added(1));
  EXPECT_EQ(add(), added(2));
  EXPECT_EQ(set(".Entry.2.Name", text("second")), VK_EOK);
  EXPECT_EQ(shown(), data("", {}));
  EXPECT_EQ(commit(), VK_EOK);
  EXPECT_EQ(shown(), data("", {{"1", entry("", "")}, {"2", entry("second", "")}}));
}

TEST_F(Scratch, DeletesEntriesAndNeverUsesANumberAgain) {
  add();
  add();
  EXPECT_EQ(commit(), VK_EOK);
  EXPECT_EQ(del(".Entry.2"), VK_EOK);
  EXPECT_EQ(shown(), data("", {{"1", entry("", "")}, {"2", entry("", "")}}));
  EXPECT_EQ(commit(), VK_EOK);
  EXPECT_EQ(shown(), data("", {{"1", entry("", "")}}));
  EXPECT_EQ(add(), added(3));
  EXPECT_EQ(commit(), VK_EOK);
  EXPECT_EQ(shown(), data("", {{"1", entry("", "")}, {"3", entry("", "")}}));
}

TEST_F(Scratch, RefusesToSetWhatIsNotAString) {
  add();
  EXPECT_EQ(commit(), VK_EOK);
  const Tree before = shown();
  EXPECT_EQ(set(".EntryNumberOfEntries", unsigned_integer(7)), VK_ERO);
  for (const char* const path : {"", ".Entry", ".Entry.1", ".Missing", ".Entry.2.Name"}) {
    EXPECT_EQ(set(path, text("new")), VK_ENOENT) << path;
    EXPECT_EQ(set(path, object({})), VK_ENOENT) << path;
  }
  for (const Tree& value : one_of_each_type()) {
    if (value.type == VK_TYPE_STRING) continue;
    EXPECT_EQ(set(".Note", value), VK_ETYPE) << value;
  }
  EXPECT_EQ(program_.ask(VK_DM_SET, kRoot + ".Note").result, VK_ETYPE);
  EXPECT_EQ(commit(), VK_EOK);
  EXPECT_EQ(shown(), before);
}

TEST_F(Scratch, AddsOnlyToItsTableAndDeletesOnlyEntries) {
  add();
  EXPECT_EQ(commit(), VK_EOK);
  for (const char* const path : {"", ".Note", ".Entry.1", ".Entry.2", ".Entry.1.Name"}) {
    EXPECT_EQ(add(path).result, VK_ENOENT) << path;
  }
  for (const char* const path : {"", ".Note", ".Entry", ".Entry.2", ".Entry.1.Name"}) {
    EXPECT_EQ(del(path), VK_ENOENT) << path;
  }
  EXPECT_EQ(commit(), VK_EOK);
  EXPECT_EQ(shown(), data("", {{"1", entry("", "")}}));
}

TEST_F(Scratch, TellsWhatCanBeWritten) {
  add();
  EXPECT_EQ(writable(".Entry.1"), -1);
  EXPECT_EQ(commit(), VK_EOK);
  const struct {
    const char* path;
    int writable;
  } rows[] = {{"", 0},         {".Note", 1},         {".EntryNumberOfEntries", 0}, {".Entry", 1},
              {".Entry.1", 1}, {".Entry.1.Name", 1}, {".Entry.1.Text", 1},         {".Other", -1}};
  for (const auto& row : rows) EXPECT_EQ(writable(row.path), row.writable) << row.path;
  EXPECT_EQ(program_.ask(VK_DM_INFO, kRoot + ".Other").result, VK_ENOANSWER);
}

TEST_F(Scratch, NamesItsChildren) {
  add();
  EXPECT_EQ(commit(), VK_EOK);
  EXPECT_EQ(program_.ask(VK_DM_LEVEL, kRoot),
            (Answer{VK_EOK, object({{"level", object({{"Note", any()},
                                                      {"EntryNumberOfEntries", any()},
                                                      {"Entry", any()}})}})}));
  EXPECT_EQ(program_.ask(VK_DM_LEVEL, kRoot + ".Entry"),
            (Answer{VK_EOK, object({{"level", object({{"1", any()}})}})}));
  EXPECT_EQ(program_.ask(VK_DM_LEVEL, kRoot + ".Note").result, VK_ENOANSWER);
}

TEST_F(Scratch, HoldsWhatIsThere) {
  EXPECT_EQ(program_.ask(VK_DM_PROVIDE, kRoot + ".Note").result, VK_EOK);
  EXPECT_EQ(program_.ask(VK_DM_PROVIDE, kRoot + ".Entry.1").result, VK_ENOANSWER);
  EXPECT_EQ(program_.get(kRoot + ".Entry.1").result, VK_ENOANSWER);
}

TEST_F(Scratch, AnswersNoOtherAction) {
  for (const uint32_t action : {VK_DM_GETATTR, VK_DM_SETATTR, VK_DM_CONFIG, UINT32_C(12)}) {
    EXPECT_EQ(program_.ask(action, kRoot).result, VK_ENOANSWER) << action;
  }
}

}  // namespace
}  // namespace vesk::test
