// Measures the deepest tree that each recursive operation survives on a stack of 8 MiB, or, given a
// number of levels, tells which operations do not survive it. Each try runs in a process of its
// own, so that one which runs out of stack ends only that.

#include <pthread.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include "vesk/vesk.h"

namespace {

constexpr std::size_t kStack = std::size_t{8} << 20;
constexpr std::size_t kDeepest = 4'000'000;

// An object below an object, with a leaf at the bottom.
vk_value* deep_value(std::size_t depth) {
  vk_value* const root = vk_object_new_with_policy(vk_default_allocator(), VK_POLICY_ORDERED);
  vk_value* last = root;
  for (std::size_t i = 0; i < depth; ++i) {
    last = vk_object_init_object_with_policy(last, "m", VK_POLICY_ORDERED);
  }
  vk_object_set_int(last, "leaf", 1);
  return root;
}

vk_path_tree* deep_tree(std::size_t depth) {
  vk_path_tree* const root = vk_path_tree_new(vk_default_allocator());
  vk_path_tree* last = root;
  for (std::size_t i = 0; i < depth; ++i) last = vk_path_tree_add_path(last, "m");
  vk_path_tree_add_path(last, "leaf");
  return root;
}

// A file in memory, to be read or written from its beginning.
int new_file() {
  const int file = memfd_create("messages", 0);
  if (file < 0) std::abort();
  return file;
}

// Such a file with a response of one object in another, whose names have the four bytes of a word.
int deep_response(std::size_t depth) {
  std::vector<uint32_t> words = {VK_EOK};
  for (std::size_t i = 0; i < depth; ++i) {
    words.insert(words.end(), {VK_TYPE_OBJECT, sizeof(uint32_t), 0x6D6D6D6D});
  }
  words.push_back(VK_TYPE_OBJECT);
  words.resize(words.size() + depth + 1);  // the ends of the objects
  const int file = new_file();
  const std::size_t size = words.size() * sizeof(uint32_t);
  if (write(file, words.data(), size) != static_cast<ssize_t>(size)) std::abort();
  lseek(file, 0, SEEK_SET);
  return file;
}

struct Operation {
  const char* name;
  std::function<std::function<void()>(std::size_t depth)> prepare;
};

const Operation kOperations[] = {
    {"vk_value_get_leaf_number",
     [](std::size_t depth) {
       return [value = deep_value(depth)] { vk_value_get_leaf_number(value, 0); };
     }},
    {"vk_value_enumerate",
     [](std::size_t depth) {
       return [value = deep_value(depth)] {
         vk_value_enumerate(
             value, [](vk_value*, void*) { return 0; }, nullptr);
       };
     }},
    {"vk_value_equal",
     [](std::size_t depth) {
       return [a = deep_value(depth), b = deep_value(depth)] { vk_value_equal(a, b); };
     }},
    {"vk_value_copy",
     [](std::size_t depth) {
       return [src = deep_value(depth), dst = vk_value_new(vk_default_allocator())] {
         vk_value_copy(dst, src);
       };
     }},
    {"vk_value_update, vk_value_merge",
     [](std::size_t depth) {
       return [src = deep_value(depth), dst = vk_value_new(vk_default_allocator())] {
         vk_value_merge(dst, src);
       };
     }},
    {"vk_value_copy_by_tree",
     [](std::size_t depth) {
       return [src = deep_value(depth), tree = deep_tree(depth)] {
         vk_value* copy = nullptr;
         vk_value_copy_by_tree(vk_default_allocator(), &copy, src, tree);
       };
     }},
    {"vk_path_tree_intersect",
     [](std::size_t depth) {
       return [a = deep_tree(depth), b = deep_tree(depth)] { vk_path_tree_intersect(a, b); };
     }},
    {"vk_path_tree_merge",
     [](std::size_t depth) {
       return [source = deep_tree(depth), destination = deep_tree(0)] {
         vk_path_tree_merge(destination, source);
       };
     }},
    {"vk_path_tree_by_diff_value",
     [](std::size_t depth) {
       vk_value* const a = deep_value(depth);
       vk_value* const b = deep_value(depth);
       vk_value* leaf = b;
       while (leaf->type == VK_TYPE_OBJECT) leaf = leaf->payload.items.first;
       vk_value_set_int(leaf, 2);
       return [a, b] {
         vk_path_tree* tree = nullptr;
         vk_path_tree_by_diff_value(vk_default_allocator(), &tree, a, b);
       };
     }},
    {"vk_ipc_write_response, vk_ipc_write_request",
     [](std::size_t depth) {
       return [file = new_file(), response = vk_ipc_response{VK_EOK, deep_value(depth)}] {
         if (vk_ipc_write_response(file, &response) != 0) std::abort();
       };
     }},
    {"vk_ipc_read_response, vk_ipc_read_request",
     [](std::size_t depth) {
       return [file = deep_response(depth)] {
         vk_ipc_response response = {0, vk_value_new(vk_default_allocator())};
         if (vk_ipc_read_response(file, &response) != 0) std::abort();
       };
     }},
};

void* run(void* call) {
  (*static_cast<std::function<void()>*>(call))();
  return nullptr;
}

bool survives(const Operation& operation, std::size_t depth) {
  std::fflush(stdout);
  const pid_t child = fork();
  if (child == 0) {
    std::function<void()> call = operation.prepare(depth);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, kStack);
    pthread_t thread = {};
    if (pthread_create(&thread, &attributes, run, &call) != 0) _exit(1);
    pthread_join(thread, nullptr);
    _exit(0);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

// The path texts of an enumeration grow with the depth, so that memory ends long before the stack
// does; it is left out.
std::size_t deepest(const Operation& operation) {
  std::size_t good = 0;
  std::size_t bad = kDeepest;
  while (bad - good > 500) {
    const std::size_t middle = good + (bad - good) / 2;
    (survives(operation, middle) ? good : bad) = middle;
  }
  return good;
}

}  // namespace

int main(int argc, char** argv) {
  const std::size_t wanted = argc > 1 ? std::strtoul(argv[1], nullptr, 10) : 0;
  bool all_survive = true;
  for (const Operation& operation : kOperations) {
    if (wanted == 0) {
      std::printf("%-34s%9zu levels\n", operation.name, deepest(operation) / 1000 * 1000);
    } else if (!survives(operation, wanted)) {
      std::printf("%s does not survive %zu levels\n", operation.name, wanted);
      all_survive = false;
    }
  }
  return all_survive ? 0 : 1;
}
