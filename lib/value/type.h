#pragma once

// The table of types: what there is to know of each, in one row.

#include "vesk/stream.h"
#include "vesk/value/node.h"

namespace vesk {

/// One type. To add a leaf is to add a row to the table in type.cc.
struct Type {
  using Payload = vk_value_payload;

  vk_type number;
  const char* name;
  /// Whether two payloads are equal.
  bool (*equal)(const Payload& a, const Payload& b);
  /// Writes the text form; null for what has none.
  void (*write)(vk_stream& stream, const Payload& payload);

  // Of leaves only; nothing for any, object and array.

  /// Makes a node this leaf with a copy of a payload.
  vk_error (*set)(vk_value& value, const Payload& payload);
  /// Makes a node the leaf that a text denotes; `errno` is 0 before.
  vk_error (*parse)(vk_value& value, const char* text);
  /// Releases what a payload owns; null where it owns nothing.
  void (*release)(Payload& payload);
  /// The payload of the default value.
  Payload prototype;

  bool is_leaf() const { return set != nullptr; }
};

/// The row of a type; null for a number that is none.
const Type* find_type(vk_type type);

}  // namespace vesk
