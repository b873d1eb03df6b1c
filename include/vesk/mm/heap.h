#ifndef VESK_MM_HEAP_H
#define VESK_MM_HEAP_H

/*
 * Named heaps.
 *
 * Every allocation names the heap it comes from; giving a block back does not, since each block
 * carries its owner in a hidden word just before it:
 *
 *     | owner (one pointer) | the caller's bytes ...
 *                           ^ what vk_alloc returns, aligned as a pointer is
 *
 * A heap is a `vk_allocator` with a table of five operations. Two kinds exist: the malloc heap of
 * this header, and the stack allocator of <vesk/mm/stack.h>. A program may bring a kind of its own:
 * a record that begins with a `vk_allocator`, taken from the default heap with `vk_alloc`, and a
 * table.
 *
 * Nothing is locked: heaps and the list of heaps belong to the one thread that uses the library.
 */

#include <vesk/base.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct vk_allocator vk_allocator;

/** The operations of one kind of heap. They work on raw blocks, without the owner word. */
typedef struct vk_alloc_ops {
  /** Gives a block of `size` bytes, aligned as a pointer at least; or null. */
  void *(*alloc)(vk_allocator *allocator, size_t size);
  /** Resizes a block; null if that failed or the kind cannot do it. */
  void *(*realloc)(vk_allocator *allocator, void *block, size_t size);
  /** Takes a block back. */
  void (*free)(vk_allocator *allocator, void *block);
  /** Non-zero if the address may lie in this heap; the malloc heap says so of every address. */
  int (*owns)(vk_allocator *allocator, const void *pointer);
  /** Releases what the kind holds; the record itself is released by `vk_allocator_delete`. */
  void (*destroy)(vk_allocator *allocator);
} vk_alloc_ops;

/** The head of every heap's record. */
struct vk_allocator {
  const vk_alloc_ops *ops;  /**< the operations of its kind; borrowed */
  const char *name;         /**< for failure messages; borrowed, so it must outlive the heap */
  vk_allocator *next;       /**< the next older live heap */
  vk_allocator **prev_link; /**< the pointer that points at this record */
  uint32_t magic;           /**< `VK_MAGIC_ALLOCATOR`, or `VK_MAGIC_DEAD` once deleted */
};

/** The malloc heap: libc's malloc, realloc and free. */
typedef struct vk_mm_heap {
  vk_allocator head;   /**< what every heap has */
  uint32_t heap_magic; /**< `VK_MAGIC_HEAP`, or `VK_MAGIC_DEAD` once destroyed */
} vk_mm_heap;

/**
 * Makes the head of a heap's record ready and puts it first in the list of live heaps. For the
 * constructors of kinds of heaps.
 *
 * @param allocator the record's head; the record comes from the default heap by `vk_alloc`
 * @param name      borrowed for the heap's whole life
 * @param ops       borrowed for the heap's whole life
 */
VK_API void vk_allocator_init(vk_allocator *allocator, const char *name, const vk_alloc_ops *ops);

/**
 * Destroys a heap: runs its `destroy`, takes it out of the list of live heaps and frees the record.
 * The blocks of a malloc heap must have been freed before; those of a stack go with it.
 *
 * @param allocator a heap made by a constructor, or null, which is ignored; never the default heap
 */
VK_API void vk_allocator_delete(vk_allocator *allocator);

/**
 * Allocates a zeroed block. A failure is logged.
 *
 * @param allocator the heap to take it from
 * @param size      in bytes; 0 gives a valid block of its own too
 * @return the block, aligned as a pointer and no more, to be given back with `vk_free`; null if the
 *         heap is exhausted or the size, with the owner's word, does not fit a `size_t`
 */
VK_API void *vk_alloc(vk_allocator *allocator, size_t size);

/**
 * Gives a block back to the heap that it came from.
 *
 * @param block from `vk_alloc` or `vk_strdup`, or null, which is ignored
 */
VK_API void vk_free(void *block);

/**
 * Copies a text.
 *
 * @param allocator the heap to take the copy from
 * @param text      the text, or null, which gives null
 * @return the copy, to be given back with `vk_free`; null if the heap is exhausted
 */
VK_API char *vk_strdup(vk_allocator *allocator, const char *text);

/**
 * The process's default heap: a malloc heap named "default" that always exists. It is not in the
 * list of live heaps and must never be deleted.
 *
 * @return the heap, never null
 */
VK_API vk_allocator *vk_default_allocator(void);

/**
 * Makes a malloc heap. Its record comes from the default heap.
 *
 * @param name borrowed for the heap's whole life
 * @return the heap, to be deleted with `vk_allocator_delete`; null if memory could not be had
 */
VK_API vk_allocator *vk_mm_heap_new(const char *name);

#ifdef __cplusplus
}
#endif

#endif
