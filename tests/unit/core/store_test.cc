#include "core/store.h"

#include <csignal>
#include <ctime>
#include <future>
#include <string>
#include <vector>

#include "tests/unit/core/store_disk.h"
#include "tests/unit/core/store_fixture.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class Store : public testing::Test {
 protected:
  void reopen() {
    opened.reset();
    opened.emplace(path);
  }
  StoreLoop& at() { return *opened; }

  FreshFolder folder;
  const StoreDisk disk;
  const std::string path = folder / "store";
  std::optional<StoreLoop> opened{std::in_place, path};
};

TEST_F(Store, GivesBackWhatWasSaved) {
  EXPECT_EQ(at().save("a.b", "tree"), VK_EOK);
  EXPECT_EQ(at().found("a.b"), "tree");
}

TEST_F(Store, KeepsWhatWasSavedAfterItsEnd) {
  at().save("a.b", "tree");
  reopen();
  EXPECT_EQ(at().found("a.b"), "tree");
  EXPECT_THAT(at().reports, IsEmpty());
}

TEST_F(Store, ReplacesATree) {
  at().save("a", "the first");
  EXPECT_EQ(at().save("a", "2nd"), VK_EOK);
  EXPECT_EQ(at().found("a"), "2nd");
}

TEST_F(Store, TellsKeysApartByEachOfTheirBytes) {
  const std::vector<std::string> keys{"a", "a.b", "a.B", "a b", "a.b ", "a.\xFF", "a.\xFE", "a%"};
  for (const std::string& key : keys) at().save(key, "under " + key);
  for (const std::string& key : keys) EXPECT_EQ(at().found(key), "under " + key);
}

TEST_F(Store, HasNoTreeUnderAnAbsentKey) {
  at().save("a.b", "tree");
  EXPECT_EQ(at().found("a"), "[ENOENT]");
  EXPECT_EQ(at().found("a.b.c"), "[ENOENT]");
}

TEST_F(Store, RemovesATree) {
  at().save("a", "tree");
  at().save("a.b", "other");
  EXPECT_EQ(at().await(at().store->remove("a")), VK_EOK);
  EXPECT_EQ(at().found("a"), "[ENOENT]");
  EXPECT_EQ(at().found("a.b"), "other");
}

TEST_F(Store, CannotRemoveAnAbsentKey) {
  at().save("a.b", "tree");
  EXPECT_EQ(at().await(at().store->remove("a")), VK_ENOENT);
}

TEST_F(Store, DoesNotBringARemovedTreeBackAfterItsEnd) {
  at().save("a", "tree");
  at().await(at().store->remove("a"));
  reopen();
  EXPECT_EQ(at().found("a"), "[ENOENT]");
}

TEST_F(Store, ErasesEverything) {
  at().save("a", "tree");
  at().save("veskd.b", "other");
  EXPECT_EQ(at().await(at().store->erase()), VK_EOK);
  EXPECT_EQ(at().found("a"), "[ENOENT]");
  EXPECT_EQ(at().found("veskd.b"), "[ENOENT]");
}

TEST_F(Store, LeavesNoTraceOfWhatWasErased) {
  at().save("a", "secret" + std::string(100'000, 'x') + "secret");
  ASSERT_THAT(content_of(path + "-wal"), testing::HasSubstr("secret"));
  at().await(at().store->erase());
  for (const std::string& name : folder.names()) {
    EXPECT_THAT(content_of(folder / name), testing::Not(testing::HasSubstr("secret"))) << name;
  }
}

TEST_F(Store, SavesAgainAfterErasing) {
  at().await(at().store->erase());
  EXPECT_EQ(at().save("a", "tree"), VK_EOK);
  EXPECT_EQ(at().found("a"), "tree");
}

TEST_F(Store, RefusesAnEmptyKey) {
  EXPECT_EQ(at().save("", "tree"), VK_EINVAL);
  EXPECT_EQ(at().load("").status, VK_EINVAL);
  EXPECT_EQ(at().await(at().store->remove("")), VK_EINVAL);
}

TEST_F(Store, KeepsATreeOfNoBytes) {
  EXPECT_EQ(at().save("empty", ""), VK_EOK);
  EXPECT_EQ(at().await(at().store->save("null", nullptr)), VK_EOK);
  EXPECT_EQ(at().found("empty"), "");
  EXPECT_EQ(at().found("null"), "");
}

TEST_F(Store, KeepsEveryByteOfALargeTree) {
  std::string text;
  while (text.size() < 1'000'000) text += static_cast<char>(text.size() * 31 / 7);
  at().save("a", text);
  EXPECT_EQ(at().found("a"), text);
}

TEST_F(Store, IsBusyOnceItIsClosed) {
  at().close();
  EXPECT_EQ(at().save("a", "tree"), VK_EBUSY);
  EXPECT_EQ(at().load("a").status, VK_EBUSY);
  EXPECT_EQ(at().await(at().store->remove("a")), VK_EBUSY);
  EXPECT_EQ(at().await(at().store->erase()), VK_EBUSY);
}

TEST_F(Store, ClosesTwice) {
  auto first = at().start(at().store->close());
  auto second = at().start(at().store->close());
  at().run();
  EXPECT_TRUE(is_there(first) && is_there(second));
}

TEST_F(Store, LeavesNothingButItselfBehindWhenItIsClosed) {
  at().save("a", "tree");
  at().close();
  EXPECT_THAT(folder.names(), ElementsAre("store"));
}

TEST_F(Store, FinishesWhatIsInFlightAtItsEnd) {
  std::vector<std::future<uint32_t>> saves;
  for (int i = 0; i < 20; ++i) {
    saves.push_back(at().start(at().store->save("k" + std::to_string(i), tree("tree"))));
  }
  at().store.reset();
  at().run();
  for (auto& save : saves) EXPECT_EQ(save.get(), VK_EOK);
  reopen();
  for (int i = 0; i < 20; ++i) EXPECT_EQ(at().found("k" + std::to_string(i)), "tree");
}

TEST_F(Store, LeavesSignalsToTheOtherThreads) {
  sigset_t one;
  sigset_t before;
  sigemptyset(&one);
  sigaddset(&one, SIGUSR1);
  pthread_sigmask(SIG_BLOCK, &one, &before);
  kill(getpid(), SIGUSR1);
  at().save("a", "tree");
  const timespec no_time{};
  EXPECT_EQ(sigtimedwait(&one, nullptr, &no_time), SIGUSR1);
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

TEST_F(Store, LeavesTheSignalsOfItsMakerAsTheyWere) {
  sigset_t now;
  pthread_sigmask(SIG_SETMASK, nullptr, &now);
  EXPECT_EQ(sigismember(&now, SIGUSR1), 0);
}

}  // namespace
}  // namespace vesk::test
