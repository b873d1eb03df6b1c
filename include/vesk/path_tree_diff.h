#ifndef VESK_PATH_TREE_DIFF_H
#define VESK_PATH_TREE_DIFF_H

/*
 * Where two value trees differ, as a path tree.
 */

#include <vesk/path_tree.h>
#include <vesk/value/node.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Collects the paths at which two values differ: the leaves of the result.
 *
 * A change of type does not count as a difference, nor does a member that only one side has. Arrays
 * always differ. Members are found by a linear search. Recurses.
 *
 * @param allocator the heap of the result
 * @param result    receives a new tree, a root without children if the values themselves differ;
 *                  null if there is no difference, and on failure
 * @param a         a node
 * @param b         another
 * @return `VK_EOK`; `VK_ENOMEM` if the heap is exhausted
 */
VK_API vk_error vk_path_tree_by_diff_value(vk_allocator *allocator, vk_path_tree **result,
                                           const vk_value *a, const vk_value *b);

#ifdef __cplusplus
}
#endif

#endif
