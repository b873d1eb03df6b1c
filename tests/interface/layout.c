/*
 * The place of every field of every public record, and the records' sizes, on machines with
 * pointers of 32 and of 64 bits. Programs embed these records, so nothing here may ever change.
 * Compiling this file is the test; it is good C and good C++.
 */

#include <assert.h>
#include <stddef.h>
#include <vesk/log_names.h>
#include <vesk/runtime.h>
#include <vesk/vesk.h>

#define BY_WORD(on32, on64) (sizeof(void *) == 4 ? (size_t)(on32) : (size_t)(on64))
#define FIELD(record, field, on32, on64) \
  static_assert(offsetof(record, field) == BY_WORD(on32, on64), #record "." #field)
#define SIZE(record, on32, on64) static_assert(sizeof(record) == BY_WORD(on32, on64), #record)

FIELD(vk_stream, write, 0, 0);
FIELD(vk_stream, puts, 4, 8);
FIELD(vk_stream, error, 8, 16);
FIELD(vk_stream, magic, 12, 20);
SIZE(vk_stream, 16, 24);

FIELD(vk_log_name, name, 0, 0);
FIELD(vk_log_name, value, 4, 8);
SIZE(vk_log_name, 8, 16);

FIELD(vk_module_context, name, 0, 0);
FIELD(vk_module_context, params, 4, 8);
FIELD(vk_module_context, heap, 8, 16);
SIZE(vk_module_context, 12, 24);

FIELD(vk_alloc_ops, alloc, 0, 0);
FIELD(vk_alloc_ops, realloc, 4, 8);
FIELD(vk_alloc_ops, free, 8, 16);
FIELD(vk_alloc_ops, owns, 12, 24);
FIELD(vk_alloc_ops, destroy, 16, 32);
SIZE(vk_alloc_ops, 20, 40);

FIELD(vk_allocator, ops, 0, 0);
FIELD(vk_allocator, name, 4, 8);
FIELD(vk_allocator, next, 8, 16);
FIELD(vk_allocator, prev_link, 12, 24);
FIELD(vk_allocator, magic, 16, 32);
SIZE(vk_allocator, 20, 40);

FIELD(vk_mm_heap, head, 0, 0);
FIELD(vk_mm_heap, heap_magic, 20, 40);
SIZE(vk_mm_heap, 24, 48);

FIELD(vk_mm_chunk, limit, 0, 0);
FIELD(vk_mm_chunk, prev, 4, 8);
SIZE(vk_mm_chunk, 8, 16);

FIELD(vk_mm_region, chunk, 0, 0);
FIELD(vk_mm_region, object, 4, 8);
FIELD(vk_mm_region, next_free, 8, 16);
FIELD(vk_mm_region, limit, 12, 24);
FIELD(vk_mm_region, empty_object, 16, 32);
FIELD(vk_mm_region, dropped, 17, 33);
SIZE(vk_mm_region, 20, 40);

FIELD(vk_mm_stack, head, 0, 0);
FIELD(vk_mm_stack, region, 20, 40);
FIELD(vk_mm_stack, stack_magic, 40, 80);
SIZE(vk_mm_stack, 44, 88);

FIELD(vk_string, buf, 0, 0);
FIELD(vk_string, capacity, 4, 8);
FIELD(vk_string, length, 8, 12);
FIELD(vk_string, allocator, 12, 16);
FIELD(vk_string, magic, 16, 24);
SIZE(vk_string, 20, 32);

FIELD(vk_binary, len, 0, 0);
FIELD(vk_binary, data, 4, 8);
FIELD(vk_binary, magic, 8, 16);
SIZE(vk_binary, 12, 24);

FIELD(vk_datetime, time, 0, 0);
FIELD(vk_datetime, kind, 4, 4);
FIELD(vk_datetime, usec, 8, 8);
SIZE(vk_datetime, 12, 12);

FIELD(vk_path_node, next, 0, 0);
FIELD(vk_path_node, index, 4, 8);
FIELD(vk_path_node, name, 8, 16);
SIZE(vk_path_node, 12, 24);

FIELD(vk_path_roam, start, 0, 0);
FIELD(vk_path_roam, partial, 4, 8);
FIELD(vk_path_roam, position, 8, 16);
FIELD(vk_path_roam, node_length, 12, 24);
FIELD(vk_path_roam, index, 16, 28);
FIELD(vk_path_roam, node, 20, 32);
SIZE(vk_path_roam, 4120, 4136);

FIELD(vk_value_items, first, 0, 0);
FIELD(vk_value_items, tail, 4, 8);
FIELD(vk_value_items, count, 8, 16);
SIZE(vk_value_items, 12, 24);

FIELD(vk_value_payload, items, 0, 0);
FIELD(vk_value_payload, s32, 0, 0);
FIELD(vk_value_payload, u32, 0, 0);
FIELD(vk_value_payload, s64, 0, 0);
FIELD(vk_value_payload, u64, 0, 0);
FIELD(vk_value_payload, flag, 0, 0);
FIELD(vk_value_payload, text, 0, 0);
FIELD(vk_value_payload, binary, 0, 0);
FIELD(vk_value_payload, datetime, 0, 0);
SIZE(vk_value_payload, 12, 24);

FIELD(vk_value, next, 0, 0);
FIELD(vk_value, heap, 4, 8);
FIELD(vk_value, policy, 8, 16);
FIELD(vk_value, id, 12, 24);
FIELD(vk_value, index, 16, 32);
FIELD(vk_value, type, 20, 36);
FIELD(vk_value, attributes, 24, 40);
FIELD(vk_value, attributes_tail, 28, 48);
FIELD(vk_value, payload, 32, 56);
FIELD(vk_value, magic, 44, 80);
SIZE(vk_value, 48, 88);

FIELD(vk_frame, extra_path, 0, 0);
FIELD(vk_frame, rq_path, 4, 8);
FIELD(vk_frame, value, 8, 16);
FIELD(vk_frame, heap, 12, 24);
FIELD(vk_frame, owns_heap, 16, 32);
FIELD(vk_frame, status, 20, 36);
FIELD(vk_frame, action, 24, 40);
FIELD(vk_frame, magic, 28, 44);
SIZE(vk_frame, 32, 48);

FIELD(vk_frame_handler_entry, path, 0, 0);
FIELD(vk_frame_handler_entry, handler, 4, 8);
SIZE(vk_frame_handler_entry, 8, 16);

FIELD(vk_frame_handler_ops, call_path, 0, 0);
FIELD(vk_frame_handler_ops, register_handler, 4, 8);
FIELD(vk_frame_handler_ops, unregister_handler, 8, 16);
SIZE(vk_frame_handler_ops, 12, 24);

FIELD(cwmp_type, ns, 0, 0);
FIELD(cwmp_type, name, 4, 8);
SIZE(cwmp_type, 8, 16);

FIELD(vk_path_tree, allocator, 0, 0);
FIELD(vk_path_tree, next, 4, 8);
FIELD(vk_path_tree, prev_link, 8, 16);
FIELD(vk_path_tree, first_child, 12, 24);
FIELD(vk_path_tree, parent, 16, 32);
FIELD(vk_path_tree, path_node, 20, 40);
FIELD(vk_path_tree, name_magic, 32, 64);
FIELD(vk_path_tree, node_magic, 36, 68);
SIZE(vk_path_tree, 40, 72);

FIELD(vk_ipc_request, tag, 0, 0);
FIELD(vk_ipc_request, path, 4, 8);
FIELD(vk_ipc_request, action, 8, 16);
FIELD(vk_ipc_request, value, 12, 24);
SIZE(vk_ipc_request, 16, 32);

FIELD(vk_ipc_response, status, 0, 0);
FIELD(vk_ipc_response, value, 4, 8);
SIZE(vk_ipc_response, 8, 16);

FIELD(vk_module_descriptor, name, 0, 0);
FIELD(vk_module_descriptor, version, 4, 8);
FIELD(vk_module_descriptor, start, 8, 16);
FIELD(vk_module_descriptor, stop, 12, 24);
SIZE(vk_module_descriptor, 16, 32);

FIELD(dm_handlers, get, 0, 0);
FIELD(dm_handlers, set, 4, 8);
FIELD(dm_handlers, info, 8, 16);
FIELD(dm_handlers, add, 12, 24);
FIELD(dm_handlers, del, 16, 32);
FIELD(dm_handlers, getattr, 20, 40);
FIELD(dm_handlers, setattr, 24, 48);
FIELD(dm_handlers, commit, 28, 56);
FIELD(dm_handlers, rollback, 32, 64);
FIELD(dm_handlers, config, 36, 72);
FIELD(dm_handlers, level, 40, 80);
FIELD(dm_handlers, provide, 44, 88);
FIELD(dm_handlers, other, 48, 96);
SIZE(dm_handlers, 52, 104);
