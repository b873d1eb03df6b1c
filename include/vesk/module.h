#ifndef VESK_MODULE_H
#define VESK_MODULE_H

/*
 * The context of a module process. The core process has none.
 */

#include <vesk/base.h>

#ifdef __cplusplus
extern "C" {
#endif

struct vk_allocator;
struct vk_value;

/**
 * What the library knows of the module that runs in this process. The module runtime makes the
 * record, owns it, and may keep fields of its own behind these.
 */
typedef struct vk_module_context {
  const char *name;          /**< the module's name, which begins its log messages */
  struct vk_value *params;   /**< an object: the module's parameters, each a string by its name */
  struct vk_allocator *heap; /**< the long-lived heap for the requests that the library makes */
} vk_module_context;

/**
 * The context of this process; null in the core. The module runtime sets it before any code of
 * the module runs. Borrowed: the library neither makes nor frees the record.
 */
extern VK_API vk_module_context *vk_module_ctx;

#ifdef __cplusplus
}
#endif

#endif
