/*
 * relay NAME [OPTION]...: serves "test.NAME". A request with {"Left": n, "Trail": text} is passed
 * on to "test.NEXT", the parameter "next", with n less by one, until n is 0; on the way back every
 * relay adds its name to the trail. With "DieBefore" or "DieAfter" the relay that finds this n
 * kills itself before or after it has passed the request on.
 */

#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <vesk/runtime.h>
#include <vesk/vesk.h>

static uint32_t number(const vk_value* object, const char* name, uint32_t otherwise) {
  const vk_value* member = vk_object_find_item(object, name);
  return member != NULL && member->type == VK_TYPE_UNSIGNEDINT ? member->payload.u32 : otherwise;
}

static uint32_t sign(vk_value* object) {
  const vk_value* trail = vk_object_find_item(object, "Trail");
  char text[256] = "";
  if (trail != NULL && trail->type == VK_TYPE_STRING) {
    snprintf(text, sizeof text, "%s", trail->payload.text);
  }
  strncat(text, vk_module_ctx->name, sizeof text - strlen(text) - 1);
  return vk_object_set_string(object, "Trail", text);
}

static uint32_t pass_on(vk_value* object, uint32_t left) {
  char* next = NULL;
  char path[64];
  if (vk_module_get_param_str("next", &next) != VK_EOK) return VK_EINVAL;
  snprintf(path, sizeof path, "test.%s", next);
  vk_error error = vk_object_set_uint(object, "Left", left - 1);
  return error == VK_EOK ? vk_frame_call2(path, 0, object) : error;
}

static uint32_t serve(void* data, vk_frame* frame, void* argument) {
  (void)data, (void)argument;
  vk_value* object = vk_frame2value(frame);
  const uint32_t left = number(object, "Left", 0);
  const uint32_t die_after = number(object, "DieAfter", UINT32_MAX);
  if (left == number(object, "DieBefore", UINT32_MAX)) raise(SIGKILL);
  const uint32_t status = left == 0 ? VK_EOK : pass_on(object, left);
  if (left == die_after) raise(SIGKILL);
  return status == VK_EOK ? sign(object) : status;
}

static char path[64];

static vk_error start(void** argument) {
  (void)argument;
  return vk_frame_handler_register(path, serve, NULL);
}

int main(int argc, char** argv) {
  if (argc < 2) return 64;
  snprintf(path, sizeof path, "test.%s", argv[1]);
  const vk_module_descriptor relay = {argv[1], "1.0", start, NULL};
  return vk_module_main(argc - 1, argv + 1, &relay);
}
