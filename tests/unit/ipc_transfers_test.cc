#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <cerrno>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "tests/support/channels.h"
#include "tests/support/messages.h"
#include "tests/support/tracked_heap.h"
#include "tests/support/transfers.h"

// What becomes of a message when one of its transfers fails: every transfer, in every way.

namespace vesk::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr int kErrors[] = {EINTR, EAGAIN, EPIPE, EBADF, EIO, ECONNRESET, ENOSPC};

/// What goes wrong with a transfer.
struct Mishap {
  std::string name;
  uint32_t result;
  std::size_t moved;
  std::function<void(Transfers&, std::size_t which)> strike;
};

/// All that can go wrong with a transfer of some bytes.
std::vector<Mishap> mishaps(std::size_t size) {
  std::vector<Mishap> all;
  for (const int error : kErrors) {
    all.push_back({"errno " + std::to_string(error), static_cast<uint32_t>(error), 0,
                   [=](Transfers& transfers, std::size_t which) { transfers.fail(which, error); }});
  }
  for (std::size_t moved = 0; moved < size; ++moved) {
    all.push_back({"cut to " + std::to_string(moved), VK_EIO, moved,
                   [=](Transfers& transfers, std::size_t which) { transfers.cut(which, moved); }});
  }
  return all;
}

/// Every mishap of every field of both messages, around a tree that has all.
class EveryMishap : public testing::TestWithParam<MessageKind> {
 protected:
  void for_each(const std::function<void(std::size_t which, const Mishap&)>& check) const {
    for (std::size_t which = 0; which < fields_.count(); ++which) {
      for (const Mishap& mishap : mishaps(fields_[which].bytes.size())) {
        SCOPED_TRACE("field " + std::to_string(which) + ": " + mishap.name);
        check(which, mishap);
      }
    }
  }

  /// The sizes of the first fields.
  std::vector<std::size_t> first_sizes(std::size_t count) const {
    std::vector<std::size_t> sizes = fields_.sizes();
    sizes.resize(count);
    return sizes;
  }

  const Tree tree_ = wire_mixture();
  const Fields fields_ = GetParam().fields(tree_);
};

INSTANTIATE_TEST_SUITE_P(Ipc, EveryMishap, testing::ValuesIn(kMessageKinds),
                         [](const auto& kind) { return std::string(kind.param.name); });

// Writing goes on at the end of the object in which the transfer failed, and is silent about it.
TEST_P(EveryMishap, EndsTheObjectAroundItOrTheMessage) {
  const Value value = planted(tree_);
  for_each([&](std::size_t which, const Mishap& mishap) {
    const MemoryFile file;
    Transfers transfers(file.fd());
    mishap.strike(transfers, which);
    const uint32_t result = GetParam().write(file.fd(), value.get());

    const auto& [bytes, resumed_at, of_binary] = fields_[which];
    const std::size_t next = resumed_at.value_or(fields_.count());
    std::vector<std::size_t> sizes = first_sizes(which + 1);
    const std::vector<std::size_t> all = fields_.sizes();
    sizes.insert(sizes.end(), all.begin() + static_cast<std::ptrdiff_t>(next), all.end());
    EXPECT_EQ(result, resumed_at ? 0 : mishap.result);
    EXPECT_EQ(file.content(),
              fields_.bytes(0, which) + bytes.substr(0, mishap.moved) + fields_.bytes(next));
    EXPECT_EQ(transfers.sizes, sizes);
  });
}

// From some transfer on all fail, each in its own way: only the ends of the objects are tried, from
// the innermost to the outermost, whose result counts.
TEST_P(EveryMishap, GivesTheResultOfTheOutermostEndWhenAllFail) {
  const Value value = planted(tree_);
  for (std::size_t which = 0; which < fields_.count(); ++which) {
    SCOPED_TRACE(which);
    const MemoryFile file;
    Transfers transfers(file.fd());
    for (std::size_t i = which; i < fields_.count(); ++i)
      transfers.fail(i, static_cast<int>(100 + i));
    const uint32_t result = GetParam().write(file.fd(), value.get());

    std::vector<std::size_t> sizes = first_sizes(which + 1);
    auto end = fields_[which].resumed_at;
    for (; end; end = fields_[*end].resumed_at) sizes.push_back(4);
    EXPECT_EQ(transfers.sizes, sizes);
    EXPECT_EQ(result, 100 + sizes.size() - 1);
    EXPECT_EQ(file.content(), fields_.bytes(0, which));
  }
}

