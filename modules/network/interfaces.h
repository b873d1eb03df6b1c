#pragma once

#include "vesk/value/node.h"

namespace vesk::modules {

/// Fills an object with the members "Ethernet" and "IP" of Device as the kernel tells them. The
/// kernel's number of an interface is its instance number.
[[nodiscard]] vk_error add_interfaces(vk_value* device);

}  // namespace vesk::modules
