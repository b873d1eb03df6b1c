#pragma once

#include <cstdint>

#include "vesk/value/node.h"

namespace vesk::modules {

/// Fills an object with the member "Hosts" of Device: the neighbours that have told their hardware
/// address.
/// @param before an object that was filled before, or null; hosts that were there keep their number
/// @param last   the last number that was given to a host; never goes back
[[nodiscard]] vk_error add_hosts(vk_value* device, const vk_value* before, uint32_t& last);

}  // namespace vesk::modules
