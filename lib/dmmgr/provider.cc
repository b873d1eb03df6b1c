#include "vesk/dmmgr/provider.h"

#include <array>

#include "lib/value/node.h"
#include "vesk/dmmgr/frame.h"
#include "vesk/value/by_path.h"
#include "vesk/value/copy.h"

namespace {

using Slot = dm_handler dm_handlers::*;

// By action.
constexpr std::array<Slot, VK_DM_PROVIDE + 1> kSlots = {
    &dm_handlers::get,      &dm_handlers::set,     &dm_handlers::info,    &dm_handlers::add,
    &dm_handlers::del,      &dm_handlers::getattr, &dm_handlers::setattr, &dm_handlers::commit,
    &dm_handlers::rollback, &dm_handlers::config,  &dm_handlers::level,   &dm_handlers::provide};

vk_value* addressed(const vk_frame& frame, void* tree) {
  return vk_value_find_by_path_node(static_cast<const vk_value*>(tree), frame.extra_path);
}

}  // namespace

uint32_t dmmgr_handler_funcs(void* table, vk_frame* frame, void* argument) {
  const uint32_t action = dm_frame_get_action(frame);
  const Slot slot = action < kSlots.size() ? kSlots[action] : &dm_handlers::other;
  const dm_handler handler = static_cast<const dm_handlers*>(table)->*slot;
  return handler == nullptr ? VK_ENOANSWER : handler(frame, argument);
}

uint32_t dm_provider_default_get(vk_frame* frame, void* tree) {
  if (frame->status == 0) return VK_ENOANSWER;
  const vk_value* const node = addressed(*frame, tree);
  if (node == nullptr) return VK_ENOANSWER;
  vk_value* const result = dm_frame_result_value(frame->value);
  return result == nullptr ? VK_ENOMEM : vk_value_copy(result, node);
}

uint32_t dm_provider_default_level(vk_frame* frame, void* tree) {
  const vk_value* const node = addressed(*frame, tree);
  if (node == nullptr || node->type != VK_TYPE_OBJECT) return VK_ENOANSWER;
  for (const vk_value& member : vesk::each_item(*node)) {
    const vk_error error = dm_frame_add_level_item(frame, member.id);
    if (error != VK_EOK) return error;
  }
  return VK_EOK;
}

uint32_t dm_provider_default_provide(vk_frame* frame, void* tree) {
  return addressed(*frame, tree) == nullptr ? VK_ENOANSWER : VK_EOK;
}
