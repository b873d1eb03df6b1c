/*
 * <vesk/net/cwmp_utils.h>; below <vesk/dmmgr/>: frame.h, hook.h, request.h, provider.h
 */

#include "all_calls.h"

static void call_cwmp_tables(void) {
  CHECK(same(vk_cwmp_get_fault_string(9001), "Request denied"));
  CHECK(same(vk_cwmp_get_fault_string(9020), ""));
  CHECK(same(vk_cwmp_get_fault_source(9003), "Client"));
  CHECK(same(vk_cwmp_get_fault_source(9004), "Server"));
  const cwmp_type *type = vk_type_to_cwmp_type(VK_TYPE_ARRAY);
  VK_ASSERT(type != NULL);
  CHECK(type->ns == VK_CWMP_NS_SOAP_ENCODING && same(type->name, "Array"));
  CHECK(cwmp_type_to_vk_type(type) == VK_TYPE_ARRAY);
  CHECK(vk_type_to_cwmp_type(VK_TYPE_OBJECT) == NULL);
  CHECK(same(logged_message, "NONE: unknown type 1"));
}

static void call_cwmp_frame(void) {
  vk_frame *frame = new_frame();
  vk_value *value = vk_frame2value(frame);
  CHECK(vk_cwmp_frame_get_rpc_method(frame) == 0 && vk_cwmp_frame_get_hold_requests(frame) == 0);
  CHECK(vk_cwmp_frame_get_id(frame) == NULL && vk_cwmp_frame_get_soap_action(frame) == NULL);
  CHECK(same(vk_cwmp_frame_get_peer(frame), "<unknown>"));
  CHECK(vk_cwmp_frame_set_rpc_method(frame, 4) == VK_EOK);
  CHECK(vk_cwmp_frame_set_soap_action(frame, "a", "b") == VK_EOK);
  CHECK(vk_object_set_string(value, "peer", "acs") == VK_EOK);
  CHECK(vk_object_set_string(value, "ID", "17") == VK_EOK);
  CHECK(vk_object_set_bool(value, "HoldRequests", 1) == VK_EOK);
  CHECK(vk_cwmp_frame_get_rpc_method(frame) == 4 && vk_cwmp_frame_get_hold_requests(frame) == 1);
  CHECK(same(vk_cwmp_frame_get_id(frame), "17"));
  CHECK(same(vk_cwmp_frame_get_soap_action(frame), "a|b"));
  CHECK(same(vk_cwmp_frame_get_peer(frame), "acs"));
  vk_frame_delete(frame);
}

static void call_dm_frame_request(void) {
  char dm[] = "dm";
  char device[] = "Device";
  vk_path_node second = {NULL, 0, device};
  vk_path_node first = {&second, 0, dm};
  vk_frame *frame = new_frame();
  frame->rq_path = &first;
  CHECK(dm_frame_get_request_path(frame) == &second);
  vk_frame_set_action(frame, VK_DM_PROVIDE);
  CHECK(dm_frame_get_action(frame) == VK_DM_PROVIDE);
  CHECK(same(dm_action_to_string(VK_DM_PROVIDE), "provide"));
  CHECK(same(dm_action_to_string(12), "(unknown action)"));
  CHECK(dm_frame_get_flags(frame) == 0 && dm_frame_set_flags(frame, 6) == VK_EOK);
  CHECK(dm_frame_set_flags(frame, 0) == VK_EOK && dm_frame_get_flags(frame) == 6);
  vk_frame_delete(frame);
}

