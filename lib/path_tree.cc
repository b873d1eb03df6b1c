#include "lib/path_tree.h"

#include <cstring>

#include "lib/path.h"
#include "vesk/mm/gta.h"

namespace vesk {
namespace {

constexpr const char kTemplate[] = "$";

vk_path_tree* find_child(const vk_path_tree& node, const char* name) {
  for (vk_path_tree& child : children(node)) {
    if (std::strcmp(child.path_node.name, name) == 0) return &child;
  }
  return nullptr;
}

vk_path_tree* new_node(vk_allocator* allocator, const char* name) {
  Owned<vk_path_tree, vk_free> node(
      static_cast<vk_path_tree*>(vk_alloc(allocator, sizeof(vk_path_tree))));
  if (node == nullptr) return nullptr;
  node->allocator = allocator;
  if (rename(*node, name) != VK_EOK) return nullptr;
  node->name_magic = VK_MAGIC_PATH_NAME;
  node->node_magic = VK_MAGIC_PATH_TREE;
  return node.release();
}

// Steps down as far as the path has nodes and leaves the path at the first component that has none.
template <typename Path>
vk_path_tree* descend(const vk_path_tree* tree, Path& path) {
  while (!path.at_end()) {
    const vk_path_tree* const child = find_child(*tree, path.name());
    if (child == nullptr) break;
    tree = child;
    path.next();
  }
  return const_cast<vk_path_tree*>(tree);
}

// The chain of nodes for what is missing is built aside and attached last.
template <typename Path>
vk_path_tree* add(vk_path_tree* tree, Path path) {
  vk_path_tree* const reached = descend(tree, path);
  if (path.at_end()) return reached;
  OwnedPathTree chain(new_node(reached->allocator, path.name()));
  if (chain == nullptr) return nullptr;
  vk_path_tree* last = chain.get();
  for (path.next(); !path.at_end(); path.next()) {
    vk_path_tree* const node = new_node(reached->allocator, path.name());
    if (node == nullptr) return nullptr;
    attach(*last, *node);
    last = node;
  }
  attach(*reached, *chain.release());
  return last;
}

// Apart, so that its walker is not in every frame of a recursion.
[[gnu::noinline]] vk_path_tree* add_child(vk_path_tree& parent, const char* name) {
  return add(&parent, PathText(name));
}

template <typename Path>
vk_path_tree* find(const vk_path_tree* tree, Path path) {
  vk_path_tree* const reached = descend(tree, path);
  return path.at_end() ? reached : nullptr;
}

void detach(vk_path_tree& node) {
  vk_path_node*& threaded = node.parent->path_node.next;
  if (threaded == &node.path_node) threaded = nullptr;
  *node.prev_link = node.next;
  if (node.next != nullptr) node.next->prev_link = node.prev_link;
}

// Of a node without children.
void free_leaf(vk_path_tree* node) {
  node->name_magic = VK_MAGIC_DEAD;
  vk_free(node->path_node.name);
  if (node->parent != nullptr) detach(*node);
  node->node_magic = VK_MAGIC_DEAD;
  vk_free(node);
}

vk_path_tree* first_leaf(vk_path_tree* node) {
  while (node->first_child != nullptr) node = node->first_child;
  return node;
}

bool is_only_child(const vk_path_tree& node) {
  return node.parent->first_child == &node && node.next == nullptr;
}

}  // namespace

void attach(vk_path_tree& parent, vk_path_tree& child) {
  child.parent = &parent;
  child.next = parent.first_child;
  child.prev_link = &parent.first_child;
  if (child.next != nullptr) child.next->prev_link = &child.next;
  parent.first_child = &child;
}

vk_error rename(vk_path_tree& node, const char* name) {
  char* const copy = vk_strdup(node.allocator, name);
  if (copy == nullptr && name != nullptr) return VK_ENOMEM;
  vk_free(node.path_node.name);
  node.path_node.name = copy;
  node.path_node.index = vk_path_str_to_index(copy);
  return VK_EOK;
}

}  // namespace vesk

