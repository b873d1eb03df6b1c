#pragma once

// The bytes of messages in the words of the tests: composed field by field from descriptions of
// trees, without the library.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "tests/support/trees.h"

namespace vesk::test {

/// A number as this machine keeps it.
template <typename Number>
std::string raw(Number number) {
  std::string bytes(sizeof number, '\0');
  std::memcpy(bytes.data(), &number, sizeof number);
  return bytes;
}

inline std::string u32(uint32_t number) { return raw(number); }

/// What one transfer moves.
struct Field {
  std::string bytes;
  /// The field with which writing goes on after this one failed: the end of the object around it.
  std::optional<std::size_t> resumed_at = {};
  /// Whether these are the bytes of a binary, whose buffer stays in the heap when they do not come.
  bool of_binary = false;
};

/// The fields of a message, which is composed from its first field to its last.
class Fields {
 public:
  Fields() = default;
  Fields(std::initializer_list<std::string> fields) {
    for (const std::string& bytes : fields) add(bytes);
  }

  Fields& add(const std::string& bytes) {
    fields_.push_back({bytes});
    return *this;
  }

  Fields& number(uint32_t number) { return add(u32(number)); }

  Fields& text(const std::string& characters) {
    number(static_cast<uint32_t>(characters.size()));
    return characters.empty() ? *this : add(characters);
  }

  Fields& value(const Tree& tree) {
    number(tree.type);
    if (tree.type == VK_TYPE_OBJECT) return members(tree.items);
    if (tree.type == VK_TYPE_ARRAY) return elements(tree.items);
    if (tree.type == VK_TYPE_STRING) return text(std::get<std::string>(tree.payload));
    std::visit([this](const auto& payload) { leaf(payload); }, tree.payload);
    return *this;
  }

  std::size_t count() const { return fields_.size(); }

  /// The field that holds the byte at a place.
  const Field& at(std::size_t place) const {
    std::size_t which = 0;
    for (; place >= fields_[which].bytes.size(); ++which) place -= fields_[which].bytes.size();
    return fields_[which];
  }
  const Field& operator[](std::size_t which) const { return fields_[which]; }

  /// The bytes of the fields from one on; of all, if none is given.
  std::string bytes(std::size_t from = 0) const { return bytes(from, count()); }

  /// The bytes of some fields, without the one at `to`.
  std::string bytes(std::size_t from, std::size_t to) const {
    std::string all;
    for (; from < to; ++from) all += fields_[from].bytes;
    return all;
  }

  /// The sizes of the transfers.
  std::vector<std::size_t> sizes() const {
    std::vector<std::size_t> all;
    for (const Field& field : fields_) all.push_back(field.bytes.size());
    return all;
  }

 private:
  Fields& members(const std::vector<Tree>& members) {
    const std::size_t begin = count();
    for (const Tree& member : members) text(member.name).value(member);
    const std::size_t end = count();
    for (std::size_t i = begin; i < end; ++i) {
      if (!fields_[i].resumed_at) fields_[i].resumed_at = end;
    }
    return number(0);
  }

  Fields& elements(const std::vector<Tree>& elements) {
    number(static_cast<uint32_t>(elements.size()));
    for (const Tree& element : elements) value(element);
    return *this;
  }

  void leaf(std::monostate) {}
  void leaf(const std::string& binary) {
    number(static_cast<uint32_t>(binary.size()));
    add(binary);
    fields_.back().of_binary = true;
  }
  void leaf(const Moment& moment) { number(moment.kind).add(raw(moment.time)).number(moment.usec); }
  template <typename Number>
  void leaf(Number number) {
    add(raw(number));
  }

