#include <cerrno>

#include "lib/log.h"
#include "lib/support/number.h"
#include "lib/value/object.h"
#include "vesk/module.h"

vk_error vk_module_get_param_str(const char* name, char** text) {
  const vk_value* const parameter =
      vesk::typed_member(*vk_module_ctx->params, name, VK_TYPE_STRING);
  if (parameter == nullptr) return VK_ENOENT;
  *text = parameter->payload.text;
  return VK_EOK;
}

vk_error vk_module_get_param_uint(const char* name, uint32_t* number) {
  char* text = nullptr;
  const vk_error error = vk_module_get_param_str(name, &text);
  if (error != VK_EOK) return error;
  errno = 0;
  const char* end = nullptr;
  const uint32_t converted = vesk::text_to_uint32(text, &end);
  if (errno != 0 || end == text || *end != '\0') {
    vk_log(vesk::kLogLibrary, VK_LOG_ERROR, "lib/module", __LINE__, __func__,
           "The value '%s' of '%s' parameter of '%s' module is not 'unsigned int'", text, name,
           vk_module_ctx->name);
    return VK_EINVAL;
  }
  *number = converted;
  return VK_EOK;
}
