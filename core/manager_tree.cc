#include "core/manager_tree.h"

#include <new>
#include <utility>

#include "core/charged_heap.h"
#include "vesk/value/array.h"
#include "vesk/value/copy.h"
#include "vesk/value/object.h"

namespace vesk::core::dm {
namespace {

void make_object(vk_value& value) {
  if (value.type == VK_TYPE_OBJECT) return;
  vk_value_clear(&value);
  vk_object_init_with_policy(&value, VK_POLICY_ORDERED);
}

void move_member(vk_value& into, OwnedValue from) {
  vk_value* const existing = vk_object_find_item(&into, from->id);
  if (existing != nullptr) {
    merge(*existing, std::move(from));
    return;
  }
  const std::string name = from->id;
  check(vk_object_insert(&into, name.c_str(), from.get()));
  static_cast<void>(from.release());
}

}  // namespace

Heap::Heap() : heap_(new_charged_heap("manager")) {
  if (heap_ == nullptr) throw std::bad_alloc();
}

OwnedValue Heap::node() const {
  OwnedValue value(vk_value_new(heap_.get()));
  made(value.get());
  return value;
}

OwnedValue Heap::object() const {
  OwnedValue value = node();
  vk_object_init_with_policy(value.get(), VK_POLICY_ORDERED);
  return value;
}

OwnedValue Heap::read(std::span<const std::byte> bytes) const { return decode(bytes, heap_.get()); }

OwnedValue Heap::read(const std::shared_ptr<const Bytes>& bytes) const {
  return decode(bytes.get(), heap_.get());
}

std::shared_ptr<const Bytes> shared(const vk_value& value) {
  return std::make_shared<const Bytes>(encode(value));
}

bool is_within(const rt::Limits& limits, std::span<const std::byte> tree) {
  Bytes message(sizeof(uint32_t));  // the status
  message.insert(message.end(), tree.begin(), tree.end());
  rt::Scanner scanner(rt::Message::kResponse, limits);
  return scanner.scan(message) == rt::Scanner::State::kComplete && scanner.size() == message.size();
}

bool is_leaf(const vk_value& value) {
  return value.type > VK_TYPE_ARRAY && value.type <= VK_TYPE_UNSIGNEDLONG;
}

uint32_t count_nodes(const vk_value& value) {
  uint32_t count = 1;
  if (!is_container(value)) return count;
  for (const vk_value& item : each_item(value)) count += count_nodes(item);
  return count;
}

bool flag(const vk_value& value, const char* name) {
  const vk_value* const found = member(value, name, VK_TYPE_BOOLEAN);
  return found != nullptr && found->payload.flag != 0;
}

vk_value& made(vk_value* value) {
  if (value == nullptr) throw std::bad_alloc();
  return *value;
}

void check(vk_error error) {
  if (error == VK_ENOMEM) throw std::bad_alloc();
  if (error != VK_EOK) throw std::runtime_error(vk_strerror(error));
}

vk_value& add_object(vk_value& object, const char* name) {
  return made(vk_object_init_object_with_policy(&object, name, VK_POLICY_ORDERED));
}

vk_value& add_array(vk_value& object, const char* name) {
  return made(vk_object_init_array(&object, name));
}

vk_value& add_object_to(vk_value& array) {
  vk_value& element = made(vk_array_add_item(&array));
  vk_object_init_with_policy(&element, VK_POLICY_ORDERED);
  return element;
}

void add_text_to(vk_value& array, const std::string& text) {
  check(vk_value_set_string(&made(vk_array_add_item(&array)), text.c_str()));
}

void set_text(vk_value& object, const char* name, const std::string& text) {
  check(vk_object_set_string(&object, name, text.c_str()));
}

void copy(vk_value& into, const vk_value& from) { check(vk_value_copy(&into, &from)); }

void set_copy(vk_value& object, const char* name, const vk_value& value) {
  copy(made(vk_object_init_item(&object, name)), value);
}

vk_value& place(vk_value& root, const Path& path) {
  vk_value* node = &root;
  for (const std::string& name : path) {
    make_object(*node);
    vk_value* const below = vk_object_find_item(node, name.c_str());
    node = below != nullptr ? below : &made(vk_object_init_item(node, name.c_str()));
  }
  return *node;
}

void merge(vk_value& into, OwnedValue from) {
  if (from->type == VK_TYPE_ANY) return;
  if (from->type != VK_TYPE_OBJECT) {
    copy(into, *from);
    return;
  }
  make_object(into);
  while (vk_value* const first = vk_object_item_first(from.get())) {
    OwnedValue moved(vk_object_extract(from.get(), first->id));
    move_member(into, std::move(moved));
  }
}

}  // namespace vesk::core::dm
