#include <sqlite3.h>

#include <array>
#include <string>

#include "tests/unit/core/store_disk.h"
#include "tests/unit/core/store_fixture.h"

namespace vesk::test {
namespace {

// A disk and a memory that fail: the failure is the answer, and nothing that was answered with
// success is lost.

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

using Operation = StoreDisk::Operation;
using Extent = StoreDisk::Extent;

constexpr auto kForGood = Extent::kAllFromThere;

class StoreFault : public testing::Test {
 protected:
  FreshFolder folder;
  StoreDisk disk;
  const std::string path = folder / "store";
};

TEST_F(StoreFault, OfTheDiskIsAnsweredAndReported) {
  StoreLoop at(path);
  disk.fail(Operation::kWrite, 1, SQLITE_IOERR_WRITE, kForGood);
  EXPECT_EQ(at.save("a.b", "tree"), VK_EIO);
  EXPECT_EQ(at.await(at.store->erase()), VK_EIO);
  EXPECT_THAT(at.reports, ElementsAre(HasSubstr("cannot save a.b: disk I/O error"),
                                      HasSubstr("cannot erase everything: disk I/O error")));
}

TEST_F(StoreFault, OfASyncIsAnsweredAndReported) {
  StoreLoop at(path);
  disk.fail(Operation::kSync, 1, SQLITE_IOERR_FSYNC, kForGood);
  EXPECT_EQ(at.save("a.b", "tree"), VK_EIO);
  EXPECT_THAT(at.reports, SizeIs(1));
  disk.heal();
  EXPECT_EQ(at.found("a.b"), "[ENOENT]");
}

TEST_F(StoreFault, OfAFullDiskLeavesWhatWasThere) {
  StoreLoop at(path);
  at.save("k", "before");
  disk.fill_up_at(100'000);
  EXPECT_EQ(at.save("k", std::string(1'000'000, 'x')), VK_EIO);
  EXPECT_THAT(at.reports, ElementsAre(HasSubstr("full")));
  EXPECT_EQ(at.found("k"), "before");
  disk.heal();
  EXPECT_EQ(at.save("k", std::string(1'000'000, 'x')), VK_EOK);
}

// More than SQLite keeps in memory of the file.
const std::string kLarge(8'000'000, 'x');

TEST_F(StoreFault, OfAReadIsTheAnswerToALoad) {
  { StoreLoop(path).save("k", kLarge); }
  StoreLoop at(path);
  disk.fail(Operation::kRead, 1, SQLITE_IOERR_READ, kForGood);
  EXPECT_EQ(at.found("k"), "[EBUSY]");
  EXPECT_THAT(at.reports, ElementsAre(HasSubstr("cannot load k: disk I/O error")));
  disk.heal();
  EXPECT_EQ(at.found("k"), kLarge);
}

TEST_F(StoreFault, OfALoadIsNeverToldAsDamage) {
  { StoreLoop(path).save("k", kLarge); }
  for (const int code : {SQLITE_IOERR_READ, SQLITE_CORRUPT, SQLITE_BUSY, SQLITE_LOCKED}) {
    StoreLoop at(path);
    disk.fail(Operation::kRead, 1, code, kForGood);
    EXPECT_EQ(at.found("k"), "[EBUSY]") << code;
    disk.heal();
  }
}

TEST_F(StoreFault, OfALoadLeavesAloneTheChangesThatWaitWithIt) {
  StoreLoop(path).save("large", kLarge);
  StoreLoop at(path);
  at.save("k", "tree");
  disk.halt();
  auto save = at.start(at.store->save("other", tree("tree")));
  disk.wait_until_halted();
  auto remove = at.start(at.store->remove("k"));
  auto load = at.start(at.store->load("large"));
  disk.fail(Operation::kRead, 1, SQLITE_CORRUPT, Extent::kOne);
  disk.go_on();
  at.run();
  EXPECT_TRUE(disk.struck());
  EXPECT_EQ(save.get(), VK_EOK);
  EXPECT_EQ(remove.get(), VK_EOK);  // and not absent, from having been removed before
  EXPECT_EQ(text_of(load.get().value), kLarge);
}

class LittleMemory {
 public:
  LittleMemory() { sqlite3_hard_heap_limit64(sqlite3_memory_used() + 200'000); }
  ~LittleMemory() { sqlite3_hard_heap_limit64(0); }
  LittleMemory(const LittleMemory&) = delete;
  LittleMemory& operator=(const LittleMemory&) = delete;
};

TEST_F(StoreFault, OfMemoryIsAnswered) {
  StoreLoop at(path);
  at.save("large", kLarge);
  {
    const LittleMemory little;
    EXPECT_EQ(at.found("large"), "[ENOMEM]");
    EXPECT_EQ(at.save("other", kLarge), VK_ENOMEM);
    EXPECT_EQ(at.save("small", "tree"), VK_EOK);
  }
  EXPECT_THAT(at.reports, ElementsAre(HasSubstr("cannot load large: out of memory"),
                                      HasSubstr("cannot save other: out of memory")));
  EXPECT_EQ(at.found("large"), kLarge);
  EXPECT_EQ(at.found("other"), "[ENOENT]");
  EXPECT_EQ(at.found("small"), "tree");
}

// Saves in turn under three keys, some of them at once, and remembers what was asked for and what
// was acknowledged.
struct Promises {
  void save(StoreLoop& at, int round) {
    std::array<std::future<uint32_t>, 3> answers;
    for (std::size_t i = 0; i < answers.size(); ++i) {
      answers[i] = at.start(at.store->save(key(i), tree(text(i, round))));
    }
    at.run();
    for (std::size_t i = 0; i < answers.size(); ++i) {
      if (answers[i].get() == VK_EOK) kept[i] = round;
    }
  }

  // Each key has what was acknowledged last, or what was asked for later and not acknowledged.
  void expect_kept(StoreLoop& at, int rounds) const {
    for (std::size_t i = 0; i < kept.size(); ++i) {
      const std::string found = at.found(key(i));
      bool promised = found == "[ENOENT]" && kept[i] < 0;
      for (int round = std::max(kept[i], 0); round < rounds; ++round) {
        promised = promised || found == text(i, round);
      }
      EXPECT_TRUE(promised) << found.substr(0, 20) << ", acknowledged " << kept[i];
    }
  }

  static std::string key(std::size_t i) { return "k" + std::to_string(i); }
  static std::string text(std::size_t i, int round) {
    return std::to_string(round) + std::string(i * 6000, 'x');
  }

  std::array<int, 3> kept{-1, -1, -1};
};

struct Fault {
  const char* name;
  Operation operation;
  Extent extent;
  int code;
};

class StoreFaultAt : public testing::TestWithParam<Fault> {};

// One run with the fault at the given operation; false if the run was over before that.
bool run_with_fault(const Fault& fault, std::size_t which) {
  constexpr int kRounds = 4;
  const FreshFolder folder;
  StoreDisk disk;
  Promises promises;
  bool struck = false;
  {
    StoreLoop at(folder / "store");
    disk.fail(fault.operation, which, fault.code, fault.extent);
    for (int round = 0; round < kRounds; ++round) promises.save(at, round);
    promises.expect_kept(at, kRounds);
    at.close();
    struck = disk.struck();
    disk.heal();
  }
  StoreLoop again(folder / "store");
  EXPECT_THAT(again.reports, IsEmpty());
  promises.expect_kept(again, kRounds);
  return struck;
}

TEST_P(StoreFaultAt, LosesNothingThatWasAcknowledged) {
  std::size_t which = 1;
  while (run_with_fault(GetParam(), which) && !HasFailure()) ++which;
  EXPECT_GT(which, 4U) << "operations that were refused";
}

INSTANTIATE_TEST_SUITE_P(
    Each, StoreFaultAt,
    testing::Values(Fault{"Write", Operation::kWrite, Extent::kOne, SQLITE_IOERR_WRITE},
                    Fault{"AllWrites", Operation::kWrite, kForGood, SQLITE_IOERR_WRITE},
                    Fault{"FullDisk", Operation::kWrite, Extent::kOne, SQLITE_FULL},
                    Fault{"Sync", Operation::kSync, Extent::kOne, SQLITE_IOERR_FSYNC},
                    Fault{"AllSyncs", Operation::kSync, kForGood, SQLITE_IOERR_FSYNC},
                    Fault{"NoMemory", Operation::kWrite, Extent::kOne, SQLITE_IOERR_NOMEM}),
    [](const auto& each) { return each.param.name; });

}  // namespace
}  // namespace vesk::test
