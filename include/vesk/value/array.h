#ifndef VESK_VALUE_ARRAY_H
#define VESK_VALUE_ARRAY_H

/*
 * Arrays: elements without names, of any types.
 */

#include <vesk/value/node.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Makes a node an array without elements. The node is not cleared: pass a fresh or cleared one.
 *
 * @param value the node
 */
VK_API void vk_array_init(vk_value *value);

/**
 * Appends an element of type any, in constant time.
 *
 * @param array an array
 * @return the element, which the array owns; null if the heap is exhausted
 */
VK_API vk_value *vk_array_add_item(vk_value *array);

/**
 * Counts the elements.
 *
 * @param array an array
 * @return how many there are
 */
VK_API uint32_t vk_array_get_len(const vk_value *array);

/**
 * Gives the first element; the others follow by `vk_item_next`.
 *
 * @param array an array
 * @return the first element, or null
 */
VK_API vk_item *vk_array_item_first(const vk_value *array);

/**
 * Gives an element by its position: a linear walk. Use `vk_item_next` to visit all.
 *
 * @param array an array
 * @param index the position, from 0
 * @return the element, or null if there are not so many
 */
VK_API vk_value *vk_array_get_item(const vk_value *array, uint32_t index);

/**
 * Deletes an element: a linear search, and the rest is counted anew.
 *
 * @param array an array
 * @param item  one of its elements
 */
VK_API void vk_array_delete_item(vk_value *array, vk_value *item);

#ifdef __cplusplus
}
#endif

#endif
