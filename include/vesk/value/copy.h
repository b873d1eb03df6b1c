#ifndef VESK_VALUE_COPY_H
#define VESK_VALUE_COPY_H

/*
 * Copies of trees.
 */

#include <vesk/value/node.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Makes a node a deep copy of another. The node keeps its name and heap, from which all that is new
 * comes; policies are copied, attributes are not.
 *
 * Members are found by a linear search: objects of n members take time that grows as n squared.
 * Recurses.
 *
 * @param dst the node that is replaced
 * @param src what is copied; the two trees must have no node in common. A type that is none is not
 *            copied: `dst` stays as it is.
 * @return `VK_EOK`; `VK_ENOMEM` if the heap is exhausted, or if a member of an indexed object has a
 *         name that is no instance number. Then `dst` holds a part of the copy, or is as it was if
 *         `src` is a string.
 */
VK_API vk_error vk_value_copy(vk_value *dst, const vk_value *src);

#ifdef __cplusplus
}
#endif

#endif
