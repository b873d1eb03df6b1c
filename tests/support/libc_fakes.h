#pragma once

// Stands in for what libc takes from the machine: clocks and random numbers. The test programs wrap
// time, sysinfo, gmtime_r, rand and srand at link time; without a `LibcFakes` they are libc's own.

#include <ctime>
#include <deque>
#include <optional>
#include <vector>

namespace vesk::test {

/// Takes effect while it lives. One at a time.
struct LibcFakes {
  LibcFakes();
  ~LibcFakes();
  LibcFakes(const LibcFakes&) = delete;
  LibcFakes& operator=(const LibcFakes&) = delete;

  std::optional<std::time_t> wall_clock;  ///< what time gives
  std::optional<long> uptime;             ///< what sysinfo gives
  bool sysinfo_fails = false;
  bool gmtime_fails = false;
  std::deque<int> random;           ///< what rand gives, first to last; then libc's own
  std::vector<unsigned int> seeds;  ///< what srand was given; libc's generator is not seeded
};

}  // namespace vesk::test
