#ifndef VESK_MM_STACK_H
#define VESK_MM_STACK_H

/*
 * The stack allocator: a heap in which taking a block moves a pointer, giving one back does
 * nothing, and all memory goes at once when the stack is cleared or deleted.
 *
 * Memory comes in chunks from the default heap. Besides serving as a heap, a stack builds growing
 * objects and formatted texts:
 *
 *     vk_mm_stack_grow(stack, "name=", 5);
 *     vk_mm_stack_grow_char(stack, 'x');
 *     vk_mm_stack_grow_char(stack, '\0');
 *     char *text = vk_mm_stack_grow_finish(stack);
 *
 * A growing object must be finished before anything else is taken from the same stack: a block or
 * text asked for meanwhile begins where the object does, takes the grown bytes in, and ends it.
 *
 * Finished objects and formatted texts carry no owner word: never pass them to `vk_free`. Blocks
 * from `vk_alloc` carry one as always, and freeing them is allowed and does nothing.
 */

#include <vesk/mm/heap.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct vk_mm_chunk vk_mm_chunk;

/** The two words at the beginning of a chunk; its contents follow. */
struct vk_mm_chunk {
  char *limit;       /**< the end of the chunk */
  vk_mm_chunk *prev; /**< the chunk before it, or null */
};

/**
 * The memory of a stack. Every object begins at the alignment of the widest scalar type; only an
 * empty one can lie unaligned, at the end of a chunk.
 */
typedef struct vk_mm_region {
  vk_mm_chunk *chunk;   /**< the chunk in use; null while none could be had */
  char *object;         /**< where the growing object begins */
  char *next_free;      /**< where it ends: the next free byte */
  char *limit;          /**< the end of the chunk in use */
  uint8_t empty_object; /**< non-zero if the chunk in use may hold a finished empty object */
  uint8_t dropped;      /**< non-zero from when the growing object was lost until it ends */
} vk_mm_region;

/** The record of a stack. */
typedef struct vk_mm_stack {
  vk_allocator head;    /**< what every heap has */
  vk_mm_region region;  /**< its memory */
  uint32_t stack_magic; /**< `VK_MAGIC_STACK`, or `VK_MAGIC_DEAD` once destroyed */
} vk_mm_stack;

/**
 * Makes a stack and takes its first chunk of 4,064 bytes. A chunk that cannot be had is asked for
 * again by the first request.
 *
 * @param name borrowed for the stack's whole life
 * @return the stack, to be deleted with `vk_allocator_delete`; null if its record could not be had
 */
VK_API vk_allocator *vk_mm_stack_new(const char *name);

/**
 * Releases everything that was taken from a stack and begins anew with one fresh chunk.
 *
 * @param stack from `vk_mm_stack_new` or `vk_gta`
 * @return non-zero; 0 if the fresh chunk could not be had: all is released nevertheless, and the
 *         next request asks for the chunk again
 */
VK_API int vk_mm_stack_clear(vk_allocator *stack);

/**
 * Appends bytes to the growing object, which moves to a larger chunk when it must. If no larger
 * chunk can be had the whole object is lost, and `vk_mm_stack_grow_finish` says so.
 *
 * @param stack from `vk_mm_stack_new` or `vk_gta`
 * @param bytes what to append; not in the growing object itself
 * @param count how many bytes
 */
VK_API void vk_mm_stack_grow(vk_allocator *stack, const void *bytes, size_t count);

/**
 * Appends one byte to the growing object, as `vk_mm_stack_grow` does.
 *
 * @param stack     from `vk_mm_stack_new` or `vk_gta`
 * @param character the byte
 */
VK_API void vk_mm_stack_grow_char(vk_allocator *stack, char character);

/**
 * Ends the growing object. It is not terminated: who wants a text appends the 0 first.
 *
 * @param stack from `vk_mm_stack_new` or `vk_gta`
 * @return the object, valid until the stack is cleared or deleted; a valid address if nothing was
 *         appended; null if the object was lost for want of memory, and nothing has ended it since.
 *         The stack stays usable.
 */
VK_API void *vk_mm_stack_grow_finish(vk_allocator *stack);

/**
 * Formats a text on a stack.
 *
 * @param stack  from `vk_mm_stack_new` or `vk_gta`
 * @param format as for printf, followed by its arguments
 * @return the text, valid until the stack is cleared or deleted; null if the format failed or
 *         memory could not be had
 */
VK_API char *vk_mm_stack_printf(vk_allocator *stack, const char *format, ...) VK_PRINTF(2, 3);

#ifdef __cplusplus
}
#endif

#endif
