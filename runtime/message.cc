#include "runtime/message.h"

#include <cstring>

#include "lib/wire.h"
#include "lib/wire_memory.h"

namespace vesk::rt {
namespace {

constexpr vk_value kAny = {};

// Whether the bytes are one message, within the limits, and nothing else.
vk_error check(Message kind, std::span<const std::byte> bytes, const Limits& limits) {
  Scanner scanner(kind, limits);
  switch (scanner.scan(bytes)) {
    case Scanner::State::kComplete:
      return scanner.size() == bytes.size() ? VK_EOK : VK_EINVAL;
    case Scanner::State::kRefused:
      return VK_EVALUE;
    default:
      return VK_EINVAL;
  }
}

template <typename Record>
vk_error put(ByteBuffer& bytes, Message kind, const Record& record, const Limits& limits) {
  const std::size_t before = bytes.bytes().size();
  wire::Appender fields(bytes);
  const vk_error error = wire::Encoder(fields).put(record);
  return error == VK_EOK ? check(kind, bytes.bytes().subspan(before), limits) : error;
}

// A node as it is sent; one that is not there is type any. The encoder changes nothing.
vk_value* sent(const vk_value* value) {
  return const_cast<vk_value*>(value == nullptr ? &kAny : value);
}

vk_error replace(vk_value& value, std::span<const std::byte> bytes) {
  const OwnedValue fresh(vk_value_new(value.heap));
  if (fresh == nullptr || read_tree(bytes, *fresh) != VK_EOK) return VK_ENOMEM;
  move_payload(*fresh, value);
  return VK_EOK;
}

}  // namespace

vk_error put_request(ByteBuffer& bytes, uint32_t tag, const char* path, uint32_t action,
                     const vk_value* value, const Limits& limits) {
  const vk_ipc_request request = {tag, const_cast<char*>(path), action, sent(value)};
  return put(bytes, Message::kRequest, request, limits);
}

vk_error put_response(ByteBuffer& bytes, uint32_t status, const vk_value* value,
                      const Limits& limits) {
  return put(bytes, Message::kResponse, vk_ipc_response{status, sent(value)}, limits);
}

uint32_t take_response(std::span<const std::byte> message, vk_value* value) {
  constexpr std::size_t kValueAt = sizeof(uint32_t);
  if (value != nullptr && number_at(message, kValueAt) != VK_TYPE_ANY) {
    const vk_error error = replace(*value, message.subspan(kValueAt));
    if (error != VK_EOK) return error;
  }
  return number_at(message, 0);
}

vk_error read_tree(std::span<const std::byte> bytes, vk_value& fresh) {
  wire::Bytes reader(bytes);
  return wire::Decoder(reader).get(fresh);
}

uint32_t number_at(std::span<const std::byte> message, std::size_t place) {
  uint32_t number = 0;
  std::memcpy(&number, message.data() + place, sizeof number);
  return number;
}

}  // namespace vesk::rt
