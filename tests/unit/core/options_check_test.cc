#include "core/options_check.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <fstream>

#include "core/store_db.h"
#include "tests/unit/core/core_fixture.h"

namespace vesk::test {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

class TheCheck : public testing::Test {
 protected:
  TheCheck() {
    options_.socket = folder_.path("s");
    options_.store = folder_.path("store.db");
  }

  std::vector<std::string> found() const { return core::obstacles(options_); }

  void write(const std::string& name, const std::string& content) {
    std::ofstream(folder_.path(name)) << content;
  }

  const TemporaryFolder folder_;
  core::Options options_;
};

TEST_F(TheCheck, FindsNothingInTheWayOfTheDefaultLimits) { EXPECT_THAT(found(), IsEmpty()); }

TEST_F(TheCheck, NamesTheSocketsFolderIfThereIsNone) {
  options_.socket = folder_.path("none/s");
  EXPECT_THAT(found(),
              ElementsAre("--socket: " + folder_.path("none") + ": No such file or directory"));
}

TEST_F(TheCheck, NamesTheSocketsFolderIfItIsAFile) {
  write("file", "");
  options_.socket = folder_.path("file/s");
  EXPECT_THAT(found(), ElementsAre("--socket: " + folder_.path("file") + ": Not a directory"));
}

TEST_F(TheCheck, NamesASocketThatIsAFolder) {
  ASSERT_EQ(mkdir(folder_.path("s").c_str(), 0700), 0);
  EXPECT_THAT(found(), ElementsAre("--socket: " + folder_.path("s") + ": Is a directory"));
}

// The socket comes into being in a folder beside its place.
TEST_F(TheCheck, NamesASocketWhosePathIsTooLong) {
  const std::string folder = folder_.path(std::string(97 - folder_.path("").size(), 'f'));
  ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
  options_.socket = folder + "/s";
  EXPECT_THAT(found(), ElementsAre("--socket: " + options_.socket + ": File name too long"));
  EXPECT_THROW(core::SocketFile(options_.socket, {}), std::system_error);
}

TEST_F(TheCheck, TakesASocketWhosePathJustFits) {
  const std::string folder = folder_.path(std::string(96 - folder_.path("").size(), 'f'));
  ASSERT_EQ(mkdir(folder.c_str(), 0700), 0);
  options_.socket = folder + "/s";
  EXPECT_THAT(found(), IsEmpty());
  EXPECT_NO_THROW(core::SocketFile(options_.socket, {}));
  options_.socket = folder_.path(std::string(107 - folder_.path("").size(), 's'));
  EXPECT_THAT(found(), IsEmpty());
  EXPECT_NO_THROW(core::SocketFile(options_.socket, {}));
}

TEST_F(TheCheck, TakesStoresInFoldersThatAreStillToBeMade) {
  options_.store = folder_.path("a/b/store.db");
  EXPECT_THAT(found(), IsEmpty());
}

TEST_F(TheCheck, NamesAFileInThePlaceOfTheStoresFolder) {
  write("file", "");
  options_.store = folder_.path("file/a/store.db");
  EXPECT_THAT(found(), ElementsAre(AllOf(StartsWith("--store: " + folder_.path("file")),
                                         HasSubstr("Not a directory"))));
}

TEST_F(TheCheck, NamesPlacesWhereNobodyCanMakeAFile) {
  options_.store = "/proc/x/y";
  options_.socket = "/proc/s";
  EXPECT_THAT(found(), ElementsAre("--socket: /proc: Not a place for files",
                                   "--store: /proc: Not a place for files"));
  EXPECT_THROW(core::StoreDb(options_.store, [](const std::string&) {}), std::system_error);
  EXPECT_THROW(core::SocketFile(options_.socket, {}), std::system_error);
}

TEST_F(TheCheck, NamesAStoreThatIsAFolder) {
  ASSERT_EQ(mkdir(options_.store.c_str(), 0700), 0);
  EXPECT_THAT(found(), ElementsAre("--store: " + options_.store + ": Is a directory"));
}

TEST_F(TheCheck, NamesAStoreThatCanOnlyBeAFolder) {
  options_.store = folder_.path("new/");
  EXPECT_THAT(found(), ElementsAre("--store: " + options_.store + ": Is a directory"));
}

TEST_F(TheCheck, NamesAStoreThatIsAnotherKindOfFile) {
  ASSERT_EQ(mkfifo(options_.store.c_str(), 0600), 0);
  EXPECT_THAT(found(), ElementsAre("--store: " + options_.store + ": Not a file"));
}

TEST_F(TheCheck, NamesAStoreThatIsNoDatabase) {
  write("store.db", "something else");
  EXPECT_THAT(found(), ElementsAre("--store: " + options_.store + ": Not a store"));
}

TEST_F(TheCheck, TakesAStoreThatIsInUse) {
  const core::StoreDb store(options_.store, [](const std::string&) {});
  EXPECT_THAT(found(), IsEmpty());
}

TEST_F(TheCheck, NamesEachLimitThatIsTooSmall) {
  core::Settings& settings = options_.settings;
  settings.message = {1, 1, 1, 1, 1, 1, 1, 1};
  std::vector<std::string> names;
  for (const std::string& obstacle : found())
    names.push_back(obstacle.substr(0, obstacle.find(':')));
  EXPECT_THAT(names, ElementsAre("--max-message", "--max-depth", "--max-nodes", "--max-members",
                                 "--max-pairs", "--max-text", "--max-path", "--max-name"));
}

TEST_F(TheCheck, NamesBuffersThatDoNotHoldAMessage) {
  options_.settings.message.message = 4096;
  options_.settings.buffers = 4096;
  EXPECT_THAT(found(), IsEmpty());
  options_.settings.buffers = 4095;
  EXPECT_THAT(found(), ElementsAre("--max-buffers: 4095 is less than 4096, which a message may "
                                   "have"));
}

TEST_F(TheCheck, NamesAChainThatIsTooShortForAModuleToSave) {
  options_.settings.chain = 2;
  EXPECT_THAT(
      found(),
      ElementsAre("--max-chain: 2 is less than 3, which a request that changes something may "
                  "need"));
  options_.settings.chain = 3;
  EXPECT_THAT(found(), IsEmpty());
}

TEST_F(TheCheck, NamesLinesThatAreTooFewForAModuleAndItsClient) {
  options_.settings.lines = 3;
  EXPECT_THAT(found(),
              ElementsAre("--max-lines: 3 is less than 4, which a client and a module need"));
  options_.settings.lines = 4;
  EXPECT_THAT(found(), IsEmpty());
}

TEST_F(TheCheck, NamesLinesBeyondTheDescriptorsThatThereAre) {
  options_.settings.lines = UINT32_MAX;
  EXPECT_THAT(found(), ElementsAre(HasSubstr("--max-lines: 4294967327 descriptors are more")));
}

// What it finds where it may not write; root is another user for that.
std::string found_without_rights(const core::Options& options) {
  std::array<int, 2> ends = {};
  EXPECT_EQ(pipe(ends.data()), 0);
  const core::Descriptor read_end(ends[0]);
  core::Descriptor write_end(ends[1]);
  const pid_t child = fork();
  if (child == 0) {
    if (geteuid() == 0 && setresuid(1, 1, 1) != 0) _exit(1);
    std::string text;
    for (const std::string& obstacle : core::obstacles(options)) text += obstacle + '\n';
    _exit(write(write_end.get(), text.data(), text.size()) == static_cast<ssize_t>(text.size())
              ? 0
              : 1);
  }
  write_end = core::Descriptor();
  std::array<char, 4096> text = {};
  const ssize_t size = read(read_end.get(), text.data(), text.size());
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  return {text.data(), size < 0 ? 0 : static_cast<std::size_t>(size)};
}

TEST_F(TheCheck, NamesFoldersInWhichNothingCanBeMade) {
  options_.store = folder_.path("new/store.db");
  ASSERT_EQ(chmod(folder_.path("").c_str(), 0555), 0);
  const std::string found = found_without_rights(options_);
  ASSERT_EQ(chmod(folder_.path("").c_str(), 0755), 0);
  EXPECT_THAT(found, HasSubstr("--socket: "));
  EXPECT_THAT(found, HasSubstr("--store: "));
  EXPECT_THAT(found, HasSubstr("Permission denied"));
}

}  // namespace
}  // namespace vesk::test
