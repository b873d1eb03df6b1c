#ifndef VESK_NET_CWMP_UTILS_H
#define VESK_NET_CWMP_UTILS_H

/*
 * CWMP: the texts and sources of fault codes (TR-069, A.5.1), the types of values on the wire, and
 * the members that the SOAP front end keeps in a frame's value:
 *
 *     "soap-action-id"  unsignedInt  which RPC method is called
 *     "soap-action"     string       two parts, joined by "|"
 *     "peer"            string       who is at the other end of the session
 *     "HoldRequests"    boolean      the header of that name
 *     "ID"              string       the header of that name
 *
 * A member of another type counts as missing. Texts that are returned belong to the frame's value.
 */

#include <vesk/frame.h>

#ifdef __cplusplus
extern "C" {
#endif

/** The XML namespaces of types, as the SOAP front end numbers them. */
#define VK_CWMP_NS_SOAP_ENCODING UINT32_C(7) /**< the encoding types of SOAP 1.1 */
#define VK_CWMP_NS_XML_SCHEMA UINT32_C(8)    /**< the datatypes of XML Schema */

/** The name of a type in SOAP messages. */
typedef struct cwmp_type {
  uint32_t ns;      /**< the number of the name's XML namespace */
  const char *name; /**< the name in it */
} cwmp_type;

/**
 * Gives the text of a CWMP fault.
 *
 * @param code a fault code, 9000 to 9019
 * @return its text, or the empty text for any other number; a constant of the library
 */
VK_API const char *vk_cwmp_get_fault_string(uint32_t code);

/**
 * Tells whose fault a CWMP fault is.
 *
 * @param code any number
 * @return "Client" for 9003 and 9005 to 9008, "Server" for all others; a constant of the library
 */
VK_API const char *vk_cwmp_get_fault_source(uint32_t code);

/**
 * Gives the RPC method of a frame.
 *
 * @param frame a frame
 * @return the number of the method; 0 if there is none
 */
VK_API uint32_t vk_cwmp_frame_get_rpc_method(const vk_frame *frame);

/**
 * Sets the RPC method of a frame.
 *
 * @param frame  a frame
 * @param method the number of the method
 * @return `VK_EOK`; `VK_ENOMEM` if the heap is exhausted
 */
VK_API vk_error vk_cwmp_frame_set_rpc_method(vk_frame *frame, uint32_t method);

/**
 * Gives the peer of a frame.
 *
 * @param frame a frame
 * @return its text, or the constant "<unknown>"; never null
 */
VK_API const char *vk_cwmp_frame_get_peer(const vk_frame *frame);

/**
 * Gives the SOAP action of a frame.
 *
 * @param frame a frame
 * @return its two parts, joined by "|", or null
 */
VK_API char *vk_cwmp_frame_get_soap_action(const vk_frame *frame);

/**
 * Sets the SOAP action of a frame.
 *
 * @param frame  a frame
 * @param first  the first part
 * @param second the second part; both with the "|" are cut at 255 characters
 * @return `VK_EOK`; `VK_ENOMEM` if the heap is exhausted, and then the frame can have lost the
 *         action that it had
 */
VK_API vk_error vk_cwmp_frame_set_soap_action(vk_frame *frame, const char *first,
                                              const char *second);

/**
 * Gives the HoldRequests header of a frame.
 *
 * @param frame a frame
 * @return its flag as it is stored; 0 if there is none
 */
VK_API uint8_t vk_cwmp_frame_get_hold_requests(const vk_frame *frame);

/**
 * Gives the ID header of a frame.
 *
 * @param frame a frame
 * @return its text, or null
 */
VK_API char *vk_cwmp_frame_get_id(const vk_frame *frame);

/**
 * Finds the CWMP type of a type of values.
 *
 * @param type a type
 * @return its row in a constant table; null, logged, for any, object and what is no type
 */
VK_API const cwmp_type *vk_type_to_cwmp_type(vk_type type);

/**
 * Finds the type of values of a CWMP type.
 *
 * @param type a namespace and a name, which must match exactly
 * @return the type; `VK_TYPE_ANY`, logged, if there is none
 */
VK_API vk_type cwmp_type_to_vk_type(const cwmp_type *type);

#ifdef __cplusplus
}
#endif

#endif
