#include <asio/bind_cancellation_slot.hpp>
#include <asio/cancellation_signal.hpp>
#include <future>
#include <optional>
#include <string>
#include <vector>

#include "tests/unit/core/store_disk.h"
#include "tests/unit/core/store_fixture.h"

namespace vesk::test {
namespace {

// When changes are committed and answered. The disk halts in the middle of a commit, and what is
// asked for meanwhile waits.

class StoreCommit : public testing::Test {
 protected:
  // A save that hangs on the disk.
  std::future<uint32_t> halted_save(const std::string& key, std::string_view text) {
    disk.halt();
    auto save = at.start(at.store->save(key, tree(text)));
    disk.wait_until_halted();
    return save;
  }

  FreshFolder folder;
  StoreDisk disk;
  StoreLoop at{folder / "store"};
};

TEST_F(StoreCommit, SyncsEachSaveThatComesAlone) {
  const std::size_t before = disk.log_syncs();
  for (int i = 0; i < 5; ++i) at.save("k", std::to_string(i));
  EXPECT_GE(disk.log_syncs() - before, 5U);
}

TEST_F(StoreCommit, SyncsNothingForLoads) {
  at.save("k", "tree");
  const std::size_t before = disk.log_syncs();
  at.load("k");
  at.load("absent");
  EXPECT_EQ(disk.log_syncs(), before);
}

TEST_F(StoreCommit, SharesOneCommitAmongTheSavesThatWait) {
  at.save("first", "tree");  // the log's header is synced by now
  auto first = halted_save("first", "again");
  const std::size_t before = disk.log_syncs();
  std::vector<std::future<uint32_t>> saves;
  for (int i = 0; i < 64; ++i) {
    saves.push_back(at.start(at.store->save("k" + std::to_string(i), tree("tree"))));
  }
  disk.go_on();
  at.run();
  EXPECT_EQ(first.get(), VK_EOK);
  for (auto& save : saves) EXPECT_EQ(save.get(), VK_EOK);
  EXPECT_EQ(disk.log_syncs() - before, 1U);
}

TEST_F(StoreCommit, AnswersASaveOnlyWhenItIsCommitted) {
  auto save = halted_save("k", "tree");
  at.loop.poll();
  EXPECT_FALSE(is_there(save));
  disk.go_on();
  at.run();
  EXPECT_EQ(save.get(), VK_EOK);
}

TEST_F(StoreCommit, KeepsTheLoopAliveUntilTheAnswer) {
  auto save = halted_save("k", "tree");
  at.loop.poll();
  EXPECT_FALSE(at.loop.stopped());
  disk.go_on();
  at.run();
}

TEST_F(StoreCommit, LoadsWhatASaveInFlightHasKept) {
  at.save("k", "before");
  auto save = halted_save("k", "after");
  auto load = at.start(at.store->load("k"));
  EXPECT_FALSE(is_there(load));
  disk.go_on();
  at.run();
  EXPECT_EQ(text_of(load.get().value), "after");
}

TEST_F(StoreCommit, AnswersInTheOrderOfAsking) {
  auto first = halted_save("other", "tree");
  auto absent = at.start(at.store->load("k"));
  auto save = at.start(at.store->save("k", tree("1")));
  auto one = at.start(at.store->load("k"));
  auto again = at.start(at.store->save("k", tree("2")));
  auto two = at.start(at.store->load("k"));
  auto remove = at.start(at.store->remove("k"));
  auto gone = at.start(at.store->load("k"));
  auto last = at.start(at.store->save("k", tree("3")));
  auto erase = at.start(at.store->erase());
  auto nothing = at.start(at.store->load("other"));
  disk.go_on();
  at.run();
  EXPECT_EQ(absent.get().status, VK_ENOENT);
  EXPECT_EQ(text_of(one.get().value), "1");
  EXPECT_EQ(text_of(two.get().value), "2");
  EXPECT_EQ(remove.get(), VK_EOK);
  EXPECT_EQ(gone.get().status, VK_ENOENT);
  EXPECT_EQ(erase.get(), VK_EOK);
  EXPECT_EQ(nothing.get().status, VK_ENOENT);
  EXPECT_EQ(at.found("k"), "[ENOENT]");
}

TEST_F(StoreCommit, HoldsALoadBackUntilTheSaveBeforeItIsCommitted) {
  auto first = halted_save("other", "tree");
  auto save = at.start(at.store->save("k", tree("1")));
  auto load = at.start(at.store->load("k"));
  disk.halt();
  disk.go_on();
  disk.wait_until_halted();  // in the commit of the second save
  at.loop.poll();
  EXPECT_TRUE(is_there(first));
  EXPECT_FALSE(is_there(load));
  disk.go_on();
  at.run();
  EXPECT_EQ(text_of(load.get().value), "1");
}

TEST_F(StoreCommit, FinishesWhatWaitsBeforeItIsClosed) {
  auto first = halted_save("a", "1");
  auto second = at.start(at.store->save("b", tree("2")));
  auto load = at.start(at.store->load("b"));
  auto closed = at.start(at.store->close());
  EXPECT_EQ(at.start(at.store->save("c", tree("3"))).get(), VK_EBUSY);
  EXPECT_FALSE(is_there(closed));
  disk.go_on();
  at.run();
  EXPECT_TRUE(is_there(closed));
  EXPECT_EQ(first.get(), VK_EOK);
  EXPECT_EQ(second.get(), VK_EOK);
  EXPECT_EQ(text_of(load.get().value), "2");
}

TEST_F(StoreCommit, IsMadeThoughNobodyWaitsAnyMore) {
  asio::cancellation_signal give_up;
  std::exception_ptr thrown;
  disk.halt();
  asio::co_spawn(at.loop, at.store->save("k", tree("tree")),
                 asio::bind_cancellation_slot(
                     give_up.slot(), [&](std::exception_ptr error, uint32_t) { thrown = error; }));
  at.loop.poll();
  disk.wait_until_halted();
  give_up.emit(asio::cancellation_type::terminal);
  at.loop.poll();
  EXPECT_NE(thrown, nullptr);
  disk.go_on();
  at.run();
  EXPECT_EQ(at.found("k"), "tree");
}

TEST_F(StoreCommit, IsMadeThoughTheLoopEndsBeforeTheAnswer) {
  std::optional<StoreLoop> ending(std::in_place, folder / "ending");
  disk.halt();
  auto save = ending->start(ending->store->save("k", tree("tree")));
  disk.wait_until_halted();
  disk.go_on();
  ending.reset();
  EXPECT_THROW(save.get(), std::future_error);
  EXPECT_EQ(StoreLoop(folder / "ending").found("k"), "tree");
}

TEST_F(StoreCommit, KeepsWhatFitsThoughATreeAmongItDoesNot) {
  at.save("k", "before");
  auto first = halted_save("other", "tree");
  disk.fill_up_at(200'000);
  auto small = at.start(at.store->save("small", tree("tree")));
  auto large = at.start(at.store->save("k", tree(std::string(400'000, 'x'))));
  auto load = at.start(at.store->load("k"));
  auto fresh = at.start(at.store->save("fresh", tree(std::string(400'000, 'x'))));
  auto absent = at.start(at.store->load("fresh"));
  auto remove = at.start(at.store->remove("small"));
  disk.go_on();
  at.run();
  EXPECT_EQ(small.get(), VK_EOK);
  EXPECT_EQ(large.get(), VK_EIO);
  EXPECT_EQ(text_of(load.get().value), "before");
  EXPECT_EQ(fresh.get(), VK_EIO);
  const core::Answer answer = absent.get();
  EXPECT_EQ(answer.status, VK_ENOENT);
  EXPECT_TRUE(answer.value.empty());
  EXPECT_EQ(remove.get(), VK_EOK);
}

}  // namespace
}  // namespace vesk::test
