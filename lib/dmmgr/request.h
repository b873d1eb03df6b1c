#pragma once

#include "vesk/dmmgr/request.h"

namespace vesk {

/// The root of the data model once it is known. Apart, so that tests can begin anew.
extern const char* dm_root;

}  // namespace vesk
