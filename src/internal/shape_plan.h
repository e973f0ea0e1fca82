// All weighted sums of a shape, laid out for the kernels: sums of similar length side by side in
// groups, with the weights and terms of one step of a group next to each other in memory.
#pragma once

#include <cstddef>
#include <vector>

#include "internal/centred_image.h"
#include "internal/chains.h"
#include "internal/kernels/kernels.h"
#include "internal/pixel.h"

namespace remora::internal {

class ShapePlan {
 public:
  // The arrays behind the chains must outlive the plan and stay as they are.
  explicit ShapePlan(std::vector<Chain> chains);

  // The sums of all chains, valid until the next call: chains 2 i and 2 i + 1 see the image from
  // positions[i]. Nothing is allocated.
  template <class View>
  const float* sum(const View& view, double* const* positions);

 private:
  struct Group {  // chains order_[first] ... order_[first + size - 1], the longest first
    std::size_t first, size;
    int units;
    std::size_t steps;            // of the longest, rounded up to whole tiles
    std::size_t packed, windows;  // where its share of these lists begins
  };

  void arrange();
  std::size_t groupSizeAt(std::size_t first) const;
  std::size_t longest(std::size_t first, std::size_t size) const;
  void addGroup(std::size_t first, std::size_t size);
  void packUnit(std::size_t first, std::size_t last, std::size_t k);
  void addWindows(const Chain& chain, std::size_t from);
  const Chain& chain(std::size_t place) const { return chains_[order_[place]]; }

  template <class View>
  void sumAlone(const View& view, double* const* positions);
  template <class View>
  void sumGroup(const Group& group, const View& view, double* const* positions);

  template <class View>
  std::size_t take(const CentredImage<View>& image, const Chain& chain, std::size_t from,
                   std::size_t range, float* taken) const;

  bool canTakeWindows(const CentredImage<PixelView>& image, const OffsetBox& box) const;
  bool canTakeWindows(const CentredImage<ByteView>& image, const OffsetBox& box) const;
  void indexOffsets(std::ptrdiff_t pixel_stride, std::ptrdiff_t row_stride);

  const Kernels& kernels_;
  std::vector<Chain> chains_;
  std::vector<std::size_t> order_;  // longest chain first
  std::vector<std::size_t> alone_;  // places in order_ of chains too long to share a group
  std::vector<Group> groups_;
  std::vector<double> packed_;
  std::vector<Window> windows_;
  std::vector<std::size_t> window_ends_;  // per group, block and lane: end of its windows
  std::ptrdiff_t pixel_stride_ = 0, row_stride_ = 0;
  std::vector<std::ptrdiff_t> indices_;
  std::vector<std::size_t> index_starts_;
  std::vector<float> greys_;  // scratch: one row per lane
  std::vector<float> sums_;
};

}  // namespace remora::internal
