#ifndef VESK_VALUE_OBJECT_H
#define VESK_VALUE_OBJECT_H

/*
 * Objects: members with unique names.
 *
 * The policy says how members are kept. An ordered object keeps them as they were inserted. An
 * indexed object holds the instances of a table: the names are instance numbers ("1", "2"; see
 * <vesk/path.h>), kept in ascending order, of equal numbers ("1" and "01") the newest last.
 *
 * Names are found by a linear search from the first member, so filling an object with n members by
 * name takes time that grows as n squared.
 */

#include <vesk/value/node.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Makes a node an object without members. The node is not cleared: pass a fresh or cleared one.
 *
 * @param value  the node
 * @param policy `VK_POLICY_ORDERED` or `VK_POLICY_INDEXED`
 */
VK_API void vk_object_init_with_policy(vk_value *value, uint32_t policy);

/**
 * Makes a node that is an object without members.
 *
 * @param heap   as for `vk_value_new`
 * @param policy `VK_POLICY_ORDERED` or `VK_POLICY_INDEXED`
 * @return the object, to be deleted with `vk_value_delete`; null if the heap is exhausted
 */
VK_API vk_value *vk_object_new_with_policy(vk_allocator *heap, uint32_t policy);

/**
 * Gives the first member; the others follow by `vk_item_next`.
 *
 * @param object an object
 * @return the first member, or null
 */
VK_API vk_item *vk_object_item_first(const vk_value *object);

/**
 * Tells whether an object has no members.
 *
 * @param object an object
 * @return whether it is empty
 */
VK_API bool vk_object_is_empty(const vk_value *object);

/**
 * Counts the members.
 *
 * @param object an object
 * @return how many there are
 */
VK_API uint32_t vk_object_get_size(const vk_value *object);

/**
 * Finds a member by its exact name: a linear search.
 *
 * @param object an object
 * @param name   the name
 * @return the first member of that name, or null
 */
VK_API vk_value *vk_object_find_item(const vk_value *object, const char *name);

/**
 * Inserts a node as a member. It keeps its own heap.
 *
 * @param object an object
 * @param name   the member's name, which is copied on the child's heap
 * @param child  a node that is in no list; taken over on success
 * @return `VK_EOK`; `VK_EEXIST` if there is a member of that name; `VK_EINVAL` if an indexed object
 *         cannot read the name as an instance number; `VK_ENOMEM` if the child's heap is exhausted.
 *         A child that was refused can have another `index` than before.
 */
VK_API vk_error vk_object_insert(vk_value *object, const char *name, vk_value *child);

/**
 * Makes a member ready for a new value: clears the one of that name, or inserts a new one of type
 * any.
 *
 * @param object an object
 * @param name   the member's name
 * @return the member, which the object owns; null if the heap is exhausted or an indexed object
 *         cannot read the name as an instance number
 */
VK_API vk_value *vk_object_init_item(vk_value *object, const char *name);

/**
 * Makes a member an object without members, as `vk_object_init_item` and
 * `vk_object_init_with_policy` do.
 *
 * @param object an object
 * @param name   the member's name
 * @param policy the policy of the new object
 * @return the member, which the object owns; null as for `vk_object_init_item`
 */
VK_API vk_value *vk_object_init_object_with_policy(vk_value *object, const char *name,
                                                   uint32_t policy);

/**
 * Makes a member an array without elements, as `vk_object_init_item` and `vk_array_init` do.
 *
 * @param object an object
 * @param name   the member's name
 * @return the member, which the object owns; null as for `vk_object_init_item`
 */
VK_API vk_value *vk_object_init_array(vk_value *object, const char *name);

/**
 * Deletes a member, if there is one of that name.
 *
 * @param object an object
 * @param name   the member's name
 */
VK_API void vk_object_delete_item(vk_value *object, const char *name);

/**
 * Takes a member out of an object.
 *
 * @param object an object
 * @param name   the member's name
 * @return the member, the caller's from now on, its name kept and its `next` as it was; null if
 *         there is none
 */
VK_API vk_value *vk_object_extract(vk_value *object, const char *name);

#ifdef __cplusplus
}
#endif

#endif
