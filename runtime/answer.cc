#include "runtime/answer.h"

#include <cstring>

#include "lib/log.h"
#include "runtime/incoming.h"
#include "runtime/message.h"
#include "vesk/dmmgr/frame.h"
#include "vesk/value/attribute.h"
#include "vesk/value/member.h"

namespace vesk::rt {
namespace {

constexpr char kWritable[] = "Writable";

constexpr std::size_t kPathAt = 2 * sizeof(uint32_t);  // behind the tag and its length

// The request's path; null if there is no memory.
Owned<char, vk_free> path_of(std::span<const std::byte> request, vk_allocator* heap) {
  const std::size_t length = number_at(request, kPathAt - sizeof(uint32_t));
  Owned<char, vk_free> path(static_cast<char*>(vk_alloc(heap, length + 1)));
  if (path != nullptr) std::memcpy(path.get(), request.data() + kPathAt, length);
  return path;
}

// Reads the tree of a request into a frame, whose value is an object for every handler. It stays
// empty where no tree was sent.
vk_error read_value(std::span<const std::byte> bytes, vk_value& value) {
  const vk_type type = number_at(bytes, 0);
  if (type == VK_TYPE_ANY) return VK_EOK;
  return type == VK_TYPE_OBJECT ? read_tree(bytes, value) : VK_EINVAL;
}

// Attributes do not cross, so the one that tells whether a parameter can be written becomes a
// member.
vk_error tell_writable(vk_value& value) {
  if (value.type != VK_TYPE_OBJECT) return VK_EOK;
  const vk_value* const list = vk_object_find_item(&value, "ParameterList");
  const vk_value* const writable =
      list == nullptr ? nullptr : vk_value_find_attribute(list, kWritable);
  if (writable == nullptr || writable->type != VK_TYPE_BOOLEAN) return VK_EOK;
  return vk_object_set_bool(&value, kWritable, writable->payload.flag);
}

bool is_same(std::span<const std::byte> a, std::span<const std::byte> b) {
  return a.size() == b.size() && std::memcmp(a.data(), b.data(), a.size()) == 0;
}

// A value that is not acceptable is what a handler says of the request; an answer that is too large
// is told as what it is.
uint32_t status_of_unsent(vk_error error) { return error == VK_EVALUE ? VK_ENOMEM : error; }

// Encodes the response, and takes it back if its tree says no more than the request's did.
uint32_t put_answer(uint32_t status, const vk_frame& frame, std::span<const std::byte> asked,
                    const Limits& limits, ByteBuffer& answer) {
  const vk_error error = put_response(answer, status, frame.value, limits);
  if (error != VK_EOK) {
    vk_log(kLogLibrary, VK_LOG_ERROR, "runtime/answer", __LINE__, __func__,
           "An answer cannot be sent: %s", vk_strerror(error));
    answer.clear();
    return status_of_unsent(error);
  }
  const bool nothing_asked = number_at(asked, 0) == VK_TYPE_ANY;
  const bool nothing_told =
      nothing_asked && frame.value->type == VK_TYPE_OBJECT && vk_object_is_empty(frame.value);
  if (nothing_told || is_same(answer.bytes().subspan(sizeof status), asked)) answer.clear();
  return status;
}

// Runs a handler, which may have unregistered itself when it returns.
uint32_t run(const Registration& registration, vk_frame& frame, void* argument) {
  const vk_frame_handler handler = registration.handler;
  const uint32_t status = handler(registration.data, &frame, argument);
  if (status == VK_ENOANSWER || frame.action != VK_DM_INFO) return status;
  const vk_error error = tell_writable(*frame.value);
  return error == VK_EOK ? status : error;
}

}  // namespace

uint32_t answer_request(std::span<const std::byte> bytes, std::size_t value_at,
                        const Registry& registry, void* const& argument, const Limits& limits,
                        ByteBuffer& answer) {
  const Registration* const found = registry.find_number(number_at(bytes, 0));
  if (found == nullptr) return VK_ENOANSWER;
  Incoming incoming;
  if (incoming.frame() == nullptr) return VK_ENOMEM;
  vk_frame& frame = *incoming.frame();
  const std::span<const std::byte> value = bytes.subspan(value_at);
  const vk_error error = read_value(value, *frame.value);
  if (error != VK_EOK) return error;
  const Owned<char, vk_free> path = path_of(bytes, frame.heap);
  if (path == nullptr || !incoming.set_paths(path.get(), found->components)) return VK_ENOMEM;
  frame.action = number_at(bytes, value_at - sizeof(uint32_t));
  const uint32_t status = run(*found, frame, argument);
  return status == VK_ENOANSWER ? status : put_answer(status, frame, value, limits, answer);
}

}  // namespace vesk::rt
