#pragma once

#include "modules/deviceinfo/processes.h"
#include "vesk/value/node.h"

namespace vesk::modules {

/// Fills an object with Device.DeviceInfo as the running system tells it, all but
/// "ProvisioningCode". What identifies the device can be told better by parameters of the module
/// with the same names; "ManufacturerOUI", which no system knows, is there only so.
/// @param last as for `add_process_status`
[[nodiscard]] vk_error take_snapshot(vk_value* device_info, ProcessorTime& last);

}  // namespace vesk::modules
