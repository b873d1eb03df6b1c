#include "runtime/opener.h"

#include "lib/value/node.h"
#include "runtime/message.h"
#include "vesk/value/member.h"

namespace vesk::rt {
namespace {

constexpr char kAttach[] = "sys.module.attach";
constexpr char kServe[] = "sys.module.serve";

struct NamedLimit {
  const char* name;
  uint32_t Limits::*limit;
};

constexpr NamedLimit kLimits[] = {
    {"message", &Limits::message}, {"depth", &Limits::depth}, {"nodes", &Limits::nodes},
    {"members", &Limits::members}, {"pairs", &Limits::pairs}, {"text", &Limits::text},
    {"path", &Limits::path},       {"name", &Limits::name},
};

void read_limits(const vk_value& answer, Limits& limits) {
  if (answer.type != VK_TYPE_OBJECT) return;
  const vk_value* const told = vk_object_find_item(&answer, "Limits");
  if (told == nullptr || told->type != VK_TYPE_OBJECT) return;
  for (const NamedLimit& row : kLimits) {
    const vk_value* const limit = vk_object_find_item(told, row.name);
    if (limit != nullptr && limit->type == VK_TYPE_UNSIGNEDINT) {
      limits.*row.limit = limit->payload.u32;
    }
  }
}

// Makes a request with the value, which the answer takes the place of.
vk_error ask(Line& line, const char* path, vk_value& value, const Deadline& deadline,
             bool& refused) {
  refused = false;
  ByteBuffer request;
  vk_error error = put_request(request, 0, path, 0, &value, Limits::widest());
  if (error == VK_EOK) error = line.exchange(request.bytes(), deadline);
  if (error != VK_EOK) return error;
  const uint32_t status = take_response(line.message(), &value);
  refused = status != VK_EOK;
  return status;
}

}  // namespace

vk_error open_as_module(Line& line, const vk_module_descriptor& descriptor,
                        const Deadline& deadline, Limits& limits, bool& refused) {
  refused = false;
  const OwnedValue value(vk_object_new_with_policy(vk_default_allocator(), VK_POLICY_ORDERED));
  if (value == nullptr || vk_object_set_string(value.get(), "Name", descriptor.name) != VK_EOK ||
      vk_object_set_string(value.get(), "Version", descriptor.version) != VK_EOK) {
    return VK_ENOMEM;
  }
  const vk_error error = ask(line, kAttach, *value, deadline, refused);
  if (error == VK_EOK) read_limits(*value, limits);
  return error;
}

vk_error open_for_serving(Line& line, const vk_module_descriptor& descriptor,
                          const Deadline& deadline, bool& refused) {
  refused = false;
  const OwnedValue value(vk_object_new_with_policy(vk_default_allocator(), VK_POLICY_ORDERED));
  if (value == nullptr || vk_object_set_string(value.get(), "Name", descriptor.name) != VK_EOK) {
    return VK_ENOMEM;
  }
  return ask(line, kServe, *value, deadline, refused);
}

}  // namespace vesk::rt
