#pragma once

// The bytes of messages: one walk writes a value and one reads it, over any transport.
//
// A transport moves one field at a time, whole, and gives 0 or why it could not:
//
//   bool takes_texts() const                      of one that is written to: texts and binaries
//   uint32_t write(const void* bytes, size_t)     of one that is written to
//   uint32_t read(void* bytes, size_t)            of one that is read from
//   uint32_t lost_member() const                  the same: what the reading gives, and ends with,
//                                                 when a member cannot be made
//
// What a failure leaves behind is said in <vesk/ipc.h>.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <utility>

#include "lib/support/owned.h"
#include "lib/value/node.h"
#include "vesk/ipc.h"
#include "vesk/value/array.h"
#include "vesk/value/object.h"

namespace vesk::wire {

template <typename Writer>
class Encoder {
 public:
  explicit Encoder(Writer& writer) : writer_(writer) {}

  [[nodiscard]] uint32_t put(const vk_ipc_request& request) {
    uint32_t error = put_number(request.tag);
    if (error == 0) error = put_text(request.path);
    if (error == 0) error = put_number(request.action);
    return error == 0 ? put(*request.value) : error;
  }

  [[nodiscard]] uint32_t put(const vk_ipc_response& response) {
    const uint32_t error = put_number(response.status);
    return error == 0 ? put(*response.value) : error;
  }

  [[nodiscard]] uint32_t put(const vk_value& value) {
    const uint32_t error = put_number(value.type);
    return error == 0 ? put_payload(value) : error;
  }

 private:
  [[nodiscard]] uint32_t put_payload(const vk_value& value) {
    const vk_value_payload& payload = value.payload;
    switch (value.type) {
      case VK_TYPE_OBJECT:
        return put_members(value);
      case VK_TYPE_ARRAY:
        return put_elements(value);
      case VK_TYPE_BASE64:
      case VK_TYPE_HEXBINARY:
        return put_binary(payload.binary);
      case VK_TYPE_BOOLEAN:
        return writer_.write(&payload.flag, sizeof payload.flag);
      case VK_TYPE_DATETIME:
        return put_datetime(payload.datetime);
      case VK_TYPE_INT:
      case VK_TYPE_UNSIGNEDINT:
        return put_number(payload.u32);
      case VK_TYPE_LONG:
      case VK_TYPE_UNSIGNEDLONG:
        return writer_.write(&payload.u64, sizeof payload.u64);
      case VK_TYPE_STRING:
        return put_text(payload.text);
      default:
        return 0;
    }
  }

  // What failed inside is not told: the end is written in any case, and its result counts.
  [[nodiscard]] uint32_t put_members(const vk_value& object) {
    for (const vk_value& member : each_item(object)) {
      if (put_text(member.id) != 0 || put(member) != 0) break;
    }
    return put_text("");
  }

  [[nodiscard]] uint32_t put_elements(const vk_value& array) {
    uint32_t error = put_number(vk_array_get_len(&array));
    for (const vk_value& element : each_item(array)) {
      if (error != 0) break;
      error = put(element);
    }
    return error;
  }

  [[nodiscard]] uint32_t put_datetime(const vk_datetime& datetime) {
    uint32_t error = put_number(datetime.kind);
    if (error == 0) error = put_number(static_cast<uint32_t>(datetime.time));
    return error == 0 ? put_number(datetime.usec) : error;
  }

  [[nodiscard]] uint32_t put_text(const char* text) {
    if (!writer_.takes_texts() || text == nullptr) return VK_EINVAL;
    const std::size_t length = std::strlen(text);
    if (!std::in_range<uint32_t>(length)) return VK_EINVAL;
    const uint32_t error = put_number(static_cast<uint32_t>(length));
    return error == 0 && length != 0 ? writer_.write(text, length) : error;
  }

  [[nodiscard]] uint32_t put_binary(const vk_binary& binary) {
    if (!writer_.takes_texts()) return VK_EINVAL;
    const uint32_t error = put_number(vk_binary_len(&binary));
    return error == 0 ? writer_.write(vk_binary_data(&binary), vk_binary_len(&binary)) : error;
  }

  [[nodiscard]] uint32_t put_number(uint32_t number) {
    return writer_.write(&number, sizeof number);
  }

  Writer& writer_;
};

template <typename Reader>
class Decoder {
 public:
  explicit Decoder(Reader& reader) : reader_(reader) {}

  [[nodiscard]] uint32_t get(vk_ipc_request& request) {
    uint32_t error = get_number(request.tag);
    if (error == 0) error = get_text(request.value->heap, request.path);
    if (error == 0) error = get_number(request.action);
    return error == 0 ? get(*request.value) : error;
  }

