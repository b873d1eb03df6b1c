#include "core/failure.h"

#include <new>

#include "vesk/error.h"

namespace vesk::core {

uint32_t status_of_failure() noexcept try { throw; } catch (const std::bad_alloc&) {
  return VK_ENOMEM;
} catch (...) {
  return VK_EINTERNAL;
}

}  // namespace vesk::core