static void call_dm_frame_answer(void) {
  vk_frame *frame = new_frame();
  vk_value *value = vk_frame2value(frame);
  CHECK(dm_frame_set_instance_number(frame, 0) == VK_EINVAL);
  CHECK(dm_frame_set_instance_number(frame, 3) == VK_EOK);
  CHECK(writes(vk_object_find_item(value, "InstanceNumber"), "3"));
  CHECK(dm_frame_get_status(value) == -1 && dm_frame_set_status(frame, 1) == VK_EOK);
  CHECK(dm_frame_get_status(value) == 1);
  CHECK(dm_frame_add_level_item(frame, "A") == VK_EOK);
  CHECK(vk_value_find_by_path(value, "level.A") != NULL);
  vk_value *result = dm_frame_result_value(value);
  CHECK(result != NULL && result == vk_object_find_item(value, "ParameterList"));
  CHECK(dm_frame_set_parameter_info(frame, 1, 0) == VK_EOK);
  CHECK(writes(vk_value_find_attribute(result, "Writable"), "true"));
  vk_frame_delete(frame);
}

static void see_hook(vk_value *value) {
  CHECK(writes(vk_object_find_item(value, "Event"), "boot"));
  CHECK(writes(vk_object_find_item(value, "Hook"), "hosts.scan"));
}

static void call_dm_hook(void) {
  enter_module(NULL);
  answer_next(VK_EOK, see_hook);
  CHECK(dm_hook_add("boot", "hosts.scan") == VK_EOK && called("dmmgr.hook.add"));
  answer_next(VK_ENOENT, see_hook);
  CHECK(dm_hook_del("boot", "hosts.scan") == VK_ENOENT && called("dmmgr.hook.del"));
  leave_module();
}

/* A data model: {"Device": {"Name": "x"}}. */
static vk_value *new_data(vk_allocator *heap) {
  vk_value *data = vk_object_new_with_policy(heap, VK_POLICY_ORDERED);
  VK_ASSERT(data != NULL);
  vk_value *device = vk_object_init_object_with_policy(data, "Device", VK_POLICY_ORDERED);
  VK_ASSERT(device != NULL && vk_object_set_string(device, "Name", "x") == VK_EOK);
  return data;
}

static void call_dm_provider(void) {
  static dm_handlers table = {.get = dm_provider_default_get, .level = dm_provider_default_level};
  char device[] = "Device";
  vk_path_node path = {NULL, 0, device};
  vk_value *data = new_data(vk_default_allocator());
  vk_frame *frame = new_frame();
  frame->extra_path = &path;
  CHECK(dm_provider_default_provide(frame, data) == VK_EOK);
  CHECK(dm_provider_default_get(frame, data) == VK_ENOANSWER);
  vk_frame_set_status(frame, VK_ENOANSWER);
  CHECK(dm_provider_default_get(frame, data) == VK_EOK);
  CHECK(vk_value_equal(dm_frame_result_value(vk_frame2value(frame)),
                       vk_object_find_item(data, "Device")));
  CHECK(dm_provider_default_level(frame, data) == VK_EOK);
  CHECK(vk_value_find_by_path(vk_frame2value(frame), "level.Name") != NULL);
  vk_frame_clear(frame);
  CHECK(dmmgr_handler_funcs(&table, frame, data) == VK_EOK);
  CHECK(writes(vk_value_find_by_path(vk_frame2value(frame), "ParameterList.Name"), "x"));
  vk_frame_set_action(frame, VK_DM_SET);
  CHECK(dmmgr_handler_funcs(&table, frame, data) == VK_ENOANSWER);
  vk_frame_delete(frame);
  vk_value_delete(data);
}

/* Answers with {"ParameterList": {"Device": {"Name": "x"}}}. */
static void fill_list(vk_value *value) {
  VK_ASSERT(vk_object_insert(value, "ParameterList", new_data(value->heap)) == VK_EOK);
}

static void see_names_asked(vk_value *value) {
  CHECK(writes(vk_object_find_item(value, "ParameterPath"), "Device."));
  CHECK(writes(vk_object_find_item(value, "NextLevel"), "true"));
  fill_list(value);
}

