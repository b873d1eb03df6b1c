#pragma once

#include "vesk/dmmgr/frame.h"

namespace vesk {

/// The member that holds the result of a request.
inline constexpr char kParameterList[] = "ParameterList";

}  // namespace vesk
