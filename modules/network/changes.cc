#include "modules/network/changes.h"

#include <array>
#include <cstdio>
#include <cstring>

#include "vesk/value/array.h"
#include "vesk/value/compare.h"
#include "vesk/value/leaf.h"
#include "vesk/value/object.h"

namespace vesk::modules {
namespace {

using Name = std::array<char, 257>;  // TR-106: 256 characters

vk_error add_name(vk_value* names, const char* name) {
  vk_value* const item = vk_array_add_item(names);
  return item == nullptr ? VK_ENOMEM : vk_value_set_string(item, name);
}

const vk_value* member_of(const vk_value* object, const char* name) {
  if (object == nullptr || object->type != VK_TYPE_OBJECT) return nullptr;
  return vk_object_find_item(object, name);
}

}  // namespace

vk_error add_changes(vk_value* names, const vk_value* before, const vk_value& now,
                     const char* path) {
  if (now.type != VK_TYPE_OBJECT) {
    const bool same = before != nullptr && vk_value_equal(before, &now);
    return same ? VK_EOK : add_name(names, path);
  }
  for (const vk_item* item = vk_object_item_first(&now); item != nullptr;
       item = vk_item_next(item)) {
    if (std::strcmp(item->id, "Stats") == 0) continue;
    Name name;
    std::snprintf(name.data(), name.size(), "%s.%s", path, item->id);
    const vk_error error = add_changes(names, member_of(before, item->id), *item, name.data());
    if (error != VK_EOK) return error;
  }
  return VK_EOK;
}

}  // namespace vesk::modules
