#ifndef VESK_DMMGR_PROVIDER_H
#define VESK_DMMGR_PROVIDER_H

/*
 * For providers, the modules that serve parts of the data model: a table of handlers by action, and
 * default handlers that serve a subtree from a value tree in memory.
 *
 *     static dm_handlers handlers = {
 *         .get = dm_provider_default_get,
 *         .level = dm_provider_default_level,
 *         .provide = dm_provider_default_provide,
 *     };
 *
 *     static uint32_t serve(void *tree, vk_frame *frame, void *argument) {
 *       return dmmgr_handler_funcs(&handlers, frame, tree);
 *     }
 *
 *     vk_frame_handler_register("dm.Device.Demo", serve, tree);
 *
 * `VK_ENOANSWER` is how a provider declines a frame.
 */

#include <vesk/frame.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Answers frames of one action, with an argument of the provider's: `VK_EOK`, or a `vk_error` that
 * becomes the answer of the call.
 */
typedef uint32_t (*dm_handler)(vk_frame *frame, void *argument);

/** A provider's handlers by action; null for what it does not serve. */
typedef struct dm_handlers {
  dm_handler get;      /**< `VK_DM_GET` */
  dm_handler set;      /**< `VK_DM_SET` */
  dm_handler info;     /**< `VK_DM_INFO` */
  dm_handler add;      /**< `VK_DM_ADD` */
  dm_handler del;      /**< `VK_DM_DEL` */
  dm_handler getattr;  /**< `VK_DM_GETATTR` */
  dm_handler setattr;  /**< `VK_DM_SETATTR` */
  dm_handler commit;   /**< `VK_DM_COMMIT` */
  dm_handler rollback; /**< `VK_DM_ROLLBACK` */
  dm_handler config;   /**< `VK_DM_CONFIG` */
  dm_handler level;    /**< `VK_DM_LEVEL` */
  dm_handler provide;  /**< `VK_DM_PROVIDE` */
  dm_handler other;    /**< any other action */
} dm_handlers;

/**
 * Runs the handler for a frame's action. It is a `vk_frame_handler` and can be registered itself,
 * with the table as its data, where the core hands every handler the provider's argument.
 *
 * @param table    a `dm_handlers`, not changed
 * @param frame    a frame
 * @param argument passed on to the handler
 * @return what the handler gives; `VK_ENOANSWER` without one
 */
VK_API uint32_t dmmgr_handler_funcs(void *table, vk_frame *frame, void *argument);

/**
 * Gives values: copies the addressed subtree under "ParameterList" of the frame's value. Only
 * frames that arrive with a status other than 0 are served.
 *
 * @param frame a frame; its extra path addresses a node of the tree, an empty one the root
 * @param tree  a `vk_value`, not changed
 * @return `VK_EOK`; `VK_ENOANSWER` for a frame of status 0 or if there is no such node; `VK_ENOMEM`
 *         if the frame's heap is exhausted, and then "ParameterList" stays with what was copied, or
 *         if the frame's value is no object
 */
VK_API uint32_t dm_provider_default_get(vk_frame *frame, void *tree);

/**
 * Names the children: adds those of the addressed object to "level" of the frame's value, which is
 * not made if there are none.
 *
 * @param frame as for `dm_provider_default_get`
 * @param tree  as for `dm_provider_default_get`
 * @return `VK_EOK`; `VK_ENOANSWER` if there is no such object; `VK_ENOMEM` if the frame's heap is
 *         exhausted, and then the names so far stay
 */
VK_API uint32_t dm_provider_default_level(vk_frame *frame, void *tree);

/**
 * Tells whether the tree holds the addressed node.
 *
 * @param frame as for `dm_provider_default_get`
 * @param tree  as for `dm_provider_default_get`
 * @return `VK_EOK` if it does, otherwise `VK_ENOANSWER`
 */
VK_API uint32_t dm_provider_default_provide(vk_frame *frame, void *tree);

#ifdef __cplusplus
}
#endif

#endif
