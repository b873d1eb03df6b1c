#pragma once

// What the other files of the values need of a node.

#include "lib/support/owned.h"
#include "lib/support/tail_list.h"
#include "vesk/value/node.h"

namespace vesk {

using OwnedValue = Owned<vk_value, vk_value_delete>;
using ValueList = TailList<vk_value>;

inline bool is_container(const vk_value& value) {
  return value.type == VK_TYPE_OBJECT || value.type == VK_TYPE_ARRAY;
}

/// The list of an object's members or an array's elements.
inline ValueList items(vk_value& container) {
  return {container.payload.items.first, container.payload.items.tail};
}

inline ValueList attributes(vk_value& value) { return {value.attributes, value.attributes_tail}; }

/// An object's members or an array's elements, for range-for.
inline Nodes<vk_value> each_item(const vk_value& container) {
  return Nodes<vk_value>(container.payload.items.first);
}

/// Moves what a node holds to another, which keeps its name and its place; of the first, name and
/// attributes are left.
inline void move_payload(vk_value& from, vk_value& to) {
  vk_value_clear(&to);
  to.type = from.type;
  to.policy = from.policy;
  to.payload = from.payload;
  if (is_container(to) && to.payload.items.first == nullptr) {
    to.payload.items.tail = &to.payload.items.first;
  }
  from.type = VK_TYPE_ANY;
}

/// The first of a list's nodes with a name, or null. Nodes whose name was taken away are not found,
/// nor is anything by a null name.
vk_value* find_named(vk_value* first, const char* name);

/// Makes a node's payload an empty list.
void init_items(vk_value& value, vk_type type);

}  // namespace vesk
