#ifndef VESK_LOG_H
#define VESK_LOG_H

/*
 * Messages to syslog, under the identity "vesk".
 *
 * A message is composed in one process-wide buffer and handed to syslog in one piece. It begins
 * with the name of the running module, or "NONE" in a process without one, a colon and a blank.
 * At most 255 characters are kept, the prefix included; what is longer is cut without notice.
 *
 * Each message belongs to one of three categories, and each category has a syslog facility of its
 * own (at first LOG_USER). The library itself logs in category 0 only; what 1 and 2 stand for is
 * the program's choice.
 *
 * Logging never fails, allocates nothing, and belongs to one thread: nothing is locked. The
 * connection to syslog is opened by the first message and is the library's from then on: a program
 * that calls openlog, closelog or syslog itself shares identity and facility with it.
 */

#include <vesk/stream.h>

#ifdef __cplusplus
extern "C" {
#endif

/** How many categories there are: 0, 1 and 2. */
#define VK_LOG_CATEGORIES 3

/* The levels of messages. Any other number is logged as LOG_NOTICE. */
#define VK_LOG_DEBUG 0   /**< LOG_DEBUG */
#define VK_LOG_INFO 1    /**< LOG_INFO */
#define VK_LOG_WARNING 2 /**< LOG_WARNING */
#define VK_LOG_ERROR 3   /**< LOG_ERR */

/**
 * Appends to the message being built, so that whatever writes to a stream can write into the log.
 * Null before the first message. Bytes beyond the message's room are dropped without an error. A
 * format that fails or gives 512 characters or more sets the stream's `error`, which stays from one
 * message to the next and silences the stream: set it to 0 yourself.
 */
extern VK_API vk_stream *vk_log_stream;

/**
 * Logs one message.
 *
 * @param category 0 to 2; any other number uses the facility of the message before
 * @param level    `VK_LOG_DEBUG` to `VK_LOG_ERROR`
 * @param file     source file of the caller; accepted, not written
 * @param line     line in it; accepted, not written
 * @param function the calling function; accepted, not written
 * @param format   as for printf, followed by its arguments
 */
VK_API void vk_log(int category, int level, const char *file, unsigned int line,
                   const char *function, const char *format, ...) VK_PRINTF(6, 7);

/** Logs one message with the caller's own file, line and function. */
#define VK_LOG(category, level, ...) \
  vk_log((category), (level), __FILE__, __LINE__, __func__, __VA_ARGS__)

/**
 * Begins a message in steps: discards what the buffer held and writes the prefix. Append with
 * `vk_log_printf` or through `vk_log_stream`, then call `vk_log_end_message`.
 *
 * @param category as for `vk_log`
 * @param level    as for `vk_log`
 * @param file     as for `vk_log`
 * @param line     as for `vk_log`
 * @param function as for `vk_log`
 * @return what `vk_log_printf` gave for the prefix
 */
VK_API int vk_log_begin_message(int category, int level, const char *file, unsigned int line,
                                const char *function);

/**
 * Appends formatted text to the message being built.
 *
 * @param format as for printf, followed by its arguments
 * @return the length that the message now has, at most 255; zero or the formatter's negative
 *         result, with the message unchanged, if the format gave nothing or failed
 */
VK_API int vk_log_printf(const char *format, ...) VK_PRINTF(1, 2);

/** Ends the message being built and sends it to syslog. */
VK_API void vk_log_end_message(void);

/**
 * Chooses the facilities of the categories, from their next messages on.
 *
 * @param text up to three names of `facilitynames`, separated by commas, for the categories 0, 1
 *             and 2; empty fields are skipped. A category without a name gets that of category 0.
 *             A copy of the text is left on "gta".
 * @return `VK_EOK`; `VK_EINVAL`, logged, for an unknown name, and then the categories before it
 *         have their new facilities; `VK_ENOMEM` if the text could not be copied
 */
VK_API vk_error vk_log_facility_config(const char *text);

#ifdef __cplusplus
}
#endif

#endif
