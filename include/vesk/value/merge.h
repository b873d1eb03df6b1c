#ifndef VESK_VALUE_MERGE_H
#define VESK_VALUE_MERGE_H

/*
 * Carrying one tree's values into another.
 *
 * A leaf of the source replaces the node of the destination, whatever that was. An object of the
 * source goes member by member; where the destination is not an object it becomes one. A source of
 * type any changes nothing. What the source lacks stays. Both objects must be ordered ones
 * (`VK_POLICY_ORDERED`).
 *
 * An error ends the walk at once and what was done stays. Members are found by a linear search.
 * Both functions recurse.
 */

#include <vesk/value/node.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Updates the members that the destination has; those that it lacks are passed over.
 *
 * @param dst the destination
 * @param src the source; the two trees must have no node in common
 * @return `VK_EOK`; `VK_ENOENT` for an array in the source; `VK_EINVAL` for objects of another
 *         policy; `VK_ENOMEM` if the heap is exhausted
 */
VK_API vk_error vk_value_update(vk_value *dst, const vk_value *src);

/**
 * Updates the members that the destination has and makes those that it lacks.
 *
 * @param dst the destination
 * @param src the source; the two trees must have no node in common
 * @return as for `vk_value_update`
 */
VK_API vk_error vk_value_merge(vk_value *dst, const vk_value *src);

#ifdef __cplusplus
}
#endif

#endif