  std::vector<Field> fields_;
};

/// A tree, and the fields that its value has on the wire.
struct WireSample {
  Tree tree;
  Fields fields;
};

/// Every type with the ends of its range, and containers with and without content.
inline std::vector<WireSample> wire_samples() {
  using namespace std::string_literals;
  const std::string zero = u32(0);
  return {
      {any(), {zero}},
      {object({}), {u32(1), zero}},
      {object({{"b", any()}, {"an", integer(1)}}),
       {u32(1), u32(1), "b", zero, u32(2), "an", u32(7), raw(int32_t{1}), zero}},
      {object({{"o", object({{"i", object({})}})}, {"z", any()}}),
       {u32(1), u32(1), "o", u32(1), u32(1), "i", u32(1), zero, zero, u32(1), "z", zero, zero}},
      {indexed({{"2", any()}, {"10", any()}}),
       {u32(1), u32(1), "2", zero, u32(2), "10", zero, zero}},
      {array({}), {u32(2), zero}},
      {array({boolean(1), any(), array({any()}), object({})}),
       {u32(2), u32(4), u32(4), "\1", zero, u32(2), u32(1), zero, u32(1), zero}},
      {base64("a\0\xFF"s), {u32(3), u32(3), "a\0\xFF"s}},
      {base64(""), {u32(3), zero, ""}},
      {boolean(0), {u32(4), "\0"s}},
      {boolean(1), {u32(4), "\1"}},
      {boolean(2), {u32(4), "\2"}},
      {boolean(255), {u32(4), "\xFF"}},
      {date({-5, 7, 999'999}), {u32(5), u32(7), raw(int32_t{-5}), u32(999'999)}},
      {date({INT32_MIN, UINT32_MAX, UINT32_MAX}),
       {u32(5), u32(UINT32_MAX), raw(INT32_MIN), u32(UINT32_MAX)}},
      {date({0, VK_DATETIME_UNKNOWN, 0}), {u32(5), u32(2), zero, zero}},
      {hex("\n\0"s), {u32(6), u32(2), "\n\0"s}},
      {hex(""), {u32(6), zero, ""}},
      {integer(INT32_MIN), {u32(7), raw(INT32_MIN)}},
      {integer(INT32_MAX), {u32(7), raw(INT32_MAX)}},
      {long_integer(INT64_MIN), {u32(8), raw(INT64_MIN)}},
      {long_integer(INT64_MAX), {u32(8), raw(INT64_MAX)}},
      {text("some text"), {u32(9), u32(9), "some text"}},
      {text(""), {u32(9), zero}},
      {unsigned_integer(UINT32_MAX), {u32(10), u32(UINT32_MAX)}},
      {unsigned_long(UINT64_MAX), {u32(11), raw(UINT64_MAX)}},
      {of_no_type(12), {u32(12)}},
      {of_no_type(UINT32_MAX), {u32(UINT32_MAX)}},
      {array({of_no_type(13), integer(1)}), {u32(2), u32(2), u32(13), u32(7), u32(1)}},
      {object({{"n", of_no_type(12)}, {"z", any()}}),
       {u32(1), u32(1), "n", u32(12), u32(1), "z", zero, zero}},
  };
}

/// One tree with all of that which can fail on its way: objects and arrays in each other, each type
/// of leaf, and what has no bytes.
inline Tree wire_mixture() {
  Tree tree = object({{"Empty", object({})},
                      {"Nothing", array({})},
                      {"Deep", array({text("t"), object({{"x", integer(1)}, {"h", hex("12")}}),
                                      array({object({{"y", object({{"z", text("zz")}})}})})})},
                      {"NoText", text("")},
                      {"NoBytes", base64("")},
                      {"None", of_no_type()}});
  for (Tree each : one_of_each_type()) {
    each.name = vk_type_to_string(each.type);
    tree.items.push_back(std::move(each));
  }
  return tree;
}

/// What a reader makes of a tree: attributes and policies do not cross, nor does a type that is
/// none.
inline Tree as_read(Tree tree) {
  tree.attributes.clear();
  if (tree.type > VK_TYPE_UNSIGNEDLONG) tree.type = VK_TYPE_ANY;
  if (tree.type == VK_TYPE_OBJECT) tree.policy = VK_POLICY_ORDERED;
  for (Tree& item : tree.items) item = as_read(std::move(item));
  return tree;
}

}  // namespace vesk::test
