#include "vesk/storage/fd.h"

#include "lib/value/object.h"
#include "vesk/module.h"
#include "vesk/value/member.h"

namespace {

vesk::OwnedValue request_for(int fd) {
  vesk::OwnedValue request = vesk::new_request(vk_module_ctx->heap);
  if (request != nullptr) vk_object_set_int(request.get(), "fd", fd);
  return request;
}

}  // namespace

vk_error vk_fd_register(const char* path, int fd) {
  const vesk::OwnedValue request = request_for(fd);
  if (request == nullptr) return VK_ENOMEM;
  vk_object_set_string(request.get(), "path", path);
  return vk_frame_call2("sys.fd.add", 0, request.get());
}

vk_error vk_fd_unregister(int fd) {
  const vesk::OwnedValue request = request_for(fd);
  return request == nullptr ? VK_ENOMEM : vk_frame_call2("sys.fd.del", 0, request.get());
}

int vk_fd_frame_get_fd(const vk_frame* frame) {
  const vk_value* const fd = vk_object_find_item(frame->value, "fd");
  return fd == nullptr ? -1 : fd->payload.s32;
}
