#pragma once

// The state of logging, in one record so that tests can begin with that of a fresh process.

#include <syslog.h>

#include <array>
#include <cstdint>

#include "vesk/log.h"

namespace vesk {

struct LogState {
  static constexpr uint32_t kCapacity = 255;

  bool initialised = false;
  vk_stream stream = {};
  std::array<char, kCapacity + 1> text = {};
  uint32_t length = 0;
  int priority = LOG_DEBUG;
  int facility = LOG_USER;  ///< the one with which the connection to syslog is open
  std::array<int, VK_LOG_CATEGORIES> category_facilities = {LOG_USER, LOG_USER, LOG_USER};
};

extern LogState log_state;

/// Opens the connection and makes `vk_log_stream` ready, unless that has been done.
void log_ensure_initialised();

/// The category of the library's own messages.
inline constexpr int kLogLibrary = 0;

}  // namespace vesk
