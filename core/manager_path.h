#pragma once

// Names of parameters and objects as the manager's callers write them.
//
// A name is components joined by "."; a final "." makes it that of an object. "" and "." are the
// root. Components are taken as they are, so there is one way to write each: an instance number is
// plain decimal without a leading zero, and no component is empty or "$".

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "core/call.h"
#include "runtime/scan.h"

namespace vesk::core::dm {

struct Name {
  Path path;
  bool partial;  ///< the root, or with a final "."
};

/// Reads a name; none if it is not a sound one or could not be asked for within the limits.
std::optional<Name> read_name(std::string_view text, const rt::Limits& limits);

/// The components joined by ".".
std::string joined(const Path& path);
/// The same with a final "."; empty for the root.
std::string joined_object(const Path& path);

/// A path with one more component.
Path child_of(const Path& path, const std::string& name);

/// Whether a child can have that name: one sound component, which could be asked for within the
/// limits.
/// @param above how long the name of its object is, with the final "."
bool can_be_child(const std::string& name, std::size_t above, const rt::Limits& limits);

/// Whether a component is an instance number.
bool is_instance(std::string_view component);

}  // namespace vesk::core::dm
