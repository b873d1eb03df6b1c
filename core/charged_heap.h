#pragma once

#include "vesk/mm/heap.h"

namespace vesk::core {

/// Makes a heap whose blocks are charged to the account of messages, so that trees that are read
/// from messages and stay for a while take no more memory than that allows. Its blocks must have
/// been freed before it is deleted; they cannot be resized.
/// @return null without memory; otherwise to be deleted by `vk_allocator_delete`
vk_allocator* new_charged_heap(const char* name);

}  // namespace vesk::core
