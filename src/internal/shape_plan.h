// All weighted sums of a shape, laid out for the kernels: sums of similar length side by side in
// groups, with the weights and terms of one step of a group next to each other in memory.
#pragma once

#include <cstddef>
#include <vector>

#include "internal/centred_image.h"
#include "internal/chains.h"
#include "internal/kernels/kernels.h"

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
  // `size` places in order_, from `first` on, each with a lane of its own.
  struct Group {
    std::size_t first, size;
    std::size_t steps;   // of the longest, rounded up to whole tiles
    std::size_t packed;  // where its weights and terms begin
    std::size_t ranges;  // where its ranges of windows begin
    int units() const { return static_cast<int>((size + kUnitLanes - 1) / kUnitLanes); }
  };
  struct Range {
    std::size_t begin, end;
  };

  void arrange();
  std::size_t groupSizeAt(std::size_t first) const;
  std::size_t longest(std::size_t first, std::size_t size) const;
  void addGroup(std::size_t first, std::size_t size);
  void packUnit(std::size_t first, std::size_t last, std::size_t k);
  Range addWindows(const Chain& chain, std::size_t from);
  void indexOffsets(std::ptrdiff_t pixel_stride, std::ptrdiff_t row_stride);
  const Chain& chainAt(std::size_t place) const { return chains_[order_[place]]; }

  template <class View>
  void sumAlone(const View& view, double* const* positions);
  template <class View>
  void sumGroup(const Group& group, const View& view, double* const* positions);
  template <class View>
  std::size_t take(const CentredImage<View>& image, std::size_t index, std::size_t from,
                   const Range* windows, float* taken) const;

  const Kernels& kernels_;
  std::vector<Chain> chains_;
  std::vector<std::size_t> order_;  // long chains first
  std::vector<std::size_t> alone_;  // places of chains that fill no group
  std::vector<Group> groups_;
  std::vector<double> packed_;

  // How samples are taken where a chain's box lies inside the image: by windows, or one by one by
  // their index in the data, counted from the centre's. The indices hold for one pair of strides.
  std::vector<Window> windows_;
  std::vector<Range> ranges_;  // per group, block and lane
  std::vector<std::ptrdiff_t> indices_;
  std::vector<std::size_t> index_starts_;  // per chain
  std::ptrdiff_t pixel_stride_ = 0;
  std::ptrdiff_t row_stride_ = 0;

  std::vector<float> greys_;  // scratch: one row per lane
  std::vector<float> sums_;
};

}  // namespace remora::internal
