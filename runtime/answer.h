#pragma once

// How a module answers one request.

#include <cstdint>
#include <span>

#include "lib/support/byte_buffer.h"
#include "runtime/registry.h"
#include "runtime/scan.h"

namespace vesk::rt {

/// Has a request answered by the handler of its number.
/// @param bytes    a complete message
/// @param value_at where its value begins
/// @param argument what handlers receive as their third argument, looked up when they are called
/// @param answer   receives the response if it carries a tree; left empty if it carries none, which
///                 is so where nobody answered, and where the tree is as it came
/// @return the status of the response
uint32_t answer_request(std::span<const std::byte> bytes, std::size_t value_at,
                        const Registry& registry, void* const& argument, const Limits& limits,
                        ByteBuffer& answer);

}  // namespace vesk::rt
