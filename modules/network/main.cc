// Device.Ethernet, Device.IP and Device.Hosts, read-only, from the kernel's tables. What is
// answered is never older than a second. When a link or an address changes, the manager is told
// which parameters have another value than it was told of before; what could not be told then is
// told with the next request.

#include <unistd.h>

#include "lib/support/owned.h"
#include "modules/network/changes.h"
#include "modules/network/hosts.h"
#include "modules/network/interfaces.h"
#include "modules/network/netlink.h"
#include "modules/support/system_files.h"
#include "vesk/runtime.h"
#include "vesk/vesk.h"

namespace vesk::modules {
namespace {

using OwnedValue = Owned<vk_value, vk_value_delete>;

struct Subtree {
  const char* name;
  const char* pattern;
};

Subtree subtrees[] = {
    {"Ethernet", "dm.Device.Ethernet"}, {"IP", "dm.Device.IP"}, {"Hosts", "dm.Device.Hosts"}};

vk_value* shown = nullptr;  // the subtrees as they were last looked at, whole
vk_value* told = nullptr;   // and as the manager knows them
uint32_t looked_at = 0;
uint32_t last_host = 0;
bool untold = false;  // a change was noticed, and the manager does not know of it yet
int watch = -1;

void replace(vk_value*& old, OwnedValue& by) {
  vk_value_delete(old);
  old = by.release();
}

vk_error look_once() {
  OwnedValue now(vk_object_new_with_policy(vk_module_ctx->heap, VK_POLICY_ORDERED));
  if (now == nullptr) return VK_ENOMEM;
  vk_error error = add_interfaces(now.get());
  if (error == VK_EOK) error = add_hosts(now.get(), shown, last_host);
  if (error != VK_EOK) return error;
  replace(shown, now);
  looked_at = vk_datetime_get_monotonic();
  return VK_EOK;
}

// What is shown stays as it was if that fails, as it may for a while when the tables change.
vk_error look() {
  vk_error error = VK_EBUSY;
  for (int attempt = 0; error == VK_EBUSY && attempt < 10; ++attempt) error = look_once();
  return error;
}

OwnedValue copy_of_shown() {
  OwnedValue copy(vk_value_new(vk_module_ctx->heap));
  if (copy != nullptr && vk_value_copy(copy.get(), shown) != VK_EOK) copy = nullptr;
  return copy;
}

uint32_t info(vk_frame* frame, void* tree) {
  const uint32_t held = dm_provider_default_provide(frame, tree);
  return held != VK_EOK ? held : dm_frame_set_parameter_info(frame, 0, 0);
}

uint32_t refuse(vk_frame*, void*) { return VK_ERO; }

uint32_t accept(vk_frame*, void*) { return VK_EOK; }

// What is shown may be looked at anew while the call waits, so it is a copy that was told.
vk_error tell() {
  OwnedValue now = copy_of_shown();
  const OwnedValue request(vk_object_new_with_policy(vk_module_ctx->heap, VK_POLICY_ORDERED));
  if (now == nullptr || request == nullptr) return VK_ENOMEM;
  vk_value* const names = vk_object_init_array(request.get(), "Names");
  if (names == nullptr) return VK_ENOMEM;
  vk_error error = add_changes(names, told, *now, "Device");
  if (error != VK_EOK || vk_array_get_len(names) == 0) return error;
  error = vk_frame_call2("dmmgr.changed", 0, request.get());
  if (error == VK_EOK) replace(told, now);
  return error;
}

// A request that comes while the call waits does not tell as well.
vk_error tell_untold() {
  untold = false;
  const vk_error error = tell();
  if (error != VK_EOK) untold = true;
  return error;
}

// What could not be seen or told when it happened is told with the next request.
vk_error catch_up() {
  if (!untold && looked_at == vk_datetime_get_monotonic()) return VK_EOK;
  const vk_error error = look();
  if (error == VK_EOK && untold) static_cast<void>(tell_untold());
  return error;
}

uint32_t serve(void* subtree, vk_frame* frame, void*) {
  static dm_handlers handlers = {.get = dm_provider_default_get,
                                 .set = refuse,
                                 .info = info,
                                 .add = nullptr,
                                 .del = nullptr,
                                 .getattr = nullptr,
                                 .setattr = nullptr,
                                 .commit = accept,
                                 .rollback = accept,
                                 .config = nullptr,
                                 .level = dm_provider_default_level,
                                 .provide = dm_provider_default_provide,
                                 .other = nullptr};
  const vk_error error = catch_up();
  if (error != VK_EOK) return error;
  vk_value* const tree = vk_object_find_item(shown, static_cast<const Subtree*>(subtree)->name);
  return dmmgr_handler_funcs(&handlers, frame, tree);
}

uint32_t links_changed(void*, vk_frame* frame, void*) {
  if (vk_fd_frame_get_fd(frame) != watch) return VK_ENOANSWER;
  drain_link_watch(watch);
  untold = true;
  const vk_error error = look();
  return error != VK_EOK ? error : tell_untold();
}

// Without a watch nothing is told, that is all.
vk_error watch_links() {
  watch = open_link_watch();
  if (watch < 0) return VK_EOK;
  const vk_error error = vk_frame_handler_register("sys.fd.ready", links_changed, nullptr);
  return error != VK_EOK ? error : vk_fd_register("rtnetlink", watch);
}

void end_watch() {
  if (watch < 0) return;
  vk_fd_unregister(watch);
  close(watch);
  watch = -1;
}

void stop(void*) {
  end_watch();
  vk_value_delete(shown);
  vk_value_delete(told);
  shown = nullptr;
  told = nullptr;
  last_host = 0;
  untold = false;
}

vk_error serve_subtrees() {
  vk_error error = look();
  if (error != VK_EOK) return error;
  told = copy_of_shown().release();
  if (told == nullptr) return VK_ENOMEM;
  for (Subtree& subtree : subtrees) {
    error = vk_frame_handler_register(subtree.pattern, serve, &subtree);
    if (error != VK_EOK) return error;
  }
  return VK_EOK;
}

vk_error start(void**) {
  set_root_from_parameters();
  vk_error error = serve_subtrees();
  if (error == VK_EOK) error = watch_links();
  if (error != VK_EOK) stop(nullptr);
  return error;
}

}  // namespace
}  // namespace vesk::modules

int main(int argc, char** argv) {
  static const vk_module_descriptor descriptor = {"network", "1.0", vesk::modules::start,
                                                  vesk::modules::stop};
  return vk_module_main(argc, argv, &descriptor);
}
