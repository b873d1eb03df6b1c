#ifndef VESK_STRING_H
#define VESK_STRING_H

/*
 * A growable byte string that is always terminated and may hold zero bytes of its own.
 */

#include <vesk/error.h>
#include <vesk/mm/heap.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * A growable string; made ready with `vk_string_init`. While `buf` is not null, `buf[length]` is 0
 * and `length` is less than `capacity`.
 */
typedef struct vk_string {
  char *buf;               /**< the text, from `allocator`; null until the first append */
  uint32_t capacity;       /**< size of `buf` in bytes */
  uint32_t length;         /**< bytes in use, without the terminator */
  vk_allocator *allocator; /**< the heap of `buf`; borrowed */
  uint32_t magic;          /**< `VK_MAGIC_STRING`, or `VK_MAGIC_DEAD` once destroyed */
} vk_string;

/**
 * Makes a string ready: empty, without a block.
 *
 * @param string    the record to fill, the caller's
 * @param allocator the heap for its text; borrowed, must outlive the string
 */
VK_API void vk_string_init(vk_string *string, vk_allocator *allocator);

/**
 * Empties a string and keeps its block for what comes next.
 *
 * @param string an initialised string
 */
VK_API void vk_string_reset(vk_string *string);

/**
 * Gives the text of a string.
 *
 * @param string an initialised string
 * @return the terminated text, valid until the string changes; a constant empty text while nothing
 *         was ever appended; never null
 */
VK_API const char *vk_string_str(const vk_string *string);

/**
 * Appends bytes. The block grows by at least 32 bytes at a time, always into a new block.
 *
 * @param string an initialised string
 * @param data   the bytes; may lie in the string itself
 * @param count  how many bytes
 * @return `VK_EOK`; `VK_ENOMEM` if the heap is exhausted or the length would not fit 32 bits, and
 *         then the string is as it was
 */
VK_API vk_error vk_string_add(vk_string *string, const void *data, size_t count);

/**
 * Releases the block of a string. The record is the caller's and must not be used as a string
 * again before `vk_string_init`.
 *
 * @param string an initialised string
 */
VK_API void vk_string_destroy(vk_string *string);

#ifdef __cplusplus
}
#endif

#endif
