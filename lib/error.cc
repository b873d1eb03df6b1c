#include "vesk/error.h"

#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstdlib>

namespace {

constexpr std::array kNames = {
    "EOK",          "ENOENT", "EIO",       "ENOMEM",    "EINVAL", "EEXIST",
    "ENAMETOOLONG", "ENOSYS", "EBUSY",     "ETIMEDOUT", "EFAULT", "EOPNOTSUPP",
    "ENOTITEM",     "ESOAP",  "EAUTH",     "EFOUND",    "EXML",   "ETIMER",
    "EPROVIDER",    "ERO",    "EINTERNAL", "ETYPE",     "EVALUE", "ENOANSWER",
};
static_assert(kNames.size() == VK_ENOANSWER + 1);

[[noreturn]] void flush_and_abort() {
  std::fflush(stderr);
  std::abort();
}

}  // namespace

const char* vk_strerror(vk_error code) { return code < kNames.size() ? kNames[code] : "UNKNOWN"; }

int vk_print_validation_fail(const char* message) {
  return std::fprintf(stderr, "Validation failed: %s\n", message);
}

void vk_type_invalid_fail(const char* expression, const char* file, uint32_t line) {
  std::fprintf(stderr, "%s:%" PRIu32 ": Validation of '%s' failed.\n", file, line, expression);
  flush_and_abort();
}

void vk_assert_fail(const char* file, uint32_t line, const char* function, const char* expression) {
  std::fprintf(stderr, "%s:%" PRIu32 ":%s(): Assertion %s failed.\n", file, line,
               function == nullptr ? "" : function, expression);
  flush_and_abort();
}
