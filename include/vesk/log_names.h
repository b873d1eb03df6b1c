#ifndef VESK_LOG_NAMES_H
#define VESK_LOG_NAMES_H

/*
 * The names of syslog's priorities and facilities, for reading them from configuration.
 *
 * `vesk.h` leaves this header out, because <syslog.h> defines the same two names where SYSLOG_NAMES
 * is defined: such a source file cannot include both.
 */

#include <vesk/base.h>

#ifdef __cplusplus
extern "C" {
#endif

/** One name and the number it stands for. */
typedef struct vk_log_name {
  const char *name; /**< null in the entry that ends a table */
  int32_t value;    /**< the number of <syslog.h>; -1 in the entry that ends a table */
} vk_log_name;

/** Priorities by name; the values are those of syslog, not the levels of `vk_log`. */
extern VK_API const vk_log_name prioritynames[];

/**
 * Facilities by name. There is no local6 and no local7: the facilities LOG_LOCAL6 and LOG_LOCAL7
 * go by "SYS" and "CRM".
 */
extern VK_API const vk_log_name facilitynames[];

#ifdef __cplusplus
}
#endif

#endif
