#ifndef VESK_MODULE_H
#define VESK_MODULE_H

/*
 * The context of a module process, and the module's parameters. The core process has none.
 */

#include <vesk/error.h>

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
  const char *name;          /**< the module's name, which begins its log messages; not null */
  struct vk_value *params;   /**< an object: the module's parameters, each a string by its name */
  struct vk_allocator *heap; /**< the long-lived heap for the requests that the library makes */
} vk_module_context;

/**
 * The context of this process; null in the core. The module runtime sets it before any code of
 * the module runs. Borrowed: the library neither makes nor frees the record.
 */
extern VK_API vk_module_context *vk_module_ctx;

/**
 * Reads a parameter of the module, found by a linear search. Only where `vk_module_ctx` is set.
 *
 * @param name the parameter's exact name
 * @param text receives its text, which the parameters own and which stays as long as they do
 * @return `VK_EOK`; `VK_ENOENT` if there is no such parameter or it is not a string
 */
VK_API vk_error vk_module_get_param_str(const char *name, char **text);

/**
 * Reads a parameter of the module as a decimal number of 32 bits. White space and a sign may stand
 * before the digits, and nothing behind them; "-1" is 4294967295. Only where `vk_module_ctx` is
 * set.
 *
 * @param name   the parameter's exact name
 * @param number receives the number
 * @return `VK_EOK`; `VK_ENOENT` as for `vk_module_get_param_str`; `VK_EINVAL`, logged, for a text
 *         that is not such a number
 */
VK_API vk_error vk_module_get_param_uint(const char *name, uint32_t *number);

#ifdef __cplusplus
}
#endif

#endif
