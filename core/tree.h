#pragma once

// Trees of values from and to the bytes of the wire.

#include <cstddef>
#include <cstdint>
#include <span>

#include "core/call.h"
#include "lib/value/node.h"

namespace vesk::core {

/// Reads a tree that was scanned; null, and no bytes, stand for any. Throws `bad_alloc`.
OwnedValue decode(std::span<const std::byte> bytes, vk_allocator* heap);
OwnedValue decode(const Bytes* bytes, vk_allocator* heap = vk_default_allocator());

/// Throws `bad_alloc`.
Bytes encode(const vk_value& value);

/// The member of that name; null if the node is no object or has none.
vk_value* member(const vk_value& value, const char* name);
/// The same if it has that type, otherwise null.
vk_value* member(const vk_value& value, const char* name, vk_type type);

/// The text of an object's member; null if there is none or it is no string.
const char* text_member(const vk_value& object, const char* name);

/// The number of an object's member; null if there is none or it is no unsignedInt.
const uint32_t* number_member(const vk_value& object, const char* name);

}  // namespace vesk::core
