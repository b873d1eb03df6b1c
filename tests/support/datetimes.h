#pragma once

// Points in time in the words of the tests.

#include <gmock/gmock.h>

#include <cstdint>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <optional>
#include <string>

#include "vesk/datetime.h"

namespace vesk::test {

inline constexpr int32_t kEarliestTime = std::numeric_limits<int32_t>::min();
inline constexpr int32_t kLatestTime = std::numeric_limits<int32_t>::max();

/// What a record holds that nothing has touched.
inline constexpr vk_datetime kStrayDatetime = {0x55555555, 0x66666666, 0x77777777};

inline testing::Matcher<const vk_datetime&> IsTime(const vk_datetime& expected) {
  return testing::AllOf(testing::Field("time", &vk_datetime::time, expected.time),
                        testing::Field("kind", &vk_datetime::kind, expected.kind),
                        testing::Field("usec", &vk_datetime::usec, expected.usec));
}

constexpr vk_datetime absolute(int32_t time, uint32_t usec = 0) {
  return {time, VK_DATETIME_ABSOLUTE, usec};
}

constexpr vk_datetime relative(int32_t time, uint32_t usec = 0) {
  return {time, VK_DATETIME_RELATIVE, usec};
}

constexpr vk_datetime unknown() { return {0, VK_DATETIME_UNKNOWN, 0}; }

/// Lets local time differ from UTC while it lives.
class FarFromGreenwich {
 public:
  FarFromGreenwich() {
    if (const char* const zone = std::getenv("TZ")) before_ = zone;
    setenv("TZ", "FAR-05:30", 1);
    tzset();
  }
  ~FarFromGreenwich() {
    if (before_) {
      setenv("TZ", before_->c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }
  FarFromGreenwich(const FarFromGreenwich&) = delete;
  FarFromGreenwich& operator=(const FarFromGreenwich&) = delete;

 private:
  std::optional<std::string> before_;
};

}  // namespace vesk::test
