/*
 * Single values, below <vesk/value/>: type.h, node.h, leaf.h, text.h, prototype.h, writer.h,
 * object.h, member.h, array.h, attribute.h
 */

#include "all_calls.h"

static void call_type(void) {
  CHECK(same(vk_type_to_string(VK_TYPE_DATETIME), "dateTime"));
  CHECK(same(vk_type_to_string(12), "(unknown type)"));
  CHECK(vk_type_from_string("hexBinary") == VK_TYPE_HEXBINARY);
}

static void call_node(void) {
  vk_value *value = vk_value_new(vk_default_allocator());
  VK_ASSERT(value != NULL);
  CHECK(value->magic == VK_MAGIC_VALUE && vk_value_get_type(value) == VK_TYPE_ANY);
  CHECK(vk_value_set_id(value, "name") == VK_EOK && same(value->id, "name"));
  CHECK(vk_value_set_int(value, 1) == VK_EOK && vk_value_get_type(value) == VK_TYPE_INT);
  vk_value_clear(value);
  CHECK(vk_value_get_type(value) == VK_TYPE_ANY && same(value->id, "name"));
  vk_value_delete(value);
}

static void call_leaf(vk_value *value) {
  CHECK(vk_value_set_int(value, -1) == VK_EOK && writes(value, "-1"));
  CHECK(vk_value_set_uint(value, 4294967295U) == VK_EOK && writes(value, "4294967295"));
  CHECK(vk_value_set_long(value, -4294967296) == VK_EOK && writes(value, "-4294967296"));
  CHECK(vk_value_set_ulong(value, 4294967296) == VK_EOK && writes(value, "4294967296"));
  CHECK(vk_value_set_bool(value, 2) == VK_EOK && writes(value, "true"));
  CHECK(vk_value_set_string(value, "text") == VK_EOK && writes(value, "text"));
}

static void call_leaf_records(vk_value *value) {
  uint8_t byte = 0x1B;
  vk_binary binary;
  vk_datetime datetime;
  vk_binary_init(&binary, &byte, 1);
  vk_datetime_set_unknown(&datetime);
  CHECK(vk_value_set_hex(value, &binary) == VK_EOK && writes(value, "1B"));
  CHECK(vk_value_set_base64(value, &binary) == VK_EOK && writes(value, "Gw=="));
  CHECK(vk_value_set_datetime(value, &datetime) == VK_EOK);
  CHECK(writes(value, "0001-01-01T00:00:00Z"));
}

static void call_text(vk_value *value) {
  CHECK(vk_value_set_from_string(value, VK_TYPE_INT, "7") == VK_EOK && writes(value, "7"));
  CHECK(vk_value_set_from_string(value, VK_TYPE_INT, "7x") == VK_EINVAL && writes(value, "7"));
  CHECK(vk_value_set_prototype(value, VK_TYPE_BOOLEAN) == VK_EOK && writes(value, "false"));
  CHECK(vk_value_set_prototype(value, 12) == VK_EINVAL);
}

static void call_writer(vk_value *value) {
  struct buffer_stream buffer;
  buffer_init(&buffer);
  vk_value_clear(value);
  vk_value_write(&buffer.stream, value);
  CHECK(buffer.stream.error == VK_EOK && same(buffer.text, "NIL"));
}

static void call_leaves_of_values(void) {
  vk_value *value = vk_value_new(vk_default_allocator());
  VK_ASSERT(value != NULL);
  call_leaf(value);
  call_leaf_records(value);
  call_text(value);
  call_writer(value);
  vk_value_delete(value);
}

static void call_member(void) {
  vk_value *object = new_object();
  CHECK(vk_object_set_int(object, "int", -1) == VK_EOK);
  CHECK(vk_object_set_uint(object, "uint", 1) == VK_EOK);
  CHECK(vk_object_set_long(object, "long", -2) == VK_EOK);
  CHECK(vk_object_set_ulong(object, "ulong", 2) == VK_EOK);
  CHECK(vk_object_set_bool(object, "bool", 1) == VK_EOK);
  CHECK(vk_object_set_string(object, "string", "s") == VK_EOK);
  CHECK(writes(vk_object_find_item(object, "int"), "-1"));
  CHECK(writes(vk_object_find_item(object, "uint"), "1"));
  CHECK(writes(vk_object_find_item(object, "long"), "-2"));
  CHECK(writes(vk_object_find_item(object, "ulong"), "2"));
  CHECK(writes(vk_object_find_item(object, "bool"), "true"));
  CHECK(writes(vk_object_find_item(object, "string"), "s"));
  CHECK(vk_object_init_item(object, "any") != NULL);
  CHECK(vk_value_get_leaf_number(object, 0) == 6 && vk_value_get_leaf_number(object, 1) == 7);
  vk_value_delete(object);
}

