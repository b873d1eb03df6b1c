#include "lib/mm/region.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>

namespace vesk {
namespace {

constexpr std::size_t kChunkSize = 4064;

// Spare room in a chunk that is made for one large object, besides an eighth of the object, so that
// one which grows bit by bit moves a number of times that is logarithmic in its size.
constexpr std::size_t kSpare = 100;

// Not std::max_align_t, which can ask for more than any scalar type does inside a record.
struct WidestScalar {
  char before;
  union {
    std::uintmax_t integer;
    long double floating;
    void* pointer;
  } value;
};
constexpr std::size_t kAlignment = offsetof(WidestScalar, value);
static_assert(sizeof(vk_mm_chunk) <= kSpare);

char* contents(vk_mm_chunk* chunk) { return reinterpret_cast<char*>(chunk + 1); }

// The bytes from `pointer` to the next multiple of the alignment.
std::size_t padding(const char* pointer) {
  return -reinterpret_cast<std::uintptr_t>(pointer) & (kAlignment - 1);
}

char* first_object(vk_mm_chunk* chunk) {
  char* const begin = contents(chunk);
  return begin + padding(begin);
}

std::size_t room(const vk_mm_region& region) {
  return static_cast<std::size_t>(region.limit - region.next_free);
}

std::size_t object_size(const vk_mm_region& region) {
  return static_cast<std::size_t>(region.next_free - region.object);
}

// The size of a chunk for an object that is to have `added` bytes more; 0 if no chunk can have it.
std::size_t chunk_size_for(std::size_t object, std::size_t added) {
  const std::size_t spare = object / 8 + kAlignment + kSpare;
  std::size_t size = 0;
  if (__builtin_add_overflow(object, added, &size) || __builtin_add_overflow(size, spare, &size)) {
    return 0;
  }
  return std::max(size, kChunkSize);
}

vk_mm_chunk* chunk_new(std::size_t size, vk_mm_chunk* prev) {
  vk_allocator* const heap = vk_default_allocator();
  auto* const chunk = static_cast<vk_mm_chunk*>(heap->ops->alloc(heap, size));
  if (chunk != nullptr) *chunk = {.limit = reinterpret_cast<char*>(chunk) + size, .prev = prev};
  return chunk;
}

void chunk_delete(vk_mm_chunk* chunk) {
  vk_allocator* const heap = vk_default_allocator();
  heap->ops->free(heap, chunk);
}

// Whether the growing object is all that the newest chunk holds.
bool object_is_alone(const vk_mm_region& region) {
  return region.chunk != nullptr && region.empty_object == 0 &&
         region.object == first_object(region.chunk);
}

// Moves the growing object to a new chunk with room for `added` bytes more.
bool move_to_new_chunk(vk_mm_region& region, std::size_t added) {
  const std::size_t size = object_size(region);
  const std::size_t chunk_size = chunk_size_for(size, added);
  vk_mm_chunk* const chunk = chunk_size == 0 ? nullptr : chunk_new(chunk_size, region.chunk);
  if (chunk == nullptr) return false;

  char* const object = first_object(chunk);
  if (size != 0) std::memcpy(object, region.object, size);
  if (object_is_alone(region)) {
    chunk->prev = region.chunk->prev;
    chunk_delete(region.chunk);
  }
  region.chunk = chunk;
  region.object = object;
  region.next_free = object + size;
  region.limit = chunk->limit;
  region.empty_object = 0;
  return true;
}

bool ensure_room(vk_mm_region& region, std::size_t size) {
  return (region.chunk != nullptr && size <= room(region)) || move_to_new_chunk(region, size);
}

// Ends the growing object at `next_free`.
char* end_object(vk_mm_region& region) {
  char* const object = region.object;
  if (region.next_free == object) region.empty_object = 1;
  region.next_free += std::min(padding(region.next_free), room(region));
  region.object = region.next_free;
  region.dropped = 0;
  return object;
}

}  // namespace

bool region_begin(vk_mm_region& region) {
  region = {};
  return move_to_new_chunk(region, 0);
}

void region_release(vk_mm_region& region) {
  for (vk_mm_chunk* chunk = region.chunk; chunk != nullptr;) {
    vk_mm_chunk* const prev = chunk->prev;
    chunk_delete(chunk);
    chunk = prev;
  }
}

char* region_take(vk_mm_region& region, std::size_t size) {
  if (!ensure_room(region, size)) return nullptr;
  region.next_free += size;
  return end_object(region);
}

void region_grow(vk_mm_region& region, const void* bytes, std::size_t count) {
  if (region.dropped != 0 || count == 0) return;
  if (!ensure_room(region, count)) {
    region.next_free = region.object;
    region.dropped = 1;
    return;
  }
  std::memcpy(region.next_free, bytes, count);
  region.next_free += count;
}

char* region_finish(vk_mm_region& region) {
  if (region.dropped != 0) {
    region.dropped = 0;
    return nullptr;
  }
  return region_take(region, 0);
}

bool region_owns(const vk_mm_region& region, const void* pointer) {
  const auto* const address = static_cast<const char*>(pointer);
  const std::less<> before;
  for (vk_mm_chunk* chunk = region.chunk; chunk != nullptr; chunk = chunk->prev) {
    if (!before(address, contents(chunk)) && before(address, chunk->limit)) return true;
  }
  return false;
}

}  // namespace vesk
