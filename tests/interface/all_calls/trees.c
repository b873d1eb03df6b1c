/*
 * Whole trees, below <vesk/value/>: compare.h, merge.h, copy.h, enumerate.h, by_path.h,
 * copy_by_tree.h; and <vesk/path_tree_diff.h>
 */

#include "all_calls.h"

static int32_t count_nodes(vk_value *value, void *context) {
  ++*(int *)context;
  return vk_value_get_type(value) == VK_TYPE_BOOLEAN ? 5 : 0;
}

static void call_compare_and_copy(void) {
  vk_value *a = new_object();
  vk_value *b = new_object();
  CHECK(vk_object_set_int(a, "x", 1) == VK_EOK && vk_object_set_int(b, "y", 2) == VK_EOK);
  CHECK(!vk_value_equal(a, b));
  CHECK(vk_value_update(b, a) == VK_EOK && vk_object_get_size(b) == 1);
  CHECK(vk_value_merge(b, a) == VK_EOK && vk_object_get_size(b) == 2);
  CHECK(writes(vk_object_find_item(b, "x"), "1"));
  CHECK(vk_value_copy(b, a) == VK_EOK && vk_value_equal(a, b));
  vk_value_delete(a);
  vk_value_delete(b);
}

static void call_enumerate(void) {
  int nodes = 0;
  vk_value *object = new_object();
  CHECK(vk_object_set_int(object, "x", 1) == VK_EOK);
  CHECK(vk_value_enumerate(object, count_nodes, &nodes) == 0 && nodes == 2);
  CHECK(vk_object_set_bool(object, "y", 1) == VK_EOK);
  CHECK(vk_object_set_int(object, "z", 1) == VK_EOK);
  CHECK(vk_value_enumerate(object, count_nodes, &nodes) == 5 && nodes == 5);
  vk_value_delete(object);
}

static void call_by_path(void) {
  char name[] = "A";
  char below[] = "B";
  vk_path_node second = {NULL, 0, below};
  vk_path_node first = {&second, 0, name};
  vk_value *root = new_object();
  vk_value *child = vk_value_new(vk_default_allocator());
  VK_ASSERT(child != NULL);
  CHECK(vk_value_insert_by_path(root, &first, child) == VK_EOK);
  CHECK(vk_value_find_by_path(root, "A.B") == child);
  CHECK(vk_value_find_by_path_node(root, &first) == child);
  CHECK(vk_value_extract_by_path(root, "A.B") == child);
  CHECK(vk_value_find_by_path(root, "A.B") == NULL && vk_value_find_by_path(root, "A") != NULL);
  vk_value_delete(child);
  vk_value_delete(root);
}

static void call_by_path_tree(void) {
  vk_value *a = new_object();
  vk_value *b = new_object();
  vk_value *copy = NULL;
  vk_path_tree *differing = NULL;
  CHECK(vk_object_set_int(a, "x", 1) == VK_EOK && vk_object_set_int(b, "x", 2) == VK_EOK);
  CHECK(vk_object_set_int(a, "y", 3) == VK_EOK && vk_object_set_int(b, "y", 3) == VK_EOK);
  CHECK(vk_path_tree_by_diff_value(vk_default_allocator(), &differing, a, b) == VK_EOK);
  VK_ASSERT(differing != NULL);
  CHECK(vk_path_tree_find_path(differing, "x") != NULL);
  CHECK(vk_path_tree_find_path(differing, "y") == NULL);
  CHECK(vk_value_copy_by_tree(vk_default_allocator(), &copy, a, differing) == VK_EOK);
  VK_ASSERT(copy != NULL);
  CHECK(vk_object_get_size(copy) == 1 && writes(vk_object_find_item(copy, "x"), "1"));
  vk_path_tree_free(differing);
  vk_value_delete(copy);
  vk_value_delete(a);
  vk_value_delete(b);
}

void call_trees(void) {
  call_compare_and_copy();
  call_enumerate();
  call_by_path();
  call_by_path_tree();
}
