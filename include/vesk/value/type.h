#ifndef VESK_VALUE_TYPE_H
#define VESK_VALUE_TYPE_H

/*
 * The types of values: those of TR-106 that CWMP carries, the two containers, and "any", the type
 * of a node that holds nothing.
 */

#include <vesk/base.h>

#ifdef __cplusplus
extern "C" {
#endif

/** The type of a value: one of the constants below. The numbers cross the socket. */
typedef uint32_t vk_type;

#define VK_TYPE_ANY UINT32_C(0)           /**< "any": nothing */
#define VK_TYPE_OBJECT UINT32_C(1)        /**< "object": members with names */
#define VK_TYPE_ARRAY UINT32_C(2)         /**< "array": elements without names */
#define VK_TYPE_BASE64 UINT32_C(3)        /**< "base64": bytes */
#define VK_TYPE_BOOLEAN UINT32_C(4)       /**< "boolean": a flag byte, true if not 0 */
#define VK_TYPE_DATETIME UINT32_C(5)      /**< "dateTime": a `vk_datetime` */
#define VK_TYPE_HEXBINARY UINT32_C(6)     /**< "hexBinary": bytes */
#define VK_TYPE_INT UINT32_C(7)           /**< "int": signed, 32 bits */
#define VK_TYPE_LONG UINT32_C(8)          /**< "long": signed, 64 bits */
#define VK_TYPE_STRING UINT32_C(9)        /**< "string": a text */
#define VK_TYPE_UNSIGNEDINT UINT32_C(10)  /**< "unsignedInt": 32 bits */
#define VK_TYPE_UNSIGNEDLONG UINT32_C(11) /**< "unsignedLong": 64 bits */

/**
 * Names a type.
 *
 * @param type any number
 * @return its name, or "(unknown type)"; a constant text of the library, never null
 */
VK_API const char *vk_type_to_string(vk_type type);

/**
 * Finds a type by its exact name; upper and lower case count.
 *
 * @param name a text, not null
 * @return the type; `VK_TYPE_ANY` for "any" and for every unknown name
 */
VK_API vk_type vk_type_from_string(const char *name);

#ifdef __cplusplus
}
#endif

#endif
