#ifndef VESK_DMMGR_HOOK_H
#define VESK_DMMGR_HOOK_H

/*
 * Hooks that the data-model manager runs when an event occurs. Only where `vk_module_ctx` is set,
 * on whose heap the requests live.
 */

#include <vesk/frame.h>

#ifdef __cplusplus
extern "C" {
#endif

/**
 * Asks for a hook to be run on an event: calls "dmmgr.hook.add" with {"Event": string, "Hook":
 * string}.
 *
 * @param event the event, one of the manager's
 * @param hook  what is to be run
 * @return the call's result; `VK_ENOMEM` if the request could not be made
 */
VK_API vk_error dm_hook_add(const char *event, const char *hook);

/**
 * Asks for a hook to be run no longer: calls "dmmgr.hook.del" with {"Event": string, "Hook":
 * string}.
 *
 * @param event as it was added
 * @param hook  as it was added
 * @return as for `dm_hook_add`
 */
VK_API vk_error dm_hook_del(const char *event, const char *hook);

#ifdef __cplusplus
}
#endif

#endif
