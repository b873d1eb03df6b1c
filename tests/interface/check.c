#include "check.h"

#include <stdio.h>
#include <string.h>

static int checks;
static int failures;

void check(bool holds, const char *expression, const char *file, int line) {
  ++checks;
  if (holds) return;
  ++failures;
  printf("%s:%d: %s does not hold\n", file, line, expression);
  fflush(stdout); /* the program may not get to its end now */
}

int report(void) {
  printf("%d checks, %d failures\n", checks, failures);
  return checks == 0 || failures != 0;
}

bool same(const char *a, const char *b) { return a != NULL && b != NULL && strcmp(a, b) == 0; }

static vk_error buffer_write(vk_stream *stream, const void *bytes, uint32_t count) {
  struct buffer_stream *self = (struct buffer_stream *)stream;
  if (count >= sizeof self->text - self->length) return VK_EIO;
  memcpy(self->text + self->length, bytes, count);
  self->length += count;
  self->text[self->length] = '\0';
  return VK_EOK;
}

void buffer_init(struct buffer_stream *buffer) {
  memset(buffer, 0, sizeof *buffer);
  vk_stream_init(&buffer->stream, buffer_write, NULL);
}

bool writes(const vk_value *value, const char *text) {
  struct buffer_stream buffer;
  if (value == NULL) return false;
  buffer_init(&buffer);
  vk_value_write(&buffer.stream, value);
  return buffer.stream.error == VK_EOK && same(buffer.text, text);
}
