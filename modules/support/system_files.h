#pragma once

// The small files in which the running system tells about itself. All paths go below one root, "/"
// unless the module's parameter "root" names another.

#include <array>
#include <cstddef>
#include <cstdint>

namespace vesk::modules {

/// What one line or small file holds.
using Text = std::array<char, 4096>;

/// Takes the root from the module's parameters.
void set_root_from_parameters();

/// A path below the root; cut if it is longer than a text.
Text below_root(const char* path);

/// Reads a file as a text, one that is too long up to the end of a line. False, and an empty text,
/// if it cannot be read or there is nothing in it.
bool read_file(const char* path, Text& text);

/// Reads the first line of a file without its end and the white space around it. False, and an
/// empty text, if it cannot be read or there is nothing in it.
bool read_line(const char* path, Text& line);

/// The value behind "KEY=" or "KEY:" at the beginning of a line, without white space around it, and
/// without the quotes of a shell and what they escape; an empty text if there is none.
Text value_of(const Text& lines, const char* key);

/// A decimal number at the beginning of a text; 0 if there is none.
uint64_t number_of(const Text& text);

}  // namespace vesk::modules
