/*
 * <vesk/frame.h>
 */

#include "all_calls.h"

static void call_frame(void) {
  vk_frame *frame = vk_frame_new(NULL);
  VK_ASSERT(frame != NULL);
  CHECK(frame->magic == VK_MAGIC_FRAME && same(frame->heap->name, "frame"));
  vk_frame_set_status(frame, -1);
  vk_frame_set_action(frame, VK_DM_ADD);
  CHECK(vk_frame_get_status(frame) == -1 && vk_frame_get_action(frame) == 3);
  CHECK(vk_frame_get_rq_path(frame) == NULL && vk_frame_get_extra_path(frame) == NULL);
  CHECK(vk_object_set_int(vk_frame2value(frame), "a", 1) == VK_EOK);
  vk_frame_clear(frame);
  CHECK(vk_object_is_empty(vk_frame2value(frame)) && vk_frame_get_action(frame) == 3);
  vk_frame_delete(frame);
}

static void call_paths_of_frame(void) {
  char dm[] = "dm";
  char device[] = "Device";
  vk_path_node second = {NULL, 0, device};
  vk_path_node first = {&second, 0, dm};
  vk_frame *parent = new_frame();
  vk_frame *frame = vk_frame_new(parent);
  VK_ASSERT(frame != NULL);
  CHECK(frame->heap == parent->heap && vk_frame2value(frame) != vk_frame2value(parent));
  frame->rq_path = &first;
  frame->extra_path = &second;
  CHECK(vk_frame_get_rq_path(frame) == &first && vk_frame_get_extra_path(frame) == &second);
  vk_frame_delete(frame);
  vk_frame_delete(parent);
}

static uint32_t handler(void *data, vk_frame *frame, void *argument) {
  (void)data;
  (void)frame;
  (void)argument;
  return VK_ENOANSWER;
}

static const vk_frame_handler_entry handlers[] = {{"a", handler}, {"b", handler}, {NULL, NULL}};

static void call_without_hooks(vk_frame *frame) {
  CHECK(vk_frame_call("a", frame) == VK_ENOANSWER && vk_frame_get_status(frame) == 23);
  CHECK(vk_frame_call2("a", 0, NULL) == VK_ENOANSWER);
  CHECK(vk_frame_call_path2(NULL, 0, NULL) == VK_ENOANSWER);
  CHECK(vk_frame_handler_register("a", handler, NULL) == VK_ENOSYS);
  CHECK(vk_frame_handler_unregister("a", handler, NULL) == VK_ENOSYS);
  CHECK(vk_frame_handler_list_register(handlers, NULL) == VK_ENOSYS);
}

static void fill_answer(vk_value *value) { CHECK(vk_object_set_int(value, "answer", 1) == VK_EOK); }

static void call_with_hooks(vk_frame *frame) {
  char name[] = "c";
  const vk_path_node path = {NULL, 0, name};
  vk_frame_set_action(frame, 7);
  answer_next(5, fill_answer);
  CHECK(vk_frame_call("a.b", frame) == 5 && vk_frame_get_status(frame) == 5);
  CHECK(same(called_path, "a.b") && called_action == 7);
  CHECK(vk_object_find_item(vk_frame2value(frame), "answer") != NULL);
  answer_next(6, NULL);
  CHECK(vk_frame_call2("d", 8, NULL) == 6 && same(called_path, "d") && called_action == 8);
  answer_next(VK_EOK, NULL);
  CHECK(vk_frame_call_path2(&path, 9, NULL) == VK_EOK && same(called_path, "c"));
}

static void call_registrations(void) {
  CHECK(vk_frame_handler_register("a", handler, &registered) == VK_EOK && registered == 1);
  CHECK(vk_frame_handler_unregister("a", handler, &registered) == VK_EOK && registered == 0);
  CHECK(vk_frame_handler_list_register(handlers, &registered) == VK_EOK && registered == 2);
}

static void call_setup_in_module(void) {
  static const vk_frame_handler_ops none = {NULL, NULL, NULL};
  enter_module(NULL);
  CHECK(vk_frame_handler_setup(&none) == VK_EFAULT);
  CHECK(same(logged_message, "hosts: Frame handlers should be setup from core"));
  leave_module();
}

void call_frames(void) {
  VK_ASSERT(vk_gta_init() == VK_EOK);
  call_frame();
  call_paths_of_frame();
  vk_frame *frame = new_frame();
  call_without_hooks(frame);
  install_hooks();
  call_with_hooks(frame);
  call_registrations();
  call_setup_in_module();
  vk_frame_delete(frame);
  vk_gta_destroy();
}
