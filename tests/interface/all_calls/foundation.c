/*
 * <vesk/error.h>, <vesk/stream.h>, <vesk/log.h>, <vesk/log_names.h>, <vesk/module.h>
 */

#define _POSIX_C_SOURCE 200809L /* processes and pipes beside C11 */

#include <signal.h>
#include <stdio.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vesk/log_names.h>

#include "all_calls.h"

static void end_aborted(int signal_number) { _exit(128 + signal_number); }

/* Runs a call in a process of its own, whose standard error goes to the pipe. An abort ends it with
 * a status, so that neither a core nor words of the machine's about it come after the message. */
static void run_apart(void (*call)(void), const int *ends) {
  if (signal(SIGABRT, end_aborted) == SIG_ERR || dup2(ends[1], STDERR_FILENO) < 0) _exit(1);
  call();
  _exit(0);
}

static void read_all(int fd, char *text, size_t size) {
  size_t length = 0;
  ssize_t count = 0;
  while (length < size - 1 && (count = read(fd, text + length, size - 1 - length)) > 0) {
    length += (size_t)count;
  }
  text[length] = '\0';
}

/* Whether a call says this on standard error and then ends its process with this status. */
static bool says(void (*call)(void), const char *text, int wanted) {
  int ends[2];
  int status = 0;
  char said[256];
  VK_ASSERT(pipe(ends) == 0);
  fflush(stdout);
  const pid_t child = fork();
  VK_ASSERT(child >= 0);
  if (child == 0) run_apart(call, ends);
  close(ends[1]);
  read_all(ends[0], said, sizeof said);
  close(ends[0]);
  VK_ASSERT(waitpid(child, &status, 0) == child);
  return same(said, text) && WIFEXITED(status) && WEXITSTATUS(status) == wanted;
}

static void fail_assertion(void) { vk_assert_fail("lib/frame", 203, NULL, "x != NULL"); }

static void fail_validation(void) { vk_type_invalid_fail("x->magic", "lib/frame", 7); }

static void refuse_input(void) {
  if (vk_print_validation_fail("bad") != 23) _exit(1);
}

static void call_error(void) {
  CHECK(same(vk_strerror(VK_EOK), "EOK") && same(vk_strerror(VK_ENOANSWER), "ENOANSWER"));
  CHECK(same(vk_strerror(24), "UNKNOWN"));
  CHECK(says(refuse_input, "Validation failed: bad\n", 0));
  CHECK(says(fail_assertion, "lib/frame:203:(): Assertion x != NULL failed.\n", 128 + SIGABRT));
  CHECK(says(fail_validation, "lib/frame:7: Validation of 'x->magic' failed.\n", 128 + SIGABRT));
  VK_ASSERT(vk_log_stream == NULL);
  VK_VALIDATE(vk_module_ctx == NULL);
}

static vk_error refuse_write(vk_stream *stream, const void *bytes, uint32_t count) {
  (void)stream;
  (void)bytes;
  return count == 0 ? VK_EOK : VK_EBUSY;
}

static void call_stream(void) {
  struct buffer_stream buffer;
  vk_stream refusing;
  buffer_init(&buffer);
  CHECK(buffer.stream.magic == VK_MAGIC_STREAM && buffer.stream.error == VK_EOK);
  vk_stream_printf(&buffer.stream, "%d-%s", 7, "x");
  CHECK(same(buffer.text, "7-x"));
  CHECK(buffer.stream.puts(&buffer.stream, "yz") == VK_EOK && same(buffer.text, "7-xyz"));
  vk_stream_destroy(&buffer.stream);
  CHECK(buffer.stream.magic == VK_MAGIC_DEAD && buffer.stream.write == NULL);

  vk_stream_init(&refusing, refuse_write, NULL);
  vk_stream_printf(&refusing, "%s", "x");
  CHECK(refusing.error == VK_EBUSY);
  vk_stream_destroy(&refusing);
}

static void call_log(void) {
  CHECK(vk_log_stream == NULL);
  VK_LOG(0, VK_LOG_ERROR, "number %d", 5);
  CHECK(same(logged_message, "NONE: number 5"));
  vk_log(2, VK_LOG_DEBUG, "file", 1, "function", "%s", "50%");
  CHECK(same(logged_message, "NONE: 50%"));

  enter_module(NULL);
  CHECK(vk_log_begin_message(1, VK_LOG_INFO, __FILE__, __LINE__, __func__) == 7);
  CHECK(vk_log_printf("%s", "a") == 8);
  CHECK(vk_log_stream != NULL && vk_log_stream->magic == VK_MAGIC_STREAM);
  vk_stream_printf(vk_log_stream, "%s", "b");
  vk_log_end_message();
  CHECK(same(logged_message, "hosts: ab"));
  leave_module();
}

static void call_log_facility(void) {
  VK_ASSERT(vk_gta_init() == VK_EOK);
  CHECK(vk_log_facility_config("user,SYS") == VK_EOK);
  vk_log(1, VK_LOG_INFO, "file", 1, "function", "to local6");
  CHECK(logged_facility == 0xB0);
  vk_log(2, VK_LOG_INFO, "file", 1, "function", "as category 0");
  CHECK(logged_facility == 0x08);
  CHECK(vk_log_facility_config("local6") == VK_EINVAL);
  CHECK(same(logged_message, "NONE: Unknown syslog facility 'local6' for category 0"));
  vk_gta_destroy();
}

static void call_log_names(void) {
  CHECK(same(prioritynames[0].name, "alert") && prioritynames[0].value == 1);
  CHECK(prioritynames[12].name == NULL && prioritynames[12].value == -1);
  CHECK(same(facilitynames[20].name, "SYS") && facilitynames[20].value == 0xB0);
  CHECK(facilitynames[22].name == NULL && facilitynames[22].value == -1);
}

static void call_module(void) {
  char *text = NULL;
  uint32_t number = 0;
  vk_value *params = new_object();
  CHECK(vk_object_set_string(params, "port", "7547") == VK_EOK);
  CHECK(vk_object_set_string(params, "name", "x1") == VK_EOK);
  enter_module(params);
  CHECK(vk_module_get_param_str("port", &text) == VK_EOK && same(text, "7547"));
  CHECK(vk_module_get_param_str("absent", &text) == VK_ENOENT && same(text, "7547"));
  CHECK(vk_module_get_param_uint("port", &number) == VK_EOK && number == 7547);
  CHECK(vk_module_get_param_uint("name", &number) == VK_EINVAL && number == 7547);
  leave_module();
  vk_value_delete(params);
}

void call_foundation(void) {
  call_error();
  call_stream();
  call_log();
  call_log_facility();
  call_log_names();
  call_module();
}
