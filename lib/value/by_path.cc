#include "vesk/value/by_path.h"

#include "lib/path.h"
#include "lib/value/object.h"

namespace vesk {
namespace {

// A node that was looked up, with the object that it is a member of; null for the root.
struct Place {
  vk_value* parent;
  vk_value* value;
};

template <typename Path>
Place look_up(vk_value* root, Path path) {
  Place place{nullptr, root};
  for (; place.value != nullptr && !path.at_end(); path.next()) {
    place = {place.value, member_of(*place.value, path.name())};
  }
  return place;
}

}  // namespace
}  // namespace vesk

vk_value* vk_value_find_by_path(const vk_value* root, const char* path) {
  return vesk::look_up(const_cast<vk_value*>(root), vesk::PathText(path)).value;
}

vk_value* vk_value_find_by_path_node(const vk_value* root, const vk_path_node* first) {
  return vesk::look_up(const_cast<vk_value*>(root), vesk::PathList(first)).value;
}

vk_value* vk_value_extract_by_path(vk_value* root, const char* path) {
  const auto [parent, value] = vesk::look_up(root, vesk::PathText(path));
  if (value != nullptr && parent != nullptr) vesk::unlink_member(*parent, *value);
  return value;
}

vk_error vk_value_insert_by_path(vk_value* root, const vk_path_node* first, vk_value* child) {
  vk_value* current = root;
  const vk_path_node* node = first;
  for (; node->next != nullptr; node = node->next) {
    if (current == nullptr || current->type != VK_TYPE_OBJECT) return VK_ENOENT;
    vk_value* below = vk_object_find_item(current, node->name);
    if (below == nullptr) {
      below = vk_object_init_object_with_policy(current, node->name, VK_POLICY_ORDERED);
      if (below == nullptr) return VK_ENOMEM;
    }
    current = below;
  }
  return vk_object_insert(current, node->name, child);
}
