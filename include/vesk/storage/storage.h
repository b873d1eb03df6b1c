#ifndef VESK_STORAGE_STORAGE_H
#define VESK_STORAGE_STORAGE_H

/*
 * Trees that the core keeps on the device, each under a key: a text of 1 to 4096 bytes. The key
 * becomes the last components of the request's path and ends at its first empty component: "a..b"
 * is "a", and ".a" is sent without any key. How trees are kept is the core's affair; attributes and
 * policies may be lost.
 *
 * The paths are made on "gta", which must be there.
 */

#include <vesk/frame.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Saves a frame's value: calls "sys.persistent.save" and the key with the frame.
 *
 * @param key   the key
 * @param frame a frame, with whatever action it has; receives the call's result as its status
 * @return the call's result; without a call, and the status as it was: `VK_EINVAL` for what is no
 *         key, `VK_ENOMEM` if the path could not be made
 */
VK_API vk_error vk_storage_save(const char *key, vk_frame *frame);

/**
 * Loads a tree: calls "sys.persistent.load" and the key with a new frame.
 *
 * @param key the key
 * @return a frame with the tree as its value, to be deleted with `vk_frame_delete`; null for what
 *         is no key, if the call failed, or if memory could not be had
 */
VK_API vk_frame *vk_storage_load(const char *key);

/**
 * Removes a tree: calls "sys.persistent.remove" and the key, without a value.
 *
 * @param key the key
 * @return as for `vk_storage_save`
 */
VK_API vk_error vk_storage_remove(const char *key);

#ifdef __cplusplus
}
#endif

#endif
