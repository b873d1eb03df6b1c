#include "lib/value/object.h"

#include "lib/log.h"
#include "vesk/path.h"
#include "vesk/value/array.h"

namespace vesk {
namespace {

// The place that the messages about indexed objects name, for good.
constexpr const char kSource[] = "lib/value";
constexpr const char kInsertion[] = "object_insert_value_item";
constexpr unsigned int kInsertAfterLine = 400;
constexpr unsigned int kInsertHeadLine = 406;

// The last member whose number is not above `index`; null if the first one's is.
vk_value* last_not_above(const vk_value& object, uint32_t index) {
  vk_value* last = nullptr;
  for (vk_value& member : each_item(object)) {
    if (member.index > index) break;
    last = &member;
  }
  return last;
}

void link_by_index(vk_value& object, vk_value& child) {
  vk_value* const previous = last_not_above(object, child.index);
  if (previous != nullptr) {
    vk_log(kLogLibrary, VK_LOG_INFO, kSource, kInsertAfterLine, kInsertion,
           "Insert '%u' after '%u'", child.index, previous->index);
  } else {
    vk_log(kLogLibrary, VK_LOG_INFO, kSource, kInsertHeadLine, kInsertion, "Insert HEAD");
  }
  items(object).insert_after(previous, child);
}

// Links a child at its place by the object's policy; false if an indexed object cannot read its
// name.
[[nodiscard]] bool link_member(vk_value& object, const char* name, vk_value& child) {
  if (object.policy == VK_POLICY_INDEXED) {
    child.index = vk_path_str_to_index(name);
    if (child.index == 0) return false;
    link_by_index(object, child);
  } else {
    child.index = 0;
    items(object).append(child);
  }
  ++object.payload.items.count;
  return true;
}

}  // namespace

void unlink_member(vk_value& object, vk_value& member) {
  items(object).unlink(member);
  --object.payload.items.count;
}

vk_value* member_of(const vk_value& value, const char* name) {
  return value.type == VK_TYPE_OBJECT ? vk_object_find_item(&value, name) : nullptr;
}

vk_value* typed_member(const vk_value& object, const char* name, vk_type type) {
  vk_value* const member = vk_object_find_item(&object, name);
  return member != nullptr && member->type == type ? member : nullptr;
}

}  // namespace vesk

void vk_object_init_with_policy(vk_value* value, uint32_t policy) {
  vesk::init_items(*value, VK_TYPE_OBJECT);
  value->policy = policy;
}

vk_value* vk_object_new_with_policy(vk_allocator* heap, uint32_t policy) {
  vk_value* const object = vk_value_new(heap);
  if (object != nullptr) vk_object_init_with_policy(object, policy);
  return object;
}

vk_item* vk_object_item_first(const vk_value* object) { return object->payload.items.first; }

bool vk_object_is_empty(const vk_value* object) { return object->payload.items.first == nullptr; }

uint32_t vk_object_get_size(const vk_value* object) { return object->payload.items.count; }

vk_value* vk_object_find_item(const vk_value* object, const char* name) {
  return vesk::find_named(object->payload.items.first, name);
}

vk_error vk_object_insert(vk_value* object, const char* name, vk_value* child) {
  if (vk_object_find_item(object, name) != nullptr) return VK_EEXIST;
  if (!vesk::link_member(*object, name, *child)) return VK_EINVAL;
  const vk_error error = vk_value_set_id(child, name);
  if (error != VK_EOK) vesk::unlink_member(*object, *child);
  return error;
}

vk_value* vk_object_init_item(vk_value* object, const char* name) {
  vk_value* const existing = vk_object_find_item(object, name);
  if (existing != nullptr) {
    vk_value_clear(existing);
    return existing;
  }
  vesk::OwnedValue member(vk_value_new(object->heap));
  if (member == nullptr || vk_value_set_id(member.get(), name) != VK_EOK ||
      !vesk::link_member(*object, name, *member)) {
    return nullptr;
  }
  return member.release();
}

vk_value* vk_object_init_object_with_policy(vk_value* object, const char* name, uint32_t policy) {
  vk_value* const member = vk_object_init_item(object, name);
  if (member != nullptr) vk_object_init_with_policy(member, policy);
  return member;
}

vk_value* vk_object_init_array(vk_value* object, const char* name) {
  vk_value* const member = vk_object_init_item(object, name);
  if (member != nullptr) vk_array_init(member);
  return member;
}

void vk_object_delete_item(vk_value* object, const char* name) {
  vk_value_delete(vk_object_extract(object, name));
}

vk_value* vk_object_extract(vk_value* object, const char* name) {
  vk_value* const member = vk_object_find_item(object, name);
  if (member != nullptr) vesk::unlink_member(*object, *member);
  return member;
}
