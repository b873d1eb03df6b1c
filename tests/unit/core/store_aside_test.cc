#include <sqlite3.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <system_error>

#include "core/store_db.h"
#include "tests/unit/core/store_database.h"
#include "tests/unit/core/store_disk.h"
#include "tests/unit/core/store_fixture.h"

namespace vesk::test {
namespace {

// What is found at the path and is no store: set aside, reported, and a new store begun.

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;
using testing::SizeIs;

constexpr std::size_t kPage = 4096;

struct Spoilt {
  const char* name;
  void (*spoil)(const std::string& path);
  const char* reason;
};

void write_text(const std::string& path) {
  std::ofstream(path, std::ios::trunc) << std::string(10'000, 'x');
}
void cut_off(const std::string& path) { std::filesystem::resize_file(path, kPage + 100); }
void shorten_to_a_word(const std::string& path) { std::filesystem::resize_file(path, 8); }

void overwrite(const std::string& path, std::size_t at, std::size_t size) {
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(static_cast<std::streamoff>(at));
  file << std::string(size, '\xAA');
}
void spoil_header(const std::string& path) { overwrite(path, 0, 16); }
void spoil_a_page(const std::string& path) { overwrite(path, kPage, 8); }

void turn_application_id_round(const std::string& path) {
  std::string id = content_of(path).substr(68, 4);
  std::reverse(id.begin(), id.end());
  std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
  file.seekp(68);
  file << id;
}

void make_newer(const std::string& path) { Database(path).run("PRAGMA user_version = 2"); }
void make_older(const std::string& path) { Database(path).run("PRAGMA user_version = 0"); }
void drop_table(const std::string& path) { Database(path).run("DROP TABLE trees"); }
void add_trigger(const std::string& path) {
  Database(path).run("CREATE TRIGGER t AFTER INSERT ON trees BEGIN DELETE FROM trees; END");
}
void make_of_another_kind(const std::string& path) {
  std::filesystem::remove(path);
  Database(path).run("CREATE TABLE others(a)");
}
void make_folder(const std::string& path) {
  std::filesystem::remove(path);
  std::filesystem::create_directory(path);
}
void make_pipe(const std::string& path) {
  std::filesystem::remove(path);
  mkfifo(path.c_str(), 0600);
}

const Spoilt kSpoilt[] = {
    {"Text", write_text, "it is no store: file is not a database"},
    {"CutOff", cut_off, "it is no store: database disk image is malformed"},
    {"AWord", shorten_to_a_word, "it is no store: file is not a database"},
    {"Header", spoil_header, "it is no store: file is not a database"},
    {"Page", spoil_a_page, "damaged"},
    {"ByteOrder", turn_application_id_round, "machine"},
    {"Newer", make_newer, "version 2"},
    {"Older", make_older, "version 0"},
    {"NoTable", drop_table, "table"},
    {"Trigger", add_trigger, "table"},
    {"AnotherKind", make_of_another_kind, "machine"},
    {"Folder", make_folder, "not a file"},
    {"Pipe", make_pipe, "not a file"},
};

class StoreAside : public testing::TestWithParam<Spoilt> {
 protected:
  StoreAside() {
    StoreLoop at(path);
    at.save("k", "tree");
  }

  // What was set aside, without what belongs to it.
  std::vector<std::string> aside() const {
    std::vector<std::string> names = folder.names("store.2");
    std::erase_if(names, [](const std::string& name) { return name.find("Z-wal") != name.npos; });
    return names;
  }

  FreshFolder folder;
  StoreDisk disk;
  const std::string path = folder / "store";
};

using Spoiling = StoreAside;

TEST_P(Spoiling, HasANewStoreBegun) {
  GetParam().spoil(path);
  StoreLoop at(path);
  EXPECT_EQ(at.found("k"), "[ENOENT]");
  EXPECT_EQ(at.save("k", "new"), VK_EOK);
  EXPECT_EQ(at.found("k"), "new");
}

TEST_P(Spoiling, IsReportedWithItsReasonAndItsNewName) {
  GetParam().spoil(path);
  const StoreLoop at(path);
  ASSERT_THAT(aside(), ElementsAre(MatchesRegex("store\\.[0-9]{8}T[0-9]{6}Z")));
  EXPECT_THAT(at.reports, ElementsAre(AllOf(HasSubstr(path), HasSubstr(GetParam().reason),
                                            HasSubstr(folder / aside()[0]))));
}

TEST_P(Spoiling, IsKeptAsItWasFound) {
  GetParam().spoil(path);
  const std::string content = std::filesystem::is_regular_file(path) ? content_of(path) : "";
  const auto type = std::filesystem::status(path).type();
  const StoreLoop at(path);
  ASSERT_THAT(aside(), SizeIs(1));
  EXPECT_EQ(std::filesystem::status(folder / aside()[0]).type(), type);
  if (!content.empty()) {
    EXPECT_EQ(content_of(folder / aside()[0]), content);
  }
}

INSTANTIATE_TEST_SUITE_P(What, Spoiling, testing::ValuesIn(kSpoilt),
                         [](const auto& each) { return each.param.name; });

TEST_F(StoreAside, IsNotDoneToAStore) {
  StoreLoop at(path);
  EXPECT_EQ(at.found("k"), "tree");
  EXPECT_THAT(at.reports, IsEmpty());
  EXPECT_THAT(aside(), IsEmpty());
}

TEST_F(StoreAside, IsNotDoneToAnEmptyFile) {
  std::filesystem::resize_file(path, 0);
  StoreLoop at(path);
  EXPECT_EQ(at.found("k"), "[ENOENT]");
  EXPECT_THAT(aside(), IsEmpty());
}

TEST_F(StoreAside, TakesWhatBelongsToTheDatabaseAlong) {
  // A database whose change is in its write-ahead log only, as a process that was killed leaves it.
  const FreshFolder left;
  {
    Database newer(path);
    newer.run("PRAGMA journal_mode = WAL; PRAGMA user_version = 2; CREATE TABLE late(a)");
    for (const char* const part : {"", "-wal", "-shm"}) {
      std::filesystem::copy_file(path + part, left / (std::string("store") + part));
    }
  }
  const StoreLoop at(left / "store");
  const std::vector<std::string> names = left.names("store.2");
  ASSERT_THAT(names, ElementsAre(testing::EndsWith("Z"), testing::EndsWith("Z-shm"),
                                 testing::EndsWith("Z-wal")));
  EXPECT_EQ(Database(left / names[0]).number("SELECT count(*) FROM late"), 0);
}

TEST_F(StoreAside, TakesEachFileOfTheDatabaseAlong) {
  make_folder(path);
  const std::vector<std::string> parts{"-journal", "-shm", "-wal"};
  for (const std::string& part : parts) std::ofstream(path + part) << part;
  const StoreLoop at(path);
  ASSERT_THAT(at.reports, SizeIs(1));
  const std::string name = folder / folder.names("store.2").front();
  for (const std::string& part : parts) EXPECT_EQ(content_of(name + part), part);
}

// The log of a store whose database is gone or empty.
class LogAlone : public StoreAside {
 protected:
  LogAlone() {
    StoreLoop at(path);
    at.save("k", "late");
    log = content_of(path + "-wal");
    std::filesystem::copy_file(path + "-wal", left / "store-wal");
  }

  const FreshFolder left;
  std::string log;
};

TEST_F(LogAlone, IsSetAsideAndReported) {
  for (const bool empty : {false, true}) {
    SCOPED_TRACE(empty);
    const FreshFolder fresh;
    std::filesystem::copy_file(left / "store-wal", fresh / "store-wal");
    if (empty) std::ofstream(fresh / "store");
    StoreLoop at(fresh / "store");
    ASSERT_THAT(at.reports, ElementsAre(HasSubstr("log")));
    EXPECT_EQ(content_of(fresh / fresh.names("store.2").back()), log);
    EXPECT_EQ(at.found("k"), "[ENOENT]");
  }
}

TEST_F(LogAlone, ThatIsEmptySaysNothing) {
  const FreshFolder fresh;
  std::ofstream(fresh / "store-wal");
  EXPECT_THAT(StoreLoop(fresh / "store").reports, IsEmpty());
}

TEST_F(StoreAside, IsReportedBeforeItIsDone) {
  write_text(path);
  bool there = false;
  const core::StoreDb db(path,
                         [&](const std::string&) { there = content_of(path).starts_with("xxx"); });
  EXPECT_TRUE(there);
}

TEST_F(StoreAside, TakesTheDatabaseFirstSoThatNoneIsLeftWithoutItsLog) {
  write_text(path);
  std::ofstream(path + "-wal") << "log";
  const auto stand_in_the_way = [](const std::string& report) {
    const std::size_t at = report.rfind("as /") + 3;
    std::filesystem::create_directory(report.substr(at, report.rfind(',') - at) + "-wal");
  };
  EXPECT_THROW(core::StoreDb(path, stand_in_the_way), std::system_error);
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_EQ(content_of(path + "-wal"), "log");
  StoreLoop at(path);
  EXPECT_THAT(at.reports, SizeIs(1));
  EXPECT_EQ(at.found("k"), "[ENOENT]");
}

TEST_F(StoreAside, FindsANameOfItsOwnEachTime) {
  for (int i = 0; i < 3; ++i) {
    write_text(path);
    const StoreLoop at(path);
  }
  EXPECT_THAT(aside(), SizeIs(3));
}

TEST_F(StoreAside, IsNotDoneWhileAnotherProgramUsesTheDatabase) {
  Database other(path);
  other.run("BEGIN EXCLUSIVE");
  EXPECT_THROW(StoreLoop{path}, std::system_error);
  EXPECT_THAT(aside(), IsEmpty());
}

TEST_F(StoreAside, IsNotDoneBecauseTheDiskFails) {
  struct Trouble {
    int code;
    std::errc error;
  };
  for (const Trouble& trouble : {Trouble{SQLITE_IOERR, std::errc::io_error},
                                 Trouble{SQLITE_NOMEM, std::errc::not_enough_memory}}) {
    disk.fail(StoreDisk::Operation::kRead, 1, trouble.code, StoreDisk::Extent::kAllFromThere);
    try {
      const StoreLoop at(path);
      ADD_FAILURE() << "opened";
    } catch (const std::system_error& error) {
      EXPECT_EQ(error.code(), trouble.error) << error.what();
    }
    disk.heal();
  }
  EXPECT_THAT(aside(), IsEmpty());
  EXPECT_EQ(StoreLoop(path).found("k"), "tree");
}

TEST_F(StoreAside, IsNotDoneBecauseTheDiskIsFull) {
  const FreshFolder empty;
  disk.fill_up_at(0);
  EXPECT_THROW(StoreLoop{empty / "store"}, std::system_error);
  EXPECT_THAT(empty.names(), ElementsAre("store"));
  disk.heal();
  EXPECT_EQ(StoreLoop(empty / "store").save("k", "tree"), VK_EOK);
}

}  // namespace
}  // namespace vesk::test
