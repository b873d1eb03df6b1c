/*
 * Calls the interface of frames from C, as a program outside would.
 */

#include "check.h"

static vk_frame *new_frame(void) {
  vk_frame *frame = vk_frame_new(NULL);
  VK_ASSERT(frame != NULL);
  return frame;
}

/* Hooks that count, and answer calls with the action. */
static int registered;

static uint32_t call_path(const vk_path_node *path, uint32_t action, vk_value *value) {
  (void)value;
  return path != NULL && same(path->name, "a") ? action : VK_ENOENT;
}

static vk_error add_handler(const char *path, vk_frame_handler handler, void *data) {
  (void)path;
  (void)handler;
  (void)data;
  ++registered;
  return VK_EOK;
}

static vk_error del_handler(const char *path, vk_frame_handler handler, void *data) {
  (void)path;
  (void)handler;
  (void)data;
  --registered;
  return VK_EOK;
}

static uint32_t handler(void *data, vk_frame *frame, void *argument) {
  (void)data;
  (void)frame;
  (void)argument;
  return VK_ENOANSWER;
}

static void test_frames(void) {
  vk_frame *frame = new_frame();
  vk_frame_set_status(frame, -1);
  vk_frame_set_action(frame, VK_DM_ADD);
  CHECK(vk_frame_get_status(frame) == -1 && vk_frame_get_action(frame) == 3);
  CHECK(vk_frame_get_rq_path(frame) == NULL && vk_frame_get_extra_path(frame) == NULL);
  CHECK(vk_object_set_int(vk_frame2value(frame), "a", 1) == VK_EOK);
  vk_frame_clear(frame);
  CHECK(vk_object_is_empty(vk_frame2value(frame)));
  vk_frame_delete(frame);
}

static void test_hooks(void) {
  static const vk_frame_handler_ops ops = {call_path, add_handler, del_handler};
  static const vk_frame_handler_entry list[] = {{"a", handler}, {"b", handler}, {NULL, NULL}};
  VK_ASSERT(vk_gta_init() == VK_EOK);
  vk_frame *frame = new_frame();
  CHECK(vk_frame_call("a", frame) == VK_ENOANSWER);
  CHECK(vk_frame_handler_setup(&ops) == VK_EOK);
  vk_frame_set_action(frame, 7);
  CHECK(vk_frame_call("a", frame) == 7 && vk_frame_get_status(frame) == 7);
  CHECK(vk_frame_call2("a.b", 8, NULL) == 8);
  CHECK(vk_frame_call_path2(NULL, 8, NULL) == VK_ENOENT);
  CHECK(vk_frame_handler_register("a", handler, NULL) == VK_EOK && registered == 1);
  CHECK(vk_frame_handler_unregister("a", handler, NULL) == VK_EOK && registered == 0);
  CHECK(vk_frame_handler_list_register(list, NULL) == VK_EOK && registered == 2);
  vk_frame_delete(frame);
  vk_gta_destroy();
}

static void test_cwmp(void) {
  vk_frame *frame = new_frame();
  CHECK(same(vk_cwmp_get_fault_string(9001), "Request denied"));
  CHECK(same(vk_cwmp_get_fault_source(9003), "Client"));
  CHECK(vk_cwmp_frame_set_rpc_method(frame, 4) == VK_EOK);
  CHECK(vk_cwmp_frame_get_rpc_method(frame) == 4);
  CHECK(same(vk_cwmp_frame_get_peer(frame), "<unknown>"));
  CHECK(vk_cwmp_frame_set_soap_action(frame, "a", "b") == VK_EOK);
  CHECK(same(vk_cwmp_frame_get_soap_action(frame), "a|b"));
  CHECK(vk_cwmp_frame_get_hold_requests(frame) == 0 && vk_cwmp_frame_get_id(frame) == NULL);
  const cwmp_type *type = vk_type_to_cwmp_type(VK_TYPE_ARRAY);
  CHECK(type != NULL && cwmp_type_to_vk_type(type) == VK_TYPE_ARRAY);
  vk_frame_delete(frame);
}

static void test_data_model(void) {
  vk_frame *frame = new_frame();
  CHECK(same(dm_action_to_string(VK_DM_PROVIDE), "provide"));
  CHECK(dm_frame_get_action(frame) == VK_DM_GET && dm_frame_get_request_path(frame) == NULL);
  CHECK(dm_frame_set_instance_number(frame, 0) == VK_EINVAL);
  CHECK(dm_frame_set_flags(frame, 6) == VK_EOK && dm_frame_get_flags(frame) == 6);
  CHECK(dm_frame_set_status(frame, 1) == VK_EOK);
  CHECK(dm_frame_get_status(vk_frame2value(frame)) == 1);
  CHECK(dm_frame_result_value(vk_frame2value(frame)) != NULL);
  CHECK(dm_frame_add_level_item(frame, "a") == VK_EOK);
  CHECK(dm_frame_set_parameter_info(frame, 1, 0) == VK_EOK);
  vk_frame_delete(frame);
}

int main(void) {
  test_frames();
  test_hooks();
  test_cwmp();
  test_data_model();
  return report();
}
