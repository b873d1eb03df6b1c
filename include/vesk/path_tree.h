#ifndef VESK_PATH_TREE_H
#define VESK_PATH_TREE_H

/*
 * Path trees: sets of parameter paths, kept as trees of components.
 *
 * The root stands for the empty path, every other node for one component below its parent. Names
 * are compared exactly ("2" is not "02"); a node named "$" is a template that stands for any
 * instance number. Children are kept newest first, and everything that walks them goes in that
 * order. A node owns its name and everything below it. Finding a child is a linear search.
 *
 * A tree belongs to one thread at a time. Of the functions that recurse the library, optimised for
 * a machine of 64 bits, takes at most 100 bytes of stack a level: 80,000 levels fit 8 MiB.
 */

#include <vesk/path.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct vk_path_tree vk_path_tree;

/** One node of a path tree. */
struct vk_path_tree {
  vk_allocator *allocator;   /**< the heap of this node and its name; borrowed */
  vk_path_tree *next;        /**< the next sibling, which is older */
  vk_path_tree **prev_link;  /**< the pointer that points at this node; null for a root */
  vk_path_tree *first_child; /**< the newest child, or null */
  vk_path_tree *parent;      /**< null for a root */
  vk_path_node path_node;    /**< its component; `next` is what `vk_path_set_current` links */
  uint32_t name_magic;       /**< `VK_MAGIC_PATH_NAME`, or `VK_MAGIC_DEAD` once released */
  uint32_t node_magic;       /**< `VK_MAGIC_PATH_TREE`, or `VK_MAGIC_DEAD` once released */
};

/**
 * Makes an empty tree: a root.
 *
 * @param allocator the heap of the tree; borrowed, must outlive it
 * @return the root, to be freed with `vk_path_tree_free`; null if the heap is exhausted
 */
VK_API vk_path_tree *vk_path_tree_new(vk_allocator *allocator);

/**
 * Adds a parsed path.
 *
 * @param tree  the node to begin at
 * @param first the first component; null for the empty path
 * @return the node of the whole path, new or found, `tree` for the empty path; null if the heap is
 *         exhausted, and then the tree is as it was
 */
VK_API vk_path_tree *vk_path_tree_add(vk_path_tree *tree, const vk_path_node *first);

/**
 * Adds a path text; a final "." makes no difference.
 *
 * @param tree the node to begin at
 * @param text the path; null for the empty path
 * @return as for `vk_path_tree_add`
 */
VK_API vk_path_tree *vk_path_tree_add_path(vk_path_tree *tree, const char *text);

/**
 * Finds a parsed path.
 *
 * @param tree  the node to begin at
 * @param first the first component; null for the empty path
 * @return the node of exactly that path, `tree` for the empty path; null if it is not there
 */
VK_API vk_path_tree *vk_path_tree_find(const vk_path_tree *tree, const vk_path_node *first);

/**
 * Finds a path text.
 *
 * @param tree the node to begin at
 * @param text the path; null for the empty path
 * @return as for `vk_path_tree_find`
 */
VK_API vk_path_tree *vk_path_tree_find_path(const vk_path_tree *tree, const char *text);

/**
 * Finds the child that serves a component: the one of that name or, if the component is an instance
 * number, the child "$".
 *
 * @param node      a node
 * @param component the text of one component
 * @return the child, or null
 */
VK_API vk_path_tree *vk_path_tree_find_template(const vk_path_tree *node, const char *component);

/** Is given a node and its path, which is valid during the call only. */
typedef void (*vk_path_tree_visit_fn)(const char *path, vk_path_tree *node, void *context);

/**
 * Calls a function for every node below a node, parents before children. The path texts lie on
 * "gta" until it is cleared. Recurses. The texts of a chain of nodes take memory as the square of
 * its length.
 *
 * @param tree     the node whose descendants are visited
 * @param prefix   what the paths begin with; "" for a root, not null
 * @param callback what to call; it must not change the tree
 * @param context  passed on as it is
 * @return `VK_EOK`; `VK_ENOMEM` if a path text could not be made, and then the walk ended there
 */
VK_API vk_error vk_path_tree_enumerate(vk_path_tree *tree, const char *prefix,
                                       vk_path_tree_visit_fn callback, void *context);

/**
 * Frees a node with everything below it and takes it out of its parent. A list that was threaded
 * through it ends at the parent. Uses a constant amount of stack however deep the tree is.
 *
 * @param node a node, or null, which is ignored
 */
VK_API void vk_path_tree_free(vk_path_tree *node);

/**
 * Frees everything below a node. Stack as for `vk_path_tree_free`.
 *
 * @param tree the node that stays
 */
VK_API void vk_path_tree_clean(vk_path_tree *tree);

/**
 * Removes a path with everything below it, if it is there. The node to begin at always stays.
 *
 * @param tree  the node to begin at
 * @param text  the path; null or one without components empties the tree
 * @param prune whether to remove the ancestors too that are then left without children; only the
 *              low byte counts
 */
VK_API void vk_path_tree_free_path(vk_path_tree *tree, const char *text, uint32_t prune);

/**
 * Tells whether a path is a leaf of a tree or lies below one. In an empty tree every path does.
 *
 * @param tree  the node to begin at
 * @param first the first component; null for the empty path
 * @return whether the deepest node that the path reaches has no children
 */
VK_API bool vk_path_tree_is_root(const vk_path_tree *tree, const vk_path_node *first);

/**
 * Tells whether two trees have a leaf in common. A leaf of one that is an inner node of the other
 * does not count. Recurses.
 *
 * @param a a node
 * @param b a node
 * @return whether some path below both ends at a leaf in both
 */
VK_API bool vk_path_tree_intersect(const vk_path_tree *a, const vk_path_tree *b);

/**
 * Adds every path of one tree to another. Recurses.
 *
 * @param destination the node that gains paths
 * @param source      the node whose descendants are added; neither node may lie below the other
 * @return `VK_EOK`; `VK_ENOMEM` if the heap is exhausted, and then what was added stays
 */
VK_API vk_error vk_path_tree_merge(vk_path_tree *destination, const vk_path_tree *source);

/**
 * Threads a node's path as a list: from `path_node.next` of the root to the `path_node` of the
 * node. Threading another node of the tree changes the links along its own way only.
 *
 * @param node a node
 * @return the root; its `path_node.next` is the first component, null if `node` is the root
 */
VK_API vk_path_tree *vk_path_set_current(vk_path_tree *node);

#ifdef __cplusplus
}
#endif

#endif
