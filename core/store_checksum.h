#pragma once

// CRC-32C, the cyclic redundancy check with Castagnoli's polynomial (the one of iSCSI, RFC 3720):
// reflected, begun with and ended by all ones.

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

namespace vesk::core {

namespace crc32c {

constexpr std::array<uint32_t, 256> make_table() {
  std::array<uint32_t, 256> table{};
  for (uint32_t byte = 0; byte < 256; ++byte) {
    uint32_t rest = byte;
    for (int bit = 0; bit < 8; ++bit)
      rest = (rest & 1) != 0 ? (rest >> 1) ^ 0x82F63B78U : rest >> 1;
    table[byte] = rest;
  }
  return table;
}

inline constexpr std::array<uint32_t, 256> kTable = make_table();

}  // namespace crc32c

/// The check of bytes that follow others.
/// @param before the check of those others; 0 if there are none
inline uint32_t checksum(std::span<const std::byte> bytes, uint32_t before = 0) {
  uint32_t rest = ~before;
  for (const std::byte byte : bytes) {
    rest = crc32c::kTable[(rest ^ std::to_integer<uint32_t>(byte)) & 0xFF] ^ (rest >> 8);
  }
  return ~rest;
}

}  // namespace vesk::core
