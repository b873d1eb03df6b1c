/*
 * <vesk/mm/heap.h>, <vesk/mm/stack.h>, <vesk/mm/gta.h>, <vesk/string.h>, <vesk/random.h>
 */

#include "all_calls.h"

/* A kind of heap of the program's own, over the default heap. */
static int counted;
static bool counting_destroyed;

static void *counting_alloc(vk_allocator *allocator, size_t size) {
  vk_allocator *base = vk_default_allocator();
  (void)allocator;
  ++counted;
  return base->ops->alloc(base, size);
}

static void *counting_realloc(vk_allocator *allocator, void *block, size_t size) {
  vk_allocator *base = vk_default_allocator();
  (void)allocator;
  return base->ops->realloc(base, block, size);
}

static void counting_free(vk_allocator *allocator, void *block) {
  vk_allocator *base = vk_default_allocator();
  (void)allocator;
  --counted;
  base->ops->free(base, block);
}

static int counting_owns(vk_allocator *allocator, const void *pointer) {
  vk_allocator *base = vk_default_allocator();
  (void)allocator;
  return base->ops->owns(base, pointer);
}

static void counting_destroy(vk_allocator *allocator) {
  (void)allocator;
  counting_destroyed = true;
}

static void call_own_heap(void) {
  static const vk_alloc_ops ops = {counting_alloc, counting_realloc, counting_free, counting_owns,
                                   counting_destroy};
  vk_allocator *heap = vk_alloc(vk_default_allocator(), sizeof *heap);
  VK_ASSERT(heap != NULL);
  vk_allocator_init(heap, "counting", &ops);
  CHECK(same(heap->name, "counting") && heap->magic == VK_MAGIC_ALLOCATOR);
  char *copy = vk_strdup(heap, "text");
  CHECK(same(copy, "text") && counted == 1);
  vk_free(copy);
  CHECK(counted == 0);
  vk_allocator_delete(heap);
  CHECK(counting_destroyed);
}

static void call_heap(void) {
  CHECK(same(vk_default_allocator()->name, "default"));
  vk_allocator *heap = vk_mm_heap_new("interface");
  VK_ASSERT(heap != NULL);
  CHECK(heap->magic == VK_MAGIC_ALLOCATOR && ((vk_mm_heap *)heap)->heap_magic == VK_MAGIC_HEAP);
  uint32_t *block = vk_alloc(heap, sizeof *block);
  CHECK(block != NULL && *block == 0);
  vk_free(block);
  vk_allocator_delete(heap);
}

static void call_stack(void) {
  vk_allocator *stack = vk_mm_stack_new("interface");
  VK_ASSERT(stack != NULL);
  CHECK(((vk_mm_stack *)stack)->stack_magic == VK_MAGIC_STACK);
  vk_mm_stack_grow(stack, "ab", 2);
  vk_mm_stack_grow_char(stack, '\0');
  const char *grown = vk_mm_stack_grow_finish(stack);
  CHECK(same(grown, "ab") && stack->ops->owns(stack, grown) != 0);
  CHECK(same(vk_mm_stack_printf(stack, "%s%d", "a", 1), "a1"));
  CHECK(vk_mm_stack_clear(stack) != 0);
  vk_allocator_delete(stack);
}

static void call_gta(void) {
  CHECK(vk_gta() == NULL && vk_gta_init() == VK_EOK);
  CHECK(vk_gta() != NULL && same(vk_gta()->name, "gta"));
  vk_gta_destroy();
  CHECK(vk_gta() == NULL);
}

static void call_string(void) {
  vk_string string;
  vk_string_init(&string, vk_default_allocator());
  CHECK(string.magic == VK_MAGIC_STRING && same(vk_string_str(&string), ""));
  CHECK(vk_string_add(&string, "abc", 3) == VK_EOK && same(vk_string_str(&string), "abc"));
  vk_string_reset(&string);
  CHECK(same(vk_string_str(&string), "") && string.capacity > 3);
  vk_string_destroy(&string);
  CHECK(string.magic == VK_MAGIC_DEAD);
}

static void call_random(void) {
  bool seen[4] = {false};
  for (int i = 0; i < 1000; ++i) {
    const uint32_t number = vk_random(4);
    VK_ASSERT(number < 4);
    seen[number] = true;
  }
  CHECK(seen[0] && seen[1] && seen[2] && seen[3]);
  CHECK(vk_random(1) == 0 && vk_random(0) == 0);
}

void call_memory(void) {
  call_own_heap();
  call_heap();
  call_stack();
  call_gta();
  call_string();
  call_random();
}
