#include "modules/network/text.h"

#include <gtest/gtest.h>
#include <linux/rtnetlink.h>

#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "tests/unit/modules/table_messages.h"

namespace vesk::test {
namespace {

// An attribute that holds some bytes.
class Attribute {
 public:
  explicit Attribute(std::string_view payload) : bytes_(RTA_SPACE(payload.size())) {
    const rtattr head = {static_cast<uint16_t>(RTA_LENGTH(payload.size())), 1};
    std::memcpy(bytes_.data(), &head, sizeof head);
    std::memcpy(bytes_.data() + RTA_LENGTH(0), payload.data(), payload.size());
  }
  const rtattr* get() const { return reinterpret_cast<const rtattr*>(bytes_.data()); }

 private:
  std::vector<char> bytes_;
};

TEST(NetworkText, OfNumbers) {
  EXPECT_STREQ(modules::number_text(0).data(), "0");
  EXPECT_STREQ(modules::number_text(UINT32_MAX).data(), "4294967295");
}

TEST(NetworkText, OfInstances) {
  EXPECT_STREQ(modules::instance_text("Device.IP.Interface", 2).data(), "Device.IP.Interface.2");
  EXPECT_STREQ(modules::instance_text("Device.Ethernet.Interface", UINT32_MAX).data(),
               "Device.Ethernet.Interface.4294967295");
}

TEST(NetworkText, OfHardwareAddressesOfSixBytes) {
  const Attribute mac(bytes_of("\x02\x00\x5E\xFF\x53\x0A"));
  EXPECT_STREQ(modules::mac_text(mac.get()).data(), "02:00:5E:FF:53:0A");
  const Attribute shorter(bytes_of("\x02\x00\x5E\xFF\x53"));
  const Attribute longer(bytes_of("\x02\x00\x5E\xFF\x53\x0A\x01"));
  EXPECT_STREQ(modules::mac_text(shorter.get()).data(), "");
  EXPECT_STREQ(modules::mac_text(longer.get()).data(), "");
  EXPECT_STREQ(modules::mac_text(nullptr).data(), "");
}

TEST(NetworkText, OfAddressesAsLongAsTheirFamilys) {
  const Attribute four(bytes_of("\xC0\x00\x02\x01"));
  const Attribute sixteen(bytes_of("\x20\x01\x0D\xB8\0\0\0\0\0\0\0\0\0\0\0\x01"));
  EXPECT_STREQ(modules::ip_text(AF_INET, four.get()).data(), "192.0.2.1");
  EXPECT_STREQ(modules::ip_text(AF_INET6, sixteen.get()).data(), "2001:db8::1");
  EXPECT_STREQ(modules::ip_text(AF_INET, sixteen.get()).data(), "");
  EXPECT_STREQ(modules::ip_text(AF_INET6, four.get()).data(), "");
  EXPECT_STREQ(modules::ip_text(AF_BRIDGE, sixteen.get()).data(), "");
  EXPECT_STREQ(modules::ip_text(AF_INET, nullptr).data(), "");
  const Attribute none("");
  EXPECT_STREQ(modules::ip_text(AF_BRIDGE, none.get()).data(), "");
}

TEST(NetworkText, OfMasks) {
  const struct {
    uint8_t prefix;
    const char* mask;
  } rows[] = {{0, "0.0.0.0"},          {1, "128.0.0.0"},        {20, "255.255.240.0"},
              {24, "255.255.255.0"},   {32, "255.255.255.255"}, {33, "255.255.255.255"},
              {255, "255.255.255.255"}};
  for (const auto& row : rows) EXPECT_STREQ(modules::mask_text(row.prefix).data(), row.mask);
}

}  // namespace
}  // namespace vesk::test
