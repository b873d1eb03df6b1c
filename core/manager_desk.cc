#include "core/manager_desk.h"

#include "core/manager_faults.h"
#include "vesk/dmmgr/frame.h"

namespace vesk::core::dm {

std::vector<std::string> default_inform_names() {
  return {"InternetGatewayDevice.DeviceSummary",
          "InternetGatewayDevice.DeviceInfo.SpecVersion",
          "InternetGatewayDevice.DeviceInfo.HardwareVersion",
          "InternetGatewayDevice.DeviceInfo.SoftwareVersion",
          "InternetGatewayDevice.DeviceInfo.ProvisioningCode",
          "InternetGatewayDevice.ManagementServer.ConnectionRequestURL",
          "InternetGatewayDevice.ManagementServer.ParameterKey",
          "Device.RootDataModelVersion",
          "Device.DeviceInfo.HardwareVersion",
          "Device.DeviceInfo.SoftwareVersion",
          "Device.DeviceInfo.ProvisioningCode",
          "Device.ManagementServer.ConnectionRequestURL",
          "Device.ManagementServer.ParameterKey"};
}

const vk_value* optional_of(const vk_value& request, const char* name, vk_type type) {
  const vk_value* const found = member(request, name);
  if (found == nullptr || found->type == VK_TYPE_ANY) return nullptr;
  if (found->type != type) refuse_arguments();
  return found;
}

uint32_t flags_of(const vk_value& request) {
  const vk_value* const flags = optional_of(request, "dm-flags", VK_TYPE_UNSIGNEDINT);
  return flags == nullptr ? 0 : flags->payload.u32;
}

bool flag_of(const vk_value& request, const char* name) {
  const vk_value* const found = optional_of(request, name, VK_TYPE_BOOLEAN);
  return found != nullptr && found->payload.flag != 0;
}

void check_key(const vk_value& request) {
  static_cast<void>(optional_of(request, "ParameterKey", VK_TYPE_STRING));
}

std::string text_of(const vk_value& request, const char* name) {
  const vk_value* const text = member(request, name, VK_TYPE_STRING);
  if (text == nullptr) refuse_arguments();
  return text->payload.text;
}

const vk_value& array_of(const vk_value& request, const char* name) {
  const vk_value* const array = member(request, name, VK_TYPE_ARRAY);
  if (array == nullptr) refuse_arguments();
  return *array;
}

std::vector<std::string> texts_of(const vk_value& request, const char* name) {
  std::vector<std::string> texts;
  for (const vk_value& element : each_item(array_of(request, name))) {
    if (element.type != VK_TYPE_STRING) refuse_arguments();
    texts.emplace_back(element.payload.text);
  }
  return texts;
}

Name name_of(const std::string& text, const rt::Limits& limits) {
  std::optional<Name> name = read_name(text, limits);
  if (!name) throw Refusal(fault(text, VK_ENOENT));
  return *std::move(name);
}

}  // namespace vesk::core::dm
