#ifndef VESK_VALUE_PROTOTYPE_H
#define VESK_VALUE_PROTOTYPE_H

/*
 * The default values of types.
 */

#include <vesk/value/node.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Gives a node the default value of a type: an empty container, text or binary, a 0, false, or the
 * unknown time. A container does not release what the node held: pass a fresh or cleared node.
 *
 * @param value the node
 * @param type  a type
 * @return `VK_EOK`; `VK_EINVAL` for a number that is no type; `VK_ENOMEM` if the heap is exhausted,
 *         and then a string leaves the node as it was, a base64 or hexBinary leaves it any
 */
VK_API vk_error vk_value_set_prototype(vk_value *value, vk_type type);

#ifdef __cplusplus
}
#endif

#endif
