#ifndef VESK_DMMGR_REQUEST_H
#define VESK_DMMGR_REQUEST_H

/*
 * Requests to the data-model manager in the core. Each makes a request tree, sends it as a frame
 * call with action 0, and hands out a piece of the answer: a tree of its own, to be deleted with
 * `vk_value_delete`. The request is deleted in every case.
 *
 * Calls go through the hooks of <vesk/frame.h>; without them every request gives `VK_ENOANSWER`.
 */

#include <vesk/frame.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Changes the attributes of a parameter: calls "cwmp.rpc.GetParameterAttributes" (so named for
 * good) with {"ParameterList": [{"Name": string, "NotificationChange": boolean, "Notification":
 * int, "AccessListChange": boolean}]}. Only where `vk_module_ctx` is set, on whose heap the request
 * lives.
 *
 * @param name                the parameter's full name
 * @param notification_change whether the notification is changed; kept as given
 * @param notification        the new notification: 0 off, 1 passive, 2 active (TR-069)
 * @param access_list_change  whether the access list is changed; kept as given
 * @return the call's result; `VK_ENOMEM` if the request could not be made
 */
VK_API vk_error vk_dmmgr_set_parameter_attributes(const char *name, uint8_t notification_change,
                                                  int32_t notification, uint8_t access_list_change);

/**
 * Asks for the names below a path, one level: calls "cwmp.rpc.GetParameterNames" with
 * {"ParameterPath": string, "NextLevel": true}.
 *
 * @param heap the heap for request and answer; null is refused
 * @param path the path; "." is the root
 * @param out  receives the part of the answer's "ParameterList" at the path, or null if it is not
 *             there; untouched where there is no such object or the call failed
 * @return `VK_EOK`; `VK_EINVAL` without a heap; `VK_ENOMEM` if the request could not be made;
 *         `VK_ENOENT` if the answer lacks the path or has no "ParameterList"; otherwise the call's
 *         result
 */
VK_API vk_error vk_dmmgr_get_parameter_names(vk_allocator *heap, const char *path, vk_value **out);

/**
 * Tells the root of the data model, which is asked for on "gta" until it is known and then kept.
 *
 * @return "InternetGatewayDevice", which wins, or "Device"; a constant text of the library. Null,
 *         logged, if the manager named neither or gave no answer.
 */
VK_API const char *vk_dmmgr_get_dm_root(void);

/**
 * Asks for the value of a parameter, or the values below a partial path: calls
 * "cwmp.rpc.GetParameterValues" with {"ParameterNames": [string]} and the "dm-flags" of a frame.
 *
 * @param frame the frame on whose behalf is asked; its heap holds request and answer. Null is
 *              refused.
 * @param name  the name; an empty one is the root
 * @param out   receives the part of the answer's "ParameterList" at the name, or null if it is not
 *              there, which is not an error; untouched on failure
 * @return `VK_EOK`; `VK_EINVAL` without a frame; `VK_ENOMEM` if the request could not be made;
 *         `VK_ENOENT` if the answer has no object "ParameterList"; otherwise the call's result
 */
VK_API vk_error vk_dmmgr_get_parameter_value(const vk_frame *frame, const char *name,
                                             vk_value **out);

/**
 * Asks for the parameters that every Inform carries: calls "dmmgr.inform.get" with an empty object.
 *
 * @param frame a frame; its heap holds request and answer
 * @param out   receives the answer's "ParameterList", of whatever type; untouched on failure
 * @return `VK_EOK`; `VK_ENOMEM` if the request could not be made; `VK_ENOENT` if the answer has no
 *         "ParameterList"; otherwise the call's result
 */
VK_API vk_error vk_dmmgr_get_forced_inform_values(const vk_frame *frame, vk_value **out);

/**
 * Asks for the pending notifications: calls "dmmgr.notification.get" with an empty object.
 *
 * @param heap the heap for request and answer
 * @param out  receives the answer's "ParameterList", of whatever type, or null if it has none;
 *             untouched if the call failed or was not made
 * @return as for `vk_dmmgr_get_forced_inform_values`
 */
VK_API vk_error vk_dmmgr_get_notification(vk_allocator *heap, vk_value **out);

#ifdef __cplusplus
}
#endif

#endif
