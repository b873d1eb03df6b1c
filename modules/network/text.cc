#include "modules/network/text.h"

#include <arpa/inet.h>

#include <cinttypes>
#include <cstdio>

namespace vesk::modules {
namespace {

// 0 for any other family, of which `inet_ntop` makes no text.
std::size_t address_size(int family) {
  if (family == AF_INET) return sizeof(in_addr);
  return family == AF_INET6 ? sizeof(in6_addr) : 0;
}

}  // namespace

std::array<char, 11> number_text(uint32_t number) {
  std::array<char, 11> text;
  std::snprintf(text.data(), text.size(), "%" PRIu32, number);
  return text;
}

std::array<char, 64> instance_text(const char* table, uint32_t number) {
  std::array<char, 64> text;
  std::snprintf(text.data(), text.size(), "%s.%" PRIu32, table, number);
  return text;
}

std::array<char, 18> mac_text(const rtattr* address) {
  std::array<char, 18> text{};
  if (address == nullptr || RTA_PAYLOAD(address) != 6) return text;
  const auto* const b = static_cast<const uint8_t*>(RTA_DATA(address));
  std::snprintf(text.data(), text.size(), "%02X:%02X:%02X:%02X:%02X:%02X", b[0], b[1], b[2], b[3],
                b[4], b[5]);
  return text;
}

std::array<char, INET6_ADDRSTRLEN> ip_text(int family, const rtattr* address) {
  std::array<char, INET6_ADDRSTRLEN> text{};
  const std::size_t size = address_size(family);
  if (address != nullptr && RTA_PAYLOAD(address) == size) {
    inet_ntop(family, RTA_DATA(address), text.data(), text.size());
  }
  return text;
}

std::array<char, INET_ADDRSTRLEN> mask_text(uint8_t prefix) {
  std::array<char, INET_ADDRSTRLEN> text{};
  const unsigned int host_bits = prefix < 32 ? 32U - prefix : 0;
  const in_addr mask{htonl(static_cast<uint32_t>(~uint64_t{0} << host_bits))};
  inet_ntop(AF_INET, &mask, text.data(), text.size());
  return text;
}

}  // namespace vesk::modules
