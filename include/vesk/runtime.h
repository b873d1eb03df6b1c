#ifndef VESK_RUNTIME_H
#define VESK_RUNTIME_H

/*
 * libveskrt: what a process needs to take part in the agent, over libvesk and libc alone. It starts
 * no threads and raises no SIGPIPE.
 *
 * A module is a descriptor and one call:
 *
 *     static vk_error start(void **argument) {
 *       return vk_frame_handler_register("dm.Device.Demo", serve, NULL);
 *     }
 *
 *     int main(int argc, char **argv) {
 *       static const vk_module_descriptor demo = {"demo", "1.0", start, NULL};
 *       return vk_module_main(argc, argv, &demo);
 *     }
 *
 * Inside it, calls, registrations and watched descriptors go through the functions of libvesk
 * (`vk_frame_call`, `vk_frame_handler_register`, `vk_fd_register` and so on), whose hooks the
 * runtime installs. While a call waits for its answer the module serves requests, so handlers must
 * expect to be entered again. The runtime sets no time limit on calls: the core does.
 *
 * - A handler receives a frame with the status `VK_ENOANSWER`, whose value is an object, and as its
 *   third argument what `start` stored. What it makes of the value goes back, unless it gives
 *   `VK_ENOANSWER`; what breaks a limit of the core does not, and `VK_ENOMEM` is its status then.
 *   Attributes do not cross: of an answer to "info" the attribute "Writable" of "ParameterList"
 *   becomes a boolean member "Writable" of the value.
 * - A call gives `VK_EVALUE` without being sent if it breaks a limit of the core, `VK_EINVAL` if
 *   its tree cannot be said in the byte format, `VK_ETIMEDOUT` without being sent if it needs one
 *   more connection and the core takes none for 5 s, `VK_ENOMEM` without being sent also if there
 *   is no descriptor left for that, `VK_EIO` if the core goes. While the core is away, until no
 *   handler is on the stack and a new one has been found, every call gives `VK_EIO`. The new core
 * is told of all handlers and hooks (`dm_hook_add`) in their order; `start` is not called again.
 * - A descriptor given to `vk_fd_register` is watched by the module's own loop. If it can be read,
 *   or has an error or an end to tell, the handlers that the module has registered at
 *   "sys.fd.ready" are called, oldest first, until one does not give `VK_ENOANSWER`: action 0, with
 *   {"fd": int, "path": string, "events": unsignedInt, as of `poll`}. They are called only where no
 *   other handler is on the stack. Unregister a descriptor before you close it; the watch of one
 *   that was closed, or for which there is no handler, ends with a message in the log.
 *   `vk_fd_register` gives `VK_EINVAL` for what is no descriptor, `VK_EOPNOTSUPP` for one that
 *   cannot be watched, such as a file, `VK_EEXIST` and `VK_ENOMEM`, also if there is no descriptor
 *   left, of which a watch needs one; `vk_fd_unregister` `VK_ENOENT`.
 *
 * A client, such as a tool or a script, is no module: it opens a connection, calls, and closes.
 */

#include <vesk/frame.h>
#include <vesk/module.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Clients */

/** A connection to the core for calls of a process that is no module. */
typedef struct vk_client vk_client;

/**
 * Connects to the core. A server whose credentials are neither root's nor those of this process's
 * user is refused.
 *
 * @param socket     the path of the core's socket; null is `vk_ipc_socket_path`
 * @param timeout_ms how long to wait for a core that is not there yet; 0 does not wait, a negative
 *                   one waits for ever
 * @param client     receives the connection, to be closed with `vk_client_close`
 * @return `VK_EOK`; `VK_ENOENT` if no core answers at the path in time; `VK_EAUTH` for a server of
 *         another user; `VK_ENAMETOOLONG` for a path that no socket can have; `VK_ENOMEM`, also if
 *         there is no descriptor left; `VK_EIO` for any other failure
 */
VK_API vk_error vk_client_open(const char *socket, int timeout_ms, vk_client **client);

