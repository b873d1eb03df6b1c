#ifndef VESK_STREAM_H
#define VESK_STREAM_H

/*
 * A sink for text whose writing its owner supplies, and which remembers the first failure.
 *
 * The record is the owner's, usually the first member of a larger record that holds the
 * destination, so that the owner's functions find their data from the stream's address:
 *
 *     struct file_stream { vk_stream stream; int fd; };
 *
 * Whoever calls `write` or `puts` directly keeps one rule: call only while `error` is 0, and store
 * the result in `error`. So the first failure silences the stream. A stream belongs to one thread
 * at a time. The owner's functions must not throw.
 */

#include <vesk/error.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct vk_stream vk_stream;

/** Writes exactly `count` bytes; gives `VK_EOK` or the code that becomes the stream's `error`. */
typedef vk_error (*vk_stream_write_fn)(vk_stream *stream, const void *bytes, uint32_t count);

/** Writes a whole text, without its terminator; results as for `vk_stream_write_fn`. */
typedef vk_error (*vk_stream_puts_fn)(vk_stream *stream, const char *text);

/** A text sink; made ready with `vk_stream_init`. */
struct vk_stream {
  vk_stream_write_fn write; /**< the owner's writer; null after `vk_stream_destroy` */
  vk_stream_puts_fn puts;   /**< the owner's text writer, or the default, which calls `write` */
  vk_error error; /**< `VK_EOK`, or a failure, which may be a raw `errno` (`vk_stream_printf`) */
  uint32_t magic; /**< `VK_MAGIC_STREAM`, or `VK_MAGIC_DEAD` once destroyed */
};

/**
 * Makes a stream ready, without error.
 *
 * @param stream the record to fill, the caller's
 * @param write  the writer, not null
 * @param puts   the text writer; null for one that measures the text and calls `write`
 */
VK_API void vk_stream_init(vk_stream *stream, vk_stream_write_fn write, vk_stream_puts_fn puts);

/**
 * Formats a text of at most 511 characters and writes it with one call of `write`. Nothing is
 * allocated. The outcome is the stream's `error`:
 *
 * - a format that fails stores the raw `errno` there, a longer text stores `VK_EINVAL`; both write
 *   nothing at all and replace an earlier error;
 * - otherwise an earlier error stays and nothing is written, or the result of `write` is stored.
 *
 * @param stream an initialised stream
 * @param format as for printf, followed by its arguments
 */
VK_API void vk_stream_printf(vk_stream *stream, const char *format, ...) VK_PRINTF(2, 3);

/**
 * Marks a stream as dead and takes its writer away. Frees nothing, since a stream owns nothing.
 *
 * @param stream an initialised stream
 */
VK_API void vk_stream_destroy(vk_stream *stream);

#ifdef __cplusplus
}
#endif

#endif