vk_path_tree* vk_path_tree_new(vk_allocator* allocator) {
  return vesk::new_node(allocator, nullptr);
}

vk_path_tree* vk_path_tree_add(vk_path_tree* tree, const vk_path_node* first) {
  return vesk::add(tree, vesk::PathList(first));
}

vk_path_tree* vk_path_tree_add_path(vk_path_tree* tree, const char* text) {
  return vesk::add(tree, vesk::PathText(text));
}

vk_path_tree* vk_path_tree_find(const vk_path_tree* tree, const vk_path_node* first) {
  return vesk::find(tree, vesk::PathList(first));
}

vk_path_tree* vk_path_tree_find_path(const vk_path_tree* tree, const char* text) {
  return vesk::find(tree, vesk::PathText(text));
}

vk_path_tree* vk_path_tree_find_template(const vk_path_tree* node, const char* component) {
  vk_path_tree* const child = vesk::find_child(*node, component);
  if (child != nullptr || vk_path_str_to_index(component) == 0) return child;
  return vesk::find_child(*node, vesk::kTemplate);
}

vk_error vk_path_tree_enumerate(vk_path_tree* tree, const char* prefix,
                                vk_path_tree_visit_fn callback, void* context) {
  for (vk_path_tree& child : vesk::children(*tree)) {
    const vesk::Owned<char, vk_free> path(vk_path_concat(vk_gta(), prefix, child.path_node.name));
    if (path == nullptr) return VK_ENOMEM;
    callback(path.get(), &child, context);
    const vk_error error = vk_path_tree_enumerate(&child, path.get(), callback, context);
    if (error != VK_EOK) return error;
  }
  return VK_EOK;
}

void vk_path_tree_free(vk_path_tree* node) {
  if (node == nullptr) return;
  for (vk_path_tree* leaf = vesk::first_leaf(node); leaf != node;) {
    vk_path_tree* const parent = leaf->parent;
    vesk::free_leaf(leaf);
    leaf = vesk::first_leaf(parent);
  }
  vesk::free_leaf(node);
}

void vk_path_tree_clean(vk_path_tree* tree) {
  while (tree->first_child != nullptr) vk_path_tree_free(tree->first_child);
}

void vk_path_tree_free_path(vk_path_tree* tree, const char* text, uint32_t prune) {
  vk_path_tree* node = vk_path_tree_find_path(tree, text);
  if (node == nullptr) return;
  if ((prune & 0xFF) != 0) {
    while (node != tree && vesk::is_only_child(*node)) node = node->parent;
  }
  if (node == tree) {
    vk_path_tree_clean(tree);
  } else {
    vk_path_tree_free(node);
  }
}

bool vk_path_tree_is_root(const vk_path_tree* tree, const vk_path_node* first) {
  vesk::PathList path(first);
  return vesk::descend(tree, path)->first_child == nullptr;
}

bool vk_path_tree_intersect(const vk_path_tree* a, const vk_path_tree* b) {
  for (const vk_path_tree& x : vesk::children(*a)) {
    const vk_path_tree* const y = vesk::find_child(*b, x.path_node.name);
    if (y == nullptr) continue;
    if (x.first_child == nullptr && y->first_child == nullptr) return true;
    if (vk_path_tree_intersect(&x, y)) return true;
  }
  return false;
}

vk_error vk_path_tree_merge(vk_path_tree* destination, const vk_path_tree* source) {
  for (const vk_path_tree& y : vesk::children(*source)) {
    vk_path_tree* x = vesk::find_child(*destination, y.path_node.name);
    if (x == nullptr) x = vesk::add_child(*destination, y.path_node.name);
    if (x == nullptr) return VK_ENOMEM;
    const vk_error error = vk_path_tree_merge(x, &y);
    if (error != VK_EOK) return error;
  }
  return VK_EOK;
}

vk_path_tree* vk_path_set_current(vk_path_tree* node) {
  node->path_node.next = nullptr;
  for (; node->parent != nullptr; node = node->parent) {
    node->parent->path_node.next = &node->path_node;
  }
  return node;
}
