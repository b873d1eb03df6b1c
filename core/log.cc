#include "core/log.h"

#include <cstdarg>
#include <cstdio>

namespace vesk::core {
namespace {

// A message with its prefix has 255 bytes in the library's log.
constexpr std::size_t kRoom = 256;
constexpr std::size_t kLongestEscaped = 64;

bool foreground = false;

}  // namespace

void log_to_standard_error() { foreground = true; }

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
    if (byte >= 0x20 && byte != 0x7F && byte != '\\') {
      safe += character;
      continue;
    }
    char code[5];
    std::snprintf(code, sizeof code, "\\x%02X", byte);
    safe += code;
  }
  return safe;
}

bool LogBudget::spend(const Peer& peer, Clock::time_point now) {
  std::erase_if(windows_, [now](const auto& entry) {
    return now - entry.second.begin >= std::chrono::seconds(1);
  });
  const auto [entry, fresh] = windows_.try_emplace({peer.pid, peer.uid}, Window{now, 0});
  return entry->second.spent++ < kMessagesInASecond;
}

}  // namespace vesk::core
