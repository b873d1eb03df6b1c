#pragma once

// A sample of every type of leaf, with all that can be done to make it.

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/datetimes.h"
#include "tests/support/trees.h"
#include "vesk/value/leaf.h"
#include "vesk/value/member.h"

namespace vesk::test {

/// A type of leaf.
struct LeafKind {
  const char* name;   ///< for the names of tests
  Tree sample;        ///< what the setters below make
  const char* text;   ///< its text, as CWMP carries it
  std::size_t bytes;  ///< how much of the node's heap its payload takes
  vk_error (*set)(vk_value* node);
  vk_error (*set_member)(vk_value* object, const char* name);
};

inline std::ostream& operator<<(std::ostream& out, const LeafKind& kind) {
  return out << kind.name;
}

/// For the instantiation of test suites.
inline std::string name_of_kind(const testing::TestParamInfo<LeafKind>& kind) {
  return kind.param.name;
}

inline uint8_t sample_bytes[] = {'M', 'a', 'n'};
inline constexpr vk_binary kSampleBinary = {3, sample_bytes, VK_MAGIC_BINARY};
inline constexpr vk_datetime kSampleTime = absolute(1709294400, 250000);

/// The types whose payload is all in the node.
inline std::vector<LeafKind> scalar_kinds() {
  return {
      {"Int", integer(-12), "-12", 0, [](vk_value* node) { return vk_value_set_int(node, -12); },
       [](vk_value* object, const char* name) { return vk_object_set_int(object, name, -12); }},
      {"UnsignedInt", unsigned_integer(UINT32_MAX), "4294967295", 0,
       [](vk_value* node) { return vk_value_set_uint(node, UINT32_MAX); },
       [](vk_value* object, const char* name) {
         return vk_object_set_uint(object, name, UINT32_MAX);
       }},
      {"Long", long_integer(INT64_MIN), "-9223372036854775808", 0,
       [](vk_value* node) { return vk_value_set_long(node, INT64_MIN); },
       [](vk_value* object, const char* name) {
         return vk_object_set_long(object, name, INT64_MIN);
       }},
      {"UnsignedLong", unsigned_long(UINT64_MAX), "18446744073709551615", 0,
       [](vk_value* node) { return vk_value_set_ulong(node, UINT64_MAX); },
       [](vk_value* object, const char* name) {
         return vk_object_set_ulong(object, name, UINT64_MAX);
       }},
      {"Boolean", boolean(1), "true", 0, [](vk_value* node) { return vk_value_set_bool(node, 1); },
       [](vk_value* object, const char* name) { return vk_object_set_bool(object, name, 1); }},
      {"DateTime", date(kSampleTime), "2024-03-01T12:00:00.250000Z", 0,
       [](vk_value* node) { return vk_value_set_datetime(node, &kSampleTime); },
       [](vk_value* object, const char* name) {
         return vk_object_set_datetime(object, name, &kSampleTime);
       }},
  };
}

/// The types whose payload is a block of the node's heap.
inline std::vector<LeafKind> block_kinds() {
  return {
      {"String", text("some text"), "some text", sizeof "some text",
       [](vk_value* node) { return vk_value_set_string(node, "some text"); },
       [](vk_value* object, const char* name) {
         return vk_object_set_string(object, name, "some text");
       }},
      {"HexBinary", hex("Man"), "4D616E", 3,
       [](vk_value* node) { return vk_value_set_hex(node, &kSampleBinary); },
       [](vk_value* object, const char* name) {
         return vk_object_set_hex(object, name, &kSampleBinary);
       }},
      {"Base64", base64("Man"), "TWFu", 3,
       [](vk_value* node) { return vk_value_set_base64(node, &kSampleBinary); },
       [](vk_value* object, const char* name) {
         return vk_object_set_base64(object, name, &kSampleBinary);
       }},
  };
}

inline std::vector<LeafKind> leaf_kinds() {
  std::vector<LeafKind> kinds = scalar_kinds();
  for (LeafKind& kind : block_kinds()) kinds.push_back(kind);
  return kinds;
}

}  // namespace vesk::test
