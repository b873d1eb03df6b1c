#pragma once

// Fills objects. What went wrong is told once, at the end.

#include <cstddef>
#include <cstdint>

#include "vesk/value/leaf.h"
#include "vesk/value/member.h"
#include "vesk/value/object.h"

namespace vesk::modules {

/// The most characters of a text and the most entries of a table that are served: the data model
/// grants most texts no more, and messages do not hold tables of any length.
inline constexpr std::size_t kLongestText = 64;
inline constexpr uint32_t kLongestTable = 1024;

class ObjectBuilder {
 public:
  /// Fills this object; null is filled with nothing and counts as failed for want of memory.
  explicit ObjectBuilder(vk_value* object)
      : object_(object), error_(object == nullptr ? VK_ENOMEM : VK_EOK) {}

  /// A text of printable ASCII: kernel and firmware promise no encoding, so every other byte
  /// becomes a "?". Longer ones are cut.
  void text(const char* name, const char* value) {
    vk_value* const item = error_ == VK_EOK ? vk_object_init_item(object_, name) : nullptr;
    fail(item == nullptr ? VK_ENOMEM : vk_value_set_string(item, value));
    if (error_ == VK_EOK) make_plain(item->payload.text);
  }
  /// An unsignedInt; for a larger number the largest one.
  void number(const char* name, uint64_t value) {
    const uint32_t fitting = value > UINT32_MAX ? UINT32_MAX : static_cast<uint32_t>(value);
    if (error_ == VK_EOK) error_ = vk_object_set_uint(object_, name, fitting);
  }
  void long_number(const char* name, uint64_t value) {
    if (error_ == VK_EOK) error_ = vk_object_set_ulong(object_, name, value);
  }
  void flag(const char* name, bool value) {
    if (error_ == VK_EOK) error_ = vk_object_set_bool(object_, name, value ? 1 : 0);
  }

  /// An object below this one, to be filled by a builder of its own and then told by `include`.
  /// Tables are ordered objects too: an indexed one logs every insertion.
  ObjectBuilder object(const char* name) {
    return ObjectBuilder(error_ == VK_EOK
                             ? vk_object_init_object_with_policy(object_, name, VK_POLICY_ORDERED)
                             : nullptr);
  }
  void include(const ObjectBuilder& below) { fail(below.error_); }

  /// What failed first is kept.
  void fail(vk_error error) {
    if (error_ == VK_EOK) error_ = error;
  }

  vk_value* get() const { return object_; }
  [[nodiscard]] vk_error error() const { return error_; }

 private:
  static void make_plain(char* text) {
    std::size_t length = 0;
    for (; text[length] != '\0' && length < kLongestText; ++length) {
      if (text[length] < ' ' || text[length] > '~') text[length] = '?';
    }
    text[length] = '\0';
  }

  vk_value* object_;
  vk_error error_;
};

}  // namespace vesk::modules
