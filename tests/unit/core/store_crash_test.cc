#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <random>
#include <string>

#include "tests/unit/core/store_disk.h"
#include "tests/unit/core/store_fixture.h"

namespace vesk::test {
namespace {

// Processes that are killed and machines that lose power, at any moment: what was acknowledged is
// there afterwards, and the store opens.

using testing::IsEmpty;

constexpr uint32_t kKeys = 5;

std::string key(uint32_t number) { return "k" + std::to_string(number % kKeys); }

// Numbers of different sizes, so that some take several pages.
std::string text(uint32_t number) {
  return std::to_string(number) + "." + std::string(number % 7 * 1500, 'x');
}

uint32_t number_of(const std::string& text) {
  return static_cast<uint32_t>(std::stoul(text.substr(0, text.find('.'))));
}

asio::awaitable<void> save_for_ever(core::Store& store, uint32_t first, int acknowledged) {
  for (uint32_t number = first;; number += kKeys) {
    auto save = store.save(key(number), tree(text(number)));
    const uint32_t status = co_await std::move(save);
    if (status != VK_EOK) _exit(1);
    if (write(acknowledged, &number, sizeof(number)) != sizeof(number)) _exit(1);
  }
}

// A process that saves growing numbers, under each of the keys at once, and tells each that was
// acknowledged.
class Saver {
 public:
  Saver(const std::string& path, uint32_t first) {
    int ends[2];
    if (pipe(ends) != 0) throw std::runtime_error("no pipe");
    child_ = fork();
    if (child_ == 0) {
      ::close(ends[0]);
      run(path, first, ends[1]);
    }
    ::close(ends[1]);
    acknowledged_ = ends[0];
  }
  ~Saver() { ::close(acknowledged_); }
  Saver(const Saver&) = delete;
  Saver& operator=(const Saver&) = delete;

  /// The next number that was acknowledged; false at the end.
  bool next(uint32_t& number) {
    return read(acknowledged_, &number, sizeof(number)) == sizeof(number);
  }

  /// True if the process ran until then.
  bool kill() {
    ::kill(child_, SIGKILL);
    int status = 0;
    waitpid(child_, &status, 0);
    return WIFSIGNALED(status);
  }

 private:
  [[noreturn]] static void run(const std::string& path, uint32_t first, int acknowledged) {
    asio::io_context loop;
    core::Store store(loop, path, [](const std::string&) { _exit(1); });
    for (uint32_t i = 0; i < kKeys; ++i) {
      asio::co_spawn(loop, save_for_ever(store, first + i, acknowledged), asio::detached);
    }
    loop.run();
    _exit(1);
  }

  pid_t child_ = -1;
  int acknowledged_ = -1;
};

void expect_at_least(StoreLoop& at, const std::array<uint32_t, kKeys>& kept) {
  for (uint32_t i = 0; i < kKeys; ++i) {
    if (kept[i] == 0) continue;
    const std::string found = at.found(key(i));
    ASSERT_NE(found[0], '[') << found;
    EXPECT_GE(number_of(found), kept[i]);
    EXPECT_EQ(found, text(number_of(found)));
  }
}

TEST(StoreCrash, OfAProcessLosesNothingThatWasAcknowledged) {
  constexpr uint32_t kRounds = 60;
  const FreshFolder folder;
  std::mt19937 random(20);
  std::array<uint32_t, kKeys> kept{};
  uint32_t acknowledged = 0;
  for (uint32_t round = 0; round < kRounds; ++round) {
    Saver saver(folder / "store", kKeys * (1 + 1000 * round));
    const uint32_t until = static_cast<uint32_t>(random() % 40);
    uint32_t number = 0;
    for (uint32_t i = 0; i < until && saver.next(number); ++i) kept[number % kKeys] = number;
    usleep(static_cast<useconds_t>(random() % 3000));
    ASSERT_TRUE(saver.kill());
    while (saver.next(number)) kept[number % kKeys] = number;
    acknowledged += until;
    StoreLoop at(folder / "store");
    ASSERT_THAT(at.reports, IsEmpty());
    expect_at_least(at, kept);
    if (testing::Test::HasFailure()) return;
  }
  EXPECT_GT(acknowledged, kRounds);
}

TEST(StoreCrash, OfTheMachineLosesNothingThatWasAcknowledged) {
  const FreshFolder folder;
  StoreDisk disk;
  const FreshFolder synced;
  disk.keep_synced(synced.path());
  StoreLoop at(folder / "store");
  std::array<uint32_t, kKeys> kept{};
  for (uint32_t number = kKeys; number < 60; ++number) {
    ASSERT_EQ(at.save(key(number), text(number)), VK_EOK);
    kept[number % kKeys] = number;
    const FreshFolder after;
    std::filesystem::copy(synced.path(), after.path());
    disk.keep_synced("");
    StoreLoop next(after / "store");
    EXPECT_THAT(next.reports, IsEmpty());
    expect_at_least(next, kept);
    next.close();
    disk.keep_synced(synced.path());
  }
}

}  // namespace
}  // namespace vesk::test
