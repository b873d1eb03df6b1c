#include "lib/value/compare.h"

#include <cstring>

#include "lib/value/node.h"
#include "lib/value/type.h"

namespace vesk {

bool always_equal(const vk_value_payload&, const vk_value_payload&) { return true; }

bool equal_binaries(const vk_value_payload& a, const vk_value_payload& b) {
  return vk_binary_eq(&a.binary, &b.binary);
}

bool equal_datetimes(const vk_value_payload& a, const vk_value_payload& b) {
  return a.datetime.time == b.datetime.time && a.datetime.kind == b.datetime.kind &&
         a.datetime.usec == b.datetime.usec;
}

bool equal_flags(const vk_value_payload& a, const vk_value_payload& b) { return a.flag == b.flag; }

bool equal_long_words(const vk_value_payload& a, const vk_value_payload& b) {
  return a.u64 == b.u64;
}

bool equal_objects(const vk_value_payload& a, const vk_value_payload& b) {
  if (a.items.count != b.items.count) return false;
  for (const vk_value& member : Nodes(a.items.first)) {
    const vk_value* const other = find_named(b.items.first, member.id);
    if (other == nullptr || !vk_value_equal(&member, other)) return false;
  }
  return true;
}

bool equal_texts(const vk_value_payload& a, const vk_value_payload& b) {
  return std::strcmp(a.text, b.text) == 0;
}

bool equal_words(const vk_value_payload& a, const vk_value_payload& b) { return a.u32 == b.u32; }

bool never_equal(const vk_value_payload&, const vk_value_payload&) { return false; }

}  // namespace vesk

bool vk_value_equal(const vk_value* a, const vk_value* b) {
  if (a->type != b->type) return false;
  const vesk::Type* const row = vesk::find_type(a->type);
  return row != nullptr && row->equal(a->payload, b->payload);
}
