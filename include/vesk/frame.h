#ifndef VESK_FRAME_H
#define VESK_FRAME_H

/*
 * Frames, and the hooks through which every frame call and every registration of a handler goes.
 *
 * A frame is a request on its way: paths, an action, a status, and a tree of values that carries
 * the arguments in and the results out. The library routes nothing: the core installs three hooks
 * once, at its start, and every process calls and registers through them. Until then calls are
 * answered `VK_ENOANSWER` and registrations `VK_ENOSYS`.
 *
 * A frame belongs to one thread. The table of hooks is written once, before any frame is sent.
 */

#include <vesk/path.h>
#include <vesk/value/node.h>

#ifdef __cplusplus
extern "C" {
#endif

/** A request with its arguments, and then with its results. */
typedef struct vk_frame {
  vk_path_node *extra_path; /**< the request path below the handler's; borrowed, null if none */
  vk_path_node *rq_path;    /**< the full request path; borrowed, null if none */
  vk_value *value;          /**< an ordered object, the frame's own */
  vk_allocator *heap;       /**< where the record and the value come from */
  uint8_t owns_heap;        /**< non-zero if the heap was made for the frame and goes with it */
  int32_t status;           /**< result of the last call made with the frame */
  uint32_t action;          /**< what is asked for; the numbers of <vesk/dmmgr/frame.h> */
  uint32_t magic;           /**< `VK_MAGIC_FRAME`, or `VK_MAGIC_DEAD` once deleted */
} vk_frame;

/**
 * Answers frames. The core calls it with the data that was given when it was registered, the frame,
 * and an argument of the core's own; it gives a `vk_error` or a status agreed with the callers,
 * `VK_ENOANSWER` if it has nothing to say.
 */
typedef uint32_t (*vk_frame_handler)(void *data, vk_frame *frame, void *argument);

/** One handler of a list; a null path ends the list. */
typedef struct vk_frame_handler_entry {
  const char *path;         /**< where the handler listens, in whatever form the core takes */
  vk_frame_handler handler; /**< the handler */
} vk_frame_handler_entry;

/** The hooks; see `vk_frame_handler_setup`. */
typedef struct vk_frame_handler_ops {
  /** Makes a call: the chain of the path's components, the action, and the value, or null. */
  uint32_t (*call_path)(const vk_path_node *path, uint32_t action, vk_value *value);
  /** Registers a handler with data of the registrant's own. */
  vk_error (*register_handler)(const char *path, vk_frame_handler handler, void *data);
  /** Undoes a registration with the same arguments. */
  vk_error (*unregister_handler)(const char *path, vk_frame_handler handler, void *data);
} vk_frame_handler_ops;

/**
 * Makes a frame: no paths, status 0, action 0, an empty object as its value.
 *
 * @param parent a frame whose heap is shared and must outlive the new one; null for a heap of the
 *               frame's own
 * @return the frame, to be deleted with `vk_frame_delete`; null if memory could not be had
 */
VK_API vk_frame *vk_frame_new(const vk_frame *parent);

/**
 * Makes a frame's value an empty object again. Paths, status and action stay.
 *
 * @param frame a frame
 */
VK_API void vk_frame_clear(vk_frame *frame);

/**
 * Deletes a frame with its value and, if it owns one, its heap; the paths are not its own.
 *
 * @param frame a frame, not null; frames that share its own heap must be gone
 */
VK_API void vk_frame_delete(vk_frame *frame);

/**
 * Gives the request path below the handler's.
 *
 * @param frame a frame
 * @return the first component, or null
 */
VK_API vk_path_node *vk_frame_get_extra_path(const vk_frame *frame);

/**
 * Gives the full request path.
 *
 * @param frame a frame
 * @return the first component, or null
 */
VK_API vk_path_node *vk_frame_get_rq_path(const vk_frame *frame);

/**
 * Gives the value of a frame.
 *
 * @param frame a frame
 * @return its value, an object that the frame owns
 */
VK_API vk_value *vk_frame2value(const vk_frame *frame);

/**
 * Gives the status of a frame.
 *
 * @param frame a frame
 * @return its status
 */
VK_API int32_t vk_frame_get_status(const vk_frame *frame);

/**
 * Sets the status of a frame.
 *
 * @param frame  a frame
 * @param status a `vk_error` or a status agreed with the receiver
 */
VK_API void vk_frame_set_status(vk_frame *frame, int32_t status);

/**
 * Gives the action of a frame.
 *
 * @param frame a frame
 * @return its action
 */
VK_API uint32_t vk_frame_get_action(const vk_frame *frame);

/**
 * Sets the action of a frame.
 *
 * @param frame  a frame
 * @param action what is asked for
 */
VK_API void vk_frame_set_action(vk_frame *frame, uint32_t action);

/**
 * Installs the hooks. Only the core does this, or a module runtime before it sets `vk_module_ctx`.
 *
 * @param ops the three hooks, which are copied and not checked
 * @return `VK_EOK`; `VK_EFAULT`, logged, where a module context is set
 */
VK_API vk_error vk_frame_handler_setup(const vk_frame_handler_ops *ops);

/**
 * Registers a handler through the installed hook.
 *
 * @param path    passed on as it is
 * @param handler passed on as it is
 * @param data    passed on as it is; the handler's first argument
 * @return what the hook gives; `VK_ENOSYS` without one
 */
VK_API vk_error vk_frame_handler_register(const char *path, vk_frame_handler handler, void *data);

/**
 * Undoes a registration through the installed hook.
 *
 * @param path    as it was registered
 * @param handler as it was registered
 * @param data    as it was registered
 * @return what the hook gives; `VK_ENOSYS` without one
 */
VK_API vk_error vk_frame_handler_unregister(const char *path, vk_frame_handler handler, void *data);

/**
 * Registers a list of handlers, all or none: if one is refused, those before it are unregistered,
 * first to last.
 *
 * @param entries the list, ended by an entry with a null path
 * @param data    the same for all
 * @return `VK_EOK`, or the result of the registration that was refused
 */
VK_API vk_error vk_frame_handler_list_register(const vk_frame_handler_entry *entries, void *data);

/**
 * Makes a call through the installed hook.
 *
 * @param path   the first component of the path, or null; valid during the call only, for the hook
 * @param action what is asked for
 * @param value  the arguments, replaced or extended by the results; may be null
 * @return what the hook gives; `VK_ENOANSWER` without one
 */
VK_API uint32_t vk_frame_call_path2(const vk_path_node *path, uint32_t action, vk_value *value);

/**
 * Makes a call by path text. The components are made on "gta", which must be there. They are gone
 * when the call returns, but their memory stays taken until "gta" is cleared.
 *
 * @param path   the path text; an empty component ends it
 * @param action what is asked for
 * @param value  as for `vk_frame_call_path2`
 * @return the call's result; `VK_ENOMEM` if the path could not be made, and then nothing was called
 */
VK_API uint32_t vk_frame_call2(const char *path, uint32_t action, vk_value *value);

/**
 * Makes a call by path text, as `vk_frame_call2` does, with a frame's action and value, and stores
 * the result as its status.
 *
 * @param path  the path text
 * @param frame a frame
 * @return as for `vk_frame_call2`
 */
VK_API uint32_t vk_frame_call(const char *path, vk_frame *frame);

#ifdef __cplusplus
}
#endif

#endif
