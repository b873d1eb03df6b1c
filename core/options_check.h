#pragma once

// Whether a core could start with its options.

#include <string>
#include <vector>

#include "core/options.h"

namespace vesk::core {

/// What is in the way, a text for each, which begins with the option. Looks at the socket's and the
/// store's folders and files, changes none, and takes no lock: a core may be running meanwhile.
std::vector<std::string> obstacles(const Options& options);

}  // namespace vesk::core
