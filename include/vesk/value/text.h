#ifndef VESK_VALUE_TEXT_H
#define VESK_VALUE_TEXT_H

/*
 * Leaves from their texts, as CWMP carries them.
 */

#include <vesk/value/node.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Makes a node the leaf that a text denotes.
 *
 * - Numbers are decimal and must fit their type. White space and a "+" may stand before the digits,
 *   for int and long a "-" as well, and nothing after them. The empty text is 0. A "-" anywhere
 *   refuses an unsigned number.
 * - A boolean is "true", "1", "false" or "0".
 * - A string is the text as it is; base64, hexBinary and dateTime are read as <vesk/binary.h> and
 *   <vesk/datetime.h> say.
 *
 * A base64 or hexBinary does not release what the node held: pass a fresh or cleared node. Sets
 * `errno`.
 *
 * @param value the node
 * @param type  a leaf's type
 * @param text  the text, not null
 * @return `VK_EOK`; `VK_EINVAL` for a text that does not denote a value of the type and for every
 *         type that is not a leaf's; `VK_ENOMEM` if the heap is exhausted. The node is then as it
 *         was.
 */
VK_API vk_error vk_value_set_from_string(vk_value *value, vk_type type, const char *text);

#ifdef __cplusplus
}
#endif

#endif
