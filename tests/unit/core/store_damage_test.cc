#include <sqlite3.h>

#include <string>
#include <thread>

#include "core/store_checksum.h"
#include "tests/unit/core/store_database.h"
#include "tests/unit/core/store_disk.h"
#include "tests/unit/core/store_fixture.h"

namespace vesk::test {
namespace {

// Records that are not what was saved: reported, and never served.

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

struct Damage {
  const char* name;
  const char* statement;
};

constexpr Damage kDamage[] = {
    {"OneByte", "UPDATE trees SET tree = CAST('trea' AS BLOB) WHERE key = 'a.b'"},
    {"Shorter", "UPDATE trees SET tree = CAST('tre' AS BLOB) WHERE key = 'a.b'"},
    {"Longer", "UPDATE trees SET tree = CAST('tree' AS BLOB) || x'00' WHERE key = 'a.b'"},
    {"NoBytes", "UPDATE trees SET tree = x'' WHERE key = 'a.b'"},
    {"Checksum", "UPDATE trees SET checksum = checksum + 1 WHERE key = 'a.b'"},
    {"WideChecksum", "UPDATE trees SET checksum = checksum + 4294967296 WHERE key = 'a.b'"},
    {"NegativeChecksum", "UPDATE trees SET checksum = -checksum WHERE key = 'a.b'"},
    {"Key", "DELETE FROM trees WHERE key = 'a.b'; UPDATE trees SET key = 'a.b' WHERE key = 'a.c'"},
    {"Boundary",
     "DELETE FROM trees WHERE key = 'a.b';"
     "UPDATE trees SET key = 'a.b', tree = CAST('tree' AS BLOB) WHERE key = 'a.bt'"},
};

class StoreDamage : public testing::TestWithParam<Damage> {
 protected:
  StoreDamage() {
    StoreLoop at(path);
    at.save("a.b", "tree");
    at.save("a.c", "tree");
    at.save("a.bt", "ree");
    at.save("whole", "tree");
  }

  void damage(const char* statement) { Database(path).run(statement); }

  FreshFolder folder;
  const StoreDisk disk;
  const std::string path = folder / "store";
};

TEST_P(StoreDamage, IsNotServedAndIsReported) {
  damage(GetParam().statement);
  StoreLoop at(path);
  EXPECT_EQ(at.found("a.b"), "[EVALUE]");
  EXPECT_THAT(at.reports, ElementsAre(AllOf(HasSubstr("a.b"), HasSubstr("damaged"))));
}

TEST_P(StoreDamage, LeavesOtherRecordsAlone) {
  damage(GetParam().statement);
  StoreLoop at(path);
  EXPECT_EQ(at.found("whole"), "tree");
  EXPECT_THAT(at.reports, IsEmpty());
}

TEST_P(StoreDamage, IsRepairedBySaving) {
  damage(GetParam().statement);
  StoreLoop at(path);
  EXPECT_EQ(at.save("a.b", "new"), VK_EOK);
  EXPECT_EQ(at.found("a.b"), "new");
}

INSTANTIATE_TEST_SUITE_P(Of, StoreDamage, testing::ValuesIn(kDamage),
                         [](const auto& each) { return each.param.name; });

TEST_F(StoreDamage, IsReportedEachTime) {
  damage(kDamage[0].statement);
  StoreLoop at(path);
  at.load("a.b");
  at.load("a.b");
  EXPECT_THAT(at.reports, testing::SizeIs(2));
}

TEST_F(StoreDamage, CanBeRemoved) {
  damage(kDamage[0].statement);
  StoreLoop at(path);
  EXPECT_EQ(at.await(at.store->remove("a.b")), VK_EOK);
  EXPECT_EQ(at.found("a.b"), "[ENOENT]");
}

TEST_F(StoreDamage, DoesNotBringControlBytesIntoAReport) {
  { StoreLoop(path).save("line\nend\x7F", "tree"); }
  damage("UPDATE trees SET checksum = 0");
  StoreLoop at(path);
  at.load("line\nend\x7F");
  EXPECT_THAT(at.reports, ElementsAre(HasSubstr("line\\x0Aend\\x7F:")));
}

TEST_F(StoreDamage, IsReportedOnTheLoopsThread) {
  damage(kDamage[0].statement);
  asio::io_context loop;
  std::thread::id reporter;
  core::Store store(loop, path, [&](const std::string&) { reporter = std::this_thread::get_id(); });
  asio::co_spawn(loop, store.load("a.b"), asio::detached);
  loop.run();
  EXPECT_EQ(reporter, std::this_thread::get_id());
}

TEST_F(StoreDamage, InAPageIsAnsweredForWhatLiesThereOnly) {
  // Each of these trees fills pages of its own, which only its load looks at.
  {
    StoreLoop at(path);
    at.save("large", std::string(20'000, 'l'));
    at.save("other", std::string(20'000, 'o'));
  }
  std::string content = content_of(path);
  content.replace(content.find(std::string(1000, 'l')), 500, std::string(500, 'L'));
  std::ofstream(path, std::ios::binary | std::ios::trunc) << content;
  StoreLoop at(path);
  EXPECT_EQ(at.found("large"), "[EVALUE]");
  EXPECT_EQ(at.found("other"), std::string(20'000, 'o'));
}

uint32_t checksum_of(std::string_view text, uint32_t before = 0) {
  return core::checksum(std::as_bytes(std::span(text)), before);
}

TEST(StoreChecksum, IsTheCyclicRedundancyCheckOfCastagnoli) {
  EXPECT_EQ(checksum_of(""), 0U);
  EXPECT_EQ(checksum_of("123456789"), 0xE3069283U);
  EXPECT_EQ(checksum_of(std::string(32, '\0')), 0x8A9136AAU);
  EXPECT_EQ(checksum_of(std::string(32, '\xFF')), 0x62A8AB43U);
}

TEST(StoreChecksum, GoesOnFromWhatCameBefore) {
  EXPECT_EQ(checksum_of("56789", checksum_of("1234")), checksum_of("123456789"));
}

}  // namespace
}  // namespace vesk::test
