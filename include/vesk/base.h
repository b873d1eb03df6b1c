#ifndef VESK_BASE_H
#define VESK_BASE_H

/*
 * What every other header stands on: the attributes of declarations, and the magic words that
 * mark records for whoever inspects them in a debugger or a core dump.
 */

#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

/** Marks a function or object that the library exports. */
#define VK_API __attribute__((__visibility__("default")))

/** Lets the compiler check a printf-like call: positions of the format and of its first argument.
 */
#define VK_PRINTF(format, first) __attribute__((__format__(__printf__, format, first)))

/** Marks a function that never returns. */
#define VK_NORETURN __attribute__((__noreturn__))

/*
 * Every kind of record carries a 32-bit magic word from when it is made until it is destroyed.
 * The library sets these words and never tests them.
 */
#define VK_MAGIC_HEAP UINT32_C(0x37E9B021)      /**< `heap_magic` of a `vk_mm_heap` */
#define VK_MAGIC_STACK UINT32_C(0x37E9B061)     /**< `stack_magic` of a `vk_mm_stack` */
#define VK_MAGIC_PATH_NAME UINT32_C(0x37E9B121) /**< `name_magic` of a `vk_path_tree` */
#define VK_MAGIC_STRING UINT32_C(0x37E9B161)    /**< `vk_string` */
#define VK_MAGIC_BINARY UINT32_C(0x37E9B1A1)    /**< `vk_binary` */
#define VK_MAGIC_PATH_TREE UINT32_C(0x37E9B1E1) /**< `node_magic` of a `vk_path_tree` */
#define VK_MAGIC_ALLOCATOR UINT32_C(0x37E9B2A1) /**< `vk_allocator` */
#define VK_MAGIC_VALUE UINT32_C(0x37E9B321)     /**< `vk_value` */
#define VK_MAGIC_FRAME UINT32_C(0x37E9B3A1)     /**< `vk_frame` */
#define VK_MAGIC_STREAM UINT32_C(0x37E9B3E1)    /**< `vk_stream` */
#define VK_MAGIC_DEAD UINT32_C(0xDEADBEAF)      /**< any record after its destruction */

#endif
