#ifndef VESK_STORAGE_FD_H
#define VESK_STORAGE_FD_H

/*
 * Descriptors that are watched for a module. When one is ready, the module's handler is called with
 * a frame that carries its number.
 */

#include <vesk/frame.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Asks for a descriptor to be watched: calls "sys.fd.add" with {"fd": int, "path": string}. Only
 * where `vk_module_ctx` is set, on whose heap the request lives. Members that did not fit in memory
 * are missing from the request or have no value.
 *
 * @param path a text that names what the descriptor is open on
 * @param fd   the descriptor
 * @return the call's result; `VK_ENOMEM` if the request could not be made
 */
VK_API vk_error vk_fd_register(const char *path, int fd);

/**
 * Asks for a descriptor to be watched no longer: calls "sys.fd.del" with {"fd": int}. Only where
 * `vk_module_ctx` is set.
 *
 * @param fd the descriptor
 * @return the call's result; `VK_ENOMEM` if the request could not be made
 */
VK_API vk_error vk_fd_unregister(int fd);

/**
 * Gives the descriptor that a frame carries.
 *
 * @param frame a frame
 * @return its member "fd", whose type is not looked at; -1 if there is none
 */
VK_API int vk_fd_frame_get_fd(const vk_frame *frame);

#ifdef __cplusplus
}
#endif

#endif
