#include "core/trimmer.h"

#include <gtest/gtest.h>

#include "core/bytes.h"

namespace vesk::test {
namespace {

using namespace std::chrono_literals;  // NOLINT(google-build-using-namespace)

class ATrimmer : public testing::Test {
 protected:
  // Until nothing is left to be done; false if something is at the deadline.
  bool comes_to_rest() {
    loop_.restart();
    loop_.run_for(10s);
    return loop_.stopped();
  }
  void use(std::size_t size) { used_ = core::Bytes(size); }

  asio::io_context loop_;
  core::Bytes used_;
  unsigned trimmed_ = 0;
  core::Trimmer trimmer_{loop_, [this] { ++trimmed_; }};
};

TEST_F(ATrimmer, GivesMemoryBackOnceABurstIsOver) {
  use((1U << 20) + 1);
  trimmer_.look();
  use(1000);
  trimmer_.look();
  trimmer_.look();
  EXPECT_EQ(trimmed_, 0U);
  EXPECT_TRUE(comes_to_rest());
  EXPECT_EQ(trimmed_, 1U);
  trimmer_.look();
  EXPECT_TRUE(comes_to_rest());
  EXPECT_EQ(trimmed_, 1U);
}

TEST_F(ATrimmer, WaitsForAnotherBurstToEnd) {
  use((1U << 20) + 1);
  trimmer_.look();
  use(0);
  trimmer_.look();
  use((1U << 20) + 1);
  trimmer_.look();
  EXPECT_TRUE(comes_to_rest());
  EXPECT_EQ(trimmed_, 0U);
}

TEST_F(ATrimmer, LeavesOrdinaryTrafficAlone) {
  for (const std::size_t size : {std::size_t{1} << 20, std::size_t{0}}) {
    use(size);
    trimmer_.look();
  }
  EXPECT_TRUE(comes_to_rest());
  EXPECT_EQ(trimmed_, 0U);
}

}  // namespace
}  // namespace vesk::test
