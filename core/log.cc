#include "core/log.h"

#include <syslog.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <new>

namespace vesk::core {
namespace {

// A message with its prefix has 255 bytes in the library's log.
constexpr std::size_t kRoom = 256;
constexpr std::size_t kLongestEscaped = 64;
constexpr std::chrono::seconds kSecond{1};

bool foreground = false;

}  // namespace

void log_to_standard_error() {
  foreground = true;
  // The library opens its connection with its first message, and only once for one facility. With
  // the facility 0 that stays.
  vk_log_begin_message(0, VK_LOG_INFO, "core", 0, "log");
  openlog("vesk", LOG_CONS | LOG_PERROR, 0);
}

bool is_logging_to_standard_error() { return foreground; }

void log(int level, const char* format, ...) {
  char text[kRoom];
  va_list arguments;
  va_start(arguments, format);
  std::vsnprintf(text, sizeof text, format, arguments);
  va_end(arguments);
  if (foreground) {
    std::fprintf(stderr, "veskd: %s\n", text);
  } else {
    vk_log(0, level, "core", 0, "log", "%s", text);
  }
}

std::string escaped(std::string_view text) {
  std::string safe;
  for (const char character : text.substr(0, kLongestEscaped)) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte >= 0x20 && byte < 0x7F && byte != '\\') {
      safe += character;
      continue;
    }
    char code[5];
    std::snprintf(code, sizeof code, "\\x%02X", byte);
    safe += code;
  }
  return safe;
}

void complain(const Peer&, const std::string& text) { log(VK_LOG_ERROR, "%s", text.c_str()); }

bool LogBudget::spend(const Peer& peer, Clock::time_point now) noexcept try {
  const auto is_past = [now](Clock::time_point time) { return now - time >= kSecond; };
  std::erase_if(spent_, [&](const auto& entry) {
    return std::all_of(entry.second.times.begin(), entry.second.times.end(), is_past);
  });
  const auto [entry, fresh] = spent_.try_emplace({peer.pid, peer.uid});
  Spent& spent = entry->second;
  if (fresh) spent.times.fill(now - kSecond);
  Clock::time_point& oldest = spent.times[spent.next];
  if (!is_past(oldest)) return false;
  oldest = now;
  spent.next = (spent.next + 1) % spent.times.size();
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

void LogBudget::complain(const Peer& cause, const std::string& text) noexcept {
  if (spend(cause)) core::complain(cause, text);
}

}  // namespace vesk::core
