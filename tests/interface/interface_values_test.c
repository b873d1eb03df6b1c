/*
 * Calls the interface of values and path trees from C, as a program outside would.
 */

#include "check.h"

static vk_value *new_object(void) {
  vk_value *object = vk_object_new_with_policy(vk_default_allocator(), VK_POLICY_ORDERED);
  VK_ASSERT(object != NULL);
  return object;
}

static bool writes(const vk_value *value, const char *text) {
  struct buffer_stream buffer;
  buffer_init(&buffer);
  vk_value_write(&buffer.stream, value);
  return buffer.stream.error == VK_EOK && same(buffer.text, text);
}

static void test_types(void) {
  CHECK(same(vk_type_to_string(VK_TYPE_DATETIME), "dateTime"));
  CHECK(vk_type_from_string("hexBinary") == VK_TYPE_HEXBINARY);
}

static void test_nodes(void) {
  vk_value *value = vk_value_new(vk_default_allocator());
  VK_ASSERT(value != NULL);
  CHECK(vk_value_set_id(value, "name") == VK_EOK && same(value->id, "name"));
  CHECK(vk_value_set_int(value, -1) == VK_EOK && writes(value, "-1"));
  CHECK(vk_value_set_uint(value, 4294967295U) == VK_EOK && writes(value, "4294967295"));
  CHECK(vk_value_set_long(value, -2) == VK_EOK && writes(value, "-2"));
  CHECK(vk_value_set_ulong(value, 3) == VK_EOK && writes(value, "3"));
  CHECK(vk_value_set_bool(value, 2) == VK_EOK && writes(value, "true"));
  CHECK(vk_value_set_string(value, "text") == VK_EOK && writes(value, "text"));
  CHECK(vk_value_set_from_string(value, VK_TYPE_INT, "7") == VK_EOK && writes(value, "7"));
  CHECK(vk_value_set_prototype(value, VK_TYPE_BOOLEAN) == VK_EOK && writes(value, "false"));
  vk_value_clear(value);
  CHECK(vk_value_get_type(value) == VK_TYPE_ANY && writes(value, "NIL"));
  vk_value_delete(value);
}

static void test_binaries_and_datetimes(void) {
  uint8_t byte = 0x1B;
  vk_binary binary;
  vk_datetime datetime;
  vk_value *object = new_object();
  vk_value *value = vk_object_init_item(object, "value");
  VK_ASSERT(value != NULL);
  vk_binary_init(&binary, &byte, 1);
  vk_datetime_set_unknown(&datetime);
  CHECK(vk_value_set_hex(value, &binary) == VK_EOK && writes(value, "1B"));
  CHECK(vk_value_set_base64(value, &binary) == VK_EOK && writes(value, "Gw=="));
  CHECK(vk_value_set_datetime(value, &datetime) == VK_EOK);
  CHECK(writes(value, "0001-01-01T00:00:00Z"));
  CHECK(vk_object_set_hex(object, "h", &binary) == VK_EOK);
  CHECK(vk_object_set_base64(object, "b", &binary) == VK_EOK);
  CHECK(vk_object_set_datetime(object, "d", &datetime) == VK_EOK);
  CHECK(vk_object_get_size(object) == 4);
  vk_value_delete(object);
}

static void test_members(void) {
  vk_value *object = new_object();
  CHECK(vk_object_is_empty(object));
  CHECK(vk_object_set_int(object, "int", -1) == VK_EOK);
  CHECK(vk_object_set_uint(object, "uint", 1) == VK_EOK);
  CHECK(vk_object_set_long(object, "long", -1) == VK_EOK);
  CHECK(vk_object_set_ulong(object, "ulong", 1) == VK_EOK);
  CHECK(vk_object_set_bool(object, "bool", 1) == VK_EOK);
  CHECK(vk_object_set_string(object, "string", "s") == VK_EOK);
  CHECK(vk_object_init_array(object, "array") != NULL);
  CHECK(vk_object_init_object_with_policy(object, "object", VK_POLICY_INDEXED) != NULL);
  CHECK(vk_object_get_size(object) == 8 && vk_value_get_leaf_number(object, 1) == 6);
  CHECK(same(vk_object_item_first(object)->id, "int"));
  CHECK(same(vk_item_next(vk_object_item_first(object))->id, "uint"));
  vk_value *taken = vk_object_extract(object, "int");
  CHECK(taken != NULL && vk_object_find_item(object, "int") == NULL);
  CHECK(vk_object_insert(object, "int", taken) == VK_EOK);
  vk_object_delete_item(object, "int");
  vk_object_init_with_policy(vk_object_init_item(object, "array"), VK_POLICY_ORDERED);
  CHECK(vk_object_get_size(object) == 7);
  vk_value_delete(object);
}

static void test_arrays(void) {
  vk_value *array = vk_value_new(vk_default_allocator());
  VK_ASSERT(array != NULL);
  vk_array_init(array);
  vk_value *element = vk_array_add_item(array);
  CHECK(element != NULL && vk_array_get_len(array) == 1);
  CHECK(vk_array_item_first(array) == element && vk_array_get_item(array, 0) == element);
  vk_array_delete_item(array, element);
  CHECK(vk_array_get_len(array) == 0);
  vk_value_delete(array);
}

