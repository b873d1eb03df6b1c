#include "core/socket_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <system_error>

#include "tests/unit/core/core_fixture.h"

namespace vesk::test {
namespace {

using core::SocketFile;

mode_t mode_of(const std::string& path) {
  struct stat file = {};
  EXPECT_EQ(lstat(path.c_str(), &file), 0);
  return file.st_mode;
}

std::ptrdiff_t entries_in(const std::string& folder) {
  return std::distance(std::filesystem::directory_iterator(folder), {});
}

TEST(ASocketFile, IsForItsUserAloneWhateverTheUmask) {
  const TemporaryFolder folder;
  const mode_t before = umask(0);
  const SocketFile file(folder.path("s"), {});
  umask(before);
  EXPECT_EQ(mode_of(folder.path("s")), mode_t{S_IFSOCK | 0600});
}

TEST(ASocketFile, IsOpenedToAGroupOrToAllWhereThatIsAllowed) {
  const TemporaryFolder folder;
  const SocketFile group(folder.path("g"), {.users = {}, .group = getegid()});
  const SocketFile users(folder.path("u"), {.users = {1}, .group = {}});
  EXPECT_EQ(mode_of(folder.path("g")), mode_t{S_IFSOCK | 0660});
  EXPECT_EQ(mode_of(folder.path("u")), mode_t{S_IFSOCK | 0666});
}

TEST(ASocketFile, AnswersAtItsPath) {
  const TemporaryFolder folder;
  EXPECT_FALSE(core::is_answered(folder.path("s")));
  const SocketFile file(folder.path("s"), {});
  EXPECT_TRUE(core::is_answered(folder.path("s")));
}

TEST(ASocketFile, LeavesNothingElseBeside) {
  const TemporaryFolder folder;
  {
    const SocketFile file(folder.path("s"), {});
    EXPECT_EQ(entries_in(folder.path("")), 1);
  }
  EXPECT_EQ(entries_in(folder.path("")), 0);
}

TEST(ASocketFile, ReplacesALeftOver) {
  const TemporaryFolder folder;
  auto dead = std::make_unique<SocketFile>(folder.path("s"), core::Access{});
  std::filesystem::create_hard_link(folder.path("s"), folder.path("kept"));
  dead.reset();
  std::filesystem::rename(folder.path("kept"), folder.path("s"));
  EXPECT_FALSE(core::is_answered(folder.path("s")));
  const SocketFile file(folder.path("s"), {});
  EXPECT_TRUE(core::is_answered(folder.path("s")));
}

TEST(ASocketFile, ReplacesALinkAndDoesNotFollowIt) {
  const TemporaryFolder folder;
  std::ofstream(folder.path("precious")) << "text";
  std::filesystem::create_symlink(folder.path("precious"), folder.path("s"));
  const SocketFile file(folder.path("s"), {});
  EXPECT_EQ(mode_of(folder.path("s")) & S_IFMT, mode_t{S_IFSOCK});
  EXPECT_EQ(std::filesystem::file_size(folder.path("precious")), 4U);
}

TEST(ASocketFile, IsRemovedOnlyWhileItIsStillTheSame) {
  const TemporaryFolder folder;
  auto first = std::make_unique<SocketFile>(folder.path("s"), core::Access{});
  first->take();  // and closes it
  const SocketFile second(folder.path("s"), {});
  first.reset();
  EXPECT_TRUE(core::is_answered(folder.path("s")));
}

TEST(ASocketFile, DoesNotTakeThePathOfOneThatAnswers) {
  const TemporaryFolder folder;
  const SocketFile first(folder.path("s"), {});
  try {
    const SocketFile second(folder.path("s"), {});
    ADD_FAILURE() << "there are two";
  } catch (const std::system_error& error) {
    EXPECT_EQ(error.code(), std::errc::address_in_use);
  }
  EXPECT_TRUE(core::is_answered(folder.path("s")));
  EXPECT_EQ(entries_in(folder.path("")), 1);
}

TEST(ASocketFile, RefusesAPathThatNoClientCouldName) {
  const TemporaryFolder folder;
  EXPECT_THROW(SocketFile(folder.path(std::string(108, 's')), {}), std::system_error);
  EXPECT_EQ(entries_in(folder.path("")), 0);
}

TEST(ASocketFile, RefusesThePathOfAFolder) {
  const TemporaryFolder folder;
  for (const std::string& path : {folder.path(""), folder.path("."), folder.path("..")}) {
    try {
      const SocketFile file(path, {});
      ADD_FAILURE() << path;
    } catch (const std::system_error& error) {
      EXPECT_EQ(error.code(), std::errc::is_a_directory) << path;
    }
  }
}

TEST(ASocketFile, RefusesAFolderThatIsNotThere) {
  const TemporaryFolder folder;
  EXPECT_THROW(SocketFile(folder.path("no/s"), {}), std::system_error);
}

// Runs in a process of its own, since descriptor 3 and the environment are the process's.
int in_a_child(const std::function<bool()>& holds) {
  const pid_t child = fork();
  if (child == 0) _exit(holds() ? 0 : 1);
  int status = -1;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  return status;
}

struct HandedOver {
  const char* name;
  std::string process;  // empty for the child's own
  const char* count;
  bool listening;
  bool taken;
};

TEST(HandedOver, IsTakenOnlyIfItIsForThisProcessAndListens) {
  const std::vector<HandedOver> cases = {{"as it should be", "", "1", true, true},
                                         {"for another process", "1", "1", true, false},
                                         {"none", "", "0", true, false},
                                         {"does not listen", "", "1", false, false}};
  for (const HandedOver& row : cases) {
    const TemporaryFolder folder;
    SocketFile file(folder.path("s"), {});
    core::Descriptor listener = file.take();
    EXPECT_EQ(in_a_child([&] {
                const core::Descriptor other(socket(AF_UNIX, SOCK_STREAM, 0));
                dup2(row.listening ? listener.get() : other.get(), 3);
                const std::string own = std::to_string(getpid());
                setenv("LISTEN_PID", row.process.empty() ? own.c_str() : row.process.c_str(), 1);
                setenv("LISTEN_FDS", row.count, 1);
                const core::Descriptor taken = core::handed_over();
                return static_cast<bool>(taken) == row.taken &&
                       std::getenv("LISTEN_FDS") == nullptr &&
                       (!row.taken || (fcntl(taken.get(), F_GETFD) & FD_CLOEXEC) != 0);
              }),
              0)
        << row.name;
  }
}

}  // namespace
}  // namespace vesk::test
