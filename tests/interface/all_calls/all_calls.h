#ifndef VESK_TESTS_INTERFACE_ALL_CALLS_H
#define VESK_TESTS_INTERFACE_ALL_CALLS_H

/*
 * The parts of the program that calls the whole interface, and what they share.
 */

#include "../check.h"

void call_foundation(void); /* error.h, stream.h, log.h, log_names.h, module.h */
void call_memory(void);     /* mm/heap.h, mm/stack.h, mm/gta.h, string.h, random.h */
void call_leaves(void);     /* binary.h, datetime.h */
void call_paths(void);      /* path.h, path_tree.h */
void call_values(void);     /* value/: type, node, leaf, text, prototype, object, member, ... */
void call_trees(void);      /* value/: compare, copy, merge, ...; path_tree_diff.h */
void call_frames(void);     /* frame.h */
void call_messages(void);   /* ipc.h, storage/fd.h, storage/storage.h */
void call_data_model(void); /* net/cwmp_utils.h, dmmgr/ */

/* What the program's own syslog was last given, and how its own openlog was last called. */
extern char logged_message[512];
extern int logged_facility;

/* An empty ordered object on the default heap. */
vk_value *new_object(void);

/* A frame with a heap of its own. */
vk_frame *new_frame(void);

/* Makes the process a module's, with the default heap and these parameters, or the core's again. */
void enter_module(vk_value *params);
void leave_module(void);

/* The hooks of this program. Calls are recorded and answered as told, once; what is not told is
 * answered `VK_ENOANSWER`. Registrations are counted. */
void install_hooks(void);
void answer_next(uint32_t result, void (*fill)(vk_value *value));
extern char called_path[64];
extern uint32_t called_action;
extern int registered;

/* Whether the last call had this path and action 0. */
bool called(const char *path);

#endif
