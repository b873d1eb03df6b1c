#ifndef VESK_TESTS_INTERFACE_CHECK_H
#define VESK_TESTS_INTERFACE_CHECK_H

/*
 * What the interface tests share: a check that counts, and a stream into a buffer.
 */

#include <vesk/vesk.h>

/* Says where and what, unless the expression holds. */
#define CHECK(...) check((__VA_ARGS__), #__VA_ARGS__, __FILE__, __LINE__)

void check(bool holds, const char *expression, const char *file, int line);

/* Prints how many checks there were and gives the exit status of the program. */
int report(void);

/* Whether two texts are there and equal. */
bool same(const char *a, const char *b);

struct buffer_stream {
  vk_stream stream;
  size_t length;
  char text[256];
};

void buffer_init(struct buffer_stream *buffer);

/* Whether a value is there and written as this text. */
bool writes(const vk_value *value, const char *text);

#endif
