#pragma once

// Value trees in the words of the tests.

#include <gtest/gtest.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "vesk/value/array.h"
#include "vesk/value/attribute.h"
#include "vesk/value/leaf.h"
#include "vesk/value/node.h"
#include "vesk/value/object.h"

namespace vesk::test {

struct ValueDelete {
  void operator()(vk_value* value) const { vk_value_delete(value); }
};
using Value = std::unique_ptr<vk_value, ValueDelete>;

inline Value new_value(vk_allocator* heap = vk_default_allocator()) {
  return Value(vk_value_new(heap));
}

inline Value new_object(uint32_t policy = VK_POLICY_ORDERED,
                        vk_allocator* heap = vk_default_allocator()) {
  return Value(vk_object_new_with_policy(heap, policy));
}

inline Value new_array(vk_allocator* heap = vk_default_allocator()) {
  Value array = new_value(heap);
  vk_array_init(array.get());
  return array;
}

using Names = std::vector<std::string>;

/// An ordered object with strings that hold their own names.
inline Value object_with(const Names& names) {
  Value object = new_object();
  for (const std::string& name : names) {
    vk_value_set_string(vk_object_init_item(object.get(), name.c_str()), name.c_str());
  }
  return object;
}

/// Adds a member that holds something of every kind: a member of its own, and attributes.
inline vk_value* grow(vk_value* object, const char* name) {
  vk_value* const member = vk_object_init_object_with_policy(object, name, VK_POLICY_ORDERED);
  vk_value_set_string(vk_object_init_item(member, "text"), "some text");
  vk_value_set_error(member, 7);
  vk_value_set_typename(member, "some type");
  return member;
}

inline std::string name_of(const vk_value& node) { return node.id == nullptr ? "" : node.id; }

/// The nodes of a list, which must end where its tail link says.
inline std::vector<const vk_value*> nodes_of(vk_value* const& first, vk_value* const* tail) {
  std::vector<const vk_value*> nodes;
  vk_value* const* link = &first;
  for (; *link != nullptr; link = &(*link)->next) nodes.push_back(*link);
  EXPECT_EQ(tail, link) << "the tail link is not at the end of the list";
  return nodes;
}

/// The members or elements of a sound container: their count and the tail link are right too.
inline std::vector<const vk_value*> items_of(const Value& container) {
  const vk_value_items& items = container->payload.items;
  std::vector<const vk_value*> nodes = nodes_of(items.first, items.tail);
  EXPECT_EQ(items.count, nodes.size()) << "the count is not that of the list";
  return nodes;
}
std::vector<const vk_value*> items_of(Value&&) = delete;  // they would be gone

inline Names names_of(const std::vector<const vk_value*>& nodes) {
  Names names;
  for (const vk_value* const node : nodes) names.push_back(name_of(*node));
  return names;
}

/// The names of a sound object's members, in order.
inline Names member_names(const Value& object) { return names_of(items_of(object)); }

/// The names of a node's attributes, in order; their tail link is right too.
inline Names attribute_names(const Value& value) {
  return names_of(nodes_of(value->attributes, value->attributes_tail));
}

/// A tree as a text, to compare its states: name, instance number, type, ints and texts, policies,
/// members in braces and attributes in angle brackets.
inline std::string outline(const vk_value& node) {
  const auto list = [](const vk_value* first) {
    std::string text;
    for (const vk_value* item = first; item != nullptr; item = item->next) {
      text += (item == first ? "" : ", ") + outline(*item);
    }
    return text;
  };
  std::string text = name_of(node);
  if (node.index != 0) text += '#' + std::to_string(node.index);
  text += text.empty() ? "" : ": ";
  text += vk_type_to_string(node.type);
  if (node.type == VK_TYPE_INT) text += ' ' + std::to_string(node.payload.s32);
  if (node.type == VK_TYPE_STRING) text += " '" + std::string(node.payload.text) + '\'';
  if (node.type == VK_TYPE_OBJECT) text += '/' + std::to_string(node.policy);
  if (node.type == VK_TYPE_OBJECT || node.type == VK_TYPE_ARRAY) {
    text += '{' + list(node.payload.items.first) + '}';
  }
  if (node.attributes != nullptr) text += '<' + list(node.attributes) + '>';
  return text;
}

inline std::string outline(const Value& value) { return outline(*value); }

}  // namespace vesk::test
