#ifndef VESK_ERROR_H
#define VESK_ERROR_H

/*
 * Result codes, their names, and the checks that programs place in their own code.
 *
 * The codes are the library's own. They are not the numbers of <errno.h> and are never translated
 * into them; the few functions that give a raw `errno` say so. Codes travel between processes, so
 * the numbers are fixed for good.
 */

#include <vesk/base.h>

#ifdef __cplusplus
extern "C" {
#endif

/** A result: `VK_EOK` (0) for success, otherwise one of the codes below. */
typedef uint32_t vk_error;

#define VK_EOK UINT32_C(0)          /**< success */
#define VK_ENOENT UINT32_C(1)       /**< what was asked for is absent */
#define VK_EIO UINT32_C(2)          /**< a read or write came out short */
#define VK_ENOMEM UINT32_C(3)       /**< memory could not be had */
#define VK_EINVAL UINT32_C(4)       /**< a bad argument or a text that cannot be read */
#define VK_EEXIST UINT32_C(5)       /**< something of that name is there already */
#define VK_ENAMETOOLONG UINT32_C(6) /**< a text does not fit into the buffer given for it */
#define VK_ENOSYS UINT32_C(7)       /**< no handler is installed for the operation */
#define VK_EBUSY UINT32_C(8)        /**< cannot be done now; may succeed later */
#define VK_ETIMEDOUT UINT32_C(9)    /**< no answer came in time */
#define VK_EFAULT UINT32_C(10)      /**< not possible in this kind of process */
#define VK_EOPNOTSUPP UINT32_C(11)  /**< the operation is not supported here */
#define VK_ENOTITEM UINT32_C(12)    /**< not an item of the expected kind */
#define VK_ESOAP UINT32_C(13)       /**< a SOAP message is wrong */
#define VK_EAUTH UINT32_C(14)       /**< not allowed */
#define VK_EFOUND UINT32_C(15)      /**< found, where it should not have been */
#define VK_EXML UINT32_C(16)        /**< an XML text is wrong */
#define VK_ETIMER UINT32_C(17)      /**< a timer failed */
#define VK_EPROVIDER UINT32_C(18)   /**< a data-model provider failed */
#define VK_ERO UINT32_C(19)         /**< a read-only parameter was to be written */
#define VK_EINTERNAL UINT32_C(20)   /**< an internal failure */
#define VK_ETYPE UINT32_C(21)       /**< a value has the wrong type */
#define VK_EVALUE UINT32_C(22)      /**< a value is not acceptable */
#define VK_ENOANSWER UINT32_C(23)   /**< nobody answered the request */

/**
 * Names a result code, for messages.
 *
 * @param code any number
 * @return the code's name without the prefix, as in "EINVAL", or "UNKNOWN" for a number above 23;
 *         a constant text of the library, never null, not to be freed
 */
VK_API const char *vk_strerror(vk_error code);

/**
 * Reports on standard error that some input was refused: "Validation failed: ", the message and a
 * line end. The program goes on.
 *
 * @param message a text, not null
 * @return the number of characters written; negative if standard error could not be written
 */
VK_API int vk_print_validation_fail(const char *message);

/**
 * Reports on standard error that a type check failed, as "FILE:LINE: Validation of 'EXPRESSION'
 * failed.", flushes it and aborts the process. `VK_VALIDATE` calls it.
 *
 * @param expression the text of what was checked, not null
 * @param file       the source file of the check, not null
 * @param line       its line
 */
VK_API VK_NORETURN void vk_type_invalid_fail(const char *expression, const char *file,
                                             uint32_t line);

/**
 * Reports on standard error that an assertion failed, as "FILE:LINE:FUNCTION(): Assertion
 * EXPRESSION failed.", flushes it and aborts the process. `VK_ASSERT` calls it.
 *
 * @param file       the source file of the assertion, not null
 * @param line       its line
 * @param function   the function that holds it; null is printed as the empty text
 * @param expression the text of what was asserted, not null
 */
VK_API VK_NORETURN void vk_assert_fail(const char *file, uint32_t line, const char *function,
                                       const char *expression);

/** Aborts the process with a located message unless the expression holds. Never compiled out. */
#define VK_ASSERT(...) \
  ((__VA_ARGS__) ? (void)0 : vk_assert_fail(__FILE__, __LINE__, __func__, #__VA_ARGS__))

/** The same for what came in from outside: a record, a type, a message. Never compiled out. */
#define VK_VALIDATE(...) \
  ((__VA_ARGS__) ? (void)0 : vk_type_invalid_fail(#__VA_ARGS__, __FILE__, __LINE__))

#ifdef __cplusplus
}
#endif

#endif
