// Device.DeviceInfo, from the running system. What is answered is never older than a second. Only
// "ProvisioningCode" can be written; it is kept in storage, and a set waits for its commit.

#include <array>
#include <cstring>

#include "lib/support/owned.h"
#include "modules/deviceinfo/snapshot.h"
#include "modules/support/system_files.h"
#include "vesk/runtime.h"
#include "vesk/vesk.h"

namespace vesk::modules {
namespace {

constexpr const char kCode[] = "ProvisioningCode";
constexpr std::size_t kLongestCode = 64;  // TR-181

using CodeText = std::array<char, kLongestCode + 1>;
using OwnedFrame = Owned<vk_frame, vk_frame_delete>;

CodeText code{};      // what is served
CodeText new_code{};  // what the next commit makes of it, if `changed`
bool changed = false;

vk_value* device_info = nullptr;  // any, or the last snapshot, whole
uint32_t taken_at = 0;
ProcessorTime load_told_at;

// Takes the snapshot anew once a second. The tree keeps its place.
vk_error refresh() {
  const uint32_t now = vk_datetime_get_monotonic();
  if (device_info->type == VK_TYPE_OBJECT && taken_at == now) return VK_EOK;
  vk_value_clear(device_info);
  vk_object_init_with_policy(device_info, VK_POLICY_ORDERED);
  vk_error error = take_snapshot(device_info, load_told_at);
  if (error == VK_EOK) error = vk_object_set_string(device_info, kCode, code.data());
  if (error != VK_EOK) vk_value_clear(device_info);
  taken_at = now;
  return error;
}

// A handler that reads the tree.
template <dm_handler Handler>
uint32_t fresh(vk_frame* frame, void* tree) {
  const vk_error error = refresh();
  return error != VK_EOK ? error : Handler(frame, tree);
}

bool is_code(const vk_frame* frame) {
  const vk_path_node* const path = vk_frame_get_extra_path(frame);
  return path != nullptr && path->next == nullptr && std::strcmp(path->name, kCode) == 0;
}

uint32_t info(vk_frame* frame, void* tree) {
  const uint32_t held = dm_provider_default_provide(frame, tree);
  return held != VK_EOK ? held : dm_frame_set_parameter_info(frame, is_code(frame), 0);
}

// False for a text that is too long.
bool take(CodeText& into, const char* text) {
  const std::size_t length = std::strlen(text);
  if (length > kLongestCode) return false;
  std::memcpy(into.data(), text, length + 1);
  return true;
}

uint32_t set(vk_frame* frame, void*) {
  if (!is_code(frame)) return VK_ERO;
  const vk_value* const value = vk_object_find_item(vk_frame2value(frame), "Value");
  if (value == nullptr || value->type != VK_TYPE_STRING) return VK_ETYPE;
  if (!take(new_code, value->payload.text)) return VK_EVALUE;
  changed = true;
  return VK_EOK;
}

vk_error save(const CodeText& text) {
  const OwnedFrame frame(vk_frame_new(nullptr));
  if (frame == nullptr) return VK_ENOMEM;
  const vk_error error = vk_object_set_string(vk_frame2value(frame.get()), kCode, text.data());
  return error != VK_EOK ? error : vk_storage_save("deviceinfo", frame.get());
}

uint32_t commit(vk_frame*, void*) {
  if (!changed) return VK_EOK;
  changed = false;
  const CodeText saving = new_code;  // while the call waits another set may come
  const vk_error error = save(saving);
  if (error != VK_EOK) return error;
  code = saving;
  vk_value_clear(device_info);  // to be taken anew
  return VK_EOK;
}

uint32_t rollback(vk_frame*, void*) {
  changed = false;
  return VK_EOK;
}

uint32_t serve(void*, vk_frame* frame, void* tree) {
  static dm_handlers handlers = {.get = fresh<dm_provider_default_get>,
                                 .set = set,
                                 .info = fresh<info>,
                                 .add = nullptr,
                                 .del = nullptr,
                                 .getattr = nullptr,
                                 .setattr = nullptr,
                                 .commit = commit,
                                 .rollback = rollback,
                                 .config = nullptr,
                                 .level = fresh<dm_provider_default_level>,
                                 .provide = fresh<dm_provider_default_provide>,
                                 .other = nullptr};
  return dmmgr_handler_funcs(&handlers, frame, tree);
}

// The code that was saved, if there is one that is of use. Of other failures the module ends, to be
// started again: it must not pass for having none.
vk_error load_code() {
  const OwnedFrame saved(vk_frame_new(nullptr));
  if (saved == nullptr) return VK_ENOMEM;
  const uint32_t result = vk_frame_call("sys.persistent.load.deviceinfo", saved.get());
  if (result == VK_ENOENT) return VK_EOK;
  if (result != VK_EOK && result != VK_EVALUE) return result;
  const vk_value* const text = vk_value_find_by_path(vk_frame2value(saved.get()), kCode);
  const bool found = text != nullptr && text->type == VK_TYPE_STRING;
  if (!found || !take(code, text->payload.text)) {
    VK_LOG(1, VK_LOG_ERROR, "The saved %s is of no use", kCode);
  }
  return VK_EOK;
}

void stop(void*) {
  vk_value_delete(device_info);
  device_info = nullptr;
}

vk_error start(void** argument) {
  set_root_from_parameters();
  code = {};
  changed = false;
  device_info = vk_value_new(vk_module_ctx->heap);
  if (device_info == nullptr) return VK_ENOMEM;
  *argument = device_info;
  vk_error error = load_code();
  if (error == VK_EOK) error = vk_frame_handler_register("dm.Device.DeviceInfo", serve, nullptr);
  if (error != VK_EOK) stop(nullptr);
  return error;
}

}  // namespace
}  // namespace vesk::modules

int main(int argc, char** argv) {
  static const vk_module_descriptor descriptor = {"deviceinfo", "1.0", vesk::modules::start,
                                                  vesk::modules::stop};
  return vk_module_main(argc, argv, &descriptor);
}
