#pragma once

// Numbers in texts, by the rules that a 32-bit libc has for the strtol family in base 10, on every
// machine: leading white space and one sign are accepted, and reading stops at the first character
// that is not a digit. A text without digits is 0. Only a number out of range sets `errno`, to
// ERANGE. Each gives in `end`, if that is not null, where reading stopped: at the text's beginning
// if there were no digits.

#include <cstdint>

namespace vesk {

/// strtol: from -2^31 to 2^31 - 1; out of range gives the nearer bound.
int32_t text_to_int32(const char* text, const char** end);

/// strtoul: digits up to 2^32 - 1, then the sign modulo 2^32 ("-1" is 4294967295); out of range
/// gives 2^32 - 1.
uint32_t text_to_uint32(const char* text, const char** end);

/// strtoll, with 64 bits.
int64_t text_to_int64(const char* text, const char** end);

/// strtoull, with 64 bits.
uint64_t text_to_uint64(const char* text, const char** end);

}  // namespace vesk
