#ifndef VESK_VALUE_MEMBER_H
#define VESK_VALUE_MEMBER_H

/*
 * Setters of an object's members by name.
 *
 * Each makes the member ready as `vk_object_init_item` does and sets it as the setter of
 * <vesk/value/leaf.h> does. They give `VK_EOK`, or `VK_ENOMEM` if the heap is exhausted or an
 * indexed object cannot read the name as an instance number. A member that was made or cleared
 * before its value could not be stored stays, of type any. The member is found by a linear search.
 */

#include <vesk/value/leaf.h>
#include <vesk/value/object.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Makes a member an int.
 *
 * @param object an object
 * @param name   the member's name
 * @param number its value
 * @return as said above
 */
VK_API vk_error vk_object_set_int(vk_value *object, const char *name, int32_t number);

/**
 * Makes a member an unsignedInt.
 *
 * @param object an object
 * @param name   the member's name
 * @param number its value
 * @return as said above
 */
VK_API vk_error vk_object_set_uint(vk_value *object, const char *name, uint32_t number);

/**
 * Makes a member a long.
 *
 * @param object an object
 * @param name   the member's name
 * @param number its value
 * @return as said above
 */
VK_API vk_error vk_object_set_long(vk_value *object, const char *name, int64_t number);

/**
 * Makes a member an unsignedLong.
 *
 * @param object an object
 * @param name   the member's name
 * @param number its value
 * @return as said above
 */
VK_API vk_error vk_object_set_ulong(vk_value *object, const char *name, uint64_t number);

/**
 * Makes a member a boolean.
 *
 * @param object an object
 * @param name   the member's name
 * @param flag   its value; only the low byte counts and is kept as it is
 * @return as said above
 */
VK_API vk_error vk_object_set_bool(vk_value *object, const char *name, uint32_t flag);

/**
 * Makes a member a dateTime.
 *
 * @param object   an object
 * @param name     the member's name
 * @param datetime what is copied; not in the member or below it
 * @return as said above
 */
VK_API vk_error vk_object_set_datetime(vk_value *object, const char *name,
                                       const vk_datetime *datetime);

/**
 * Makes a member a string. The member is cleared first, so the text must not be its own.
 *
 * @param object an object
 * @param name   the member's name
 * @param text   what is copied; null is refused as exhausted memory is
 * @return as said above
 */
VK_API vk_error vk_object_set_string(vk_value *object, const char *name, const char *text);

/**
 * Makes a member a hexBinary.
 *
 * @param object an object
 * @param name   the member's name
 * @param binary the bytes that are copied; not the member's own
 * @return as said above
 */
VK_API vk_error vk_object_set_hex(vk_value *object, const char *name, const vk_binary *binary);

/**
 * Makes a member a base64.
 *
 * @param object an object
 * @param name   the member's name
 * @param binary the bytes that are copied; not the member's own
 * @return as said above
 */
VK_API vk_error vk_object_set_base64(vk_value *object, const char *name, const vk_binary *binary);

#ifdef __cplusplus
}
#endif

#endif
