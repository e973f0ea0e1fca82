// Row 8: memory of a training generation.
#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>
#include <string>

#include "rows.h"
#include "training_set.h"

namespace {

std::size_t live = 0;
std::size_t peak = 0;

}  // namespace

void* operator new(std::size_t size) {
  void* const block = std::malloc(size);
  if (block == nullptr) throw std::bad_alloc();
  live += malloc_usable_size(block);
  peak = std::max(peak, live);
  return block;
}

void operator delete(void* block) noexcept {
  live -= malloc_usable_size(block);
  std::free(block);
}

void operator delete(void* block, std::size_t) noexcept { operator delete(block); }

namespace remora::bench {

void measureMemory(Rows& rows) {
  constexpr int kImages = 20;
  constexpr int kPredictors = 300;
  constexpr double kBytesOfOneL = 8.0 * 30 * 85 * kImages;
  TrainingSet set(kImages);
  const std::size_t before = live;
  peak = live;
  set.train(kPredictors);
  const auto used = static_cast<double>(peak - before);
  rows.add("8 memory of a generation by `InitMultiImgs`, against one `l` per predictor",
           std::to_string(kImages) + " images, " + std::to_string(kPredictors) + " predictors",
           "any", std::to_string(static_cast<int>(used / 1e6)) + " MB",
           kPredictors * kBytesOfOneL / used, 10.0);
}

}  // namespace remora::bench
