#ifndef VESK_VALUE_ATTRIBUTE_H
#define VESK_VALUE_ATTRIBUTE_H

/*
 * Attributes: named side values that hang on any node, such as "Error" and "type". They are nodes
 * like others and may have any type. Clearing a node drops them, and so does every setter: set
 * attributes after the value. All but the first are found by a linear search for the name.
 */

#include <vesk/value/node.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Gives the first attribute; the others follow by `vk_item_next`.
 *
 * @param value a node
 * @return its first attribute, or null
 */
VK_API vk_item *vk_value_attribute_first(const vk_value *value);

/**
 * Finds an attribute by its exact name: a linear search.
 *
 * @param value a node
 * @param name  the attribute's name
 * @return the first attribute of that name, or null
 */
VK_API vk_value *vk_value_find_attribute(const vk_value *value, const char *name);

/**
 * Makes an attribute ready for a new value: clears the one of that name, or appends a new one of
 * type any.
 *
 * @param value a node
 * @param name  the attribute's name
 * @return the attribute, which the node owns; null if the heap is exhausted
 */
VK_API vk_value *vk_value_add_attribute(vk_value *value, const char *name);

/**
 * Deletes an attribute, if there is one of that name.
 *
 * @param value a node
 * @param name  the attribute's name
 */
VK_API void vk_value_del_attribute(vk_value *value, const char *name);

/**
 * Deletes all attributes.
 *
 * @param value a node
 */
VK_API void vk_value_clean_attribute(vk_value *value);

/**
 * Sets the attribute "Error", an int.
 *
 * @param value a node
 * @param code  the number
 * @return `VK_EOK`; `VK_ENOMEM` if the heap is exhausted
 */
VK_API vk_error vk_value_set_error(vk_value *value, int32_t code);

/**
 * Gives the attribute "Error".
 *
 * @param value a node
 * @return the number; 0 if there is no such attribute or it is not an int
 */
VK_API int32_t vk_value_get_error(const vk_value *value);

/**
 * Sets the attribute "type", a string.
 *
 * @param value a node
 * @param name  the text, which is copied; not the attribute's own text; null is refused as
 *              exhausted memory is
 * @return `VK_EOK`; `VK_ENOMEM` if the heap is exhausted, and then an attribute that was not there
 *         before is not there now, while one that was has become any
 */
VK_API vk_error vk_value_set_typename(vk_value *value, const char *name);

/**
 * Gives the attribute "type".
 *
 * @param value a node
 * @return the text, which the attribute owns; null if there is no such attribute or it is not a
 *         string
 */
VK_API char *vk_value_get_typename(const vk_value *value);

#ifdef __cplusplus
}
#endif

#endif