static void test_attributes(void) {
  vk_value *value = new_object();
  CHECK(vk_value_set_error(value, 9005) == VK_EOK && vk_value_get_error(value) == 9005);
  CHECK(vk_value_set_typename(value, "t") == VK_EOK && same(vk_value_get_typename(value), "t"));
  CHECK(vk_value_add_attribute(value, "own") == vk_value_find_attribute(value, "own"));
  CHECK(same(vk_value_attribute_first(value)->id, "Error"));
  vk_value_del_attribute(value, "Error");
  CHECK(vk_value_get_error(value) == 0);
  vk_value_clean_attribute(value);
  CHECK(vk_value_attribute_first(value) == NULL);
  vk_value_delete(value);
}

static int32_t count_nodes(vk_value *value, void *context) {
  (void)value;
  ++*(int *)context;
  return 0;
}

static void test_trees(void) {
  int nodes = 0;
  vk_value *a = new_object();
  vk_value *b = new_object();
  CHECK(vk_object_set_int(a, "x", 1) == VK_EOK && vk_object_set_int(b, "y", 2) == VK_EOK);
  CHECK(!vk_value_equal(a, b));
  CHECK(vk_value_update(b, a) == VK_EOK && vk_object_get_size(b) == 1);
  CHECK(vk_value_merge(b, a) == VK_EOK && vk_object_get_size(b) == 2);
  CHECK(vk_value_copy(b, a) == VK_EOK && vk_value_equal(a, b));
  CHECK(vk_value_enumerate(a, count_nodes, &nodes) == 0 && nodes == 2);
  vk_value_delete(a);
  vk_value_delete(b);
}

static void test_paths_of_values(void) {
  char name[] = "A";
  char below[] = "B";
  vk_path_node second = {NULL, 0, below};
  vk_path_node first = {&second, 0, name};
  vk_value *root = new_object();
  vk_value *child = vk_value_new(vk_default_allocator());
  CHECK(vk_value_insert_by_path(root, &first, child) == VK_EOK);
  CHECK(vk_value_find_by_path(root, "A.B") == child);
  CHECK(vk_value_find_by_path_node(root, &first) == child);
  CHECK(vk_value_extract_by_path(root, "A.B") == child);
  CHECK(vk_value_find_by_path(root, "A.B") == NULL);
  vk_value_delete(child);
  vk_value_delete(root);
}

static void count_paths(const char *path, vk_path_tree *node, void *context) {
  (void)node;
  if (*path != '\0') ++*(int *)context;
}

static void test_path_trees(void) {
  int paths = 0;
  vk_path_tree *tree = vk_path_tree_new(vk_default_allocator());
  vk_path_tree *other = vk_path_tree_new(vk_default_allocator());
  VK_ASSERT(tree != NULL && other != NULL && vk_gta_init() == VK_EOK);
  vk_path_tree *node = vk_path_tree_add_path(tree, "A.$");
  VK_ASSERT(node != NULL);
  CHECK(vk_path_set_current(node) == tree);
  const vk_path_node *list = tree->path_node.next;
  CHECK(vk_path_tree_find(tree, list) == node && vk_path_tree_find_path(tree, "A.$") == node);
  CHECK(vk_path_tree_find_template(node->parent, "7") == node);
  CHECK(vk_path_tree_add(other, list) != NULL && vk_path_tree_intersect(tree, other));
  CHECK(vk_path_tree_is_root(tree, list) && !vk_path_tree_is_root(tree, NULL));
  CHECK(vk_path_tree_add_path(other, "C") != NULL && vk_path_tree_merge(tree, other) == VK_EOK);
  CHECK(vk_path_tree_enumerate(tree, "", count_paths, &paths) == VK_EOK && paths == 3);
  vk_path_tree_free_path(tree, "A.$", 1);
  CHECK(vk_path_tree_find_path(tree, "A") == NULL && tree->first_child != NULL);
  vk_path_tree_clean(tree);
  CHECK(tree->first_child == NULL);
  vk_path_tree_free(tree);
  vk_path_tree_free(other);
  vk_gta_destroy();
}

static void test_path_trees_of_values(void) {
  vk_value *a = new_object();
  vk_value *b = new_object();
  vk_value *copy = NULL;
  vk_path_tree *differing = NULL;
  CHECK(vk_object_set_int(a, "x", 1) == VK_EOK && vk_object_set_int(b, "x", 2) == VK_EOK);
  CHECK(vk_path_tree_by_diff_value(vk_default_allocator(), &differing, a, b) == VK_EOK);
  CHECK(differing != NULL && vk_path_tree_find_path(differing, "x") != NULL);
  CHECK(vk_value_copy_by_tree(vk_default_allocator(), &copy, a, differing) == VK_EOK);
  CHECK(copy != NULL && vk_value_equal(copy, a));
  vk_path_tree_free(differing);
  vk_value_delete(copy);
  vk_value_delete(a);
  vk_value_delete(b);
}

int main(void) {
  test_types();
  test_nodes();
  test_binaries_and_datetimes();
  test_members();
  test_arrays();
  test_attributes();
  test_trees();
  test_paths_of_values();
  test_path_trees();
  test_path_trees_of_values();
  return report();
}
