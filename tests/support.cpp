#include "support.h"

// Every allocation is counted, however it is asked for.
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  largest_block = std::max(largest_block, size);
  void* const block = std::malloc(size);
  live_blocks += block == nullptr ? 0 : 1;
  return block;
}
void* operator new(std::size_t size) {
  if (void* const block = operator new(size, std::nothrow)) return block;
  throw std::bad_alloc();
}
void operator delete(void* block) noexcept {
  live_blocks -= block == nullptr ? 0 : 1;
  std::free(block);
}
void operator delete(void* block, std::size_t) noexcept { operator delete(block); }
void operator delete(void* block, const std::nothrow_t&) noexcept { operator delete(block); }
