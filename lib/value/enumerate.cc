#include "vesk/value/enumerate.h"

#include "lib/value/node.h"

int32_t vk_value_enumerate(vk_value* value, vk_value_visit_fn callback, void* context) {
  int32_t result = callback(value, context);
  if (!vesk::is_container(*value)) return result;
  for (vk_value& item : vesk::each_item(*value)) {
    result = vk_value_enumerate(&item, callback, context);
    if (result != 0) return result;
  }
  return result;
}
