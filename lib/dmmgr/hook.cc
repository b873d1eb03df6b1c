#include "vesk/dmmgr/hook.h"

#include "lib/value/object.h"
#include "vesk/module.h"
#include "vesk/value/member.h"

namespace {

vk_error ask(const char* path, const char* event, const char* hook) {
  const vesk::OwnedValue request = vesk::new_request(vk_module_ctx->heap);
  if (request == nullptr) return VK_ENOMEM;
  vk_error error = vk_object_set_string(request.get(), "Event", event);
  if (error == VK_EOK) error = vk_object_set_string(request.get(), "Hook", hook);
  return error == VK_EOK ? vk_frame_call2(path, 0, request.get()) : error;
}

}  // namespace

vk_error dm_hook_add(const char* event, const char* hook) {
  return ask("dmmgr.hook.add", event, hook);
}

vk_error dm_hook_del(const char* event, const char* hook) {
  return ask("dmmgr.hook.del", event, hook);
}
