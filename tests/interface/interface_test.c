/*
 * Calls the ground floors of the shared library's interface from C, as a program outside would. The
 * library's words to syslog are caught by functions of the same names here.
 */

#include <signal.h>
#include <stdarg.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vesk/log_names.h>

#include "check.h"

static char last_message[512];

void openlog(const char *ident, int option, int facility);
void closelog(void);
void syslog(int priority, const char *format, ...) VK_PRINTF(2, 3);

void openlog(const char *ident, int option, int facility) {
  (void)ident;
  (void)option;
  (void)facility;
}

void closelog(void) {}

void syslog(int priority, const char *format, ...) {
  va_list arguments;
  (void)priority;
  va_start(arguments, format);
  vsnprintf(last_message, sizeof last_message, format, arguments);
  va_end(arguments);
}

/* Runs a check that is to abort in a process of its own. */
static bool aborts(void (*call)(void)) {
  int status = 0;
  const pid_t child = fork();
  if (child == 0) {
    call();
    _exit(0);
  }
  return waitpid(child, &status, 0) == child && WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT;
}

static void fail_assertion(void) { vk_assert_fail("file", 1, NULL, "expression"); }

static void fail_validation(void) { vk_type_invalid_fail("expression", "file", 1); }

static void test_errors(void) {
  CHECK(same(vk_strerror(VK_ENOANSWER), "ENOANSWER"));
  CHECK(vk_print_validation_fail("bad") == 23);
  CHECK(aborts(fail_assertion) && aborts(fail_validation));
  VK_ASSERT(checks > 0);
  VK_VALIDATE(failures >= 0);
}

static void test_streams(void) {
  struct buffer_stream buffer;
  buffer_init(&buffer);
  vk_stream_printf(&buffer.stream, "%d-%s", 7, "x");
  CHECK(same(buffer.text, "7-x"));
  CHECK(buffer.stream.puts(&buffer.stream, "yz") == VK_EOK);
  CHECK(same(buffer.text, "7-xyz"));
  vk_stream_destroy(&buffer.stream);
  CHECK(buffer.stream.magic == VK_MAGIC_DEAD);
}

static void test_log(void) {
  VK_LOG(0, VK_LOG_ERROR, "number %d", 5);
  CHECK(same(last_message, "NONE: number 5"));
  vk_log(2, VK_LOG_DEBUG, "file", 1, "function", "%s", "plain");
  CHECK(same(last_message, "NONE: plain"));

  vk_module_context context = {"hosts", NULL, vk_default_allocator()};
  vk_module_ctx = &context;
  CHECK(vk_log_begin_message(1, VK_LOG_INFO, __FILE__, __LINE__, __func__) == 7);
  CHECK(vk_log_printf("%s", "a") == 8);
  vk_stream_printf(vk_log_stream, "%s", "b");
  vk_log_end_message();
  CHECK(same(last_message, "hosts: ab"));
  vk_module_ctx = NULL;
}

static void test_module_parameters(void) {
  char *text = NULL;
  uint32_t number = 0;
  vk_value *params = vk_object_new_with_policy(vk_default_allocator(), VK_POLICY_ORDERED);
  VK_ASSERT(params != NULL && vk_object_set_string(params, "port", "7547") == VK_EOK);
  vk_module_context context = {"hosts", params, vk_default_allocator()};
  vk_module_ctx = &context;
  CHECK(vk_module_get_param_str("port", &text) == VK_EOK && same(text, "7547"));
  CHECK(vk_module_get_param_uint("port", &number) == VK_EOK && number == 7547);
  vk_module_ctx = NULL;
  vk_value_delete(params);
}

static void test_log_facilities(void) {
  VK_ASSERT(vk_gta_init() == VK_EOK);
  CHECK(vk_log_facility_config("daemon,SYS") == VK_EOK);
  CHECK(vk_log_facility_config("local6") == VK_EINVAL);
  CHECK(same(last_message, "NONE: Unknown syslog facility 'local6' for category 0"));
  vk_gta_destroy();
}

static void test_log_names(void) {
  CHECK(same(prioritynames[0].name, "alert") && prioritynames[0].value == 1);
  CHECK(same(facilitynames[20].name, "SYS") && facilitynames[20].value == 0xB0);
}

/* A kind of heap of the program's own, over the default heap. */
static int counted;
static bool counting_destroyed;

static void *counting_alloc(vk_allocator *allocator, size_t size) {
  vk_allocator *base = vk_default_allocator();
  (void)allocator;
  ++counted;
  return base->ops->alloc(base, size);
}

static void *counting_realloc(vk_allocator *allocator, void *block, size_t size) {
  vk_allocator *base = vk_default_allocator();
  (void)allocator;
  return base->ops->realloc(base, block, size);
}

static void counting_free(vk_allocator *allocator, void *block) {
  vk_allocator *base = vk_default_allocator();
  (void)allocator;
  --counted;
  base->ops->free(base, block);
}

static int counting_owns(vk_allocator *allocator, const void *pointer) {
  vk_allocator *base = vk_default_allocator();
  (void)allocator;
  return base->ops->owns(base, pointer);
}

static void counting_destroy(vk_allocator *allocator) {
  (void)allocator;
  counting_destroyed = true;
}

static const vk_alloc_ops counting_ops = {counting_alloc, counting_realloc, counting_free,
                                          counting_owns, counting_destroy};

static void test_own_heap(void) {
  vk_allocator *heap = vk_alloc(vk_default_allocator(), sizeof *heap);
  VK_ASSERT(heap != NULL);
  vk_allocator_init(heap, "counting", &counting_ops);
  char *copy = vk_strdup(heap, "text");
  CHECK(copy != NULL && same(copy, "text") && counted == 1);
  vk_free(copy);
  CHECK(counted == 0);
  vk_allocator_delete(heap);
  CHECK(counting_destroyed);
}

