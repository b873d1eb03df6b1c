#ifndef VESK_VALUE_WRITER_H
#define VESK_VALUE_WRITER_H

/*
 * Leaves as texts.
 */

#include <vesk/value/node.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Writes a leaf as the text that CWMP carries; a node of type any as "NIL". Objects and arrays
 * write nothing. The outcome is the stream's `error`.
 *
 * @param stream where to write
 * @param value  a node
 */
VK_API void vk_value_write(vk_stream *stream, const vk_value *value);

#ifdef __cplusplus
}
#endif

#endif
