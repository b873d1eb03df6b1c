#include "vesk/datetime.h"

#include <sys/sysinfo.h>

#include <cinttypes>
#include <cstring>
#include <ctime>

#include "lib/log.h"
#include "lib/stream.h"

namespace vesk {
namespace {

constexpr const char kUnknown[] = "0001-01-01T00:00:00Z";

// A relative time is written as if the device had booted at the beginning of the year 1.
constexpr int kYearsFromOneTo1970 = 1969;

constexpr uint32_t kNoUptime = UINT32_MAX;

// Reads the digits of a fraction as microseconds, cutting what is smaller, and steps over them.
uint32_t read_microseconds(const char*& text) {
  uint32_t usec = 0;
  int digits = 0;
  for (; *text >= '0' && *text <= '9'; ++text) {
    if (digits == 6) continue;
    usec = usec * 10 + static_cast<uint32_t>(*text - '0');
    ++digits;
  }
  for (; digits < 6; ++digits) usec *= 10;
  return usec;
}

bool year_is_relative(const std::tm& calendar) { return calendar.tm_year < 1000 - 1900; }

// -1 for a time that 32 bits cannot say, and for the one second that is -1.
int32_t seconds_of(std::tm& calendar) {
  const std::time_t seconds = timegm(&calendar);
  const auto kept = static_cast<int32_t>(seconds);
  return kept == seconds ? kept : -1;
}

}  // namespace
}  // namespace vesk

void vk_datetime_set_unknown(vk_datetime* datetime) {
  *datetime = {.time = 0, .kind = VK_DATETIME_UNKNOWN, .usec = 0};
}

vk_error vk_datetime_diff(const vk_datetime* a, const vk_datetime* b, int32_t* seconds) {
  if (a->kind != b->kind || a->kind == VK_DATETIME_UNKNOWN) return VK_EINVAL;
  *seconds = static_cast<int32_t>(static_cast<uint32_t>(b->time) - static_cast<uint32_t>(a->time));
  return VK_EOK;
}

vk_error vk_datetime_from_string(vk_datetime* datetime, const char* text) {
  if (std::strcmp(text, vesk::kUnknown) == 0) {
    vk_datetime_set_unknown(datetime);
    return VK_EOK;
  }
  std::tm calendar = {};
  const char* rest = strptime(text, "%Y-%m-%dT%H:%M:%S", &calendar);
  if (rest == nullptr) return VK_EINVAL;

  datetime->usec = 0;
  if (*rest == '.') datetime->usec = vesk::read_microseconds(++rest);

  datetime->kind = VK_DATETIME_ABSOLUTE;
  if (*rest == '\0' && vesk::year_is_relative(calendar)) {
    calendar.tm_year += vesk::kYearsFromOneTo1970;
    datetime->kind = VK_DATETIME_RELATIVE;
  } else if (*rest == '\0') {
    vk_log(vesk::kLogLibrary, VK_LOG_WARNING, "lib/datetime", __LINE__, __func__,
           "Datetime value '%s' does not have timezone suffix", text);
  }
  datetime->time = vesk::seconds_of(calendar);
  return datetime->time == -1 ? VK_EINVAL : VK_EOK;
}

vk_error vk_datetime_write(vk_stream* stream, const vk_datetime* datetime) {
  if (datetime->kind == VK_DATETIME_UNKNOWN) {
    vesk::stream_puts(*stream, vesk::kUnknown);
    return VK_EOK;
  }
  const std::time_t seconds = datetime->time;
  std::tm calendar;
  if (gmtime_r(&seconds, &calendar) == nullptr) return VK_EINVAL;
  if (datetime->kind == VK_DATETIME_RELATIVE) calendar.tm_year -= vesk::kYearsFromOneTo1970;

  vk_stream_printf(
      stream, "%04u-%02u-%02uT%02u:%02u:%02u", static_cast<unsigned int>(calendar.tm_year + 1900),
      static_cast<unsigned int>(calendar.tm_mon + 1), static_cast<unsigned int>(calendar.tm_mday),
      static_cast<unsigned int>(calendar.tm_hour), static_cast<unsigned int>(calendar.tm_min),
      static_cast<unsigned int>(calendar.tm_sec));
  if (datetime->usec != 0) vk_stream_printf(stream, ".%06" PRIu32, datetime->usec);
  if (datetime->kind == VK_DATETIME_ABSOLUTE) vesk::stream_write(*stream, "Z");
  return VK_EOK;
}

uint32_t vk_datetime_get_monotonic(void) {
  struct sysinfo info;
  return sysinfo(&info) == 0 ? static_cast<uint32_t>(info.uptime) : vesk::kNoUptime;
}

int vk_datetime_set_current(vk_datetime* datetime) {
  *datetime = {
      .time = static_cast<int32_t>(std::time(nullptr)), .kind = VK_DATETIME_ABSOLUTE, .usec = 0};
  const uint32_t uptime = vk_datetime_get_monotonic();
  if (uptime == vesk::kNoUptime) return -1;
  const int64_t since_boot = int64_t{datetime->time} - int64_t{static_cast<int32_t>(uptime)};
  if (since_boot >= -2 && since_boot <= 2) datetime->kind = VK_DATETIME_RELATIVE;
  return 1;
}