static void see_values_asked(vk_value *value) {
  vk_value *names = vk_object_find_item(value, "ParameterNames");
  VK_ASSERT(names != NULL);
  CHECK(vk_array_get_len(names) == 1 && writes(vk_array_get_item(names, 0), "Device.Name"));
  CHECK(writes(vk_object_find_item(value, "dm-flags"), "6"));
  fill_list(value);
}

static void see_attributes(vk_value *value) {
  const vk_value *list = vk_object_find_item(value, "ParameterList");
  VK_ASSERT(list != NULL);
  const vk_value *element = vk_array_get_item(list, 0);
  VK_ASSERT(element != NULL && vk_array_get_len(list) == 1);
  CHECK(writes(vk_object_find_item(element, "Name"), "Device.Name"));
  CHECK(writes(vk_object_find_item(element, "NotificationChange"), "true"));
  CHECK(writes(vk_object_find_item(element, "Notification"), "2"));
  CHECK(writes(vk_object_find_item(element, "AccessListChange"), "false"));
}

static void call_dm_requests(void) {
  vk_value *out = NULL;
  vk_frame *frame = new_frame();
  CHECK(dm_frame_set_flags(frame, 6) == VK_EOK);
  answer_next(VK_EOK, see_names_asked);
  CHECK(vk_dmmgr_get_parameter_names(vk_default_allocator(), "Device.", &out) == VK_EOK);
  CHECK(called("cwmp.rpc.GetParameterNames") && writes(vk_object_find_item(out, "Name"), "x"));
  vk_value_delete(out);
  answer_next(VK_EOK, see_values_asked);
  CHECK(vk_dmmgr_get_parameter_value(frame, "Device.Name", &out) == VK_EOK);
  CHECK(called("cwmp.rpc.GetParameterValues") && writes(out, "x") && out->heap == frame->heap);
  vk_value_delete(out);
  vk_frame_delete(frame);
  enter_module(NULL);
  answer_next(VK_EOK, see_attributes);
  CHECK(vk_dmmgr_set_parameter_attributes("Device.Name", 1, 2, 0) == VK_EOK);
  CHECK(called("cwmp.rpc.GetParameterAttributes"));
  leave_module();
}

static void call_dm_lists(void) {
  vk_value *out = NULL;
  vk_frame *frame = new_frame();
  answer_next(VK_EOK, fill_list);
  CHECK(vk_dmmgr_get_forced_inform_values(frame, &out) == VK_EOK && called("dmmgr.inform.get"));
  CHECK(writes(vk_value_find_by_path(out, "Device.Name"), "x"));
  vk_value_delete(out);
  answer_next(VK_EOK, fill_list);
  CHECK(vk_dmmgr_get_notification(vk_default_allocator(), &out) == VK_EOK);
  CHECK(called("dmmgr.notification.get"));
  CHECK(writes(vk_value_find_by_path(out, "Device.Name"), "x"));
  vk_value_delete(out);
  answer_next(VK_EOK, NULL);
  CHECK(vk_dmmgr_get_notification(vk_default_allocator(), &out) == VK_ENOENT && out == NULL);
  vk_frame_delete(frame);
}

static void call_dm_root(void) {
  CHECK(vk_dmmgr_get_dm_root() == NULL && called("cwmp.rpc.GetParameterNames"));
  CHECK(same(logged_message, "NONE: Failed to get datamodel root element"));
  answer_next(VK_EOK, fill_list);
  CHECK(same(vk_dmmgr_get_dm_root(), "Device"));
  CHECK(same(vk_dmmgr_get_dm_root(), "Device")); /* without an answer: it is kept */
}

void call_data_model(void) {
  VK_ASSERT(vk_gta_init() == VK_EOK);
  install_hooks();
  call_cwmp_tables();
  call_cwmp_frame();
  call_dm_frame_request();
  call_dm_frame_answer();
  call_dm_hook();
  call_dm_provider();
  call_dm_requests();
  call_dm_lists();
  call_dm_root();
  vk_gta_destroy();
}
