#include "vesk/value/array.h"

#include "lib/value/node.h"

void vk_array_init(vk_value* value) { vesk::init_items(*value, VK_TYPE_ARRAY); }

vk_value* vk_array_add_item(vk_value* array) {
  vk_value* const element = vk_value_new(array->heap);
  if (element == nullptr) return nullptr;
  vesk::items(*array).append(*element);
  ++array->payload.items.count;
  return element;
}

uint32_t vk_array_get_len(const vk_value* array) { return array->payload.items.count; }

vk_item* vk_array_item_first(const vk_value* array) { return array->payload.items.first; }

vk_value* vk_array_get_item(const vk_value* array, uint32_t index) {
  for (vk_value& element : vesk::each_item(*array)) {
    if (index-- == 0) return &element;
  }
  return nullptr;
}

// The count is taken anew, not decremented, so that it is right whatever it was.
void vk_array_delete_item(vk_value* array, vk_value* item) {
  vesk::items(*array).unlink(*item);
  vk_value_delete(item);
  uint32_t count = 0;
  for ([[maybe_unused]] const vk_value& element : vesk::each_item(*array)) ++count;
  array->payload.items.count = count;
}