  [[nodiscard]] uint32_t get(vk_ipc_response& response) {
    const uint32_t error = get_number(response.status);
    return error == 0 ? get(*response.value) : error;
  }

  /// Reads into a fresh node; what it owns comes from its heap.
  [[nodiscard]] uint32_t get(vk_value& value) {
    vk_type type = VK_TYPE_ANY;
    const uint32_t error = get_number(type);
    if (error != 0 || type > VK_TYPE_UNSIGNEDLONG) return error;
    if (type == VK_TYPE_OBJECT) return get_members(value);
    if (type == VK_TYPE_ARRAY) return get_elements(value);
    value.type = type;
    return get_leaf(value);
  }

 private:
  [[nodiscard]] uint32_t get_leaf(vk_value& value) {
    vk_value_payload& payload = value.payload;
    switch (value.type) {
      case VK_TYPE_BASE64:
      case VK_TYPE_HEXBINARY:
        return get_binary(value.heap, payload.binary);
      case VK_TYPE_BOOLEAN:
        return reader_.read(&payload.flag, sizeof payload.flag);
      case VK_TYPE_DATETIME:
        return get_datetime(payload.datetime);
      case VK_TYPE_INT:
      case VK_TYPE_UNSIGNEDINT:
        return get_number(payload.u32);
      case VK_TYPE_LONG:
      case VK_TYPE_UNSIGNEDLONG:
        return reader_.read(&payload.u64, sizeof payload.u64);
      case VK_TYPE_STRING:
        return get_text(value.heap, payload.text);
      default:
        return 0;
    }
  }

  [[nodiscard]] uint32_t get_members(vk_value& object) {
    vk_object_init_with_policy(&object, VK_POLICY_ORDERED);
    for (;;) {
      vk_value* member = nullptr;
      uint32_t error = get_member(object, member);
      if (error != 0 || member == nullptr) return error;
      error = get(*member);
      if (error != 0) return error;
    }
  }

  // Reads a name and makes its member; null at the object's end, and without memory. A member whose
  // name comes again is only cleared: its payload is made that of a fresh node, which can be
  // deleted whatever follows.
  [[nodiscard]] uint32_t get_member(vk_value& object, vk_value*& member) {
    char* text = nullptr;
    const uint32_t error = get_text(object.heap, text);
    const Owned<char, vk_free> name(text);
    if (error != 0 || *name == '\0') return error;
    member = vk_object_init_item(&object, name.get());
    if (member == nullptr) return reader_.lost_member();
    member->payload = {};
    return 0;
  }

  [[nodiscard]] uint32_t get_elements(vk_value& array) {
    uint32_t count = 0;
    uint32_t error = get_number(count);
    if (error != 0) return error;
    vk_array_init(&array);
    for (; error == 0 && count != 0; --count) {
      vk_value* const element = vk_array_add_item(&array);
      error = element == nullptr ? VK_ENOMEM : get(*element);
    }
    return error;
  }

  [[nodiscard]] uint32_t get_datetime(vk_datetime& datetime) {
    uint32_t error = get_number(datetime.kind);
    if (error == 0) error = reader_.read(&datetime.time, sizeof datetime.time);
    return error == 0 ? get_number(datetime.usec) : error;
  }

  [[nodiscard]] uint32_t get_text(vk_allocator* heap, char*& text) {
    uint32_t length = 0;
    uint32_t error = get_number(length);
    if (error != 0) {
      text = nullptr;
      return error;
    }
    if (length > kLongestText) return VK_ENOMEM;
    Owned<char, vk_free> read(static_cast<char*>(vk_alloc(heap, std::size_t{length} + 1)));
    if (read == nullptr) return VK_ENOMEM;
    if (length != 0) error = reader_.read(read.get(), length);
    if (error != 0) read.reset();
    text = read.release();
    return error;
  }

  // The buffer of bytes that did not come is left to the heap.
  [[nodiscard]] uint32_t get_binary(vk_allocator* heap, vk_binary& binary) {
    uint32_t length = 0;
    uint32_t error = get_number(length);
    if (error != 0) return error;
    auto* const data = static_cast<uint8_t*>(vk_alloc(heap, length));
    if (data == nullptr) return VK_ENOMEM;
    error = reader_.read(data, length);
    if (error == 0) vk_binary_init(&binary, data, length);
    return error;
  }

  [[nodiscard]] uint32_t get_number(uint32_t& number) {
    return reader_.read(&number, sizeof number);
  }

  // The longest whose block, with terminator and the heap's word, has a size of 32 bits.
  static constexpr uint32_t kLongestText = std::numeric_limits<uint32_t>::max() - 1 - sizeof(void*);

  Reader& reader_;
};

}  // namespace vesk::wire
