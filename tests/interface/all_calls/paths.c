/*
 * <vesk/path.h>, <vesk/path_tree.h>
 */

#include <string.h>

#include "all_calls.h"

static void call_path_text(void) {
  CHECK(vk_path_is_partial("A.") && !vk_path_is_partial("A"));
  CHECK(vk_path_str_to_index("12") == 12 && vk_path_str_to_index("1a") == 0);
  char *joined = vk_path_concat(vk_default_allocator(), "A", "B");
  CHECK(same(joined, "A.B"));
  vk_free(joined);
}

static void call_path_roam(void) {
  vk_path_roam roam;
  CHECK(vk_path_roam_init(&roam, "A.2") == 0 && !vk_path_roam_end(&roam));
  CHECK(same(vk_path_roam_current_node(&roam), "A"));
  CHECK(same(vk_path_roam_path_tail(&roam), "2"));
  CHECK(same(vk_path_roam_next(&roam), "2") && roam.index == 2);
  CHECK(same(vk_path_roam_next(&roam), "") && vk_path_roam_end(&roam));
}

static void call_path_node(void) {
  struct buffer_stream buffer;
  char device[] = "Device";
  char two[] = "2";
  char text[16];
  vk_path_node second = {NULL, 2, two};
  vk_path_node first = {&second, 0, device};
  buffer_init(&buffer);
  vk_path_node_print(&buffer.stream, &first);
  CHECK(same(buffer.text, "Device.{2}"));
  CHECK(vk_path_node_is_instance(&second) && !vk_path_node_is_instance(&first));
  CHECK(vk_path_node2str(&first, text, sizeof text, '/') == VK_EOK && same(text, "Device/2"));
  CHECK(vk_path_node2str(&first, text, 4, '/') == VK_ENAMETOOLONG);
  CHECK(vk_path_node_seek_prefix(&first, "Device.") == &second);
  CHECK(vk_path_node_seek_prefix(&first, "Other") == NULL);
}

static void join_paths(const char *path, vk_path_tree *node, void *context) {
  char *joined = context;
  const char *dot = strrchr(path, '.');
  CHECK(same(node->path_node.name, dot == NULL ? path : dot + 1));
  strcat(strcat(joined, path), " ");
}

/* The trees {A.$} and {A.$, C}. */
static void call_path_tree(vk_path_tree *tree, vk_path_tree *other) {
  vk_path_tree *node = vk_path_tree_add_path(tree, "A.$");
  VK_ASSERT(node != NULL);
  CHECK(vk_path_set_current(node) == tree && same(tree->path_node.next->name, "A"));
  const vk_path_node *list = tree->path_node.next;
  CHECK(vk_path_tree_find(tree, list) == node && vk_path_tree_find_path(tree, "A.$") == node);
  CHECK(vk_path_tree_find_path(tree, "A.B") == NULL);
  CHECK(vk_path_tree_find_template(node->parent, "7") == node);
  CHECK(vk_path_tree_is_root(tree, list) && !vk_path_tree_is_root(tree, NULL));
  CHECK(!vk_path_tree_intersect(tree, other));
  CHECK(vk_path_tree_add(other, list) == vk_path_tree_find_path(other, "A.$"));
  CHECK(vk_path_tree_intersect(tree, other));
  CHECK(vk_path_tree_add_path(other, "C") != NULL);
}

static void call_path_tree_sets(vk_path_tree *tree, const vk_path_tree *other) {
  char joined[64] = "";
  CHECK(vk_path_tree_merge(tree, other) == VK_EOK);
  CHECK(vk_path_tree_enumerate(tree, "", join_paths, joined) == VK_EOK);
  CHECK(same(joined, "C A A.$ "));
  vk_path_tree_free_path(tree, "A.$", 1);
  CHECK(vk_path_tree_find_path(tree, "A") == NULL && tree->first_child != NULL);
  vk_path_tree_clean(tree);
  CHECK(tree->first_child == NULL);
}

static void call_path_trees(void) {
  VK_ASSERT(vk_gta_init() == VK_EOK);
  vk_path_tree *tree = vk_path_tree_new(vk_default_allocator());
  vk_path_tree *other = vk_path_tree_new(vk_default_allocator());
  VK_ASSERT(tree != NULL && other != NULL);
  CHECK(tree->node_magic == VK_MAGIC_PATH_TREE && tree->parent == NULL);
  call_path_tree(tree, other);
  call_path_tree_sets(tree, other);
  vk_path_tree_free(vk_path_tree_find_path(other, "C"));
  CHECK(vk_path_tree_find_path(other, "C") == NULL);
  vk_path_tree_free(tree);
  vk_path_tree_free(other);
  vk_gta_destroy();
}

void call_paths(void) {
  call_path_text();
  call_path_roam();
  call_path_node();
  call_path_trees();
}
