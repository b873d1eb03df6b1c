#include "core/tree.h"

#include <new>

#include "lib/wire.h"
#include "lib/wire_memory.h"

namespace vesk::core {
namespace {

/// A transport of lib/wire.h that appends to bytes.
class Appender {
 public:
  explicit Appender(Bytes& bytes) : bytes_(bytes) {}

  bool takes_texts() const { return true; }
  [[nodiscard]] uint32_t write(const void* field, std::size_t size) {
    const auto* const first = static_cast<const std::byte*>(field);
    bytes_.insert(bytes_.end(), first, first + size);
    return VK_EOK;
  }

 private:
  Bytes& bytes_;
};

}  // namespace

OwnedValue decode(std::span<const std::byte> bytes, vk_allocator* heap) {
  OwnedValue value(vk_value_new(heap));
  if (value == nullptr) throw std::bad_alloc();
  if (bytes.empty()) return value;
  wire::Bytes transport(bytes);
  wire::Decoder decoder(transport);
  if (decoder.get(*value) != VK_EOK || !transport.rest().empty()) throw std::bad_alloc();
  return value;
}

OwnedValue decode(const Bytes* bytes, vk_allocator* heap) {
  return decode(bytes == nullptr ? std::span<const std::byte>() : *bytes, heap);
}

Bytes encode(const vk_value& value) {
  Bytes bytes;
  Appender transport(bytes);
  wire::Encoder encoder(transport);
  if (encoder.put(value) != VK_EOK) throw std::bad_alloc();
  return bytes;
}

vk_value* member(const vk_value& value, const char* name) {
  return value.type == VK_TYPE_OBJECT ? vk_object_find_item(&value, name) : nullptr;
}

vk_value* member(const vk_value& value, const char* name, vk_type type) {
  vk_value* const found = member(value, name);
  return found != nullptr && found->type == type ? found : nullptr;
}

const char* text_member(const vk_value& object, const char* name) {
  const vk_value* const text = member(object, name, VK_TYPE_STRING);
  return text == nullptr ? nullptr : text->payload.text;
}

const uint32_t* number_member(const vk_value& object, const char* name) {
  const vk_value* const number = member(object, name, VK_TYPE_UNSIGNEDINT);
  return number == nullptr ? nullptr : &number->payload.u32;
}

}  // namespace vesk::core
