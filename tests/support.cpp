#include "support.h"

void* operator new(std::size_t size) {
  largest_block = std::max(largest_block, size);
  if (void* const block = std::malloc(size)) return block;
  throw std::bad_alloc();
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
