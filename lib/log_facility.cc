#include <cstring>

#include "lib/log.h"
#include "lib/log_names.h"
#include "vesk/mm/gta.h"
#include "vesk/mm/heap.h"

namespace vesk {
namespace {

// The entry of that name, or null.
const vk_log_name* find_facility(const char* name) {
  for (const vk_log_name* entry = vesk_own_facilitynames; entry->name != nullptr; ++entry) {
    if (std::strcmp(entry->name, name) == 0) return entry;
  }
  return nullptr;
}

}  // namespace
}  // namespace vesk

vk_error vk_log_facility_config(const char* text) {
  char* const copy = vk_strdup(vk_gta(), text);
  if (copy == nullptr) return VK_ENOMEM;
  vesk::log_ensure_initialised();

  auto& facilities = vesk::log_state.category_facilities;
  std::size_t category = 0;
  char* rest = nullptr;
  for (; category < VK_LOG_CATEGORIES; ++category) {
    const char* const name = strtok_r(category == 0 ? copy : nullptr, ",", &rest);
    if (name == nullptr) break;
    const vk_log_name* const facility = vesk::find_facility(name);
    if (facility == nullptr) {
      vk_log(vesk::kLogLibrary, VK_LOG_ERROR, "lib/log", __LINE__, __func__,
             "Unknown syslog facility '%s' for category %zu", name, category);
      return VK_EINVAL;
    }
    facilities[category] = facility->value;
  }
  for (; category < VK_LOG_CATEGORIES; ++category) facilities[category] = facilities[0];
  return VK_EOK;
}
