#pragma once

#include "vesk/value/node.h"

namespace vesk::modules {

/// Adds to an array the names of the parameters that have another value than before, or were not
/// there before. Counters, which are below "Stats", are passed over.
/// @param before null if there was nothing
/// @param path   the name of what is compared
[[nodiscard]] vk_error add_changes(vk_value* names, const vk_value* before, const vk_value& now,
                                   const char* path);

}  // namespace vesk::modules
