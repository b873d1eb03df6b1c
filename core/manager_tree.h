#pragma once

// Value trees as the manager's requests use them: on a heap of the request's own, read from the
// bytes of the wire and written back. What cannot be had for want of memory throws
// `std::bad_alloc`, so that a tree that is handed on is always whole.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "core/call.h"
#include "core/tree.h"
#include "lib/support/owned.h"
#include "lib/value/node.h"
#include "runtime/scan.h"
#include "vesk/mm/heap.h"
#include "vesk/value/member.h"

namespace vesk::core::dm {

/// The memory of one request, charged to the account of messages. It must outlive the trees that
/// lie on it.
class Heap {
 public:
  Heap();

  /// A node of type any.
  OwnedValue node() const;
  /// An ordered object without members.
  OwnedValue object() const;
  /// A tree from bytes of the wire that were scanned; none stand for any.
  OwnedValue read(std::span<const std::byte> bytes) const;
  OwnedValue read(const std::shared_ptr<const Bytes>& bytes) const;

 private:
  Owned<vk_allocator, vk_allocator_delete> heap_;
};

/// A tree in the bytes of the wire.
std::shared_ptr<const Bytes> shared(const vk_value& value);

/// Whether bytes are one whole tree that an answer within the limits could carry.
bool is_within(const rt::Limits& limits, std::span<const std::byte> tree);

/// Whether a node can be the value of a parameter.
bool is_leaf(const vk_value& value);
/// How many nodes there are, the node itself included.
uint32_t count_nodes(const vk_value& value);

/// Whether an answer has the member as a boolean other than 0; requests are read by `flag_of`.
bool flag(const vk_value& value, const char* name);

/// What was made, or `std::bad_alloc`.
vk_value& made(vk_value* value);
void check(vk_error error);

vk_value& add_object(vk_value& object, const char* name);
vk_value& add_array(vk_value& object, const char* name);
/// Appends an object to an array.
vk_value& add_object_to(vk_value& array);
void add_text_to(vk_value& array, const std::string& text);
void set_text(vk_value& object, const char* name, const std::string& text);
/// Copies a tree into a node.
void copy(vk_value& into, const vk_value& from);
/// Copies a tree into a member.
void set_copy(vk_value& object, const char* name, const vk_value& value);

/// The node at a path below another one. What is missing is made, of type any at the end; what is
/// no object on the way becomes one.
vk_value& place(vk_value& root, const Path& path);

/// Moves a tree into a node: objects go member by member, anything else replaces what was there,
/// and any changes nothing.
void merge(vk_value& into, OwnedValue from);

}  // namespace vesk::core::dm