/**
 * Makes a call and waits for its answer.
 *
 * @param client     a connection
 * @param path       the request path
 * @param action     what is asked for
 * @param value      the arguments, or null. An answer that carries a tree takes the place of what
 *                   the node held; one that carries none leaves it as it is.
 * @param timeout_ms how long to wait for the answer; a negative one waits for ever
 * @return the call's result; `VK_EIO` if the connection is lost; `VK_ETIMEDOUT`, and the connection
 *         is then of no more use, as it is after `VK_EIO`; `VK_EINVAL` for a tree that cannot be
 *         said in the byte format, `VK_EVALUE` for one deeper than 256 nodes or with a type that
 *         there is not, both not sent; `VK_ENOMEM`, and then the tree is as it was
 */
VK_API uint32_t vk_client_call(vk_client *client, const char *path, uint32_t action,
                               vk_value *value, int timeout_ms);

/**
 * Closes a connection.
 *
 * @param client a connection, or null, which is ignored
 */
VK_API void vk_client_close(vk_client *client);

/* Modules */

/** What makes a process a module. */
typedef struct vk_module_descriptor {
  const char *name;    /**< the module's name: letters, digits, "-" and "_"; unique in an agent */
  const char *version; /**< its version, for people */
  /**
   * Called once, when the core is there and calls and registrations work. It may store what every
   * handler receives as its third argument. A result other than `VK_EOK` ends the module. May be
   * null.
   */
  vk_error (*start)(void **argument);
  /** Called at the end, with what `start` stored; calls may fail by then. May be null. */
  void (*stop)(void *argument);
} vk_module_descriptor;

/**
 * Runs a module: reads the options, waits for the core, attaches, calls `start`, serves until
 * SIGTERM or SIGINT, of which it takes notice when no handler is running, calls `stop`. When the
 * core goes away it comes back to the next one, with all that was registered.
 *
 * Options: `--socket PATH`; `--param KEY=VALUE`, any number, for `vk_module_get_param_str`;
 * `--help`; `--version`. "gta" is made and, whenever no handler is running, cleared.
 *
 * @param argc       as for main
 * @param argv       as for main
 * @param descriptor the module; borrowed
 * @return what main returns: 0, also if it was ended while it waited for the core; 64 for wrong
 *         options; 69 if the core refused the module or cannot be reached; 70 if `start` failed or
 *         memory could not be had
 */
VK_API int vk_module_main(int argc, char **argv, const vk_module_descriptor *descriptor);

/* Modules with a loop of their own */

/** A module's part in a loop that is not the runtime's. One at a time in a process. */
typedef struct vk_module_runtime vk_module_runtime;

/**
 * Begins a module, as `vk_module_main` does: connects, waiting for the core, attaches, and calls
 * `start`. The process must have made "gta", and clears it itself, where no handler is on the
 * stack.
 *
 * @param descriptor the module; borrowed
 * @param socket     the path of the core's socket, which is copied; null is `vk_ipc_socket_path`
 * @param params     an object with the module's parameters; borrowed; may be null
 * @param runtime    receives the runtime, to be ended with `vk_module_end`
 * @return `VK_EOK`; what the core gave if it refused the module, `VK_EEXIST` if the name is taken;
 *         what `start` gave; `VK_EBUSY` or `VK_EFAULT` if the process is a module already;
 *         `VK_ENOMEM`; otherwise as for `vk_client_open`
 */
VK_API vk_error vk_module_begin(const vk_module_descriptor *descriptor, const char *socket,
                                vk_value *params, vk_module_runtime **runtime);

/**
 * Gives the one descriptor to wait for.
 *
 * @param runtime a runtime
 * @return a descriptor, the same until the end, that is readable when `vk_module_dispatch` has work
 */
VK_API int vk_module_get_fd(const vk_module_runtime *runtime);

/**
 * Gives how long to wait at most before `vk_module_dispatch` is called anyway.
 *
 * @param runtime a runtime
 * @return milliseconds, or -1 for no limit
 */
VK_API int vk_module_get_timeout(const vk_module_runtime *runtime);

/**
 * Does what there is to do, and waits for nothing but the core's answers. From a handler it does
 * nothing.
 *
 * @param runtime a runtime
 * @return `VK_EOK`; `VK_EEXIST` if a new core refused the module
 */
VK_API vk_error vk_module_dispatch(vk_module_runtime *runtime);

/**
 * Ends a module: calls `stop`, closes its connections, takes the hooks and the context away.
 *
 * @param runtime a runtime, or null, which is ignored
 */
VK_API void vk_module_end(vk_module_runtime *runtime);

#ifdef __cplusplus
}
#endif

#endif
