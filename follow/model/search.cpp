#include "follow/model/search.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace remora {
namespace {

constexpr double kPlaces = 250.0;                        // of the region that are compared, about
constexpr int kLeastReduction = 2, kMostReduction = 16;  // canvas pixels a search pixel
constexpr double kLeastCorrelation = 0.25;
constexpr double kLeastContrast = 3.0;       // grey levels, standard deviation
constexpr double kApart = 0.35;              // of the region's radius, between two candidates
constexpr double kMostGrowth = 1.3 * 1.731;  // of the region, by any variation; and some bending
constexpr std::size_t kRoomFactor = 4;       // candidates that are kept for each that is wanted

// Turns by multiples of 12 degrees.
constexpr double kCosines[] = {
    1.0, 0.97814760073380569, 0.91354545764260087, 0.80901699437494745, 0.66913060635885824, 0.5};
constexpr double kSines[] = {0.0,
                             0.20791169081775934,
                             0.40673664307580021,
                             0.58778525229247314,
                             0.74314482547739424,
                             0.86602540378443865};

std::vector<Variation> variationsOf(const std::vector<double>& sizes, int turns) {
  std::vector<Variation> list;
  for (const double size : sizes) {
    for (int turn = -turns; turn <= turns; ++turn) {
      const int t = std::abs(turn);
      list.push_back({size, kCosines[t], turn < 0 ? -kSines[t] : kSines[t]});
    }
  }
  return list;
}

}  // namespace

const std::vector<Variation>& nearVariations() {
  static const std::vector<Variation> list = variationsOf({0.87, 1.0, 1.15}, 1);
  return list;
}

const std::vector<Variation>& wideVariations() {
  static const std::vector<Variation> list =
      variationsOf({0.5, 0.597, 0.713, 0.852, 1.017, 1.214, 1.45, 1.731}, 5);
  return list;
}

Searcher::Searcher(const std::vector<float>& mean, int width, int height,
                   const std::vector<bool>& region) {
  const auto shown = static_cast<double>(std::count(region.begin(), region.end(), true));
  reduction_ =
      std::clamp(static_cast<int>(std::sqrt(shown / kPlaces)), kLeastReduction, kMostReduction);
  for (int y = 0; y + reduction_ <= height; y += reduction_) {
    for (int x = 0; x + reduction_ <= width; x += reduction_) {
      const int half = reduction_ / 2;
      if (!region[static_cast<std::size_t>((y + half) * width + x + half)]) continue;
      float sum = 0.0F;
      for (int j = 0; j < reduction_; ++j) {
        for (int i = 0; i < reduction_; ++i) {
          sum += mean[static_cast<std::size_t>((y + j) * width + x + i)];
        }
      }
      const double centre = 0.5 * (reduction_ - 1);
      samples_.push_back(
          {{x + centre, y + centre}, sum / static_cast<float>(reduction_ * reduction_)});
    }
  }
  if (samples_.empty()) return;
  for (const Sample& s : samples_) middle_ = middle_ + s.offset;
  middle_ = (1.0 / static_cast<double>(samples_.size())) * middle_;
  double squares = 0.0;
  for (Sample& s : samples_) {
    s.offset = s.offset - middle_;
    radius_ = std::max(radius_, squaredLength(s.offset));
    sum_ += s.grey;
  }
  radius_ = std::sqrt(radius_);
  const float average = sum_ / static_cast<float>(samples_.size());
  for (const Sample& s : samples_) {
    const auto d = static_cast<double>(s.grey - average);
    squares += d * d;
  }
  spread_ = static_cast<float>(std::sqrt(squares));
}

std::vector<Candidate> Searcher::search(const GreyView& picture, const Affine& around,
                                        const std::vector<Variation>& variations, double reach,
                                        std::size_t most) const {
  Candidates found(*this, around, most);
  const SearchGrid grid = gridAround(picture, around, reach);
  if (grid.rows < 1 || grid.columns < 1) return {};
  Comparison comparison;
  comparison.begin(*this, picture, around, grid, 0, grid.rows);
  for (const Variation& variation : variations) comparison.compare(variation, found);
  return found.best();
}

SearchGrid Searcher::gridAround(const GreyView& picture, const Affine& around, double reach) const {
  const double size = std::sqrt(std::abs(around.determinant()));
  if (samples_.empty() || !(spread_ > 0.0F) || !(size > 1e-3)) return {};
  const Point middle = around(middle_);
  const double left = std::max(middle.x - reach, 0.0);
  const double top = std::max(middle.y - reach, 0.0);
  const double right = std::min(middle.x + reach, picture.width - 1.0);
  const double bottom = std::min(middle.y + reach, picture.height - 1.0);
  if (!(right >= left && bottom >= top)) return {};
  const double step = size * reduction_;
  return {{left, top},
          step,
          static_cast<int>((right - left) / step) + 1,
          static_cast<int>((bottom - top) / step) + 1};
}

double Searcher::apart(const Affine& around) const {
  return kApart * radius_ * std::sqrt(std::abs(around.determinant()));
}

// ------------------------------------------------------------------------------------ candidates

Candidates::Candidates(const Searcher& searcher, const Affine& around, std::size_t most)
    : apart_(searcher.apart(around)), most_(most) {}

