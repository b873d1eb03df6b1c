#pragma once

#include "vesk/log_names.h"

namespace vesk {
/// How many entries the table of facilities has, with the one that ends it.
inline constexpr int kFacilityCount = 23;
}  // namespace vesk

extern "C" {
/// The library's own name for its table of facilities: an object of the name `facilitynames` in a
/// program takes the place of the exported one.
extern const vk_log_name vesk_own_facilitynames[vesk::kFacilityCount]
    __attribute__((visibility("hidden")));
}
