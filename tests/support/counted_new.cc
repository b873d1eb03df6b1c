// What C++ allocates comes from the malloc that the kit wraps, so that it can be refused, too. For
// programs of one thread only.

#include <cstdlib>
#include <new>

void* operator new(std::size_t size) {
  for (;;) {
    void* const block = std::malloc(size == 0 ? 1 : size);
    if (block != nullptr) return block;
    const std::new_handler handler = std::get_new_handler();
    if (handler == nullptr) throw std::bad_alloc();
    handler();
  }
}

void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
