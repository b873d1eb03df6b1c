#include "lib/dmmgr/frame.h"

#include <array>

#include "lib/value/object.h"
#include "vesk/value/attribute.h"
#include "vesk/value/member.h"

namespace {

constexpr const char kFlags[] = "dm-flags";
constexpr const char kInstanceNumber[] = "InstanceNumber";
constexpr const char kLevel[] = "level";
constexpr const char kStatus[] = "Status";
constexpr const char kWritable[] = "Writable";

constexpr std::array kActions = {"get",     "set",    "info",     "add",    "del",   "getattr",
                                 "setattr", "commit", "rollback", "config", "level", "provide"};
static_assert(kActions.size() == VK_DM_PROVIDE + 1);

// The "level" of a frame's value, an object in any case; null if it could not be made.
vk_value* level_of(vk_value& value) {
  vk_value* const level = vk_object_find_item(&value, kLevel);
  if (level == nullptr) {
    return vk_object_init_object_with_policy(&value, kLevel, VK_POLICY_ORDERED);
  }
  if (level->type != VK_TYPE_OBJECT) {
    vk_value_clear(level);
    vk_object_init_with_policy(level, VK_POLICY_ORDERED);
  }
  return level;
}

}  // namespace

const char* dm_action_to_string(uint32_t action) {
  return action < kActions.size() ? kActions[action] : "(unknown action)";
}

uint32_t dm_frame_get_action(const vk_frame* frame) { return vk_frame_get_action(frame); }

vk_path_node* dm_frame_get_request_path(const vk_frame* frame) {
  return vk_path_node_seek_prefix(frame->rq_path, "dm.");
}

vk_error dm_frame_set_instance_number(vk_frame* frame, uint32_t number) {
  return number == 0 ? VK_EINVAL : vk_object_set_uint(frame->value, kInstanceNumber, number);
}

vk_error dm_frame_set_flags(vk_frame* frame, uint32_t flags) {
  return flags == 0 ? VK_EOK : vk_object_set_uint(frame->value, kFlags, flags);
}

uint32_t dm_frame_get_flags(const vk_frame* frame) {
  const vk_value* const flags = vesk::typed_member(*frame->value, kFlags, VK_TYPE_UNSIGNEDINT);
  return flags == nullptr ? 0 : flags->payload.u32;
}

vk_error dm_frame_set_status(vk_frame* frame, int32_t status) {
  return vk_object_set_int(frame->value, kStatus, status);
}

int32_t dm_frame_get_status(const vk_value* value) {
  if (value == nullptr || value->type != VK_TYPE_OBJECT) return -1;
  const vk_value* const status = vesk::typed_member(*value, kStatus, VK_TYPE_INT);
  return status == nullptr ? -1 : status->payload.s32;
}

vk_value* dm_frame_result_value(vk_value* value) {
  if (value == nullptr || value->type != VK_TYPE_OBJECT) return nullptr;
  vk_value* const result = vk_object_find_item(value, vesk::kParameterList);
  if (result != nullptr) return result;
  return vk_object_init_object_with_policy(value, vesk::kParameterList, VK_POLICY_ORDERED);
}

vk_error dm_frame_add_level_item(vk_frame* frame, const char* name) {
  vk_value* const level = level_of(*frame->value);
  if (level == nullptr) return VK_ENOMEM;
  if (vk_object_find_item(level, name) != nullptr) return VK_EOK;
  return vk_object_init_item(level, name) == nullptr ? VK_ENOMEM : VK_EOK;
}

vk_error dm_frame_set_parameter_info(vk_frame* frame, uint8_t writable, uint8_t keep) {
  vk_value* const result = dm_frame_result_value(frame->value);
  if (result == nullptr) return VK_ENOMEM;
  if (keep == 0) vk_value_clear(result);
  vk_value* const attribute = vk_value_add_attribute(result, kWritable);
  return attribute == nullptr ? VK_ENOMEM : vk_value_set_bool(attribute, writable);
}
