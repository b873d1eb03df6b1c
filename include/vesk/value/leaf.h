#ifndef VESK_VALUE_LEAF_H
#define VESK_VALUE_LEAF_H

/*
 * Leaves: setters of nodes, and the count of leaves in a tree.
 *
 * A setter replaces whatever the node held. It clears the node, its attributes included, and sets
 * type and payload.
 */

#include <vesk/value/node.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Makes a node an int.
 *
 * @param value  the node
 * @param number its value
 * @return `VK_EOK`
 */
VK_API vk_error vk_value_set_int(vk_value *value, int32_t number);

/**
 * Makes a node an unsignedInt.
 *
 * @param value  the node
 * @param number its value
 * @return `VK_EOK`
 */
VK_API vk_error vk_value_set_uint(vk_value *value, uint32_t number);

/**
 * Makes a node a long.
 *
 * @param value  the node
 * @param number its value
 * @return `VK_EOK`
 */
VK_API vk_error vk_value_set_long(vk_value *value, int64_t number);

/**
 * Makes a node an unsignedLong.
 *
 * @param value  the node
 * @param number its value
 * @return `VK_EOK`
 */
VK_API vk_error vk_value_set_ulong(vk_value *value, uint64_t number);

/**
 * Makes a node a boolean.
 *
 * @param value the node
 * @param flag  kept as given; true if not 0
 * @return `VK_EOK`
 */
VK_API vk_error vk_value_set_bool(vk_value *value, uint8_t flag);

/**
 * Makes a node a dateTime.
 *
 * @param value    the node
 * @param datetime what is copied
 * @return `VK_EOK`
 */
VK_API vk_error vk_value_set_datetime(vk_value *value, const vk_datetime *datetime);

/**
 * Makes a node a string.
 *
 * @param value the node
 * @param text  what is copied; may be the node's own text
 * @return `VK_EOK`; `VK_ENOMEM` if the heap is exhausted or the text is null, and then the node is
 *         as it was
 */
VK_API vk_error vk_value_set_string(vk_value *value, const char *text);

/**
 * Makes a node a hexBinary.
 *
 * @param value  the node
 * @param binary the bytes that are copied; not the node's own
 * @return `VK_EOK`; `VK_ENOMEM` if the heap is exhausted, and then the node is any
 */
VK_API vk_error vk_value_set_hex(vk_value *value, const vk_binary *binary);

/**
 * Makes a node a base64.
 *
 * @param value  the node
 * @param binary the bytes that are copied; not the node's own
 * @return `VK_EOK`; `VK_ENOMEM` if the heap is exhausted, and then the node is any
 */
VK_API vk_error vk_value_set_base64(vk_value *value, const vk_binary *binary);

/**
 * Counts the leaves of a tree. Recurses.
 *
 * @param value     a node
 * @param count_any whether a node of type any counts as a leaf; only the low byte counts
 * @return how many leaves there are
 */
VK_API uint32_t vk_value_get_leaf_number(const vk_value *value, uint32_t count_any);

#ifdef __cplusplus
}
#endif

#endif
