#ifndef VESK_VALUE_COMPARE_H
#define VESK_VALUE_COMPARE_H

/*
 * Equality of trees.
 */

#include <vesk/value/node.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Compares two trees.
 *
 * Leaves are equal if their types and values are; flags are compared as bytes. Objects are equal if
 * they have equal members of the same names, in whatever order. Arrays are never equal, not even to
 * themselves, so that a change in one is never missed. Names of the two nodes, policies and
 * attributes do not count.
 *
 * Each member is found by a linear search: objects of n members take time that grows as n squared.
 * Recurses.
 *
 * @param a a node
 * @param b another
 * @return whether they are equal
 */
VK_API bool vk_value_equal(const vk_value *a, const vk_value *b);

#ifdef __cplusplus
}
#endif

#endif
