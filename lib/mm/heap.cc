#include "lib/mm/heap.h"

#include <cstdlib>
#include <cstring>

#include "lib/log.h"

namespace vesk {

vk_allocator* live_heaps = nullptr;

namespace {

void* heap_alloc(vk_allocator*, std::size_t size) { return std::malloc(size); }

void* heap_realloc(vk_allocator*, void* block, std::size_t size) {
  return std::realloc(block, size);
}

void heap_free(vk_allocator*, void* block) { std::free(block); }

int heap_owns(vk_allocator*, const void*) { return 1; }

void heap_destroy(vk_allocator* allocator) {
  reinterpret_cast<vk_mm_heap*>(allocator)->heap_magic = VK_MAGIC_DEAD;
}

constexpr vk_alloc_ops kHeapOps = {heap_alloc, heap_realloc, heap_free, heap_owns, heap_destroy};

constinit vk_mm_heap default_heap = {
    .head = {.ops = &kHeapOps,
             .name = "default",
             .next = nullptr,
             .prev_link = nullptr,
             .magic = VK_MAGIC_ALLOCATOR},
    .heap_magic = VK_MAGIC_HEAP,
};

// The word before every block.
using Owner = vk_allocator*;

// The line that failures are logged with; fixed, so that it names this place for good.
constexpr unsigned int kAllocFailureLine = 139;

void* raw_alloc(vk_allocator* allocator, std::size_t size) {
  std::size_t with_owner = 0;
  if (__builtin_add_overflow(size, sizeof(Owner), &with_owner)) return nullptr;
  return allocator->ops->alloc(allocator, with_owner);
}

void unlink(vk_allocator* allocator) {
  *allocator->prev_link = allocator->next;
  if (allocator->next != nullptr) allocator->next->prev_link = allocator->prev_link;
}

}  // namespace
}  // namespace vesk

void vk_allocator_init(vk_allocator* allocator, const char* name, const vk_alloc_ops* ops) {
  vk_allocator* const older = vesk::live_heaps;
  *allocator = {.ops = ops,
                .name = name,
                .next = older,
                .prev_link = &vesk::live_heaps,
                .magic = VK_MAGIC_ALLOCATOR};
  if (older != nullptr) older->prev_link = &allocator->next;
  vesk::live_heaps = allocator;
}

void vk_allocator_delete(vk_allocator* allocator) {
  if (allocator == nullptr) return;
  allocator->ops->destroy(allocator);
  vesk::unlink(allocator);
  allocator->magic = VK_MAGIC_DEAD;
  vk_free(allocator);
}

void* vk_alloc(vk_allocator* allocator, std::size_t size) {
  auto* const owner = static_cast<vesk::Owner*>(vesk::raw_alloc(allocator, size));
  if (owner == nullptr) {
    vk_log(vesk::kLogLibrary, VK_LOG_ERROR, "lib/mm", vesk::kAllocFailureLine, __func__,
           "Failed to allocate %zu bytes of memory in '%s'", size, allocator->name);
    return nullptr;
  }
  *owner = allocator;
  return std::memset(owner + 1, 0, size);
}

void vk_free(void* block) {
  if (block == nullptr) return;
  auto* const owner = static_cast<vesk::Owner*>(block) - 1;
  (*owner)->ops->free(*owner, owner);
}

char* vk_strdup(vk_allocator* allocator, const char* text) {
  if (text == nullptr) return nullptr;
  const std::size_t size = std::strlen(text) + 1;
  void* const copy = vk_alloc(allocator, size);
  return copy == nullptr ? nullptr : static_cast<char*>(std::memcpy(copy, text, size));
}

vk_allocator* vk_default_allocator(void) { return &vesk::default_heap.head; }

vk_allocator* vk_mm_heap_new(const char* name) {
  auto* const heap = static_cast<vk_mm_heap*>(vk_alloc(vk_default_allocator(), sizeof(vk_mm_heap)));
  if (heap == nullptr) return nullptr;
  vk_allocator_init(&heap->head, name, &vesk::kHeapOps);
  heap->heap_magic = VK_MAGIC_HEAP;
  return &heap->head;
}
