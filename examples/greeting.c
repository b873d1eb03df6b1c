/*
 * A module that asks another one while it serves: Device.X_VESK_Greeting.Text names the software of
 * the device, which Device.DeviceInfo tells.
 */

#include <stdio.h>
#include <vesk/runtime.h>
#include <vesk/vesk.h>

static uint32_t get(vk_frame *frame, void *tree) {
  vk_value *version = NULL;
  const vk_error error =
      vk_dmmgr_get_parameter_value(frame, "Device.DeviceInfo.SoftwareVersion", &version);
  if (error != VK_EOK) return error;
  const bool known = version != NULL && version->type == VK_TYPE_STRING;
  char text[128];
  snprintf(text, sizeof text, "Greetings from %s", known ? version->payload.text : "a device");
  vk_value_delete(version);
  const vk_error set = vk_object_set_string(tree, "Text", text);
  return set != VK_EOK ? set : dm_provider_default_get(frame, tree);
}

static vk_error start(void **argument) {
  static dm_handlers handlers = {
      .get = get, .level = dm_provider_default_level, .provide = dm_provider_default_provide};
  vk_value *tree = vk_object_new_with_policy(vk_module_ctx->heap, VK_POLICY_ORDERED);
  if (tree == NULL || vk_object_set_string(tree, "Text", "") != VK_EOK) return VK_ENOMEM;
  *argument = tree;
  return vk_frame_handler_register("dm.Device.X_VESK_Greeting", dmmgr_handler_funcs, &handlers);
}

static void stop(void *tree) { vk_value_delete(tree); }

int main(int argc, char **argv) {
  static const vk_module_descriptor greeting = {"greeting", "1.0", start, stop};
  return vk_module_main(argc, argv, &greeting);
}
