#pragma once

#include "vesk/random.h"

namespace vesk {

/// Whether libc's generator has been seeded. Apart, so that tests can begin anew.
extern bool random_seeded;

}  // namespace vesk
