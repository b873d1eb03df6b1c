#pragma once

// How a line begins: the requests that make it one of a module.

#include "runtime/line.h"
#include "runtime/scan.h"
#include "vesk/runtime.h"

namespace vesk::rt {

/// Asks for a line to be one of the module's: its main line, or one for its calls.
/// @param limits  receives what the core allows; what it does not say stays
/// @param refused receives whether the result is what the core said
/// @return `VK_EOK`; what the core said if it refused; `VK_EIO`; `VK_ETIMEDOUT`; `VK_ENOMEM`
[[nodiscard]] vk_error open_as_module(Line& line, const vk_module_descriptor& descriptor,
                                      const Deadline& deadline, Limits& limits, bool& refused);

/// Asks for a line to be turned round, in the same way. After `VK_ETIMEDOUT` the answer may still
/// come.
[[nodiscard]] vk_error open_for_serving(Line& line, const vk_module_descriptor& descriptor,
                                        const Deadline& deadline, bool& refused);

}  // namespace vesk::rt
