#include "vesk/mm/gta.h"

#include "vesk/mm/stack.h"

static vk_allocator* gta = nullptr;

vk_error vk_gta_init(void) {
  if (gta == nullptr) gta = vk_mm_stack_new("gta");
  return gta == nullptr ? VK_ENOMEM : VK_EOK;
}

vk_allocator* vk_gta(void) { return gta; }

void vk_gta_destroy(void) {
  vk_allocator_delete(gta);
  gta = nullptr;
}
