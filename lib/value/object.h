#pragma once

#include "lib/value/node.h"
#include "vesk/value/object.h"

namespace vesk {

/// Takes a member out of its object and counts one less.
void unlink_member(vk_value& object, vk_value& member);

/// The member of that name if the node is an object; otherwise null.
vk_value* member_of(const vk_value& value, const char* name);

/// The member of that name if it has that type; otherwise null.
vk_value* typed_member(const vk_value& object, const char* name, vk_type type);

/// An object without members, as requests begin; null if memory could not be had.
inline OwnedValue new_request(vk_allocator* heap) {
  return OwnedValue(vk_object_new_with_policy(heap, VK_POLICY_ORDERED));
}

}  // namespace vesk
