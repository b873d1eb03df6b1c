#include "core/manager_kept.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "core/manager_faults.h"
#include "tests/support/log_spy.h"
#include "tests/support/manager_bench.h"

namespace vesk::test {
namespace {

// What the manager keeps, and the record of it that may be late, lost or refused.

using core::dm::Kept;
using testing::SizeIs;

class ManagerKept : public testing::Test {
 protected:
  using Pending = std::shared_ptr<std::optional<uint32_t>>;

  // A status; that of a refusal if one is thrown.
  static asio::awaitable<void> fulfil(Pending pending, asio::awaitable<uint32_t> work) {
    try {
      const uint32_t status = co_await std::move(work);
      *pending = status;
    } catch (const core::dm::Refusal& refusal) {
      *pending = refusal.answer({}).status;
    }
  }

  static asio::awaitable<uint32_t> loading(Kept& kept) {
    co_await kept.load();
    co_return VK_EOK;
  }

  Pending begin(asio::awaitable<uint32_t> work) {
    auto pending = std::make_shared<std::optional<uint32_t>>();
    asio::co_spawn(loop, fulfil(pending, std::move(work)), asio::detached);
    run();
    return pending;
  }
  void run() {
    loop.restart();
    loop.poll();
  }
  uint32_t load() { return begin(loading(kept))->value(); }
  uint32_t save() { return begin(kept.save())->value(); }

  Tree saved_key() const { return records.trees.at("veskd.manager").items.at(0); }
  static Tree key(const std::string& value) {
    return object({{"ParameterKey", text(value)}}).items[0];
  }

  asio::io_context loop;
  MemoryRecords records{loop};
  Kept kept{records};
};

TEST_F(ManagerKept, IsReadAgainUntilThatSucceeds) {
  load();
  kept.set_parameter_key("k");
  save();
  Kept next(records);
  records.load_status = VK_EBUSY;
  EXPECT_EQ(*begin(loading(next)), VK_EBUSY);
  EXPECT_EQ(*begin(loading(next)), VK_EBUSY);
  records.load_status = VK_EOK;
  EXPECT_EQ(*begin(loading(next)), VK_EOK);
  EXPECT_EQ(next.parameter_key(), "k");
}

TEST_F(ManagerKept, IsNotSavedOverARecordThatNobodyHasRead) {
  records.load_status = VK_EBUSY;
  load();
  kept.set_parameter_key("k");
  EXPECT_EQ(save(), VK_EBUSY);
  EXPECT_EQ(records.saves, 0);
}

TEST_F(ManagerKept, BeginsAnewInPlaceOfARecordThatIsNoTree) {
  const LogSpy log;
  const core::Bytes whole = bytes_of(object({{"ParameterKey", text("old")}}));
  core::Bytes longer = whole;
  longer.resize(whole.size() + 1);
  for (const core::Bytes& damage :
       {core::Bytes(whole.begin(), whole.end() - 1), longer, core::Bytes(8, std::byte{0xFF})}) {
    records.damage = damage;
    Kept fresh(records);
    EXPECT_EQ(*begin(loading(fresh)), VK_EOK);
    EXPECT_EQ(fresh.parameter_key(), "");
  }
  EXPECT_THAT(log.lines(), SizeIs(3));
}

TEST_F(ManagerKept, IsSavedOnlyOnceItsOwnOrALaterSaveIs) {
  load();
  records.halt();
  kept.set_parameter_key("k");
  const Pending first = begin(kept.save());
  const Pending second = begin(kept.save());
  EXPECT_FALSE(second->has_value());
  records.save_status = VK_EIO;
  records.go_on();
  run();
  EXPECT_EQ(*first, VK_EIO);
  EXPECT_EQ(*second, VK_EIO);
  records.save_status = VK_EOK;
  EXPECT_EQ(save(), VK_EOK);
  EXPECT_EQ(saved_key(), key("k"));
}

TEST_F(ManagerKept, StaysForgottenThoughItWasBeingRead) {
  load();
  kept.set_parameter_key("old");
  save();
  Kept next(records);
  records.halt();
  const Pending reading = begin(loading(next));
  next.forget();
  records.go_on();
  run();
  EXPECT_EQ(*reading, VK_EOK);
  EXPECT_EQ(next.parameter_key(), "");
}

TEST_F(ManagerKept, StaysForgottenThoughItWasBeingSaved) {
  load();
  records.halt();
  kept.set_parameter_key("old");
  const Pending saving = begin(kept.save());
  kept.forget();
  records.go_on();
  run();
  EXPECT_EQ(*saving, VK_EOK);
  EXPECT_EQ(saved_key(), key(""));
}

}  // namespace
}  // namespace vesk::test
