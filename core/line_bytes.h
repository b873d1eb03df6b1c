#pragma once

// What goes out on a connection: the head of a message and its tree, which may be shared.

#include <array>
#include <asio/buffer.hpp>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "core/exchange.h"

namespace vesk::core {

/// What stands before a tree. It is small and not charged to anybody's account, so that an answer
/// finds room when the buffers are full.
using Head = std::vector<std::byte>;
Head head_of(const Message& message);
Head head_of(const Answer& answer);

/// Whether a tree is of type any.
bool is_any(std::span<const std::byte> tree);

/// What is still to be sent.
using Parts = std::array<asio::const_buffer, 2>;
/// @param tree without bytes it is any
Parts parts_of(std::span<const std::byte> head, std::span<const std::byte> tree);

/// Sends what the peer has room for now, and takes it off the parts.
/// @return false if the connection has failed
bool send_now(int connection, Parts& parts);

/// Answers whatever the peer asks or is about to ask, if that can be done at once. The connection
/// is then of no more use.
void tell(int connection, uint32_t status);

/// Whether a transfer that failed may be tried again.
bool is_later(int error);

}  // namespace vesk::core
