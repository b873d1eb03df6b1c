#ifndef VESK_VALUE_ENUMERATE_H
#define VESK_VALUE_ENUMERATE_H

/*
 * The walk over a tree.
 */

#include <vesk/value/node.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Is given a node and the walk's context; see `vk_value_enumerate` for what its result does. */
typedef int32_t (*vk_value_visit_fn)(vk_value *value, void *context);

/**
 * Calls a function for a node and then for every node below it, parents before children, in order.
 * Attributes are not visited. Recurses.
 *
 * A walk ends where the result for a member or element, with all below it, is not 0. The result for
 * an object or array itself counts only if it is empty: a function that wants to stop a walk does
 * so at a leaf or an empty container.
 *
 * @param value    the first node
 * @param callback what to call; it must not change the lists that are being walked
 * @param context  passed on as it is
 * @return the result that ended the walk, or the last one
 */
VK_API int32_t vk_value_enumerate(vk_value *value, vk_value_visit_fn callback, void *context);

#ifdef __cplusplus
}
#endif

#endif
