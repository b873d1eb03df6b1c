#pragma once

// What the core's limits are. Each is an option of the program.

#include <chrono>
#include <cstddef>
#include <cstdint>

#include "runtime/scan.h"

namespace vesk::core {

using Milliseconds = std::chrono::milliseconds;

struct Settings {
  rt::Limits message;               ///< of one message
  std::size_t buffers = 16U << 20;  ///< bytes of all messages together
  uint32_t processes = 64;
  uint32_t lines = 512;      ///< of all processes together
  uint32_t handlers = 1024;  ///< of all modules together
  uint32_t chain = 32;       ///< calls that lead to one another
  uint32_t queue = 64;       ///< requests that wait for one module

  Milliseconds completion{5'000};  ///< from a message's first byte to its last
  Milliseconds taking{5'000};      ///< for a plain client to take its answer
  Milliseconds answer{30'000};     ///< for a module to give a sign of life while it is asked
  Milliseconds waiting{30'000};    ///< of a request in a module's queue
  Milliseconds patience{300'000};  ///< of whoever waits for an answer
};

}  // namespace vesk::core
