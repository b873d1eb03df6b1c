#ifndef VESK_VALUE_BY_PATH_H
#define VESK_VALUE_BY_PATH_H

/*
 * Members of a tree by their dotted paths. Each component names one member, exactly; elements of
 * arrays have no paths. A path without components is the root. At every level the member is found
 * by a linear search.
 */

#include <vesk/path.h>
#include <vesk/value/node.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Finds a node by a path text.
 *
 * @param root a node, or null
 * @param path the path; null is the empty path
 * @return the node, or null if there is none
 */
VK_API vk_value *vk_value_find_by_path(const vk_value *root, const char *path);

/**
 * Finds a node by a parsed path.
 *
 * @param root  a node, or null
 * @param first the first component; null is the empty path
 * @return the node, or null if there is none
 */
VK_API vk_value *vk_value_find_by_path_node(const vk_value *root, const vk_path_node *first);

/**
 * Takes a node out of a tree.
 *
 * @param root a node, or null
 * @param path the path; null, or one without components, gives the root itself
 * @return the node, the caller's from now on, its name kept; null if there is none
 */
VK_API vk_value *vk_value_extract_by_path(vk_value *root, const char *path);

/**
 * Inserts a node at a path. Objects that are missing on the way are made, ordered ones; they stay
 * even if the insertion then fails.
 *
 * @param root  a node, with a single component an object; null is refused if there are several
 * @param first the first component, not null; the last but one must lead to an object
 * @param child a node that is in no list; taken over on success
 * @return `VK_EOK`; `VK_ENOENT` if something on the way is not an object; `VK_ENOMEM` if an object
 *         on the way could not be made; otherwise as for `vk_object_insert`
 */
VK_API vk_error vk_value_insert_by_path(vk_value *root, const vk_path_node *first, vk_value *child);

#ifdef __cplusplus
}
#endif

#endif
