#include "lib/wire_memory.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/allocation_fault.h"
#include "tests/support/channels.h"
#include "tests/support/messages.h"

namespace vesk::test {
namespace {

TEST(WireBuffer, TakesTexts) { EXPECT_TRUE(wire::Buffer().takes_texts()); }

TEST(WireBuffer, HoldsWhatIsWrittenInOrder) {
  wire::Buffer buffer;
  EXPECT_EQ(buffer.write("one", 3), VK_EOK);
  EXPECT_EQ(buffer.write(nullptr, 0), VK_EOK);
  EXPECT_EQ(buffer.write("\0two", 4), VK_EOK);
  EXPECT_EQ(content(buffer), std::string("one\0two", 7));
}

TEST(WireBuffer, TakesNoFieldAfterOneThatFoundNoMemoryUntilItBeginsAnew) {
  wire::Buffer buffer;
  EXPECT_EQ(buffer.write("x", 1), VK_EOK);
  EXPECT_EQ(buffer.write("y", SIZE_MAX), VK_ENOMEM);
  EXPECT_EQ(buffer.write("z", 1), VK_ENOMEM);
  EXPECT_EQ(content(buffer), "x");
  buffer.clear();
  EXPECT_EQ(buffer.write("z", 1), VK_EOK);
  EXPECT_EQ(content(buffer), "z");
}

TEST(WireBytes, GivesItsBytesInOrder) {
  const std::string bytes = "one two";
  wire::Bytes reader = reader_of(bytes);
  std::string read(3, '\0');
  EXPECT_EQ(reader.read(read.data(), 3), VK_EOK);
  EXPECT_EQ(read, "one");
  EXPECT_EQ(reader.rest().size(), 4U);
  EXPECT_EQ(reader.read(read.data(), 0), VK_EOK);
  EXPECT_EQ(reader.rest().size(), 4U);
  char rest[5] = {};
  EXPECT_EQ(reader.read(rest, 4), VK_EOK);
  EXPECT_STREQ(rest, " two");
  EXPECT_TRUE(reader.rest().empty());
}

TEST(WireBytes, GivesNothingFromNothing) {
  wire::Bytes reader{{}};
  EXPECT_EQ(reader.read(nullptr, 0), VK_EOK);
  char byte = 'x';
  EXPECT_EQ(reader.read(&byte, 1), VK_EIO);
  EXPECT_EQ(byte, 'x');
}

TEST(WireBytes, HasNoneLeftAfterItWasAskedForTooMany) {
  const std::string bytes = "abc";
  for (const std::size_t size : {std::size_t{4}, SIZE_MAX}) {
    wire::Bytes reader = reader_of(bytes);
    char read[5] = "xxxx";
    EXPECT_EQ(reader.read(read, size), VK_EIO);
    EXPECT_STREQ(read, "xxxx");
    EXPECT_TRUE(reader.rest().empty());
    EXPECT_EQ(reader.read(read, 1), VK_EIO);
  }
}

// Messages

TEST(MessageInMemory, HasTheBytesOfADescriptor) {
  std::vector<WireSample> samples = wire_samples();
  samples.push_back({wire_mixture(), {}});
  for (const MessageKind& kind : kMessageKinds) {
    for (const WireSample& sample : samples) {
      SCOPED_TRACE(testing::PrintToString(sample.tree));
      const Value value = planted(sample.tree);
      const MemoryFile file;
      wire::Buffer buffer;
      EXPECT_EQ(kind.write(file.fd(), value.get()), 0U);
      EXPECT_EQ(kind.encode(buffer, value.get()), 0U);
      EXPECT_EQ(content(buffer), kind.fields(sample.tree).bytes());
      EXPECT_EQ(content(buffer), file.content());
    }
  }
}

TEST(MessageInMemory, IsReadBackToItsEnd) {
  std::vector<WireSample> samples = wire_samples();
  samples.push_back({wire_mixture(), {}});
  for (const MessageKind& kind : kMessageKinds) {
    for (const WireSample& sample : samples) {
      SCOPED_TRACE(testing::PrintToString(sample.tree));
      const std::string bytes = kind.fields(sample.tree).bytes() + "next";
      wire::Bytes reader = reader_of(bytes);
      const Value value = new_value();
      EXPECT_EQ(kind.decode(reader, value.get()), 0U);
      EXPECT_EQ(tree_of(*value), as_read(sample.tree));
      EXPECT_EQ(reader.rest().size(), 4U);
    }
  }
}

// On a descriptor the end of an object can be written after a member that could not; here that
// would pass a message with a hole for a whole one.
TEST(MessageInMemory, IsWholeOrRefused) {
  const Tree tree = object({{"A", object({{"a", text(std::string(300, 'x'))}})}, {"B", any()}});
  const Value value = planted(tree);
  const std::string whole = u32(23) + Fields().value(tree).bytes();
  for_every_allocation_fault([&](AllocationFault& fault) {
    wire::Buffer buffer;
    const vk_ipc_response response = response_with(value.get());
    const uint32_t error = fault.during([&] { return wire::Encoder(buffer).put(response); });
    EXPECT_EQ(error, fault.struck() ? VK_ENOMEM : VK_EOK);
    EXPECT_EQ(content(buffer) == whole, !fault.struck());
  });
}

TEST(MessageInMemory, FailsWithoutMemoryOutsideOfObjects) {
  const Value value = planted(array({text(std::string(300, 'x')), any()}));
  for_every_allocation_fault([&](AllocationFault& fault) {
    wire::Buffer buffer;
    const vk_ipc_response response = response_with(value.get());
    const uint32_t result = fault.during([&] { return wire::Encoder(buffer).put(response); });
    EXPECT_EQ(result, fault.struck() ? VK_ENOMEM : 0U);
  });
}

}  // namespace
}  // namespace vesk::test
