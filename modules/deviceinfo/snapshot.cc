#include "modules/deviceinfo/snapshot.h"

#include <sys/utsname.h>

#include <array>
#include <cstdio>
#include <cstring>

#include "modules/support/object_builder.h"
#include "modules/support/system_files.h"
#include "vesk/datetime.h"
#include "vesk/module.h"

namespace vesk::modules {
namespace {

// A parameter and where it is told: by the firmware's tables on a PC, by the device tree elsewhere.
struct Identity {
  const char* parameter;
  const char* dmi;
  const char* device_tree;
  const char* end;  // which character ends it in the device tree
};

constexpr std::array kIdentity = {
    // The first of "compatible" is "maker,model".
    Identity{"Manufacturer", "sys_vendor", "compatible", ","},
    Identity{"ModelName", "product_name", "model", ""},
    Identity{"ProductClass", "product_name", "model", ""},
    Identity{"SerialNumber", "product_serial", "serial-number", ""},
    Identity{"HardwareVersion", "product_version", "model", ""},
};

bool read_from(const char* folder, const char* name, Text& text) {
  std::array<char, 64> path;
  std::snprintf(path.data(), path.size(), "%s/%s", folder, name);
  return read_line(path.data(), text);
}

void add_identity(ObjectBuilder& info, const Identity& row) {
  char* configured = nullptr;
  if (vk_module_get_param_str(row.parameter, &configured) == VK_EOK) {
    return info.text(row.parameter, configured);
  }
  Text text{};
  if (!read_from("/sys/class/dmi/id", row.dmi, text) &&
      read_from("/proc/device-tree", row.device_tree, text)) {
    text[std::strcspn(text.data(), row.end)] = '\0';
  }
  info.text(row.parameter, text.data());
}

void add_manufacturer_oui(ObjectBuilder& info) {
  char* configured = nullptr;
  if (vk_module_get_param_str("ManufacturerOUI", &configured) == VK_EOK) {
    info.text("ManufacturerOUI", configured);
  }
}

void add_versions(ObjectBuilder& info) {
  utsname system{};
  uname(&system);
  std::array<char, sizeof system.sysname + sizeof system.release> kernel;
  std::snprintf(kernel.data(), kernel.size(), "%s %s", system.sysname, system.release);
  Text release;
  if (!read_file("/etc/os-release", release)) read_file("/usr/lib/os-release", release);
  const Text name = value_of(release, "PRETTY_NAME");
  info.text("SoftwareVersion", name[0] == '\0' ? kernel.data() : name.data());
  info.text("AdditionalSoftwareVersion", kernel.data());
  info.text("AdditionalHardwareVersion", system.machine);
}

void add_memory(ObjectBuilder& info) {
  Text memory;
  read_file("/proc/meminfo", memory);
  ObjectBuilder status = info.object("MemoryStatus");
  status.number("Total", number_of(value_of(memory, "MemTotal")));
  status.number("Free", number_of(value_of(memory, "MemFree")));
  info.include(status);
}

}  // namespace

vk_error take_snapshot(vk_value* device_info, ProcessorTime& last) {
  ObjectBuilder info(device_info);
  for (const Identity& row : kIdentity) add_identity(info, row);
  add_manufacturer_oui(info);
  add_versions(info);
  info.number("UpTime", vk_datetime_get_monotonic());
  add_memory(info);
  ObjectBuilder processes = info.object("ProcessStatus");
  add_process_status(processes, last);
  info.include(processes);
  return info.error();
}

}  // namespace vesk::modules
