// The interface for modules with a loop of their own.

#include "vesk/runtime.h"

#include "lib/support/made.h"
#include "runtime/module.h"

struct vk_module_runtime : vesk::rt::Module {
  using Module::Module;
};

vk_error vk_module_begin(const vk_module_descriptor* descriptor, const char* socket,
                         vk_value* params, vk_module_runtime** runtime) {
  vesk::Made<vk_module_runtime> made = vesk::make<vk_module_runtime>(*descriptor);
  if (made == nullptr) return VK_ENOMEM;
  bool refused = false;
  vk_error error = made->init(socket, params);
  if (error == VK_EOK) error = made->attach(-1, refused);
  if (error == VK_EOK) error = made->start();
  if (error == VK_EOK) *runtime = made.release();
  return error;
}

int vk_module_get_fd(const vk_module_runtime* runtime) { return runtime->fd(); }

int vk_module_get_timeout(const vk_module_runtime* runtime) { return runtime->timeout(); }

vk_error vk_module_dispatch(vk_module_runtime* runtime) { return runtime->dispatch(); }

void vk_module_end(vk_module_runtime* runtime) {
  const vesk::Made<vk_module_runtime> ended(runtime);
  if (runtime != nullptr) runtime->stop();
}
