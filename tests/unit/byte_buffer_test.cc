#include "lib/support/byte_buffer.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/allocation_fault.h"

namespace vesk::test {
namespace {

using testing::ElementsAre;

std::string text_of(const ByteBuffer& buffer) {
  return {reinterpret_cast<const char*>(buffer.bytes().data()), buffer.bytes().size()};
}

ByteBuffer buffer_with(const std::string& text) {
  ByteBuffer buffer;
  EXPECT_TRUE(buffer.append(text.data(), text.size()));
  return buffer;
}

TEST(ByteBuffer, BeginsEmptyAndWithoutMemory) {
  const AllocationLog log;
  const ByteBuffer buffer;
  EXPECT_TRUE(buffer.bytes().empty());
  EXPECT_EQ(0U, log.count());
}

TEST(ByteBuffer, HoldsWhatIsAppendedInOrder) {
  ByteBuffer buffer = buffer_with("ab");
  EXPECT_TRUE(buffer.append("", 0));
  EXPECT_TRUE(buffer.append("cd", 2));
  EXPECT_EQ("abcd", text_of(buffer));
}

// The sizes that a buffer asks of malloc while so many bytes are appended, one after the other.
std::vector<std::size_t> growth(const std::vector<std::size_t>& appended) {
  const AllocationLog log;
  ByteBuffer buffer;
  for (const std::size_t size : appended) {
    EXPECT_TRUE(buffer.append(std::string(size, 'x').data(), size));
  }
  std::vector<std::size_t> sizes;
  for (std::size_t i = 0; i < log.count(); ++i) sizes.push_back(log.size_of(i));
  return sizes;
}

TEST(ByteBuffer, DoublesItsMemoryWhenItIsFull) {
  EXPECT_THAT(growth({1, 255}), ElementsAre(256));
  EXPECT_THAT(growth({1, 256}), ElementsAre(256, 512));
  EXPECT_THAT(growth({256, 256, 512, 1}), ElementsAre(256, 512, 1024, 2048));
}

TEST(ByteBuffer, TakesAtOnceWhatMuchNeeds) {
  EXPECT_THAT(growth({1000}), ElementsAre(1000));
  EXPECT_THAT(growth({100, 1000}), ElementsAre(256, 1100));
}

TEST(ByteBuffer, KeepsItsBytesAsItGrows) {
  ByteBuffer buffer;
  std::string expected;
  for (int i = 0; i < 10'000; ++i) {
    const std::string number = std::to_string(i);
    ASSERT_TRUE(buffer.append(number.data(), number.size()));
    expected += number;
  }
  EXPECT_EQ(expected, text_of(buffer));
}

TEST(ByteBuffer, IsEmptyOnceItWasMovedFrom) {
  ByteBuffer from = buffer_with("ab");
  ByteBuffer to = std::move(from);
  EXPECT_EQ("ab", text_of(to));
  EXPECT_EQ("", text_of(from));
  EXPECT_TRUE(from.append("cd", 2));
  to = std::move(from);
  EXPECT_EQ("cd", text_of(to));
  EXPECT_EQ("", text_of(from));
}

TEST(ByteBuffer, GivesRoomForWhatIsWrittenBehindTheBytes) {
  ByteBuffer buffer = buffer_with("ab");
  ASSERT_TRUE(buffer.reserve(1000));
  ASSERT_LE(1000U, buffer.room().size());
  buffer.room()[0] = std::byte{'c'};
  EXPECT_EQ("ab", text_of(buffer));
  buffer.extend(1);
  EXPECT_EQ("abc", text_of(buffer));
}

TEST(ByteBuffer, DropsBytesFromTheBeginning) {
  ByteBuffer buffer = buffer_with("abcd");
  buffer.drop(0);
  EXPECT_EQ("abcd", text_of(buffer));
  buffer.drop(3);
  EXPECT_EQ("d", text_of(buffer));
  buffer.drop(1);
  EXPECT_EQ("", text_of(buffer));
}

TEST(ByteBuffer, KeepsItsMemoryWhenItIsCleared) {
  ByteBuffer buffer = buffer_with(std::string(1000, 'x'));
  buffer.clear();
  const AllocationLog log;
  EXPECT_TRUE(buffer.bytes().empty());
  EXPECT_TRUE(buffer.append(std::string(1000, 'y').data(), 1000));
  EXPECT_EQ(0U, log.count());
}

TEST(ByteBuffer, KeepsItsBytesWhenMemoryIsRefused) {
  const std::string more(10'000, 'y');
  for_every_allocation_fault([&](AllocationFault& fault) {
    ByteBuffer buffer = buffer_with("ab");
    const bool appended = fault.during([&] { return buffer.append(more.data(), more.size()); });
    EXPECT_EQ(!fault.struck(), appended);
    EXPECT_EQ(appended ? "ab" + more : "ab", text_of(buffer));
  });
}

TEST(ByteBuffer, RefusesSizesThatNoMemoryHas) {
  ByteBuffer buffer = buffer_with("ab");
  EXPECT_FALSE(buffer.reserve(SIZE_MAX));
  EXPECT_EQ("ab", text_of(buffer));
}

}  // namespace
}  // namespace vesk::test
