#include "internal/shape_plan.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "internal/arrays.h"

namespace remora::internal {
namespace {

// Samples are collected for so many steps of a group at a time: they stay in the first cache.
constexpr std::size_t kBlockSteps = 512;
constexpr std::size_t kPitch = kBlockSteps + 32;  // room for what takeWindows overwrites

// The widest share of padding that a group may have: as many empty slots as 2 of 3.
constexpr std::size_t kMostSlotsPerStep = 3;

// Chains are sorted by length, but only so finely: the two of a point, which sample the same
// pixels, stay next to each other.
int lengthClass(int size) { return size == 0 ? -1 : static_cast<int>(8.0 * std::log2(size)); }

// A padded step leaves a sum as it is: -0.0 * 0 - 0.0 is -0.0.
constexpr double kPaddedWeight = -0.0;

std::size_t wholeTiles(std::size_t steps) {
  return (steps + kStepTile - 1) / kStepTile * kStepTile;
}

// The grey levels at some offsets, whose indices in the data are given, too; 0 outside the image.
template <class View>
void takeAnywhere(const CentredImage<View>& image, const int* offs, const std::ptrdiff_t* first,
                  const std::ptrdiff_t* last, float* taken) {
  static constexpr typename View::Pixel kOutside = 0;
  const auto* const pixels = image.view().data();
  const std::ptrdiff_t centre = image.index();
  for (; first != last; ++first, offs += 2) {
    const auto* const pixel =
        image.contains(offs[0], offs[1]) ? pixels + (centre + *first) : &kOutside;
    *taken++ = static_cast<float>(*pixel);
  }
}

template <class Pixel>
void takeIndexed(const Pixel* pixels, std::ptrdiff_t centre, const std::ptrdiff_t* first,
                 const std::ptrdiff_t* last, float* taken) {
  for (; first != last; ++first) *taken++ = static_cast<float>(pixels[centre + *first]);
}

}  // namespace

ShapePlan::ShapePlan(std::vector<Chain> chains)
    : kernels_(kernels()), chains_(std::move(chains)), order_(chains_.size()) {
  std::iota(order_.begin(), order_.end(), std::size_t{0});
  std::stable_sort(order_.begin(), order_.end(), [this](std::size_t a, std::size_t b) {
    return lengthClass(chains_[a].size) > lengthClass(chains_[b].size);
  });
  arrange();
  std::size_t total = 0;
  for (const Chain& chain : chains_) {
    index_starts_.push_back(total);
    total += toSize(chain.size);
  }
  indices_.resize(total);
  greys_.resize(kMostLanes * kPitch);
  sums_.resize(chains_.size());
}

void ShapePlan::arrange() {
  std::size_t place = 0;
  while (place < order_.size() && chain(place).size > 0) {
    const std::size_t size = groupSizeAt(place);
    if (size > 1) {
      addGroup(place, size);
    } else {
      alone_.push_back(place);
    }
    place += size;
  }
}

// How many chains from this place on go together; 1 where too many slots would stay empty.
std::size_t ShapePlan::groupSizeAt(std::size_t first) const {
  for (const std::size_t lanes : {kMostLanes, kUnitLanes}) {
    const std::size_t size = std::min(lanes, order_.size() - first);
    std::size_t steps = 0;
    for (std::size_t i = 0; i < size; ++i) steps += toSize(chain(first + i).size);
    if (lanes * longest(first, size) <= kMostSlotsPerStep * steps) return size;
  }
  return 1;
}

std::size_t ShapePlan::longest(std::size_t first, std::size_t size) const {
  int steps = 0;
  for (std::size_t i = 0; i < size; ++i) steps = std::max(steps, chain(first + i).size);
  return toSize(steps);
}

void ShapePlan::addGroup(std::size_t first, std::size_t size) {
  const int units = static_cast<int>((size + kUnitLanes - 1) / kUnitLanes);
  const std::size_t steps = wholeTiles(longest(first, size));
  groups_.push_back({first, size, units, steps, packed_.size(), window_ends_.size()});
  for (std::size_t k = 0; k < steps; ++k) {
    for (std::size_t lane = 0; lane < size; lane += kUnitLanes)
      packUnit(first + lane, first + size, k);
  }
  if (kernels_.window_span == 0) return;
  for (std::size_t from = 0; from < steps; from += kBlockSteps) {
    for (std::size_t place = first; place < first + size; ++place) {
      addWindows(chain(place), from);
      window_ends_.push_back(windows_.size());
    }
  }
}

// Step k of the chains from `first` on, but before `last`.
void ShapePlan::packUnit(std::size_t first, std::size_t last, std::size_t k) {
  const std::size_t slot = packed_.size();
  packed_.resize(slot + kUnitLanes, kPaddedWeight);
  packed_.resize(slot + 2 * kUnitLanes, 0.0);
  for (std::size_t i = 0; i < kUnitLanes && first + i < last; ++i) {
    const Chain& one = chain(first + i);
    if (k >= toSize(one.size)) continue;
    packed_[slot + i] = one.weights[k];
    packed_[slot + kUnitLanes + i] = one.terms[k];
  }
}

// Of one block.
void ShapePlan::addWindows(const Chain& chain, std::size_t from) {
  const std::size_t last = std::min(from + kBlockSteps, toSize(chain.size));
  for (std::size_t k = from; k < last;) {
    Window window = {chain.offs[2 * k], chain.offs[2 * k + 1], 0};
    for (; k < last && chain.offs[2 * k + 1] == window.dy; ++k) {
      const std::int64_t bit = std::int64_t{chain.offs[2 * k]} - window.dx;
      if (bit >= kernels_.window_span) break;
      window.wanted |= 1U << bit;
    }
    windows_.push_back(window);
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
    sums_[b] = pair[1];
    sums_[a] = pair[0];
  }
}

template <class View>
void ShapePlan::sumGroup(const Group& group, const View& view, double* const* positions) {
  const std::size_t lanes = toSize(group.units) * kUnitLanes;
  float sums[kMostLanes] = {};
  std::size_t range = group.windows;
  for (std::size_t from = 0; from < group.steps; from += kBlockSteps) {
    const std::size_t steps = std::min(kBlockSteps, group.steps - from);
    for (std::size_t lane = 0; lane < lanes; ++lane) {
      float* const row = greys_.data() + lane * kPitch;
      std::size_t taken = 0;
      if (lane < group.size) {
        const std::size_t index = order_[group.first + lane];
        taken = take(CentredImage(view, positions[index / 2]), chains_[index], from, range++, row);
      }
      std::fill(row + taken, row + steps, 0.0F);
    }
    kernels_.sumSteps(group.units, greys_.data(), kPitch,
                      packed_.data() + group.packed + 2 * from * lanes, steps, sums);
  }
  for (std::size_t i = 0; i < group.size; ++i) sums_[order_[group.first + i]] = sums[i];
}

// Samples of one block of a chain, however they are best had; returns how many there are.
template <class View>
std::size_t ShapePlan::take(const CentredImage<View>& image, const Chain& chain, std::size_t from,
                            std::size_t range, float* taken) const {
  const std::size_t first = std::min(from, toSize(chain.size));
  const std::size_t last = std::min(from + kBlockSteps, toSize(chain.size));
  const std::ptrdiff_t* const indices =
      indices_.data() + index_starts_[static_cast<std::size_t>(&chain - chains_.data())];
  if (!image.covers(chain.box)) {
    takeAnywhere(image, chain.offs + 2 * first, indices + first, indices + last, taken);
    return last - first;
  }
  const auto* const pixels = image.view().data();
  const std::ptrdiff_t centre = image.index();
  if (canTakeWindows(image, chain.box)) {
    const Window* const begin = windows_.data() + (range == 0 ? 0 : window_ends_[range - 1]);
    const Window* const end = windows_.data() + window_ends_[range];
    const std::ptrdiff_t row_stride = image.view().rowStride();
    if constexpr (std::is_same_v<View, PixelView>) {
      kernels_.takePixels(begin, end, pixels, centre, row_stride, taken);
    } else {
      kernels_.takeBytes(begin, end, pixels, centre, row_stride, taken);
    }
  } else {
    takeIndexed(pixels, centre, indices + first, indices + last, taken);
  }
  return last - first;
}

bool ShapePlan::canTakeWindows(const CentredImage<PixelView>&, const OffsetBox&) const {
  return kernels_.window_span > 0;
}

// Whole windows of bytes are read, so the last one must end before the last pixel's first byte
// does: a host that samples the second or third channel passes a pointer so much behind the first.
bool ShapePlan::canTakeWindows(const CentredImage<ByteView>& image, const OffsetBox& box) const {
  const ByteView& view = image.view();
  const std::ptrdiff_t last_window = image.index() + view.index(box.max_x, box.max_y);
  const std::ptrdiff_t last_byte = view.index(view.width() - 1, view.height() - 1);
  return kernels_.window_span > 0 && view.rowStride() >= 0 &&
         last_window + kernels_.window_span * ByteView::kPixelStride <= last_byte + 1;
}

void ShapePlan::indexOffsets(std::ptrdiff_t pixel_stride, std::ptrdiff_t row_stride) {
  if (pixel_stride == pixel_stride_ && row_stride == row_stride_) return;
  pixel_stride_ = pixel_stride;
  row_stride_ = row_stride;
  std::ptrdiff_t* index = indices_.data();
  for (const Chain& chain : chains_) {
    for (int k = 0; k < chain.size; ++k) {
      *index++ = chain.offs[2 * k] * pixel_stride + chain.offs[2 * k + 1] * row_stride;
    }
  }
}

template const float* ShapePlan::sum(const PixelView&, double* const*);
template const float* ShapePlan::sum(const ByteView&, double* const*);

}  // namespace remora::internal
