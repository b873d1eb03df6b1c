#pragma once

// Lets a test run as a module process does.

#include "vesk/module.h"

namespace vesk::test {

/// Makes this process the named module's while it lives. One at a time, and made after a `LogSpy`,
/// which begins without a module.
struct ModuleProcess {
  explicit ModuleProcess(const char* name) : context{name, nullptr, nullptr} {
    vk_module_ctx = &context;
  }
  ~ModuleProcess() { vk_module_ctx = nullptr; }
  ModuleProcess(const ModuleProcess&) = delete;
  ModuleProcess& operator=(const ModuleProcess&) = delete;

  vk_module_context context;
};

}  // namespace vesk::test