static void call_member_records(void) {
  uint8_t byte = 0x1B;
  vk_binary binary;
  vk_datetime datetime;
  vk_value *object = new_object();
  vk_binary_init(&binary, &byte, 1);
  vk_datetime_set_unknown(&datetime);
  CHECK(vk_object_set_hex(object, "h", &binary) == VK_EOK);
  CHECK(vk_object_set_base64(object, "b", &binary) == VK_EOK);
  CHECK(vk_object_set_datetime(object, "d", &datetime) == VK_EOK);
  CHECK(writes(vk_object_find_item(object, "h"), "1B"));
  CHECK(writes(vk_object_find_item(object, "b"), "Gw=="));
  CHECK(writes(vk_object_find_item(object, "d"), "0001-01-01T00:00:00Z"));
  vk_value_delete(object);
}

static void call_object(void) {
  vk_value *object = vk_object_new_with_policy(vk_default_allocator(), VK_POLICY_ORDERED);
  VK_ASSERT(object != NULL);
  CHECK(vk_object_is_empty(object) && vk_object_item_first(object) == NULL);
  vk_value *item = vk_object_init_item(object, "item");
  CHECK(item != NULL && vk_object_find_item(object, "item") == item);
  vk_value *array = vk_object_init_array(object, "array");
  CHECK(array != NULL && vk_value_get_type(array) == VK_TYPE_ARRAY);
  vk_value *table = vk_object_init_object_with_policy(object, "table", VK_POLICY_INDEXED);
  CHECK(table != NULL && table->policy == VK_POLICY_INDEXED);
  CHECK(vk_object_get_size(object) == 3 && !vk_object_is_empty(object));
  CHECK(vk_object_item_first(object) == item && vk_item_next(item) == array);
  CHECK(vk_item_next(table) == NULL);
  vk_object_init_with_policy(item, VK_POLICY_ORDERED);
  CHECK(vk_value_get_type(item) == VK_TYPE_OBJECT && vk_object_is_empty(item));
  vk_value_delete(object);
}

static void call_object_lists(void) {
  vk_value *object = new_object();
  CHECK(vk_object_set_int(object, "a", 1) == VK_EOK && vk_object_set_int(object, "b", 2) == VK_EOK);
  vk_value *taken = vk_object_extract(object, "a");
  CHECK(taken != NULL && vk_object_find_item(object, "a") == NULL);
  CHECK(vk_object_insert(object, "b", taken) == VK_EEXIST);
  CHECK(vk_object_insert(object, "a", taken) == VK_EOK && vk_object_get_size(object) == 2);
  vk_object_delete_item(object, "b");
  CHECK(vk_object_find_item(object, "b") == NULL && vk_object_get_size(object) == 1);
  vk_value_delete(object);
}

static void call_array(void) {
  vk_value *array = vk_value_new(vk_default_allocator());
  VK_ASSERT(array != NULL);
  vk_array_init(array);
  CHECK(vk_value_get_type(array) == VK_TYPE_ARRAY && vk_array_item_first(array) == NULL);
  vk_value *first = vk_array_add_item(array);
  vk_value *second = vk_array_add_item(array);
  CHECK(first != NULL && second != NULL && vk_array_get_len(array) == 2);
  CHECK(vk_array_item_first(array) == first && vk_item_next(first) == second);
  CHECK(vk_array_get_item(array, 1) == second && vk_array_get_item(array, 2) == NULL);
  vk_array_delete_item(array, first);
  CHECK(vk_array_get_len(array) == 1 && vk_array_get_item(array, 0) == second);
  vk_value_delete(array);
}

static void call_attribute(void) {
  vk_value *value = new_object();
  CHECK(vk_value_set_error(value, 9005) == VK_EOK && vk_value_get_error(value) == 9005);
  CHECK(vk_value_set_typename(value, "t") == VK_EOK && same(vk_value_get_typename(value), "t"));
  vk_value *own = vk_value_add_attribute(value, "own");
  CHECK(own != NULL && vk_value_find_attribute(value, "own") == own);
  CHECK(same(vk_value_attribute_first(value)->id, "Error"));
  vk_value_del_attribute(value, "Error");
  CHECK(vk_value_find_attribute(value, "Error") == NULL && vk_value_get_error(value) == 0);
  vk_value_clean_attribute(value);
  CHECK(vk_value_attribute_first(value) == NULL);
  vk_value_delete(value);
}

void call_values(void) {
  call_type();
  call_node();
  call_leaves_of_values();
  call_member();
  call_member_records();
  call_object();
  call_object_lists();
  call_array();
  call_attribute();
}
