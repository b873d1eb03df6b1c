/*
 * What the parts of the program share: a syslog that can be read, records, a module, hooks.
 */

#include <stdarg.h>
#include <stdio.h>

#include "all_calls.h"

char logged_message[512];
int logged_facility;

/* These take the place of libc's for the library too. */
void openlog(const char *ident, int option, int facility);
void closelog(void);
void syslog(int priority, const char *format, ...) VK_PRINTF(2, 3);

void openlog(const char *ident, int option, int facility) {
  (void)ident;
  (void)option;
  logged_facility = facility;
}

void closelog(void) {}

void syslog(int priority, const char *format, ...) {
  va_list arguments;
  (void)priority;
  va_start(arguments, format);
  vsnprintf(logged_message, sizeof logged_message, format, arguments);
  va_end(arguments);
}

vk_value *new_object(void) {
  vk_value *object = vk_object_new_with_policy(vk_default_allocator(), VK_POLICY_ORDERED);
  VK_ASSERT(object != NULL);
  return object;
}

vk_frame *new_frame(void) {
  vk_frame *frame = vk_frame_new(NULL);
  VK_ASSERT(frame != NULL);
  return frame;
}

static vk_module_context context;

void enter_module(vk_value *params) {
  context = (vk_module_context){"hosts", params, vk_default_allocator()};
  vk_module_ctx = &context;
}

void leave_module(void) { vk_module_ctx = NULL; }

char called_path[64];
uint32_t called_action;
int registered;

static uint32_t next_result = VK_ENOANSWER;
static void (*next_fill)(vk_value *value);

static uint32_t call_path(const vk_path_node *path, uint32_t action, vk_value *value) {
  const uint32_t result = next_result;
  VK_ASSERT(vk_path_node2str(path, called_path, sizeof called_path, '.') == VK_EOK);
  called_action = action;
  if (next_fill != NULL) next_fill(value);
  next_result = VK_ENOANSWER;
  next_fill = NULL;
  return result;
}

static vk_error add_handler(const char *path, vk_frame_handler handler, void *data) {
  if (path == NULL || handler == NULL || data != &registered) return VK_EINVAL;
  ++registered;
  return VK_EOK;
}

static vk_error del_handler(const char *path, vk_frame_handler handler, void *data) {
  if (path == NULL || handler == NULL || data != &registered) return VK_EINVAL;
  --registered;
  return VK_EOK;
}

void install_hooks(void) {
  static const vk_frame_handler_ops ops = {call_path, add_handler, del_handler};
  CHECK(vk_frame_handler_setup(&ops) == VK_EOK);
}

void answer_next(uint32_t result, void (*fill)(vk_value *value)) {
  next_result = result;
  next_fill = fill;
}

bool called(const char *path) { return same(called_path, path) && called_action == 0; }
