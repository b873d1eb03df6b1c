#include "core/manager_kept.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
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

  static core::dm::Leaf leaf(const std::string& value) {
    const core::Bytes bytes = bytes_of(text(value));
    return {bytes.begin(), bytes.end()};
  }

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

TEST_F(ManagerKept, HasRoomForSoManyValues) {
  load();
  for (std::size_t at = 0; at != core::dm::Told::kMostValues; ++at) {
    kept.tell("T" + std::to_string(at), {});
  }
  kept.tell("More", {});
  EXPECT_EQ(kept.told("More"), nullptr);
  kept.tell("T0", core::dm::Leaf(4));
  EXPECT_EQ(kept.told("T0")->size(), 4U);
  kept.forget_told("T1", [](const auto&) { return true; });
  kept.tell("More", {});
  EXPECT_NE(kept.told("More"), nullptr);
}

// What a value takes is given back with it, however it goes.
TEST_F(ManagerKept, HasRoomForSoManyBytes) {
  load();
  const core::dm::Leaf large = leaf(std::string(core::dm::Told::kMostBytes * 2 / 3, 'x'));
  const auto fits = [&](const std::string& name) {
    kept.tell(name, large);
    return kept.told(name) != nullptr;
  };
  EXPECT_TRUE(fits("A.B"));
  EXPECT_FALSE(fits("C"));
  kept.erase("A.");
  const Kept::State before = kept.state();
  EXPECT_TRUE(fits("C"));
  const Kept::State after = kept.state();
  kept.take_back(before, &after);
  EXPECT_TRUE(fits("D"));
  kept.tell("D", leaf("short"));
  EXPECT_TRUE(fits("E"));
  EXPECT_EQ(save(), VK_EOK);
  EXPECT_LT(bytes_of(records.trees.at("veskd.manager")).size(), core::dm::Told::kMostBytes);
}

}  // namespace
}  // namespace vesk::test
