#include "vesk/mm/stack.h"

#include <cstdarg>
#include <cstdio>

#include "lib/mm/region.h"

namespace {

vk_mm_region& region_of(vk_allocator* stack) {
  return reinterpret_cast<vk_mm_stack*>(stack)->region;
}

void* stack_alloc(vk_allocator* stack, std::size_t size) {
  return vesk::region_take(region_of(stack), size);
}

void* stack_realloc(vk_allocator*, void*, std::size_t) { return nullptr; }

void stack_free(vk_allocator*, void*) {}

int stack_owns(vk_allocator* stack, const void* pointer) {
  return vesk::region_owns(region_of(stack), pointer) ? 1 : 0;
}

void stack_destroy(vk_allocator* stack) {
  reinterpret_cast<vk_mm_stack*>(stack)->stack_magic = VK_MAGIC_DEAD;
  vesk::region_release(region_of(stack));
}

constexpr vk_alloc_ops kStackOps = {stack_alloc, stack_realloc, stack_free, stack_owns,
                                    stack_destroy};

}  // namespace

vk_allocator* vk_mm_stack_new(const char* name) {
  auto* const stack =
      static_cast<vk_mm_stack*>(vk_alloc(vk_default_allocator(), sizeof(vk_mm_stack)));
  if (stack == nullptr) return nullptr;
  vk_allocator_init(&stack->head, name, &kStackOps);
  static_cast<void>(vesk::region_begin(stack->region));  // the first request asks again
  stack->stack_magic = VK_MAGIC_STACK;
  return &stack->head;
}

int vk_mm_stack_clear(vk_allocator* stack) {
  vk_mm_region& region = region_of(stack);
  vesk::region_release(region);
  return vesk::region_begin(region) ? 1 : 0;
}

void vk_mm_stack_grow(vk_allocator* stack, const void* bytes, std::size_t count) {
  vesk::region_grow(region_of(stack), bytes, count);
}

void vk_mm_stack_grow_char(vk_allocator* stack, char character) {
  vesk::region_grow(region_of(stack), &character, 1);
}

void* vk_mm_stack_grow_finish(vk_allocator* stack) { return vesk::region_finish(region_of(stack)); }

char* vk_mm_stack_printf(vk_allocator* stack, const char* format, ...) {
  va_list arguments;
  va_list again;
  va_start(arguments, format);
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);

  const std::size_t size = static_cast<std::size_t>(length) + 1;
  char* const text = length < 0 ? nullptr : vesk::region_take(region_of(stack), size);
  if (text != nullptr) std::vsnprintf(text, size, format, again);
  va_end(again);
  return text;
}
