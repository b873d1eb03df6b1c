#include "vesk/string.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr uint32_t kLeastGrowth = 32;

// The capacity for `count` bytes more than there are; 0 if 32 bits cannot say it.
uint32_t grown_capacity(const vk_string& string, std::size_t count) {
  uint32_t needed = 0;
  uint32_t least = 0;
  if (__builtin_add_overflow(count, string.length, &needed) ||
      __builtin_add_overflow(needed, 1, &needed) ||
      __builtin_add_overflow(string.capacity, kLeastGrowth, &least)) {
    return 0;
  }
  return std::max(needed, least);
}

bool has_room(const vk_string& string, std::size_t count) {
  return string.capacity > string.length && count < string.capacity - string.length;
}

// Copies what is there and the new bytes to a new block, and only then gives up the old block, in
// which the new bytes may lie.
[[nodiscard]] vk_error add_in_new_block(vk_string& string, const void* data, std::size_t count) {
  const uint32_t capacity = grown_capacity(string, count);
  auto* const buf =
      capacity == 0 ? nullptr : static_cast<char*>(vk_alloc(string.allocator, capacity));
  if (buf == nullptr) return VK_ENOMEM;
  if (string.length != 0) std::memcpy(buf, string.buf, string.length);
  if (count != 0) std::memcpy(buf + string.length, data, count);
  vk_free(string.buf);
  string.buf = buf;
  string.capacity = capacity;
  return VK_EOK;
}

[[nodiscard]] vk_error add_bytes(vk_string& string, const void* data, std::size_t count) {
  if (!has_room(string, count)) return add_in_new_block(string, data, count);
  if (count != 0) std::memmove(string.buf + string.length, data, count);
  return VK_EOK;
}

}  // namespace

void vk_string_init(vk_string* string, vk_allocator* allocator) {
  *string = {
      .buf = nullptr, .capacity = 0, .length = 0, .allocator = allocator, .magic = VK_MAGIC_STRING};
}

void vk_string_reset(vk_string* string) {
  string->length = 0;
  if (string->buf != nullptr) string->buf[0] = '\0';
}

const char* vk_string_str(const vk_string* string) {
  return string->buf == nullptr ? "" : string->buf;
}

vk_error vk_string_add(vk_string* string, const void* data, std::size_t count) {
  const vk_error error = add_bytes(*string, data, count);
  if (error != VK_EOK) return error;
  string->length += static_cast<uint32_t>(count);
  string->buf[string->length] = '\0';
  return VK_EOK;
}

void vk_string_destroy(vk_string* string) {
  string->magic = VK_MAGIC_DEAD;
  vk_free(string->buf);
}