// The best of those that are near each other stays.
void Candidates::add(const Candidate& candidate, const Point& at) {
  const auto rank = std::find_if(found_.begin(), found_.end(), [&](const Found& other) {
    return other.candidate.correlation < candidate.correlation;
  });
  const auto isNear = [&](const Found& other) {
    return squaredDistance(other.at, at) < apart_ * apart_;
  };
  if (std::any_of(found_.begin(), rank, isNear)) return;
  const auto place = found_.insert(rank, {candidate, at});
  found_.erase(std::remove_if(place + 1, found_.end(), isNear), found_.end());
  if (found_.size() > kRoomFactor * most_) found_.pop_back();
}

std::vector<Candidate> Candidates::best() const {
  std::vector<Candidate> list;
  for (std::size_t i = 0; i < std::min(most_, found_.size()); ++i) {
    list.push_back(found_[i].candidate);
  }
  return list;
}

// ------------------------------------------------------------------------------------ comparison

void Comparison::begin(const Searcher& searcher, const GreyView& picture, const Affine& around,
                       const SearchGrid& grid, int first_row, int rows) {
  searcher_ = &searcher;
  linear_ = {around.xx, around.xy, 0.0, around.yx, around.yy, 0.0};
  grid_ = grid;
  first_row_ = first_row;
  rows_ = rows;
  margin_ = static_cast<int>(std::ceil(kMostGrowth * searcher.radius_ / searcher.reduction_)) + 1;
  width_ = grid.columns + 2 * margin_;
  const int height = rows + 2 * margin_;
  const Point origin{grid.origin.x - margin_ * grid.step,
                     grid.origin.y + (first_row - margin_) * grid.step};
  grey_.resize(static_cast<std::size_t>(width_) * static_cast<std::size_t>(height) + kAtOnce);
  warp(picture, translation(origin) * scaling(grid.step), width_, height, grey_.data());
  offsets_.resize(searcher.samples_.size());
  // A row and a column beside it on each side, of no correlation.
  pitch_ = (grid.columns + kAtOnce - 1) / kAtOnce * kAtOnce + 2;
  map_.assign(static_cast<std::size_t>(pitch_) * static_cast<std::size_t>(rows + 2), 0.0F);
}

void Comparison::compare(const Variation& v, Candidates& found) {
  const Affine turn{v.scale * v.cosine, -v.scale * v.sine,  0.0,
                    v.scale * v.sine,   v.scale * v.cosine, 0.0};
  const Affine linear = linear_ * turn;
  for (std::size_t k = 0; k < offsets_.size(); ++k) {
    const Point at = (1.0 / grid_.step) * linear(searcher_->samples_[k].offset);
    const int dx = static_cast<int>(std::floor(at.x + 0.5));
    const int dy = static_cast<int>(std::floor(at.y + 0.5));
    if (std::abs(dx) > margin_ || std::abs(dy) > margin_) return;
    offsets_[k] = dy * width_ + dx;
  }
  for (int y = 0; y < rows_; ++y) {
    for (int x = 0; x < grid_.columns; x += kAtOnce) correlate(x, y);
  }
  for (int y = 0; y < rows_; ++y) {
    for (int x = 0; x < grid_.columns; ++x) {
      if (!isPeak(x, y)) continue;
      const Point at{grid_.origin.x + x * grid_.step,
                     grid_.origin.y + (first_row_ + y) * grid_.step};
      Affine pose = linear;
      const Point origin = linear(searcher_->middle_);
      pose.x0 = at.x - origin.x;
      pose.y0 = at.y - origin.y;
      found.add({pose, static_cast<double>(mapAt(x, y))}, at);
    }
  }
}

// Correlations of some neighbours at once, each summed in the order of the samples.
void Comparison::correlate(int x, int y) {
  constexpr int kVectors = kAtOnce / 4;
  typedef float Floats __attribute__((vector_size(16)));
  Floats sum[kVectors] = {}, squares[kVectors] = {}, products[kVectors] = {};
  const float* const at =
      grey_.data() + static_cast<std::ptrdiff_t>(y + margin_) * width_ + margin_ + x;
  const std::size_t count = offsets_.size();
  for (std::size_t k = 0; k < count; ++k) {
    const float one = searcher_->samples_[k].grey;
    const Floats grey = {one, one, one, one};
    for (int v = 0; v < kVectors; ++v) {
      Floats in;
      std::memcpy(&in, at + offsets_[k] + 4 * v, sizeof in);
      sum[v] += in;
      squares[v] += in * in;
      products[v] += in * grey;
    }
  }
  const auto n = static_cast<float>(count);
  const float least = static_cast<float>(kLeastContrast * kLeastContrast) * n * n;
  const float scale = searcher_->spread_ * std::sqrt(n);
  for (int i = 0; i < std::min(kAtOnce, grid_.columns - x); ++i) {
    const float s = sum[i / 4][i % 4];
    const float variance = n * squares[i / 4][i % 4] - s * s;
    const float covariance = n * products[i / 4][i % 4] - s * searcher_->sum_;
    mapAt(x + i, y) = variance > least ? covariance / (std::sqrt(variance) * scale) : 0.0F;
  }
}

bool Comparison::isPeak(int x, int y) {
  const float here = mapAt(x, y);
  if (!(here > kLeastCorrelation)) return false;
  for (int j = y - 1; j <= y + 1; ++j) {
    for (int i = x - 1; i <= x + 1; ++i) {
      if (mapAt(i, j) > here) return false;
    }
  }
  return true;
}

double Comparison::work() const {
  return static_cast<double>(rows_) * grid_.columns * static_cast<double>(offsets_.size());
}

}  // namespace remora
