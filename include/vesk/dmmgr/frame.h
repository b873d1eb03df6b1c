#ifndef VESK_DMMGR_FRAME_H
#define VESK_DMMGR_FRAME_H

/*
 * Data-model frames: their actions, and the members of a frame's value through which a request to
 * the data model and its answer are told:
 *
 *     "ParameterList"   object       the result: a subtree, or the node that bears "Writable"
 *     "level"           object       the names of the addressed node's children, without values
 *     "InstanceNumber"  unsignedInt  the number of the instance that was added
 *     "dm-flags"        unsignedInt  flags of the request; absent means 0
 *     "Status"          int          a status of the operation, beside the frame's own
 *
 * "Writable" is an attribute, a boolean. Members are found by a linear search.
 */

#include <vesk/frame.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The actions of frames. */
#define VK_DM_GET UINT32_C(0)      /**< "get": give values */
#define VK_DM_SET UINT32_C(1)      /**< "set": change a value */
#define VK_DM_INFO UINT32_C(2)     /**< "info": tell whether a parameter is writable */
#define VK_DM_ADD UINT32_C(3)      /**< "add": make an instance */
#define VK_DM_DEL UINT32_C(4)      /**< "del": remove an instance */
#define VK_DM_GETATTR UINT32_C(5)  /**< "getattr": give attributes */
#define VK_DM_SETATTR UINT32_C(6)  /**< "setattr": change attributes */
#define VK_DM_COMMIT UINT32_C(7)   /**< "commit": let what was changed take effect */
#define VK_DM_ROLLBACK UINT32_C(8) /**< "rollback": drop what was changed */
#define VK_DM_CONFIG UINT32_C(9)   /**< "config": configure the handler */
#define VK_DM_LEVEL UINT32_C(10)   /**< "level": name the children */
#define VK_DM_PROVIDE UINT32_C(11) /**< "provide": tell whether the path is held */

/**
 * Names an action.
 *
 * @param action any number
 * @return its name, or "(unknown action)"; a constant text of the library, never null
 */
VK_API const char *dm_action_to_string(uint32_t action);

/**
 * Gives the action of a frame.
 *
 * @param frame a frame
 * @return its action
 */
VK_API uint32_t dm_frame_get_action(const vk_frame *frame);

/**
 * Gives the request path of a frame without its "dm".
 *
 * @param frame a frame
 * @return the component behind "dm"; null if the path does not begin so or ends there
 */
VK_API vk_path_node *dm_frame_get_request_path(const vk_frame *frame);

/**
 * Tells the number of the instance that was added.
 *
 * @param frame  a frame
 * @param number the instance number, not 0
 * @return `VK_EOK`; `VK_EINVAL` for 0; `VK_ENOMEM` if the heap is exhausted
 */
VK_API vk_error dm_frame_set_instance_number(vk_frame *frame, uint32_t number);

/**
 * Sets the flags of a request.
 *
 * @param frame a frame
 * @param flags the flags; 0 changes nothing, not even flags that are there
 * @return `VK_EOK`; `VK_ENOMEM` if the heap is exhausted
 */
VK_API vk_error dm_frame_set_flags(vk_frame *frame, uint32_t flags);

/**
 * Gives the flags of a request.
 *
 * @param frame a frame
 * @return the flags; 0 if there are none or they are not an unsignedInt
 */
VK_API uint32_t dm_frame_get_flags(const vk_frame *frame);

/**
 * Sets the status of the operation, the member "Status".
 *
 * @param frame  a frame
 * @param status the status
 * @return `VK_EOK`; `VK_ENOMEM` if the heap is exhausted
 */
VK_API vk_error dm_frame_set_status(vk_frame *frame, int32_t status);

/**
 * Gives the status of the operation.
 *
 * @param value a frame's value or the tree of an answer, or null
 * @return its "Status"; -1 if the value is not an object or has no such int
 */
VK_API int32_t dm_frame_get_status(const vk_value *value);

/**
 * Gives the result of a request, made as an empty object if there is none.
 *
 * @param value a frame's value or the tree of an answer, or null
 * @return its "ParameterList", of whatever type; null if the value is not an object, if it is an
 *         indexed one without that member, or if the heap is exhausted
 */
VK_API vk_value *dm_frame_result_value(vk_value *value);

/**
 * Adds the name of a child to the "level" of a frame, once. A "level" that is not an object becomes
 * one and loses what it held.
 *
 * @param frame a frame
 * @param name  the child's name
 * @return `VK_EOK`; `VK_ENOMEM` if the heap is exhausted, and then "level" stays as it was made
 */
VK_API vk_error dm_frame_add_level_item(vk_frame *frame, const char *name);

/**
 * Tells whether the addressed parameter can be written: sets the attribute "Writable" of the
 * result, which is made if there is none.
 *
 * @param frame    a frame
 * @param writable the flag, kept as given
 * @param keep     whether the result keeps what it holds; otherwise it is cleared
 * @return `VK_EOK`; `VK_ENOMEM` if the heap is exhausted, and then a result that was made or
 * cleared stays so
 */
VK_API vk_error dm_frame_set_parameter_info(vk_frame *frame, uint8_t writable, uint8_t keep);

#ifdef __cplusplus
}
#endif

#endif
