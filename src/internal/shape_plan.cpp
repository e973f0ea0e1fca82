#include "internal/shape_plan.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <numeric>
#include <utility>

#include "internal/arrays.h"

namespace remora::internal {
namespace {

// Steps of a group whose samples are collected at a time: they mostly stay in the L1 cache.
constexpr std::size_t kBlockSteps = 512;
constexpr std::size_t kPitch = kBlockSteps + 32;  // taking windows writes behind the last sample

// Slots of a group for each one in use: at most two thirds of a group are padding.
constexpr std::size_t kMostSlotsPerStep = 3;

// A padded step leaves a sum as it is: -0.0 * 0 - 0.0 is -0.0.
constexpr double kPaddedWeight = -0.0;

// Chains are sorted by length, but only so finely that the two of a point, which sample pixels of
// the same rows, mostly stay next to each other.
int lengthClass(int size) { return size == 0 ? -1 : static_cast<int>(8.0 * std::log2(size)); }

std::size_t wholeTiles(std::size_t steps) {
  return (steps + kStepTile - 1) / kStepTile * kStepTile;
}

// Whether all windows of a box may be read whole.
bool windowsFit(const CentredImage<PixelView>&, const OffsetBox&, int) { return true; }

// A window's bytes are read up to its end. They must not reach beyond the first byte of the last
// pixel: a host that samples the second or third channel passes a pointer to that channel of the
// first pixel, and its buffer ends one or two bytes earlier than the pointer suggests.
bool windowsFit(const CentredImage<ByteView>& image, const OffsetBox& box, int span) {
  const ByteView& view = image.view();
  const std::ptrdiff_t last_window = image.index() + view.index(box.max_x, box.max_y);
  const std::ptrdiff_t last_byte = view.index(view.width() - 1, view.height() - 1);
  return view.rowStride() >= 0 && last_window + view.index(span, 0) <= last_byte + 1;
}

void takeWindows(const Kernels& kernels, const Window* first, const Window* last,
                 const CentredImage<PixelView>& image, float* taken) {
  kernels.takePixels(first, last, image.view().data(), image.index(), image.view().rowStride(),
                     taken);
}

void takeWindows(const Kernels& kernels, const Window* first, const Window* last,
                 const CentredImage<ByteView>& image, float* taken) {
  kernels.takeBytes(first, last, image.view().data(), image.index(), image.view().rowStride(),
                    taken);
}

// requires: offsets inside the image
template <class View>
void takeIndexed(const CentredImage<View>& image, const std::ptrdiff_t* indices, std::size_t count,
                 float* taken) {
  const auto* const pixels = image.view().data();
  const std::ptrdiff_t centre = image.index();
  for (std::size_t k = 0; k < count; ++k) {
    taken[k] = static_cast<float>(pixels[centre + indices[k]]);
  }
}

template <class View>
void takeAnywhere(const CentredImage<View>& image, const int* offs, const std::ptrdiff_t* indices,
                  std::size_t count, float* taken) {
  static constexpr typename View::Pixel kOutside = 0;
  const auto* const pixels = image.view().data();
  const std::ptrdiff_t centre = image.index();
  for (std::size_t k = 0; k < count; ++k) {
    const bool inside = image.contains(offs[2 * k], offs[2 * k + 1]);
    const auto* const pixel = inside ? pixels + (centre + indices[k]) : &kOutside;
    taken[k] = static_cast<float>(*pixel);
  }
}

}  // namespace

ShapePlan::ShapePlan(std::vector<Chain> chains)
    : kernels_(kernels()),
      chains_(std::move(chains)),
      order_(chains_.size()),
      greys_(kMostLanes * kPitch),
      sums_(chains_.size()) {
  std::iota(order_.begin(), order_.end(), std::size_t{0});
  std::stable_sort(order_.begin(), order_.end(), [this](std::size_t a, std::size_t b) {
    return lengthClass(chains_[a].size) > lengthClass(chains_[b].size);
  });
  arrange();
  packed_.shrink_to_fit();
  windows_.shrink_to_fit();
  std::size_t total = 0;
  for (const Chain& chain : chains_) {
    index_starts_.push_back(total);
    total += toSize(chain.size);
  }
  indices_.resize(total);
}

void ShapePlan::arrange() {
  std::size_t place = 0;
  while (place < order_.size() && chainAt(place).size > 0) {
    const std::size_t size = groupSizeAt(place);
    if (size > 1) {
      addGroup(place, size);
    } else {
      alone_.push_back(place);
    }
    place += size;
  }
}

// How many chains from this place on form a group; 1 where a group would have too much padding.
std::size_t ShapePlan::groupSizeAt(std::size_t first) const {
  for (const std::size_t lanes : {toSize(kMostLanes), toSize(kUnitLanes)}) {
    const std::size_t size = std::min(lanes, order_.size() - first);
    std::size_t steps = 0;
    for (std::size_t i = 0; i < size; ++i) steps += toSize(chainAt(first + i).size);
    if (lanes * longest(first, size) <= kMostSlotsPerStep * steps) return size;
  }
  return 1;
}

std::size_t ShapePlan::longest(std::size_t first, std::size_t size) const {
  int steps = 0;
  for (std::size_t i = 0; i < size; ++i) steps = std::max(steps, chainAt(first + i).size);
  return toSize(steps);
}

void ShapePlan::addGroup(std::size_t first, std::size_t size) {
  const std::size_t steps = wholeTiles(longest(first, size));
  groups_.push_back({first, size, steps, packed_.size(), ranges_.size()});
  for (std::size_t k = 0; k < steps; ++k) {
    for (std::size_t lane = 0; lane < size; lane += kUnitLanes) {
      packUnit(first + lane, first + size, k);
    }
  }
  for (std::size_t from = 0; from < steps; from += kBlockSteps) {
    for (std::size_t i = 0; i < size; ++i) {
      ranges_.push_back(addWindows(chainAt(first + i), from));
    }
  }
}

// Step k of the chains from place `first` on, but before `last`.
void ShapePlan::packUnit(std::size_t first, std::size_t last, std::size_t k) {
  const std::size_t slot = packed_.size();
  packed_.resize(slot + kUnitLanes, kPaddedWeight);
  packed_.resize(slot + 2 * kUnitLanes, 0.0);
  for (std::size_t i = 0; i < kUnitLanes && first + i < last; ++i) {
    const Chain& one = chainAt(first + i);
    if (k >= toSize(one.size)) continue;
    packed_[slot + i] = one.weights[k];
    packed_[slot + kUnitLanes + i] = one.terms[k];
  }
}

// Windows for the block that begins with step `from`; none where the kernels take single pixels.
ShapePlan::Range ShapePlan::addWindows(const Chain& chain, std::size_t from) {
  const std::size_t begin = windows_.size();
  const std::size_t last = std::min(from + kBlockSteps, toSize(chain.size));
  for (std::size_t k = from; k < last && kernels_.window_span > 0;) {
    Window window = {chain.offs[2 * k], chain.offs[2 * k + 1], 0};
    for (; k < last && chain.offs[2 * k + 1] == window.dy; ++k) {
      const std::int64_t bit = std::int64_t{chain.offs[2 * k]} - window.dx;
      if (bit >= kernels_.window_span) break;
      window.wanted |= 1U << bit;
    }
    windows_.push_back(window);
  }
  return {begin, windows_.size()};
}

void ShapePlan::indexOffsets(std::ptrdiff_t pixel_stride, std::ptrdiff_t row_stride) {
  if (pixel_stride == pixel_stride_ && row_stride == row_stride_) return;
  pixel_stride_ = pixel_stride;
  row_stride_ = row_stride;
  std::ptrdiff_t* index = indices_.data();
  for (const Chain& chain : chains_) {
    for (std::size_t k = 0; k < toSize(chain.size); ++k) {
      *index++ = chain.offs[2 * k] * pixel_stride + chain.offs[2 * k + 1] * row_stride;
    }
  }
}

template <class View>
const float* ShapePlan::sum(const View& view, double* const* positions) {
  indexOffsets(View::kPixelStride, view.rowStride());
  sumAlone(view, positions);
  for (const Group& group : groups_) sumGroup(group, view, positions);
  return sums_.data();
}

template <class View>
void ShapePlan::sumAlone(const View& view, double* const* positions) {
  const Chain none;
  for (std::size_t i = 0; i < alone_.size(); i += 2) {
    const bool paired = i + 1 < alone_.size();
    const std::size_t a = order_[alone_[i]];
    const std::size_t b = paired ? order_[alone_[i + 1]] : a;
    float pair[2];
    sumPair(chains_[a], CentredImage(view, positions[a / 2]), paired ? chains_[b] : none,
            CentredImage(view, positions[b / 2]), pair);
    sums_[a] = pair[0];
    if (paired) sums_[b] = pair[1];
  }
}

template <class View>
void ShapePlan::sumGroup(const Group& group, const View& view, double* const* positions) {
  const std::size_t lanes = toSize(group.units()) * kUnitLanes;
  const Range* windows = ranges_.data() + group.ranges;
  float sums[kMostLanes] = {};
  for (std::size_t from = 0; from < group.steps; from += kBlockSteps) {
    const std::size_t steps = std::min(kBlockSteps, group.steps - from);
    for (std::size_t lane = 0; lane < lanes; ++lane) {
      float* const row = greys_.data() + lane * kPitch;
      std::size_t taken = 0;
      if (lane < group.size) {
        const std::size_t index = order_[group.first + lane];
        taken = take(CentredImage(view, positions[index / 2]), index, from, windows++, row);
      }
      std::fill(row + taken, row + steps, 0.0F);
    }
    kernels_.sumSteps(group.units(), greys_.data(), kPitch,
                      packed_.data() + group.packed + 2 * from * lanes, steps, sums);
  }
  for (std::size_t i = 0; i < group.size; ++i) sums_[order_[group.first + i]] = sums[i];
}

// The grey levels of a chain for the block that begins with step `from`; returns how many.
template <class View>
std::size_t ShapePlan::take(const CentredImage<View>& image, std::size_t index, std::size_t from,
                            const Range* windows, float* taken) const {
  const Chain& chain = chains_[index];
  const std::size_t first = std::min(from, toSize(chain.size));
  const std::size_t count = std::min(kBlockSteps, toSize(chain.size) - first);
  const std::ptrdiff_t* const indices = indices_.data() + index_starts_[index] + first;
  if (!covers(image, chain)) {
    takeAnywhere(image, chain.offs + 2 * first, indices, count, taken);
  } else if (kernels_.window_span > 0 && windowsFit(image, chain.box, kernels_.window_span)) {
    const Window* const all = windows_.data();
    takeWindows(kernels_, all + windows->begin, all + windows->end, image, taken);
  } else {
    takeIndexed(image, indices, count, taken);
  }
  return count;
}

template const float* ShapePlan::sum(const PixelView&, double* const*);
template const float* ShapePlan::sum(const ByteView&, double* const*);

}  // namespace remora::internal
