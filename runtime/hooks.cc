#include "runtime/hooks.h"

#include "runtime/module.h"

namespace vesk::rt {
namespace {

constinit Module* current = nullptr;

uint32_t call(const vk_path_node* path, uint32_t action, vk_value* value) {
  return current == nullptr ? VK_ENOANSWER : current->call(path, action, value);
}

vk_error add_handler(const char* path, vk_frame_handler handler, void* data) {
  return current == nullptr ? VK_ENOSYS : current->add_handler(path, handler, data);
}

vk_error del_handler(const char* path, vk_frame_handler handler, void* data) {
  return current == nullptr ? VK_ENOSYS : current->del_handler(path, handler, data);
}

constexpr vk_frame_handler_ops kHooks = {call, add_handler, del_handler};

}  // namespace

vk_error take_hooks(Module& module) {
  if (current != nullptr) return VK_EBUSY;
  const vk_error error = vk_frame_handler_setup(&kHooks);
  if (error == VK_EOK) current = &module;
  return error;
}

void release_hooks(const Module& module) {
  if (current == &module) current = nullptr;
}

}  // namespace vesk::rt
