#include "tests/support/transfers.h"

#include <algorithm>
#include <cerrno>

#include "tests/support/allocation_fault.h"

extern "C" {
ssize_t __real_read(int fd, void* bytes, std::size_t size);
ssize_t __real_write(int fd, const void* bytes, std::size_t size);
ssize_t __wrap_read(int fd, void* bytes, std::size_t size);
ssize_t __wrap_write(int fd, const void* bytes, std::size_t size);
}

namespace vesk::test {
namespace {
Transfers* watching = nullptr;
}  // namespace

Transfers::Transfers(int fd) : fd_(fd) { watching = this; }
Transfers::~Transfers() { watching = nullptr; }

void Transfers::fail(std::size_t before, int error) { strikes_[before] = {error, 0}; }
void Transfers::cut(std::size_t before, std::size_t moved) { strikes_[before] = {0, moved}; }

Transfers::Verdict Transfers::begin(std::size_t size) {
  const Unwatched unwatched;
  const auto strike = strikes_.find(sizes.size());
  sizes.push_back(size);
  if (strike == strikes_.end()) return {!pretending_, static_cast<ssize_t>(size)};
  const auto [error, moved] = strike->second;
  errno = error;
  if (error != 0) return {false, -1};
  return {!pretending_, static_cast<ssize_t>(std::min(moved, size))};
}

}  // namespace vesk::test

using vesk::test::Transfers;
using vesk::test::watching;

ssize_t __wrap_read(int fd, void* bytes, std::size_t size) {
  if (watching == nullptr || !watching->watches(fd)) return __real_read(fd, bytes, size);
  const Transfers::Verdict verdict = watching->begin(size);
  if (!verdict.real) return verdict.moved;
  return __real_read(fd, bytes, static_cast<std::size_t>(verdict.moved));
}

ssize_t __wrap_write(int fd, const void* bytes, std::size_t size) {
  if (watching == nullptr || !watching->watches(fd)) return __real_write(fd, bytes, size);
  const Transfers::Verdict verdict = watching->begin(size);
  if (!verdict.real) return verdict.moved;
  return __real_write(fd, bytes, static_cast<std::size_t>(verdict.moved));
}
