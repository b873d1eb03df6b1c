#include "tests/support/libc_fakes.h"

#include <sys/sysinfo.h>

#include <cstdlib>

extern "C" {
std::time_t __real_time(std::time_t* result);
int __real_sysinfo(struct sysinfo* info);
std::tm* __real_gmtime_r(const std::time_t* time, std::tm* result);
int __real_rand();
void __real_srand(unsigned int seed);
std::time_t __wrap_time(std::time_t* result);
int __wrap_sysinfo(struct sysinfo* info);
std::tm* __wrap_gmtime_r(const std::time_t* time, std::tm* result);
int __wrap_rand();
void __wrap_srand(unsigned int seed);
}

namespace vesk::test {
namespace {
LibcFakes* fakes = nullptr;
}  // namespace

LibcFakes::LibcFakes() { fakes = this; }
LibcFakes::~LibcFakes() { fakes = nullptr; }

}  // namespace vesk::test

using vesk::test::fakes;

std::time_t __wrap_time(std::time_t* result) {
  if (fakes == nullptr || !fakes->wall_clock) return __real_time(result);
  if (result != nullptr) *result = *fakes->wall_clock;
  return *fakes->wall_clock;
}

int __wrap_sysinfo(struct sysinfo* info) {
  if (fakes != nullptr && fakes->sysinfo_fails) return -1;
  const int result = __real_sysinfo(info);
  if (fakes != nullptr && fakes->uptime) info->uptime = *fakes->uptime;
  return result;
}

std::tm* __wrap_gmtime_r(const std::time_t* time, std::tm* result) {
  return fakes != nullptr && fakes->gmtime_fails ? nullptr : __real_gmtime_r(time, result);
}

int __wrap_rand() {
  if (fakes == nullptr || fakes->random.empty()) return __real_rand();
  const int next = fakes->random.front();
  fakes->random.pop_front();
  return next;
}

void __wrap_srand(unsigned int seed) {
  if (fakes == nullptr) return __real_srand(seed);
  fakes->seeds.push_back(seed);
}
