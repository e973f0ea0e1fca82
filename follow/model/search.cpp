#include "follow/model/search.h"

#include <algorithm>
#include <cmath>

namespace remora {
namespace {

constexpr double kPlaces = 250.0;                        // of the region that are compared, about
constexpr int kLeastReduction = 2, kMostReduction = 16;  // canvas pixels a search pixel
constexpr double kLeastCorrelation = 0.25;
constexpr double kLeastContrast = 3.0;  // grey levels, standard deviation
constexpr double kApart = 0.35;         // of the region's radius, between two candidates

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

struct Reduced {
  std::vector<float> grey;
  int width = 0, height = 0;
  Point origin;       // of the picture, where pixel (0, 0) lies
  double step = 1.0;  // pixels of the picture between two
};

struct Hit {
  int x, y;
  float correlation;
};

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
  std::vector<Candidate> found;
  if (samples_.empty() || !(spread_ > 0.0F)) return found;
  const double size = std::sqrt(std::abs(around.determinant()));  // picture pixels a canvas pixel
  const Point middle = around(middle_);
  const double left = std::max(middle.x - reach, 0.0);
  const double top = std::max(middle.y - reach, 0.0);
  const double right = std::min(middle.x + reach, picture.width - 1.0);
  const double bottom = std::min(middle.y + reach, picture.height - 1.0);
  if (!(right >= left && bottom >= top) || !(size > 1e-3)) return found;

  Reduced reduced;
  reduced.step = size * reduction_;
  double largest = 0.0;
  for (const Variation& v : variations) largest = std::max(largest, v.scale);
  const int margin = static_cast<int>(std::ceil(1.3 * largest * radius_ / reduction_)) + 1;
  const int columns = static_cast<int>((right - left) / reduced.step) + 1;
  const int rows = static_cast<int>((bottom - top) / reduced.step) + 1;
  reduced.width = columns + 2 * margin;
  reduced.height = rows + 2 * margin;
  reduced.origin = {left - margin * reduced.step, top - margin * reduced.step};
  reduced.grey.resize(static_cast<std::size_t>(reduced.width) *
                      static_cast<std::size_t>(reduced.height));
  warp(picture, translation(reduced.origin) * scaling(reduced.step), reduced.width, reduced.height,
       reduced.grey.data());

  const auto n = static_cast<float>(samples_.size());
  const float least = static_cast<float>(kLeastContrast * kLeastContrast) * n * n;
  std::vector<int> offsets(samples_.size());
  std::vector<float> sum(static_cast<std::size_t>(columns)), squares(sum), products(sum);
  std::vector<float> map(static_cast<std::size_t>(columns) * static_cast<std::size_t>(rows));
  struct Found {
    Candidate candidate;
    Point at;
  };
  std::vector<Found> all;
  for (const Variation& v : variations) {
    const Affine turn{v.scale * v.cosine, -v.scale * v.sine,  0.0,
                      v.scale * v.sine,   v.scale * v.cosine, 0.0};
    const Affine linear = Affine{around.xx, around.xy, 0.0, around.yx, around.yy, 0.0} * turn;
    bool fits = true;
    for (std::size_t k = 0; k < samples_.size(); ++k) {
      const Point at = (1.0 / reduced.step) * linear(samples_[k].offset);
      const int dx = static_cast<int>(std::floor(at.x + 0.5));
      const int dy = static_cast<int>(std::floor(at.y + 0.5));
      fits = fits && std::abs(dx) <= margin && std::abs(dy) <= margin;
      offsets[k] = dy * reduced.width + dx;
    }
    if (!fits) continue;
    for (int y = 0; y < rows; ++y) {
      std::fill(sum.begin(), sum.end(), 0.0F);
      std::fill(squares.begin(), squares.end(), 0.0F);
      std::fill(products.begin(), products.end(), 0.0F);
      const float* const row =
          reduced.grey.data() + static_cast<std::ptrdiff_t>(y + margin) * reduced.width + margin;
      for (std::size_t k = 0; k < samples_.size(); ++k) {
        const float* const in = row + offsets[k];
        const float grey = samples_[k].grey;
        float *a = sum.data(), *b = squares.data(), *c = products.data();
        for (int x = 0; x < columns; ++x) {
          a[x] += in[x];
          b[x] += in[x] * in[x];
          c[x] += in[x] * grey;
        }
      }
      float* const out = map.data() + static_cast<std::ptrdiff_t>(y) * columns;
      for (int x = 0; x < columns; ++x) {
        const auto i = static_cast<std::size_t>(x);
        const float variance = n * squares[i] - sum[i] * sum[i];
        const float covariance = n * products[i] - sum[i] * sum_;
        out[x] =
            variance > least ? covariance / (std::sqrt(variance) * spread_ * std::sqrt(n)) : 0.0F;
      }
    }
    for (int y = 0; y < rows; ++y) {
      for (int x = 0; x < columns; ++x) {
        const float here = map[static_cast<std::size_t>(y * columns + x)];
        if (!(here > kLeastCorrelation)) continue;
        bool highest = true;
        for (int j = std::max(y - 1, 0); j <= std::min(y + 1, rows - 1) && highest; ++j) {
          for (int i = std::max(x - 1, 0); i <= std::min(x + 1, columns - 1); ++i) {
            if (map[static_cast<std::size_t>(j * columns + i)] > here) highest = false;
          }
        }
        if (!highest) continue;
        const Point at{left + x * reduced.step, top + y * reduced.step};
        Affine pose = linear;
        const Point origin = linear(middle_);
        pose.x0 = at.x - origin.x;
        pose.y0 = at.y - origin.y;
        all.push_back({{pose, static_cast<double>(here)}, at});
      }
    }
  }
  std::stable_sort(all.begin(), all.end(), [](const Found& a, const Found& b) {
    return a.candidate.correlation > b.candidate.correlation;
  });
  const double apart = kApart * radius_ * size;
  std::vector<Point> taken;
  for (const Found& hit : all) {
    if (found.size() >= most) break;
    const bool near = std::any_of(taken.begin(), taken.end(), [&](const Point& p) {
      return squaredDistance(p, hit.at) < apart * apart;
    });
    if (near) continue;
    taken.push_back(hit.at);
    found.push_back(hit.candidate);
  }
  return found;
}

}  // namespace remora