TEST_P(EveryMishap, EndsReadingAndLosesNothingButTheBufferOfABinary) {
  for_each([&](std::size_t which, const Mishap& mishap) {
    const Field& field = fields_[which];
    Incoming incoming(fields_.bytes());
    TrackedHeap heap;
    Value value = new_value(heap.get());
    {
      Transfers transfers(incoming.fd());
      mishap.strike(transfers, which);
      EXPECT_EQ(GetParam().read(incoming.fd(), value.get()), mishap.result);
      EXPECT_EQ(transfers.sizes, first_sizes(which + 1));
    }
    EXPECT_EQ(incoming.rest(), field.bytes.substr(mishap.moved) + fields_.bytes(which + 1));
    value.reset();
    const std::vector<std::size_t> buffer = {field.bytes.size()};
    EXPECT_EQ(heap.left(), field.of_binary ? buffer : std::vector<std::size_t>());
  });
}

// Streams that end

/// The ways in which a message is read.
struct Source {
  const char* name;
  uint32_t (*read)(const MessageKind& kind, const std::string& bytes, vk_value* value);
};

constexpr Source kSources[] = {
    {"socket",
     [](const MessageKind& kind, const std::string& bytes, vk_value* value) {
       return kind.read(Incoming(bytes, StreamKind::kSocket).fd(), value);
     }},
    {"pipe",
     [](const MessageKind& kind, const std::string& bytes, vk_value* value) {
       return kind.read(Incoming(bytes, StreamKind::kPipe).fd(), value);
     }},
    {"memory",
     [](const MessageKind& kind, const std::string& bytes, vk_value* value) {
       wire::Bytes reader = reader_of(bytes);
       return kind.decode(reader, value);
     }},
};

TEST_P(EveryMishap, IsWhatTheEndOfTheStreamIsBeforeThatOfTheMessage) {
  for (const Source& source : kSources) {
    SCOPED_TRACE(source.name);
    std::size_t size = 0;  // of what comes
    for (std::size_t which = 0; which < fields_.count(); ++which) {
      for (std::size_t i = 0; i < fields_[which].bytes.size(); ++i, ++size) {
        SCOPED_TRACE(size);
        TrackedHeap heap;
        Value value = new_value(heap.get());
        EXPECT_EQ(source.read(GetParam(), fields_.bytes().substr(0, size), value.get()), VK_EIO);
        value.reset();
        EXPECT_EQ(heap.left().size(), fields_[which].of_binary ? 1U : 0U);
      }
    }
    const Value value = new_value();
    EXPECT_EQ(source.read(GetParam(), fields_.bytes(), value.get()), 0U);
    EXPECT_EQ(tree_of(*value), as_read(tree_));
  }
}

// What the system itself refuses

TEST_P(EveryMishap, IsTheErrorOfTheSystemForADescriptorThatIsNone) {
  const Value value = new_object();
  Fd closed(memfd_create("closed", 0));
  const int number = closed.get();
  closed.close();
  for (const int fd : {-1, number}) {
    EXPECT_EQ(GetParam().write(fd, value.get()), static_cast<uint32_t>(EBADF));
    EXPECT_EQ(GetParam().read(fd, value.get()), static_cast<uint32_t>(EBADF));
  }
}

TEST_P(EveryMishap, IsTheErrorOfTheSystemForAStreamThatNobodyReads) {
  const Value value = new_object();
  for (const StreamKind stream : kStreamKinds) {
    SCOPED_TRACE(stream);
    Channel channel(stream);
    channel.out.close();
    EXPECT_EQ(GetParam().write(channel.in.get(), value.get()), static_cast<uint32_t>(EPIPE));
  }
}

TEST_P(EveryMishap, IsTheErrorOfTheSystemForAStreamThatWouldBlock) {
  const Value value = new_object();
  Channel channel;
  ASSERT_EQ(fcntl(channel.out.get(), F_SETFL, O_NONBLOCK), 0);
  EXPECT_EQ(GetParam().read(channel.out.get(), value.get()), static_cast<uint32_t>(EAGAIN));
}

}  // namespace
}  // namespace vesk::test
