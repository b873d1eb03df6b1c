#ifndef VESK_BINARY_H
#define VESK_BINARY_H

/*
 * Byte buffers, which base64 and hexBinary values hold, and their two text forms.
 *
 * Base16 is written in upper case and read in either. Base64 is that of RFC 4648, section 4, with
 * padding and without line breaks; white space is skipped when it is read.
 */

#include <vesk/mm/heap.h>
#include <vesk/stream.h>

#ifdef __cplusplus
extern "C" {
#endif

/** A byte buffer; made ready with `vk_binary_init` or by one of the decoders. */
typedef struct vk_binary {
  uint32_t len;   /**< number of bytes */
  uint8_t *data;  /**< the bytes, a block from `vk_alloc` that the record owns */
  uint32_t magic; /**< `VK_MAGIC_BINARY`, or `VK_MAGIC_DEAD` once destroyed */
} vk_binary;

/**
 * Gives the number of bytes.
 *
 * @param binary an initialised binary
 * @return its length in bytes
 */
VK_API uint32_t vk_binary_len(const vk_binary *binary);

/**
 * Gives the bytes.
 *
 * @param binary an initialised binary
 * @return its buffer, which the binary goes on owning
 */
VK_API uint8_t *vk_binary_data(const vk_binary *binary);

/**
 * Makes a binary of a buffer, without copying.
 *
 * @param binary the record to fill, the caller's; what it held is not released
 * @param data   a block from `vk_alloc`, taken over; null only for an empty binary
 * @param len    the number of bytes in it
 */
VK_API void vk_binary_init(vk_binary *binary, uint8_t *data, uint32_t len);

/**
 * Marks a binary as dead and frees its buffer. `len` and `data` keep their values, but what `data`
 * points at is gone.
 *
 * @param binary an initialised binary
 */
VK_API void vk_binary_destroy(vk_binary *binary);

/**
 * Compares two binaries.
 *
 * @param a an initialised binary
 * @param b another
 * @return whether both hold the same bytes
 */
VK_API bool vk_binary_eq(const vk_binary *a, const vk_binary *b);

/**
 * Writes bytes as base16 into a buffer, with a terminating 0.
 *
 * @param buffer the caller's buffer
 * @param size   its size: at least twice `length` and one more
 * @param data   the bytes
 * @param length how many
 * @return `VK_EOK`, or `VK_EINVAL` if the buffer is too small, which is then left untouched
 */
VK_API vk_error vk_base16_string(char *buffer, size_t size, const uint8_t *data, size_t length);

/**
 * Writes a binary as base16 to a stream, one write of two characters for each byte. An empty
 * binary writes nothing. The outcome is the stream's `error`.
 *
 * @param stream where to write
 * @param binary an initialised binary
 */
VK_API void vk_binary_write_base16(vk_stream *stream, const vk_binary *binary);

/**
 * Writes a binary as base64 to a stream, one write of four characters for each three bytes or
 * rest. An empty binary writes nothing. The outcome is the stream's `error`.
 *
 * @param stream where to write
 * @param binary an initialised binary
 */
VK_API void vk_binary_write_base64(vk_stream *stream, const vk_binary *binary);

/**
 * Reads base16 text: an even number of digits in either case and nothing else.
 *
 * @param binary    receives the bytes; what it held is not released
 * @param text      the text, not null
 * @param allocator the heap for the bytes
 * @return `VK_EOK`, and the caller destroys the binary; `VK_EINVAL` for any other text,
 *         `VK_ENOMEM` for an exhausted heap, and then `binary` is untouched
 */
VK_API vk_error vk_binary_from_base16(vk_binary *binary, const char *text, vk_allocator *allocator);

/**
 * Reads base64 text, with its padding. Blanks, tabs and line ends are skipped wherever they stand.
 * The character "{" is read as the value 0. What is wrong with a refused text is logged.
 *
 * @param binary    receives the bytes; what it held is not released
 * @param text      the text, not null
 * @param allocator the heap for the bytes
 * @return `VK_EOK`, and the caller destroys the binary; `VK_EINVAL` for a text that is not base64,
 *         `VK_ENOMEM` for an exhausted heap, and then `binary` is untouched
 */
VK_API vk_error vk_binary_from_base64(vk_binary *binary, const char *text, vk_allocator *allocator);

#ifdef __cplusplus
}
#endif

#endif
