#pragma once

#include <cstdint>

namespace vesk::core {

/// What the exception that is being handled means to whoever asked: `VK_ENOMEM` or `VK_EINTERNAL`.
uint32_t status_of_failure() noexcept;

}  // namespace vesk::core
