#include "lib/log.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "vesk/module.h"

vk_stream* vk_log_stream = nullptr;

namespace vesk {

constinit LogState log_state;

namespace {

constexpr std::array kPriorities = {LOG_DEBUG, LOG_INFO, LOG_WARNING, LOG_ERR};

int priority_of(int level) {
  const auto index = static_cast<unsigned int>(level);
  return index < kPriorities.size() ? kPriorities[index] : LOG_NOTICE;
}

void open_connection(int facility) {
  log_state.facility = facility;
  openlog("vesk", LOG_CONS, facility);
}

void switch_to_facility_of(int category) {
  const auto index = static_cast<unsigned int>(category);
  if (index >= log_state.category_facilities.size()) return;
  const int facility = log_state.category_facilities[index];
  if (facility == log_state.facility) return;
  closelog();
  open_connection(facility);
}

// The last byte of the buffer is for the terminator that ends the message.
vk_error append(vk_stream*, const void* bytes, uint32_t count) {
  const uint32_t kept = std::min(count, LogState::kCapacity - log_state.length);
  if (kept != 0) std::memcpy(&log_state.text[log_state.length], bytes, kept);
  log_state.length += kept;
  return VK_EOK;
}

int append_formatted(const char* format, va_list arguments) {
  const uint32_t length = log_state.length;
  const int added =
      std::vsnprintf(&log_state.text[length], log_state.text.size() - length, format, arguments);
  if (added <= 0) return added;
  log_state.length += std::min(static_cast<uint32_t>(added), LogState::kCapacity - length);
  return static_cast<int>(log_state.length);
}

}  // namespace

void log_ensure_initialised() {
  if (log_state.initialised) return;
  log_state = {};
  vk_stream_init(&log_state.stream, append, nullptr);
  open_connection(LOG_USER);
  log_state.initialised = true;
  vk_log_stream = &log_state.stream;
}

}  // namespace vesk

using vesk::log_state;

int vk_log_begin_message(int category, int level, const char*, unsigned int, const char*) {
  vesk::log_ensure_initialised();
  log_state.length = 0;
  log_state.priority = vesk::priority_of(level);
  vesk::switch_to_facility_of(category);
  return vk_log_printf("%s: ", vk_module_ctx == nullptr ? "NONE" : vk_module_ctx->name);
}

int vk_log_printf(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  const int result = vesk::append_formatted(format, arguments);
  va_end(arguments);
  return result;
}

void vk_log_end_message(void) {
  log_state.text[log_state.length] = '\0';
  syslog(log_state.priority, "%s", log_state.text.data());
}

void vk_log(int category, int level, const char* file, unsigned int line, const char* function,
            const char* format, ...) {
  vk_log_begin_message(category, level, file, line, function);
  va_list arguments;
  va_start(arguments, format);
  vesk::append_formatted(format, arguments);
  va_end(arguments);
  vk_log_end_message();
}
