#pragma once

// From path texts to the components that everything is decided by, and back.

#include <span>
#include <string>

#include "core/call.h"

namespace vesk::core {

/// The components of a path text, as the library walks it.
Path walk(const std::string& text);

/// The components joined by ".".
std::string join(std::span<const std::string> components);

}  // namespace vesk::core
