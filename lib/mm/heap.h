#pragma once

#include "vesk/mm/heap.h"

namespace vesk {

/// The live heaps, newest first, linked by `next`. Nothing walks them: the list is for inspection.
extern vk_allocator* live_heaps;

}  // namespace vesk