static void test_heaps(void) {
  vk_allocator *heap = vk_mm_heap_new("interface");
  VK_ASSERT(heap != NULL);
  uint32_t *block = vk_alloc(heap, sizeof *block);
  CHECK(block != NULL && *block == 0);
  vk_free(block);
  vk_allocator_delete(heap);
}

static void test_stack(void) {
  CHECK(vk_gta() == NULL && vk_gta_init() == VK_EOK && vk_gta() != NULL);
  vk_gta_destroy();
  CHECK(vk_gta() == NULL);

  vk_allocator *stack = vk_mm_stack_new("interface");
  VK_ASSERT(stack != NULL);
  vk_mm_stack_grow(stack, "ab", 2);
  vk_mm_stack_grow_char(stack, '\0');
  const char *grown = vk_mm_stack_grow_finish(stack);
  CHECK(grown != NULL && same(grown, "ab") && stack->ops->owns(stack, grown) != 0);
  const char *printed = vk_mm_stack_printf(stack, "%s%d", "a", 1);
  CHECK(printed != NULL && same(printed, "a1"));
  CHECK(vk_mm_stack_clear(stack) != 0);
  vk_allocator_delete(stack);
}

static void test_strings_and_random(void) {
  vk_string string;
  vk_string_init(&string, vk_default_allocator());
  CHECK(vk_string_add(&string, "abc", 3) == VK_EOK);
  CHECK(same(vk_string_str(&string), "abc"));
  vk_string_reset(&string);
  CHECK(same(vk_string_str(&string), ""));
  vk_string_destroy(&string);
  CHECK(vk_random(1) == 0 && vk_random(10) < 10);
}

static void test_binaries(void) {
  struct buffer_stream buffer;
  vk_binary a;
  vk_binary b;
  char text[5];
  buffer_init(&buffer);
  VK_ASSERT(vk_binary_from_base16(&a, "0a1B", vk_default_allocator()) == VK_EOK);
  VK_ASSERT(vk_binary_from_base64(&b, "Chs=", vk_default_allocator()) == VK_EOK);
  CHECK(vk_binary_eq(&a, &b) && vk_binary_len(&a) == 2 && vk_binary_data(&a)[1] == 0x1B);
  CHECK(vk_base16_string(text, sizeof text, vk_binary_data(&b), 2) == VK_EOK);
  CHECK(same(text, "0A1B"));
  vk_binary_write_base16(&buffer.stream, &a);
  vk_binary_write_base64(&buffer.stream, &b);
  CHECK(same(buffer.text, "0A1BChs="));
  vk_binary_destroy(&a);
  vk_binary_destroy(&b);
  vk_binary_init(&a, NULL, 0);
  vk_binary_destroy(&a);
  CHECK(a.magic == VK_MAGIC_DEAD);
}

static void test_datetimes(void) {
  struct buffer_stream buffer;
  vk_datetime a;
  vk_datetime b;
  int32_t seconds = 0;
  buffer_init(&buffer);
  CHECK(vk_datetime_from_string(&a, "2024-03-01T12:00:00Z") == VK_EOK);
  CHECK(vk_datetime_from_string(&b, "2024-03-01T12:01:00Z") == VK_EOK);
  CHECK(vk_datetime_diff(&a, &b, &seconds) == VK_EOK && seconds == 60);
  CHECK(vk_datetime_write(&buffer.stream, &a) == VK_EOK);
  CHECK(same(buffer.text, "2024-03-01T12:00:00Z"));
  vk_datetime_set_unknown(&b);
  CHECK(b.kind == VK_DATETIME_UNKNOWN);
  CHECK(vk_datetime_set_current(&a) == 1 && a.usec == 0);
  CHECK(vk_datetime_get_monotonic() != UINT32_MAX);
}

static void test_path_texts(void) {
  vk_path_roam roam;
  CHECK(vk_path_is_partial("A.") && vk_path_str_to_index("12") == 12);
  CHECK(vk_path_roam_init(&roam, "A.2") == 0 && !vk_path_roam_end(&roam));
  CHECK(same(vk_path_roam_current_node(&roam), "A"));
  CHECK(same(vk_path_roam_path_tail(&roam), "2"));
  CHECK(same(vk_path_roam_next(&roam), "2") && roam.index == 2);
  char *joined = vk_path_concat(vk_default_allocator(), "A", "B");
  CHECK(joined != NULL && same(joined, "A.B"));
  vk_free(joined);
}

static void test_path_nodes(void) {
  struct buffer_stream buffer;
  char device[] = "Device";
  char two[] = "2";
  char text[16];
  vk_path_node second = {NULL, 2, two};
  vk_path_node first = {&second, 0, device};
  buffer_init(&buffer);
  vk_path_node_print(&buffer.stream, &first);
  CHECK(same(buffer.text, "Device.{2}") && vk_path_node_is_instance(&second));
  CHECK(vk_path_node2str(&first, text, sizeof text, '/') == VK_EOK);
  CHECK(same(text, "Device/2"));
  CHECK(vk_path_node_seek_prefix(&first, "Device.") == &second);
}

int main(void) {
  test_errors();
  test_streams();
  test_log();
  test_log_names();
  test_log_facilities();
  test_module_parameters();
  test_own_heap();
  test_heaps();
  test_stack();
  test_strings_and_random();
  test_binaries();
  test_datetimes();
  test_path_texts();
  test_path_nodes();
  return report();
}
