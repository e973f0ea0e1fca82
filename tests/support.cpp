#include "support.h"

// Every allocation is counted, however it is asked for.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  largest_block = std::max(largest_block, size);
  return std::malloc(size);
}
void* operator new(std::size_t size) {
  if (void* const block = operator new(size, std::nothrow)) return block;
  throw std::bad_alloc();
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { std::free(block); }
