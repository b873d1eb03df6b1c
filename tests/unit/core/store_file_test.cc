#include <fcntl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <system_error>
#include <utility>

#include "core/descriptor.h"
#include "core/store_file.h"
#include "tests/unit/core/store_fixture.h"

extern "C" int __real_flock(int file, int operation);
extern "C" int __wrap_flock(int file, int operation);

namespace vesk::test {
namespace {

std::function<void()> before_locking;  // called once, between the opening and the locking of a file

using testing::ElementsAre;
using testing::IsEmpty;

mode_t mode_of(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

// The error that opening a store ends with.
std::error_code refusal(const std::string& path) {
  try {
    const StoreLoop opened(path);
  } catch (const std::system_error& error) {
    return error.code();
  }
  return {};
}

// The same in another process.
bool another_process_is_refused(const std::string& path) {
  const pid_t child = fork();
  if (child == 0) _exit(refusal(path) == std::errc::device_or_resource_busy ? 0 : 1);
  int status = -1;
  waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

class StoreFile : public testing::Test {
 protected:
  FreshFolder folder;
  const std::string path = folder / "store";
};

TEST_F(StoreFile, IsItsUsersOnlyWhateverTheMask) {
  const mode_t before = umask(0);
  StoreLoop at(path);
  umask(before);
  at.save("k", "tree");
  EXPECT_EQ(mode_of(path), 0600U);
  EXPECT_EQ(mode_of(path + "-wal"), 0600U);
  EXPECT_EQ(mode_of(path + ".lock"), 0600U);
}

TEST_F(StoreFile, BecomesItsUsersOnly) {
  { const StoreLoop at(path); }
  chmod(path.c_str(), 0644);
  const StoreLoop at(path);
  EXPECT_EQ(mode_of(path), 0600U);
}

TEST_F(StoreFile, HasItsMissingFoldersMadeForItsUserOnly) {
  const mode_t before = umask(0);
  StoreLoop at(folder / "a/b/store");
  umask(before);
  EXPECT_EQ(at.save("k", "tree"), VK_EOK);
  EXPECT_EQ(mode_of(folder / "a"), 0700U);
  EXPECT_EQ(mode_of(folder / "a/b"), 0700U);
}

TEST_F(StoreFile, LeavesTheModeOfAFolderThatIsThere) {
  chmod(folder.path().c_str(), 0755);
  const StoreLoop at(path);
  EXPECT_EQ(mode_of(folder.path()), 0755U);
}

TEST_F(StoreFile, CannotHaveAFileForAFolder) {
  { const StoreLoop at(path); }
  EXPECT_EQ(refusal(path + "/store"), std::errc::not_a_directory);
}

TEST_F(StoreFile, DoesNotTakeThePlaceOfAFolderThatIsInUse) {
  std::filesystem::create_directories(folder / "used/by");
  EXPECT_EQ(refusal(folder / "used"), std::errc::is_a_directory);
  EXPECT_EQ(refusal(folder / "used/by/.."), std::errc::is_a_directory);
  EXPECT_EQ(refusal(folder / "new/"), std::errc::is_a_directory);
  EXPECT_THAT(folder.names(), ElementsAre("used"));
}

TEST_F(StoreFile, DoesNotTakeThePlaceOfADevice) {
  // A terminal of its own, in a folder in which nothing can be renamed.
  const core::Descriptor terminal(posix_openpt(O_RDWR | O_NOCTTY));
  ASSERT_TRUE(terminal);
  ASSERT_EQ(grantpt(terminal.get()) + unlockpt(terminal.get()), 0);
  EXPECT_EQ(refusal(ptsname(terminal.get())), std::errc::invalid_argument);
}

TEST_F(StoreFile, MayBeNamedFromTheCurrentFolder) {
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.path());
  { const StoreLoop at("store"); }
  std::filesystem::current_path(before);
  EXPECT_THAT(folder.names(), ElementsAre("store"));
}

TEST_F(StoreFile, MayHaveANameThatMeansSomethingToSqlite) {
  { const StoreLoop at(folder / "file:store?mode=memory"); }
  EXPECT_THAT(folder.names("file"), ElementsAre("file:store?mode=memory"));
}

TEST_F(StoreFile, LiesWithAllThatBelongsToItWhereALinkPoints) {
  std::filesystem::create_directory(folder / "real");
  { const StoreLoop at(folder / "real/store"); }
  std::filesystem::create_symlink(folder / "real/store", path);
  StoreLoop at(path);
  at.save("k", "tree");
  EXPECT_THAT(folder.names("store"), ElementsAre("store"));
}

TEST_F(StoreFile, BelongsToOneStoreAtATime) {
  StoreLoop at(path);
  EXPECT_EQ(refusal(path), std::errc::device_or_resource_busy);
  EXPECT_TRUE(another_process_is_refused(path));
  EXPECT_EQ(at.save("k", "tree"), VK_EOK);
}

TEST_F(StoreFile, BelongsToOneStoreByWhicheverName) {
  const StoreLoop at(path);
  std::filesystem::create_symlink(path, folder / "link");
  EXPECT_EQ(refusal(folder / "link"), std::errc::device_or_resource_busy);
}

TEST_F(StoreFile, IsGivenBackWhenItsStoreIsClosed) {
  StoreLoop at(path);
  at.save("k", "tree");
  at.close();
  StoreLoop next(path);
  EXPECT_EQ(next.found("k"), "tree");
}

TEST_F(StoreFile, TakesOverTheLockFileThatACrashLeftBehind) {
  std::ofstream(path + ".lock");
  { const StoreLoop at(path); }
  EXPECT_THAT(folder.names(), ElementsAre("store"));
}

class StoreLock : public StoreFile {
 protected:
  ~StoreLock() override { before_locking = nullptr; }

  std::unique_ptr<core::StoreLock> take() { return std::make_unique<core::StoreLock>(path); }

  std::unique_ptr<core::StoreLock> first = take();
};

TEST_F(StoreLock, IsNotTakenOnAFileThatItsHolderRemoved) {
  before_locking = [&] { first.reset(); };
  const auto second = take();
  EXPECT_THAT(folder.names(), ElementsAre("store.lock"));
  EXPECT_EQ(refusal(path), std::errc::device_or_resource_busy);
}

TEST_F(StoreLock, IsNotTakenBesideOneWhoCameFirstToANewFile) {
  std::unique_ptr<core::StoreLock> second;
  before_locking = [&] {
    first.reset();
    second = take();
  };
  EXPECT_EQ(refusal(path), std::errc::device_or_resource_busy);
}

TEST_F(StoreLock, LeavesNoFileBehind) {
  first.reset();
  EXPECT_THAT(folder.names(), IsEmpty());
}

TEST_F(StoreLock, OfAnotherInItsPlaceStays) {
  std::filesystem::remove(path + ".lock");
  const auto second = take();
  first.reset();
  EXPECT_THAT(folder.names(), ElementsAre("store.lock"));
}

TEST_F(StoreFile, IsHeldThoughTheDatabaseIsTakenAway) {
  const StoreLoop at(path);
  std::filesystem::remove(path);
  EXPECT_EQ(refusal(path), std::errc::device_or_resource_busy);
}

TEST_F(StoreFile, IsNotTouchedByAStoreThatWasRefused) {
  StoreLoop at(path);
  at.save("k", "tree");
  const std::vector<std::string> names = folder.names();
  const std::string content = content_of(path + "-wal");
  refusal(path);
  EXPECT_EQ(folder.names(), names);
  EXPECT_EQ(content_of(path + "-wal"), content);
}

TEST_F(StoreFile, IsNotInheritedByOtherPrograms) {
  const StoreLoop at(path);
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code gone;
    const std::string target = std::filesystem::read_symlink(entry.path(), gone).string();
    if (!target.starts_with(path)) continue;
    const int fd = std::stoi(entry.path().filename().string());
    EXPECT_NE(fcntl(fd, F_GETFD) & FD_CLOEXEC, 0) << target;
  }
}

}  // namespace
}  // namespace vesk::test

int __wrap_flock(int file, int operation) {
  if (vesk::test::before_locking) std::exchange(vesk::test::before_locking, nullptr)();
  return __real_flock(file, operation);
}
