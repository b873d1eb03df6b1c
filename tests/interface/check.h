#ifndef VESK_TESTS_INTERFACE_CHECK_H
#define VESK_TESTS_INTERFACE_CHECK_H

/*
 * What the interface tests share: a check that counts, and a stream into a buffer.
 */

#include <stdio.h>
#include <string.h>
#include <vesk/vesk.h>

static int checks;
static int failures;

#define CHECK(expression) check((expression), #expression, __LINE__)

static inline void check(bool holds, const char *expression, int line) {
  ++checks;
  if (holds) return;
  ++failures;
  printf("line %d: %s does not hold\n", line, expression);
}

static inline bool same(const char *a, const char *b) {
  return a != NULL && b != NULL && strcmp(a, b) == 0;
}

static inline int report(void) {
  printf("%d checks, %d failures\n", checks, failures);
  return failures != 0;
}

struct buffer_stream {
  vk_stream stream;
  size_t length;
  char text[256];
};

static inline vk_error buffer_write(vk_stream *stream, const void *bytes, uint32_t count) {
  struct buffer_stream *self = (struct buffer_stream *)stream;
  if (count >= sizeof self->text - self->length) return VK_EIO;
  memcpy(self->text + self->length, bytes, count);
  self->length += count;
  self->text[self->length] = '\0';
  return VK_EOK;
}

static inline void buffer_init(struct buffer_stream *buffer) {
  memset(buffer, 0, sizeof *buffer);
  vk_stream_init(&buffer->stream, buffer_write, NULL);
}

#endif
