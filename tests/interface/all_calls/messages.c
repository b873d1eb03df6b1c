/*
 * <vesk/ipc.h>, <vesk/storage/fd.h>, <vesk/storage/storage.h>
 */

#define _POSIX_C_SOURCE 200809L /* sockets beside C11 */

#include <errno.h>
#include <sys/socket.h>
#include <unistd.h>

#include "all_calls.h"

static void call_ipc_request(const int *ends, const vk_value *value) {
  char path[] = "sys.fd.add";
  const vk_ipc_request sent = {41, path, VK_DM_SET, (vk_value *)value};
  vk_ipc_request received = {0, NULL, 0, vk_value_new(vk_default_allocator())};
  VK_ASSERT(received.value != NULL);
  CHECK(vk_ipc_write_request(ends[0], &sent) == 0);
  CHECK(vk_ipc_read_request(ends[1], &received) == 0);
  CHECK(received.tag == 41 && same(received.path, path) && received.action == VK_DM_SET);
  CHECK(vk_value_equal(received.value, value));
  CHECK(vk_ipc_write_request(-1, &sent) == EBADF);
  vk_free(received.path);
  vk_value_delete(received.value);
}

static void call_ipc_response(const int *ends, const vk_value *value) {
  const vk_ipc_response sent = {VK_ENOANSWER, (vk_value *)value};
  vk_ipc_response received = {0, vk_value_new(vk_default_allocator())};
  VK_ASSERT(received.value != NULL);
  CHECK(vk_ipc_write_response(ends[1], &sent) == 0);
  CHECK(vk_ipc_read_response(ends[0], &received) == 0);
  CHECK(received.status == VK_ENOANSWER && vk_value_equal(received.value, value));
  CHECK(vk_ipc_read_response(-1, &received) == EBADF);
  vk_value_delete(received.value);
}

static void call_ipc(void) {
  int ends[2];
  vk_value *value = new_object();
  VK_ASSERT(socketpair(AF_UNIX, SOCK_STREAM, 0, ends) == 0);
  CHECK(vk_object_set_int(value, "fd", 7) == VK_EOK);
  call_ipc_request(ends, value);
  call_ipc_response(ends, value);
  CHECK(sizeof vk_ipc_socket_path == 15 && same(vk_ipc_socket_path, "/tmp/vesk.sock"));
  close(ends[0]);
  close(ends[1]);
  vk_value_delete(value);
}

static void see_added(vk_value *value) {
  CHECK(vk_object_get_size(value) == 2 && writes(vk_object_find_item(value, "fd"), "7"));
  CHECK(writes(vk_object_find_item(value, "path"), "/dev/ttyS0"));
}

static void see_removed(vk_value *value) {
  CHECK(vk_object_get_size(value) == 1 && writes(vk_object_find_item(value, "fd"), "7"));
}

static void call_fd(void) {
  vk_frame *frame = new_frame();
  enter_module(NULL);
  answer_next(VK_EOK, see_added);
  CHECK(vk_fd_register("/dev/ttyS0", 7) == VK_EOK && called("sys.fd.add"));
  answer_next(VK_EBUSY, see_removed);
  CHECK(vk_fd_unregister(7) == VK_EBUSY && called("sys.fd.del"));
  leave_module();
  CHECK(vk_fd_frame_get_fd(frame) == -1);
  CHECK(vk_object_set_int(vk_frame2value(frame), "fd", 7) == VK_EOK);
  CHECK(vk_fd_frame_get_fd(frame) == 7);
  vk_frame_delete(frame);
}

static void load_number(vk_value *value) {
  CHECK(vk_object_is_empty(value) && vk_object_set_int(value, "number", 5) == VK_EOK);
}

static void see_no_value(vk_value *value) { CHECK(value == NULL); }

static void call_storage(void) {
  vk_frame *saved = new_frame();
  CHECK(vk_storage_save("", saved) == VK_EINVAL);
  CHECK(vk_storage_save("a.b", saved) == VK_ENOANSWER && called("sys.persistent.save.a.b"));
  CHECK(vk_frame_get_status(saved) == 23);
  vk_frame_delete(saved);
  CHECK(vk_storage_load("a") == NULL && called("sys.persistent.load.a"));
  answer_next(VK_EOK, load_number);
  vk_frame *loaded = vk_storage_load("a");
  VK_ASSERT(loaded != NULL);
  CHECK(writes(vk_object_find_item(vk_frame2value(loaded), "number"), "5"));
  vk_frame_delete(loaded);
  answer_next(VK_EOK, see_no_value);
  CHECK(vk_storage_remove("a") == VK_EOK && called("sys.persistent.remove.a"));
}

void call_messages(void) {
  VK_ASSERT(vk_gta_init() == VK_EOK);
  install_hooks();
  call_ipc();
  call_fd();
  call_storage();
  vk_gta_destroy();
}
