#include "core/charged_heap.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "core/bytes.h"

namespace vesk::core {
namespace {

// Stands before every block.
struct Header {
  std::size_t size;  // with the header
};

void* take(vk_allocator*, std::size_t size) {
  if (size > SIZE_MAX - sizeof(Header)) return nullptr;
  const std::size_t whole = sizeof(Header) + size;
  if (!buffers.charge(whole)) return nullptr;
  auto* const header = static_cast<Header*>(std::malloc(whole));
  if (header == nullptr) {
    buffers.refund(whole);
    return nullptr;
  }
  header->size = whole;
  return header + 1;
}

void* refuse_to_resize(vk_allocator*, void*, std::size_t) { return nullptr; }

void give_back(vk_allocator*, void* block) {
  Header* const header = static_cast<Header*>(block) - 1;
  buffers.refund(header->size);
  std::free(header);
}

int may_own(vk_allocator*, const void*) { return 1; }

void end(vk_allocator*) {}

constexpr vk_alloc_ops kOperations = {take, refuse_to_resize, give_back, may_own, end};

}  // namespace

vk_allocator* new_charged_heap(const char* name) {
  auto* const heap =
      static_cast<vk_allocator*>(vk_alloc(vk_default_allocator(), sizeof(vk_allocator)));
  if (heap != nullptr) vk_allocator_init(heap, name, &kOperations);
  return heap;
}

}  // namespace vesk::core
