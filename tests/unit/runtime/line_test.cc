#include "runtime/line.h"

#include <gtest/gtest.h>
#include <sys/socket.h>

#include "tests/support/allocation_fault.h"
#include "tests/unit/runtime/bytes.h"

namespace vesk::test {
namespace {

/// A response of so many bytes.
ByteString response_of(std::size_t size) {
  const std::size_t head = 3 * sizeof(uint32_t);
  return response_head().number(VK_TYPE_STRING).text(std::string(size - head, 'x'));
}

TEST(Line, KeepsItsMemoryForTheNextMessageUnlessItIsLarge) {
  for (const std::size_t size : {16384U, 16385U}) {
    int ends[2];
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends));
    const rt::Fd there(ends[1]);
    rt::Line line{rt::Fd(ends[0])};
    const ByteString message = response_of(size);
    ASSERT_EQ(static_cast<ssize_t>(size), send(there.get(), message.data(), size, 0));
    ASSERT_EQ(rt::Line::Reading::kComplete, line.receive());
    const std::size_t before = live_blocks();
    line.expect(rt::Message::kResponse);
    EXPECT_EQ(size == 16384 ? before : before - 1, live_blocks());
  }
}

}  // namespace
}  // namespace vesk::test
