#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/channels.h"
#include "tests/support/heaps.h"
#include "tests/support/log_spy.h"
#include "tests/support/messages.h"
#include "tests/support/tracked_heap.h"

// Messages that are read while memory is refused.

namespace vesk::test {
namespace {

/// What is seen when one allocation is refused.
struct Refusal {
  uint32_t result;
  std::size_t fields;   ///< how many were read before
  std::size_t members;  ///< how many there are then, if the reading succeeds
};

const Tree kFlat = object({{"i", integer(1)},
                           {"t", text("ab")},
                           {"b", base64("x")},
                           {"a", array({integer(2), text("c")})}});

// Of the allocations for the value above in order; fields count from the value's.
const Refusal kRefusals[] = {
    {VK_ENOMEM, 2, 0},   // name of i
    {0, 3, 0},           // its record
    {0, 3, 0},           // its own name
    {VK_ENOMEM, 6, 0},   // name of t
    {0, 7, 1},           // its record
    {0, 7, 1},           // its own name
    {VK_ENOMEM, 9, 0},   // its text
    {VK_ENOMEM, 11, 0},  // name of b
    {0, 12, 2},          // its record
    {0, 12, 2},          // its own name
    {VK_ENOMEM, 14, 0},  // its bytes
    {VK_ENOMEM, 16, 0},  // name of a
    {0, 17, 3},          // its record
    {0, 17, 3},          // its own name
    {VK_ENOMEM, 19, 0},  // its first element
    {VK_ENOMEM, 21, 0},  // its second element
    {VK_ENOMEM, 23, 0},  // the text of that
    {VK_ENOMEM, 25, 0},  // the empty name at the end
};

/// Where a message comes from, and what tells how much of it was not read.
class Transport {
 public:
  virtual ~Transport() = default;
  virtual uint32_t read(const MessageKind& kind, vk_value* value) = 0;
  virtual std::string rest() = 0;
};

class FromStream : public Transport {
 public:
  static constexpr bool kTellsOfMembers = false;

  explicit FromStream(const std::string& bytes) : incoming_(bytes) {}
  uint32_t read(const MessageKind& kind, vk_value* value) override {
    return kind.read(incoming_.fd(), value);
  }
  std::string rest() override { return incoming_.rest(); }

 private:
  Incoming incoming_;
};

class FromMemory : public Transport {
 public:
  static constexpr bool kTellsOfMembers = true;

  explicit FromMemory(const std::string& bytes) : bytes_(bytes), reader_(reader_of(bytes_)) {}
  uint32_t read(const MessageKind& kind, vk_value* value) override {
    return kind.decode(reader_, value);
  }
  std::string rest() override {
    return {reinterpret_cast<const char*>(reader_.rest().data()), reader_.rest().size()};
  }

 private:
  std::string bytes_;
  wire::Bytes reader_;
};

// Refuses every allocation in turn and compares what is seen with the table. A request has a path
// before the value, and allocates for it.
template <typename From>
void expect_refusals(const MessageKind& kind) {
  SCOPED_TRACE(kind);
  const Fields fields = kind.fields(kFlat);
  const std::size_t head = fields.count() - Fields().value(kFlat).count();
  std::vector<Refusal> refusals(std::begin(kRefusals), std::end(kRefusals));
  for (Refusal& refusal : refusals) refusal.fields += head;
  if (head > 1) refusals.insert(refusals.begin(), {VK_ENOMEM, 2, 0});

  std::size_t refused = 0;
  for_every_allocation_fault([&](AllocationFault& fault) {
    const LogSpy spy;
    From from(fields.bytes());
    const Value value = new_value();
    const AllocationLog log;
    const uint32_t result = fault.during([&] { return from.read(kind, value.get()); });
    const std::size_t asked = log.count();
    if (!fault.struck()) {
      EXPECT_EQ(result, 0U);
      EXPECT_EQ(tree_of(*value), kFlat);
      EXPECT_EQ(asked, refusals.size());
      refused = 0;
      return;
    }
    ASSERT_LT(refused, refusals.size());
    const Refusal& expected = refusals[refused];
    EXPECT_EQ(result, From::kTellsOfMembers ? VK_ENOMEM : expected.result);
    EXPECT_EQ(from.rest(), fields.bytes(expected.fields));
    EXPECT_EQ(asked, refused + 1) << "the reading went on";
    if (result == 0) {
      Tree shortened = kFlat;
      shortened.items.resize(expected.members);
      EXPECT_EQ(tree_of(*value), shortened);
    }
    EXPECT_THAT(spy.lines(), testing::ElementsAre(
                                 allocation_failure(log.size_of(refused) - kOwnerWord, "default")));
    ++refused;
  });
}

TEST(RefusedReading, TellsOfRefusedMemoryButNotOfThatForMembers) {
  for (const MessageKind& kind : kMessageKinds) expect_refusals<FromStream>(kind);
}

TEST(RefusedReading, TellsOfAllRefusedMemoryWhenItIsFromMemory) {
  for (const MessageKind& kind : kMessageKinds) expect_refusals<FromMemory>(kind);
}

// Reads a tree of everything with every allocation refused in turn, and hands on what came of it:
// the result, and the blocks that are left once the value is deleted.
template <typename From>
void read_all_with_refusals(const std::function<void(bool refused, uint32_t, std::size_t)>& see) {
  const LogSpy log;
  for (const MessageKind& kind : kMessageKinds) {
    const std::string bytes = kind.fields(wire_mixture()).bytes();
    for_every_allocation_fault([&](AllocationFault& fault) {
      TrackedHeap heap;
      Value value = new_value(heap.get());
      From from(bytes);
      const uint32_t result = fault.during([&] { return from.read(kind, value.get()); });
      if (!fault.struck()) {
        EXPECT_EQ(tree_of(*value), as_read(wire_mixture()));
      }
      value.reset();
      see(fault.struck(), result, heap.left().size());
    });
  }
}

// What follows a member that could not be made is out of step for the objects around it; whatever
// comes of that, nothing is lost but the buffer of a binary.
TEST(RefusedReading, LosesNothingHoweverDeepItWas) {
  read_all_with_refusals<FromStream>([](bool refused, uint32_t result, std::size_t left) {
    EXPECT_TRUE(refused || result == 0);
    EXPECT_LE(left, result == 0 ? 0U : 1U);
  });
}

TEST(RefusedReading, EndsAtOnceFromMemoryHoweverDeepItWas) {
  read_all_with_refusals<FromMemory>([](bool refused, uint32_t result, std::size_t left) {
    EXPECT_EQ(result, refused ? VK_ENOMEM : VK_EOK);
    EXPECT_EQ(left, 0U);
  });
}

TEST(RefusedReading, GoesOnInTheOuterObjectWhereAnInnerOneStopped) {
  const LogSpy log;
  const std::string bytes =
      response_fields(object({{"O", object({{"m", any()}, {"n", any()}})}, {"P", any()}})).bytes();
  FromStream from(bytes);
  const Value value = new_value();
  AllocationFault fault(5, AllocationFault::Extent::kOne);  // the record of m
  EXPECT_EQ(fault.during([&] { return from.read(kMessageKinds[1], value.get()); }), 0U);
  // The type of m, 0, was taken for the end of the outer object.
  EXPECT_EQ(tree_of(*value), object({{"O", object({})}}));
  EXPECT_EQ(from.rest(), response_fields(object({{"n", any()}})).bytes().substr(8) + u32(1) + "P" +
                             u32(0) + u32(0));
}

}  // namespace
}  // namespace vesk::test
