#include "lib/value/node.h"

#include <cstring>

#include "lib/value/type.h"

namespace vesk {
namespace {

// Releases what a node holds, apart from members and elements, and makes it any.
void drop_payload(vk_value& value) {
  const Type* const row = find_type(value.type);
  if (row != nullptr && row->release != nullptr) row->release(value.payload);
  value.type = VK_TYPE_ANY;
}

// Takes out the node that is to be released next below a node: its members or elements in order,
// then, when it holds nothing any more, its attributes. Null when nothing is left.
vk_value* take_next_below(vk_value& value) {
  vk_value* const item = is_container(value) ? items(value).take_first() : nullptr;
  if (item != nullptr) return item;
  drop_payload(value);
  return attributes(value).take_first();
}

// Of a node below which nothing is left.
void free_node(vk_value* value) {
  value->magic = VK_MAGIC_DEAD;
  vk_free(value->id);
  vk_free(value);
}

// Releases all that is below a node, without recursion: the `next` of a node that was taken out
// carries the way back to its parent.
void release_below(vk_value& root) {
  vk_value* current = &root;
  while (true) {
    vk_value* const below = take_next_below(*current);
    if (below != nullptr) {
      below->next = current;
      current = below;
    } else if (current == &root) {
      return;
    } else {
      vk_value* const parent = current->next;
      free_node(current);
      current = parent;
    }
  }
}

}  // namespace

vk_value* find_named(vk_value* first, const char* name) {
  if (name == nullptr) return nullptr;
  for (vk_value& node : Nodes(first)) {
    if (node.id != nullptr && std::strcmp(node.id, name) == 0) return &node;
  }
  return nullptr;
}

void init_items(vk_value& value, vk_type type) {
  value.type = type;
  value.payload.items.count = 0;
  items(value).init();
}

}  // namespace vesk

vk_value* vk_value_new(vk_allocator* heap) {
  auto* const value = static_cast<vk_value*>(vk_alloc(heap, sizeof(vk_value)));
  if (value == nullptr) return nullptr;
  value->heap = heap;
  value->policy = VK_POLICY_ORDERED;
  value->type = VK_TYPE_ANY;
  value->magic = VK_MAGIC_VALUE;
  vesk::attributes(*value).init();
  return value;
}

void vk_value_delete(vk_value* value) {
  if (value == nullptr) return;
  vesk::release_below(*value);
  vesk::free_node(value);
}

void vk_value_clear(vk_value* value) { vesk::release_below(*value); }

vk_type vk_value_get_type(const vk_value* value) { return value->type; }

vk_error vk_value_set_id(vk_value* value, const char* id) {
  char* const copy = vk_strdup(value->heap, id);
  if (copy == nullptr && id != nullptr) return VK_ENOMEM;
  vk_free(value->id);
  value->id = copy;
  return VK_EOK;
}

vk_item* vk_item_next(const vk_item* item) { return item->next; }
