#include "lib/value/type.h"

#include <algorithm>
#include <array>
#include <cstring>

#include "lib/value/compare.h"
#include "lib/value/leaf.h"
#include "lib/value/text.h"
#include "lib/value/writer.h"

namespace vesk {
namespace {

void release_binary(vk_value_payload& payload) { vk_binary_destroy(&payload.binary); }

void release_text(vk_value_payload& payload) { vk_free(payload.text); }

// In the order in which names are searched.
constexpr std::array<Type, 12> kTypes = {{
    // clang-format off
    {VK_TYPE_OBJECT, "object", equal_objects, nullptr, nullptr, nullptr, nullptr, {}},
    {VK_TYPE_ARRAY, "array", never_equal, nullptr, nullptr, nullptr, nullptr, {}},
    {VK_TYPE_BASE64, "base64", equal_binaries, write_base64, set_base64, parse_base64,
     release_binary, {.binary = {}}},
    {VK_TYPE_BOOLEAN, "boolean", equal_flags, write_boolean, set_bool, parse_boolean,
     nullptr, {.flag = 0}},
    {VK_TYPE_DATETIME, "dateTime", equal_datetimes, write_datetime, set_datetime, parse_datetime,
     nullptr, {.datetime = {0, VK_DATETIME_UNKNOWN, 0}}},
    {VK_TYPE_HEXBINARY, "hexBinary", equal_binaries, write_hex, set_hex, parse_hex,
     release_binary, {.binary = {}}},
    {VK_TYPE_INT, "int", equal_words, write_int, set_int, parse_int,
     nullptr, {.s32 = 0}},
    {VK_TYPE_LONG, "long", equal_long_words, write_long, set_long, parse_long,
     nullptr, {.s64 = 0}},
    {VK_TYPE_STRING, "string", equal_texts, write_string, set_string, parse_string,
     release_text, {.text = const_cast<char*>("")}},
    {VK_TYPE_UNSIGNEDINT, "unsignedInt", equal_words, write_uint, set_uint, parse_uint,
     nullptr, {.u32 = 0}},
    {VK_TYPE_UNSIGNEDLONG, "unsignedLong", equal_long_words, write_ulong, set_ulong, parse_ulong,
     nullptr, {.u64 = 0}},
    {VK_TYPE_ANY, "any", always_equal, write_any, nullptr, nullptr, nullptr, {}},
    // clang-format on
}};

// The rows follow the numbers, but for "any", which is 0 and comes last.
constexpr const Type* row_of(vk_type type) {
  if (type == VK_TYPE_ANY) return &kTypes.back();
  return type < kTypes.size() ? &kTypes[type - 1] : nullptr;
}
static_assert(std::ranges::all_of(kTypes,
                                  [](const Type& row) { return row_of(row.number) == &row; }));

}  // namespace

const Type* find_type(vk_type type) { return row_of(type); }

}  // namespace vesk

const char* vk_type_to_string(vk_type type) {
  const vesk::Type* const row = vesk::find_type(type);
  return row == nullptr ? "(unknown type)" : row->name;
}

vk_type vk_type_from_string(const char* name) {
  for (const vesk::Type& row : vesk::kTypes) {
    if (std::strcmp(row.name, name) == 0) return row.number;
  }
  return VK_TYPE_ANY;
}
