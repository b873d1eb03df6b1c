#pragma once

// The hooks of libvesk, which lead to the module of this process.

#include "vesk/error.h"

namespace vesk::rt {

class Module;

/// Leads them to a module.
/// @return `VK_EOK`; `VK_EBUSY` if there is one already; `VK_EFAULT` if the process is a module's
[[nodiscard]] vk_error take_hooks(Module& module);

/// Leads them nowhere, if it was to this module.
void release_hooks(const Module& module);

}  // namespace vesk::rt
