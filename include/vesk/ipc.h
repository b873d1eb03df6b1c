#ifndef VESK_IPC_H
#define VESK_IPC_H

/*
 * The two messages of the agent's local socket: a request (a frame call) and a response (its status
 * and the tree after the call). docs/wire-format.md describes the bytes.
 *
 * Every field is moved with one `write` or `read` of its exact size, and one that moves fewer bytes
 * is an error: nothing is retried, and after any failure the stream is out of step and the
 * connection of no more use. The descriptor must block. The peer is trusted: no length, count or
 * depth is bounded, and both ends take stack for every level of the tree.
 *
 * Errors are of two kinds whose numbers overlap: a system call that fails gives its `errno` as it
 * stands, everything else a `vk_error`. Tell success from failure by them, no more.
 *
 * What callers must know of a local stream socket on Linux:
 * - Writing to one whose peer is gone raises SIGPIPE. Ignore that signal (`signal(SIGPIPE,
 *   SIG_IGN)`), and the write gives EPIPE.
 * - A field that the kernel splits comes back short when the reader is faster than the writer,
 *   which is `VK_EIO`. It keeps up to half of the writer's send buffer (SO_SNDBUF, as `getsockopt`
 *   gives it) less 64 bytes in one piece, but never more than 36,544 bytes. (bench/short_reads
 *   measures it; so found on Linux 6.18, x86-64, pages of 4 KiB.) Texts and binaries beyond that
 *   want another transport.
 */

#include <vesk/value/node.h>

#ifdef __cplusplus
extern "C" {
#endif

/** Where the core listens unless it is told otherwise: "/tmp/vesk.sock". */
extern VK_API const char vk_ipc_socket_path[15];

/** A frame call. The record and what it points at are the caller's. */
typedef struct vk_ipc_request {
  uint32_t tag;    /**< a number of the sender's choice, carried as it is */
  char *path;      /**< the request path as dotted text; once read, a block from `vk_alloc` */
  uint32_t action; /**< what is asked for; the numbers of <vesk/dmmgr/frame.h> */
  vk_value *value; /**< the arguments, not null; for reading, a fresh node that receives them */
} vk_ipc_request;

/** What a frame call gave. The record and what it points at are the caller's. */
typedef struct vk_ipc_response {
  uint32_t status; /**< the call's result */
  vk_value *value; /**< the tree after the call, not null; for reading, a fresh node for it */
} vk_ipc_response;

/**
 * Writes a request. An object whose member cannot be written (a name taken away, a string leaf
 * without a text, a failing write) is ended there, and if that succeeds the failure is not
 * reported. A member whose name is empty ends the object for the reader.
 *
 * @param fd      the connection
 * @param request the request
 * @return 0; `VK_EINVAL` for a path or string leaf without a text or of 4 GiB and more; `VK_EIO`
 *         if fewer bytes were moved than asked; the `errno` of a write that failed
 */
VK_API uint32_t vk_ipc_write_request(int fd, const vk_ipc_request *request);

/**
 * Writes a response.
 *
 * @param fd       the connection
 * @param response the response
 * @return as for `vk_ipc_write_request`
 */
VK_API uint32_t vk_ipc_write_response(int fd, const vk_ipc_response *response);

/**
 * Reads a request into a record. The path, and everything below the value, come from the heap of
 * the value. A tag above 11 leaves its node as it was. A member that cannot be made ends the
 * reading with success: only the stream, which is then out of step, tells.
 *
 * After a failure the value holds what was read and can be deleted. A path that was read stays, to
 * be freed with `vk_free`; one that was not is null, but stays untouched where the tag did not come
 * or memory was refused: begin with null. The buffer of a binary whose bytes did not come stays
 * allocated until its heap goes.
 *
 * @param fd      the connection
 * @param request receives the request; `value` must be a fresh node
 * @return 0; `VK_ENOMEM` if the heap of the value is exhausted, or for a length that no block can
 *         have; `VK_EIO` if fewer bytes came than asked, at the end of the stream too; the `errno`
 *         of a read that failed
 */
VK_API uint32_t vk_ipc_read_request(int fd, vk_ipc_request *request);

/**
 * Reads a response into a record, as `vk_ipc_read_request` reads a request.
 *
 * @param fd       the connection
 * @param response receives the response; `value` must be a fresh node
 * @return as for `vk_ipc_read_request`
 */
VK_API uint32_t vk_ipc_read_response(int fd, vk_ipc_response *response);

#ifdef __cplusplus
}
#endif

#endif
