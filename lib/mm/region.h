#pragma once

// The memory of a stack: chunks from the default heap, linked newest first, and one object growing
// at the end of the newest.
//
//     chunk                                                              limit
//     | limit | prev | finished objects ... | growing object | free bytes |
//                                           ^ object          ^ next_free
//
// A chunk is given back early only when the object that outgrew it was all that it held. Where no
// chunk could be had, `chunk` and the other pointers are null and the next request asks again.

#include <cstddef>

#include "vesk/mm/stack.h"

namespace vesk {

/// Begins a region with one chunk. False if that could not be had; the region is usable all the
/// same.
[[nodiscard]] bool region_begin(vk_mm_region& region);

/// Gives all chunks back. The region must be begun again before it is used again.
void region_release(vk_mm_region& region);

/// Takes `size` bytes at the end of the growing object, which they end, even one that was dropped.
/// Gives the object's beginning, or null, with nothing changed, if no chunk could be had.
[[nodiscard]] char* region_take(vk_mm_region& region, std::size_t size);

/// Appends bytes to the growing object. If they find no room, the object is dropped, and so is what
/// is appended to it until it is finished.
void region_grow(vk_mm_region& region, const void* bytes, std::size_t count);

/// Ends the growing object; null if it was dropped.
char* region_finish(vk_mm_region& region);

/// Whether an address lies in the contents of a chunk.
bool region_owns(const vk_mm_region& region, const void* pointer);

}  // namespace vesk
