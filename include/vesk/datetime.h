#ifndef VESK_DATETIME_H
#define VESK_DATETIME_H

/*
 * Points in time as CWMP knows them (TR-106, "dateTime"):
 *
 * - absolute, in UTC: "2024-03-01T12:00:00Z";
 * - relative, counted from the device's boot, when its clock has not been set:
 *   "0001-01-01T00:01:40", a date of the year 1 without a suffix;
 * - unknown: "0001-01-01T00:00:00Z".
 */

#include <vesk/stream.h>

#ifdef __cplusplus
extern "C" {
#endif

/* The kinds of points in time. */
#define VK_DATETIME_ABSOLUTE UINT32_C(0) /**< counted from 1970-01-01T00:00:00Z */
#define VK_DATETIME_RELATIVE UINT32_C(1) /**< counted from the device's boot */
#define VK_DATETIME_UNKNOWN UINT32_C(2)  /**< not known */

/** A point in time. */
typedef struct vk_datetime {
  int32_t time;  /**< seconds since 1970 or since boot, by `kind`; 0 if unknown */
  uint32_t kind; /**< `VK_DATETIME_ABSOLUTE`, `_RELATIVE` or `_UNKNOWN` */
  uint32_t usec; /**< microseconds, 0 to 999999; 0 writes no fraction */
} vk_datetime;

/**
 * Sets a time to unknown.
 *
 * @param datetime the record to fill
 */
VK_API void vk_datetime_set_unknown(vk_datetime *datetime);

/**
 * Counts the whole seconds from one time to another; microseconds do not count.
 *
 * @param a       the time to count from
 * @param b       the time to count to
 * @param seconds receives the seconds, negative if `b` is earlier; modulo 2^32 if they do not fit
 * @return `VK_EOK`; `VK_EINVAL` if the kinds differ or both are unknown, and then `seconds` is
 *         untouched
 */
VK_API vk_error vk_datetime_diff(const vk_datetime *a, const vk_datetime *b, int32_t *seconds);

/**
 * Reads the text form of a time.
 *
 * The fraction of a second is cut after six digits. Whatever follows the seconds and the fraction
 * makes the time absolute and is not looked at: an offset such as "+02:00" is not applied. A text
 * without a suffix is relative if its year is below 1000, otherwise absolute with a warning in the
 * log.
 *
 * @param datetime the record to fill
 * @param text     the text, not null
 * @return `VK_EOK`; `VK_EINVAL` for a text that is not a time, and then `datetime` is untouched;
 *         `VK_EINVAL` for 1969-12-31T23:59:59 and for a time whose seconds do not fit 32 bits,
 *         and then `time` is -1 and the other fields are set
 */
VK_API vk_error vk_datetime_from_string(vk_datetime *datetime, const char *text);

/**
 * Writes the text form of a time. What goes wrong in writing is found in the stream's `error`.
 *
 * @param stream   where to write
 * @param datetime the time
 * @return `VK_EOK`; `VK_EINVAL` if it has no calendar form, and then nothing is written
 */
VK_API vk_error vk_datetime_write(vk_stream *stream, const vk_datetime *datetime);

/**
 * Reads the clock that never jumps.
 *
 * @return whole seconds since boot, or 0xFFFFFFFF if they cannot be read
 */
VK_API uint32_t vk_datetime_get_monotonic(void);

/**
 * Fills in the present time: absolute, or relative if the device's clock has not been set since
 * boot, that is, if it is within 2 seconds of the uptime. From 2038-01-19T03:14:08Z on, 32 bits
 * do not hold the time, and it is wrong.
 *
 * @param datetime the record to fill
 * @return 1; -1 if the uptime cannot be read, and then the time is absolute
 */
VK_API int vk_datetime_set_current(vk_datetime *datetime);

#ifdef __cplusplus
}
#endif

#endif
