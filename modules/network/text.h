#pragma once

// Numbers and addresses of the kernel in the words of the data model.

#include <linux/rtnetlink.h>
#include <netinet/in.h>

#include <array>
#include <cstdint>

namespace vesk::modules {

std::array<char, 11> number_text(uint32_t number);

/// The name of an instance: "Device.IP.Interface.2" for the table "Device.IP.Interface" and 2.
std::array<char, 64> instance_text(const char* table, uint32_t number);

/// "02:00:5E:00:53:01"; empty for anything but six bytes.
std::array<char, 18> mac_text(const rtattr* address);

/// An address of IPv4 or IPv6; empty if the family is another or the address is not as long as that
/// family's.
std::array<char, INET6_ADDRSTRLEN> ip_text(int family, const rtattr* address);

/// The mask of a prefix of IPv4: "255.255.255.0" for 24. Above 32 it is that for 32.
std::array<char, INET_ADDRSTRLEN> mask_text(uint8_t prefix);

}  // namespace vesk::modules
