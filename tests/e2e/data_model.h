#pragma once

// The data model that the answering process serves; the tests know it too.

#include <vesk/vesk.h>

namespace vesk::test {

inline constexpr const char kValuesPath[] = "cwmp.rpc.GetParameterValues";

struct Parameter {
  const char* name;
  vk_type type;
  const char* text;
};

inline constexpr Parameter kDeviceInfo[] = {
    {"UpTime", VK_TYPE_UNSIGNEDINT, "4242"},
    {"Name", VK_TYPE_STRING, "gateway"},
    {"Remark", VK_TYPE_STRING, ""},
    {"Enabled", VK_TYPE_BOOLEAN, "true"},
    {"Offset", VK_TYPE_INT, "-7"},
    {"Received", VK_TYPE_UNSIGNEDLONG, "1099511627776"},
    {"Balance", VK_TYPE_LONG, "-1099511627776"},
    {"Since", VK_TYPE_DATETIME, "2024-03-01T12:00:00.25Z"},
    {"Key", VK_TYPE_HEXBINARY, "0A1B00FF"},
    {"Token", VK_TYPE_BASE64, "Chs="},
};

inline void add(vk_value* object, const Parameter& parameter) {
  vk_value* const leaf = vk_object_init_item(object, parameter.name);
  VK_ASSERT(leaf != nullptr);
  VK_ASSERT(vk_value_set_from_string(leaf, parameter.type, parameter.text) == VK_EOK);
}

inline vk_value* add_object(vk_value* object, const char* name,
                            uint32_t policy = VK_POLICY_ORDERED) {
  vk_value* const member = vk_object_init_object_with_policy(object, name, policy);
  VK_ASSERT(member != nullptr);
  return member;
}

/// {"Device": {"DeviceInfo": leaves of all types, "Host": a table of two}}; the caller's.
inline vk_value* new_data_model() {
  vk_value* const root = vk_object_new_with_policy(vk_default_allocator(), VK_POLICY_ORDERED);
  VK_ASSERT(root != nullptr);
  vk_value* const device = add_object(root, "Device");
  vk_value* const info = add_object(device, "DeviceInfo");
  for (const Parameter& parameter : kDeviceInfo) add(info, parameter);
  vk_value* const hosts = add_object(device, "Host", VK_POLICY_INDEXED);
  add(add_object(hosts, "1"), {"HostName", VK_TYPE_STRING, "printer"});
  add(add_object(hosts, "2"), {"HostName", VK_TYPE_STRING, "camera"});
  return root;
}

}  // namespace vesk::test
