#ifndef VESK_VALUE_NODE_H
#define VESK_VALUE_NODE_H

/*
 * The node of a value tree.
 *
 * A node is born as "any", becomes an object, an array or a leaf by an init or a setter, returns to
 * "any" when it is cleared, and ends when it is deleted. It owns its name, its text or bytes, its
 * members or elements, and its attributes, and never points at its parent. Nodes that the library
 * makes on behalf of a node take that node's heap.
 *
 * Members of an object, elements of an array and attributes of a node are singly linked lists with
 * a tail link: appending takes constant time, finding by name or position is a linear search.
 *
 * A tree and its heap belong to one thread at a time. Of the functions that recurse the library,
 * optimised for a machine of 64 bits, takes at most 100 bytes of stack a level: 80,000 levels fit
 * 8 MiB.
 */

#include <vesk/binary.h>
#include <vesk/datetime.h>
#include <vesk/value/type.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct vk_value vk_value;

/** A node seen as a link of a list of members, elements or attributes. */
typedef struct vk_value vk_item;

/** 64-bit numbers of a payload, aligned as 32-bit words are: a block from `vk_alloc` promises no
 * more than the alignment of a pointer. */
typedef int64_t vk_payload_int64 __attribute__((__aligned__(4)));
/** The same without a sign. */
typedef uint64_t vk_payload_uint64 __attribute__((__aligned__(4)));

/* The policies of objects. Any number but `VK_POLICY_INDEXED` keeps the order of insertion. */
#define VK_POLICY_INDEXED UINT32_C(1) /**< by instance number */
#define VK_POLICY_ORDERED UINT32_C(2) /**< by insertion; what the library itself uses */

/** The members of an object or the elements of an array. */
typedef struct vk_value_items {
  vk_value *first; /**< the first, or null */
  vk_value **tail; /**< where the next one is linked: `first`, or the `next` of the last */
  uint32_t count;  /**< how many */
} vk_value_items;

/** What a node holds; its type says which. */
typedef union vk_value_payload {
  vk_value_items items;  /**< object and array */
  int32_t s32;           /**< int */
  uint32_t u32;          /**< unsignedInt */
  vk_payload_int64 s64;  /**< long */
  vk_payload_uint64 u64; /**< unsignedLong */
  uint8_t flag;          /**< boolean: kept as given, true if not 0 */
  char *text;            /**< string: a copy on the node's heap */
  vk_binary binary;      /**< base64 and hexBinary: the bytes are on the node's heap */
  vk_datetime datetime;  /**< dateTime */
} vk_value_payload;

/** One node of a value tree. */
struct vk_value {
  vk_value *next;             /**< the next in the list that holds this node */
  vk_allocator *heap;         /**< where the node and what it owns come from; borrowed */
  uint32_t policy;            /**< of an object: how it keeps its members */
  char *id;                   /**< its name as a member or attribute; null for roots and elements */
  uint32_t index;             /**< its instance number in an object of policy 1; otherwise 0 */
  vk_type type;               /**< what the payload holds */
  vk_value *attributes;       /**< the first attribute, or null */
  vk_value **attributes_tail; /**< where the next attribute is linked */
  vk_value_payload payload;   /**< what it holds */
  uint32_t magic;             /**< `VK_MAGIC_VALUE`, or `VK_MAGIC_DEAD` once deleted */
};

/**
 * Makes a node of type any without a name, with policy `VK_POLICY_ORDERED`.
 *
 * @param heap the heap for the node and all that it will own; borrowed, must outlive the node
 * @return the node, to be deleted with `vk_value_delete`; null if the heap is exhausted
 */
VK_API vk_value *vk_value_new(vk_allocator *heap);

/**
 * Deletes a node with everything below it. It is not unlinked from a list: do that first. Uses a
 * constant amount of stack however deep the tree is, and no memory.
 *
 * @param value the node, or null, which is ignored
 */
VK_API void vk_value_delete(vk_value *value);

/**
 * Empties a node: releases its payload and deletes its attributes, so that its type is any. Its
 * name, instance number, policy and heap stay. Stack and memory as for `vk_value_delete`.
 *
 * @param value the node
 */
VK_API void vk_value_clear(vk_value *value);

/**
 * Gives the type of a node.
 *
 * @param value the node
 * @return its type
 */
VK_API vk_type vk_value_get_type(const vk_value *value);

/**
 * Names a node. The parent is not asked: a member's place and the uniqueness of names are the
 * caller's affair.
 *
 * @param value the node
 * @param id    the name, which is copied; null takes the name away
 * @return `VK_EOK`; `VK_ENOMEM` if the heap is exhausted, and then the old name stays
 */
VK_API vk_error vk_value_set_id(vk_value *value, const char *id);

/**
 * Steps through a list of members, elements or attributes.
 *
 * @param item a node in a list
 * @return the next one, or null
 */
VK_API vk_item *vk_item_next(const vk_item *item);

#ifdef __cplusplus
}
#endif

#endif
