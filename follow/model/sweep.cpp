#include "follow/model/sweep.h"

#include <algorithm>

namespace remora {
namespace {

constexpr int kBandRows = 16;
constexpr double kAnywhere = 1e7;  // pixels

}  // namespace

void Sweep::reset() {
  found_.reset();
  best_.clear();
}

void Sweep::begin(const Searcher& searcher, const GreyView& picture, const Affine& around,
                  std::size_t most) {
  width_ = picture.width;
  height_ = picture.height;
  grid_ = searcher.gridAround(picture, around, kAnywhere);
  row_ = 0;
  variation_ = 0;
  found_.emplace(searcher, around, most);
}

bool Sweep::goOn(const Searcher& searcher, const GreyView& picture, const Affine& around,
                 double samples, std::size_t most) {
  const bool other = picture.width != width_ || picture.height != height_;
  if (!found_ || other) begin(searcher, picture, around, most);
  const std::vector<Variation>& variations = wideVariations();
  Comparison comparison;
  while (samples > 0.0 && row_ < grid_.rows && grid_.columns > 0) {
    comparison.begin(searcher, picture, around, grid_, row_,
                     std::min(kBandRows, grid_.rows - row_));
    for (; variation_ < variations.size() && samples > 0.0; ++variation_) {
      comparison.compare(variations[variation_], *found_);
      samples -= comparison.work();
    }
    if (variation_ < variations.size()) return false;
    variation_ = 0;
    row_ += kBandRows;
  }
  if (row_ < grid_.rows && grid_.columns > 0) return false;
  best_ = found_->best();
  found_.reset();
  return true;
}

}  // namespace remora
