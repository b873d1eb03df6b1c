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

}  // namespace vesk
