#ifndef VESK_MM_GTA_H
#define VESK_MM_GTA_H

/*
 * "gta", the process-wide stack allocator for temporaries.
 *
 * The library takes short-lived memory from it and never clears it: the program clears it, with
 * `vk_mm_stack_clear(vk_gta())`, at points where no call into the library is under way and no
 * temporary is still wanted. A program that never does grows for ever.
 */

#include <vesk/error.h>
#include <vesk/mm/heap.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Makes "gta" unless it exists. Every process calls this once, before anything else.
 *
 * @return `VK_EOK` if "gta" exists now, otherwise `VK_ENOMEM`
 */
VK_API vk_error vk_gta_init(void);

/**
 * Gives "gta".
 *
 * @return the stack, or null before `vk_gta_init` and after `vk_gta_destroy`
 */
VK_API vk_allocator *vk_gta(void);

/** Deletes "gta", if it exists, with everything that was taken from it. */
VK_API void vk_gta_destroy(void);

#ifdef __cplusplus
}
#endif

#endif
