#include "vesk/dmmgr/request.h"

#include <array>

#include "lib/dmmgr/frame.h"
#include "lib/dmmgr/request.h"
#include "lib/frame.h"
#include "lib/log.h"
#include "lib/value/object.h"
#include "vesk/dmmgr/frame.h"
#include "vesk/mm/gta.h"
#include "vesk/module.h"
#include "vesk/value/array.h"
#include "vesk/value/by_path.h"
#include "vesk/value/leaf.h"
#include "vesk/value/member.h"

namespace vesk {

constinit const char* dm_root = nullptr;

namespace {

constexpr const char kSource[] = "lib/dmmgr/datamodel";

// Adds an array with one element of type any; null if memory could not be had.
vk_value* add_array_of_one(vk_value& request, const char* name) {
  vk_value* const array = vk_object_init_array(&request, name);
  return array == nullptr ? nullptr : vk_array_add_item(array);
}

// What an answer holds as "ParameterList", if it is an object.
vk_value* list_in(const vk_value& answer) {
  vk_value* const list = member_of(answer, kParameterList);
  return list != nullptr && list->type == VK_TYPE_OBJECT ? list : nullptr;
}

// Takes the part at a path out of an answer's list; the list itself if the path has no components.
vk_value* take_part(vk_value& answer, vk_value& list, const char* path) {
  vk_value* const part = vk_value_extract_by_path(&list, path);
  if (part == &list) unlink_member(answer, list);
  return part;
}

vk_error set_attributes(vk_value& element, const char* name, uint8_t notification_change,
                        int32_t notification, uint8_t access_list_change) {
  vk_object_init_with_policy(&element, VK_POLICY_ORDERED);
  vk_error error = vk_object_set_string(&element, "Name", name);
  if (error == VK_EOK) {
    error = vk_object_set_bool(&element, "NotificationChange", notification_change);
  }
  if (error == VK_EOK) error = vk_object_set_int(&element, "Notification", notification);
  if (error == VK_EOK) error = vk_object_set_bool(&element, "AccessListChange", access_list_change);
  return error;
}

vk_error ask_for_values(vk_frame& frame, uint32_t flags, const char* name) {
  const vk_error error = dm_frame_set_flags(&frame, flags);
  if (error != VK_EOK) return error;
  vk_value* const element = add_array_of_one(*frame.value, "ParameterNames");
  if (element == nullptr || vk_value_set_string(element, name) != VK_EOK) return VK_ENOMEM;
  return vk_frame_call("cwmp.rpc.GetParameterValues", &frame);
}

// Sends an empty request and takes "ParameterList" out of the answer: null in `out` if there is
// none, untouched if there is no answer.
vk_error ask_for_list(vk_allocator* heap, const char* path, vk_value** out) {
  const OwnedValue request = new_request(heap);
  if (request == nullptr) return VK_ENOMEM;
  const vk_error error = vk_frame_call2(path, 0, request.get());
  if (error != VK_EOK) return error;
  vk_value* const list = member_of(*request, kParameterList);
  if (list != nullptr) unlink_member(*request, *list);
  *out = list;
  return list == nullptr ? VK_ENOENT : VK_EOK;
}

// Which of the two roots a list of names holds; null if neither.
const char* root_in(const vk_value& names) {
  static constexpr std::array kRoots = {"InternetGatewayDevice", "Device"};
  for (const char* root : kRoots) {
    if (vk_object_find_item(&names, root) != nullptr) return root;
  }
  return nullptr;
}

}  // namespace
}  // namespace vesk

vk_error vk_dmmgr_set_parameter_attributes(const char* name, uint8_t notification_change,
                                           int32_t notification, uint8_t access_list_change) {
  const vesk::OwnedValue request = vesk::new_request(vk_module_ctx->heap);
  if (request == nullptr) return VK_ENOMEM;
  vk_value* const element = vesk::add_array_of_one(*request, vesk::kParameterList);
  if (element == nullptr) return VK_ENOMEM;
  const vk_error error =
      vesk::set_attributes(*element, name, notification_change, notification, access_list_change);
  if (error != VK_EOK) return error;
  return vk_frame_call2("cwmp.rpc.GetParameterAttributes", 0, request.get());
}

vk_error vk_dmmgr_get_parameter_names(vk_allocator* heap, const char* path, vk_value** out) {
  if (heap == nullptr) return VK_EINVAL;
  const vesk::OwnedValue request = vesk::new_request(heap);
  if (request == nullptr) return VK_ENOMEM;
  vk_error error = vk_object_set_string(request.get(), "ParameterPath", path);
  if (error == VK_EOK) error = vk_object_set_bool(request.get(), "NextLevel", 1);
  if (error == VK_EOK) error = vk_frame_call2("cwmp.rpc.GetParameterNames", 0, request.get());
  if (error != VK_EOK) return error;
  vk_value* const list = vesk::list_in(*request);
  if (list == nullptr) return VK_ENOENT;
  *out = vesk::take_part(*request, *list, path);
  return *out == nullptr ? VK_ENOENT : VK_EOK;
}

const char* vk_dmmgr_get_dm_root(void) {
  if (vesk::dm_root != nullptr) return vesk::dm_root;
  vk_value* names = nullptr;
  const vk_error error = vk_dmmgr_get_parameter_names(vk_gta(), ".", &names);
  const vesk::OwnedValue owned(names);
  if (error != VK_EOK) {
    vk_log(vesk::kLogLibrary, VK_LOG_ERROR, vesk::kSource, __LINE__, __func__,
           "Failed to get datamodel root element");
    return nullptr;
  }
  vesk::dm_root = vesk::root_in(*names);  // for "." only an object is handed out
  if (vesk::dm_root == nullptr) {
    vk_log(vesk::kLogLibrary, VK_LOG_ERROR, vesk::kSource, __LINE__, __func__,
           "Unexpected datamodel root element");
  }
  return vesk::dm_root;
}

vk_error vk_dmmgr_get_parameter_value(const vk_frame* frame, const char* name, vk_value** out) {
  if (frame == nullptr) return VK_EINVAL;
  const vesk::OwnedFrame child(vk_frame_new(frame));
  if (child == nullptr) return VK_ENOMEM;
  const vk_error error = vesk::ask_for_values(*child, dm_frame_get_flags(frame), name);
  if (error != VK_EOK) return error;
  vk_value* const list = vesk::list_in(*child->value);
  if (list == nullptr) return VK_ENOENT;
  *out = vesk::take_part(*child->value, *list, name);
  return VK_EOK;
}

vk_error vk_dmmgr_get_forced_inform_values(const vk_frame* frame, vk_value** out) {
  vk_value* list = nullptr;
  const vk_error error = vesk::ask_for_list(frame->heap, "dmmgr.inform.get", &list);
  if (list != nullptr) *out = list;
  return error;
}

vk_error vk_dmmgr_get_notification(vk_allocator* heap, vk_value** out) {
  return vesk::ask_for_list(heap, "dmmgr.notification.get", out);
}
