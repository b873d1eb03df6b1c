#pragma once

// Messages in memory: what is sent is encoded whole and held against the limits before a byte of it
// leaves, and what was read is decoded aside before anything of the caller's changes.

#include <cstdint>
#include <span>

#include "lib/support/byte_buffer.h"
#include "runtime/scan.h"
#include "vesk/value/node.h"

namespace vesk::rt {

/// Appends a request. A null value is sent as type any.
/// @return `VK_EOK`; `VK_ENOMEM`; `VK_EINVAL` for what the format cannot say; `VK_EVALUE` for what
///         breaks a limit
[[nodiscard]] vk_error put_request(ByteBuffer& bytes, uint32_t tag, const char* path,
                                   uint32_t action, const vk_value* value, const Limits& limits);

/// Appends a response, in the same way.
[[nodiscard]] vk_error put_response(ByteBuffer& bytes, uint32_t status, const vk_value* value,
                                    const Limits& limits);

/// Takes a complete response. A tree that it carries takes the place of what the node held; type
/// any leaves the node as it is.
/// @param value may be null
/// @return the status; `VK_ENOMEM`, with the node as it was, if there is no memory for the tree
[[nodiscard]] uint32_t take_response(std::span<const std::byte> message, vk_value* value);

/// Reads the tree of a complete message into a fresh node. A name that comes twice in one object
/// gives one member, with the later value.
/// @return `VK_EOK`; `VK_ENOMEM`
[[nodiscard]] vk_error read_tree(std::span<const std::byte> bytes, vk_value& fresh);

/// The number at a place of a message.
uint32_t number_at(std::span<const std::byte> message, std::size_t place);

}  // namespace vesk::rt
