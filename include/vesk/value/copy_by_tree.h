#ifndef VESK_VALUE_COPY_BY_TREE_H
#define VESK_VALUE_COPY_BY_TREE_H

/*
 * Copies of the parts of a value tree that a path tree names.
 */

#include <vesk/path_tree.h>
#include <vesk/value/node.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Copies the members at the leaves of a path tree, with the objects above them. The members come in
 * the order of the path tree, newest first; "$" is a name like any other. Branches in which nothing
 * is found are left out.
 *
 * Members are found by a linear search. Recurses.
 *
 * @param heap the heap of the copy
 * @param out  receives the copy, to be deleted with `vk_value_delete`; null if nothing was found,
 *             and on failure
 * @param src  what is copied
 * @param node the path tree; without children the whole of `src` is copied
 * @return `VK_EOK`; `VK_EINVAL` if the paths lead into something that is not an object; `VK_ENOMEM`
 *         if the heap is exhausted
 */
VK_API vk_error vk_value_copy_by_tree(vk_allocator *heap, vk_value **out, const vk_value *src,
                                      const vk_path_tree *node);

#ifdef __cplusplus
}
#endif

#endif
