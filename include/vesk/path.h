#ifndef VESK_PATH_H
#define VESK_PATH_H

/*
 * Dotted parameter paths such as "Device.Hosts.Host.2.Name".
 *
 * A path is a text of components separated by "."; there is no escaping. A path that ends in "."
 * is partial: it names an object and what lies below. An empty component ends a walk: of "A..B"
 * only "A" is visited, of ".A" nothing. A component that reads as a number other than 0 is an
 * instance number, by the rules of strtoul in base 10 with 32 bits: "007" is 7, "-1" is
 * 4294967295; "0", "1a" and 4294967296 are none.
 *
 * A path is walked as text with a `vk_path_roam`, which allocates nothing, or handed on as a list
 * of `vk_path_node`.
 */

#include <vesk/mm/heap.h>
#include <vesk/stream.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct vk_path_node vk_path_node;

/** One component of a parsed path. The nodes are parts of path trees, which own them. */
struct vk_path_node {
  vk_path_node *next; /**< the next component, or null */
  uint32_t index;     /**< its instance number, or 0 */
  char *name;         /**< its text, without separators; borrowed */
};

/** The longest component that a walker copies whole, without the terminator. */
#define VK_PATH_COMPONENT_MAX 4096

/** A walk over a path text, normally on the caller's stack, of which it takes about 4 KiB; begun
 * with `vk_path_roam_init`. */
typedef struct vk_path_roam {
  const char *start;    /**< the walked text; borrowed, or a constant if it is empty */
  uint8_t partial;      /**< 1 if the text is not empty and ends in ".", otherwise 0 */
  const char *position; /**< where the current component begins in the text */
  uint32_t node_length; /**< length of the current component; 0 when the walk has ended */
  uint32_t index;       /**< instance number of the current component, or 0 */
  /** The current component, terminated; cut at `VK_PATH_COMPONENT_MAX` characters. */
  char node[VK_PATH_COMPONENT_MAX + 1];
} vk_path_roam;

/**
 * Tells whether a path is partial.
 *
 * @param text the path, not null
 * @return whether it is empty or ends in "."
 */
VK_API bool vk_path_is_partial(const char *text);

/**
 * Reads a component as an instance number. Sets `errno` to 0, or to ERANGE for a number that does
 * not fit 32 bits; so does everything that walks a path text.
 *
 * @param text one component, or null, which leaves `errno` alone
 * @return the number, or 0 if the component is none
 */
VK_API uint32_t vk_path_str_to_index(const char *text);

/**
 * Begins a walk at the first component.
 *
 * @param roam the walker, the caller's
 * @param text the path, which must outlive the walk; null is walked as the empty path
 * @return the first component's instance number, or 0
 */
VK_API uint32_t vk_path_roam_init(vk_path_roam *roam, const char *text);

/**
 * Tells whether a walk is over.
 *
 * @param roam a walker
 * @return whether no component is left
 */
VK_API bool vk_path_roam_end(const vk_path_roam *roam);

/**
 * Gives the current component.
 *
 * @param roam a walker
 * @return its text in the walker, valid until the next step; empty when the walk is over
 */
VK_API char *vk_path_roam_current_node(vk_path_roam *roam);

/**
 * Steps to the next component.
 *
 * @param roam a walker
 * @return the component's text in the walker, empty if that was the last; null, with nothing
 *         changed, if the walk was over already
 */
VK_API char *vk_path_roam_next(vk_path_roam *roam);

/**
 * Gives what follows the current component and its separator. Call it only where more follows: on
 * the last component of a path without a final "." the result must not be read.
 *
 * @param roam a walker
 * @return the rest in the walked text, or null when the walk is over
 */
VK_API const char *vk_path_roam_path_tail(const vk_path_roam *roam);

/**
 * Joins two paths with a ".", whatever they begin and end with.
 *
 * @param allocator the heap for the result
 * @param left      the first path, not null; if empty, the result is `right` alone
 * @param right     the second path, not null
 * @return the joined text, to be given back with `vk_free`; null if the heap is exhausted
 */
VK_API char *vk_path_concat(vk_allocator *allocator, const char *left, const char *right);

/**
 * Tells whether a component is an instance number.
 *
 * @param node a component
 * @return whether its `index` is not 0
 */
VK_API bool vk_path_node_is_instance(const vk_path_node *node);

/**
 * Writes a parsed path for people to read, instance numbers in braces: "Device.Hosts.{2}". The
 * outcome is the stream's `error`.
 *
 * @param stream where to write
 * @param first  the first component; null writes nothing
 */
VK_API void vk_path_node_print(vk_stream *stream, const vk_path_node *first);

/**
 * Writes the names of a parsed path into a buffer.
 *
 * @param first     the first component; null gives the empty text
 * @param buffer    the caller's buffer
 * @param size      its size, the terminator included
 * @param separator what to put between two names
 * @return `VK_EOK`; `VK_ENAMETOOLONG` if it does not fit, and then the buffer holds the terminated
 *         beginning, up to a whole name or separator, or is untouched if `size` is 0
 */
VK_API vk_error vk_path_node2str(const vk_path_node *first, char *buffer, size_t size,
                                 char separator);

/**
 * Finds what follows a prefix. Names are compared as texts: "02" is not "2". A component of the
 * prefix that is longer than `VK_PATH_COMPONENT_MAX` is compared as it is cut.
 *
 * @param first  the first component; null for an empty path
 * @param prefix a path text; null or empty matches at once
 * @return the first component after the prefix; null if the path does not begin with the prefix
 *         or nothing follows it
 */
VK_API vk_path_node *vk_path_node_seek_prefix(const vk_path_node *first, const char *prefix);

#ifdef __cplusplus
}
#endif

#endif
