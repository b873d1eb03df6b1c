#pragma once

// What no format can write.

#include <cwchar>

namespace vesk::test {

/// A lone surrogate: no locale has an encoding for it, so formatting it with "%lc" fails with
/// EILSEQ.
inline constexpr std::wint_t kUnencodable = 0xD800;

}  // namespace vesk::test
