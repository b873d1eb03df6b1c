#include "vesk/storage/storage.h"

#include <cstring>

#include "lib/frame.h"
#include "lib/log.h"
#include "vesk/mm/gta.h"
#include "vesk/mm/stack.h"

namespace {

constexpr std::size_t kLongestKey = 4096;

bool is_key(const char* text) {
  return text != nullptr && *text != '\0' && strnlen(text, kLongestKey + 1) <= kLongestKey;
}

// The path of a request about a key, on "gta"; null if it could not be made.
const char* path_to(const char* request, const char* key) {
  return vk_mm_stack_printf(vk_gta(), "%s.%s", request, key);
}

}  // namespace

vk_error vk_storage_save(const char* key, vk_frame* frame) {
  if (!is_key(key)) return VK_EINVAL;
  const char* const path = path_to("sys.persistent.save", key);
  return path == nullptr ? VK_ENOMEM : vk_frame_call(path, frame);
}

vk_frame* vk_storage_load(const char* key) {
  if (!is_key(key)) return nullptr;
  vesk::OwnedFrame frame(vk_frame_new(nullptr));
  if (frame == nullptr) {
    vk_log(vesk::kLogLibrary, VK_LOG_ERROR, "lib/storage/storage", __LINE__, __func__,
           "Cannot allocate frame");
    return nullptr;
  }
  const char* const path = path_to("sys.persistent.load", key);
  if (path == nullptr || vk_frame_call(path, frame.get()) != VK_EOK) return nullptr;
  return frame.release();
}

vk_error vk_storage_remove(const char* key) {
  if (!is_key(key)) return VK_EINVAL;
  const char* const path = path_to("sys.persistent.remove", key);
  return path == nullptr ? VK_ENOMEM : vk_frame_call2(path, 0, nullptr);
}
