#include "follow/model/following_model.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace remora {
namespace {

constexpr double kMargin = 15.0;         // canvas pixels around the hull that show the shape
constexpr double kSmallestReach = 45.0;  // canvas pixels from the middle, of a small shape
constexpr double kRegionPixels = 900.0;  // that tell the brightness, about

double cross(const Point& o, const Point& a, const Point& b) {
  return (a.x - o.x) * (b.y - o.y) - (a.y - o.y) * (b.x - o.x);
}

// Convex hull in order (A. M. Andrew, "Another efficient algorithm for convex hulls in two
// dimensions", 1979).
Shape hullOf(Shape points) {
  std::sort(points.begin(), points.end(),
            [](const Point& a, const Point& b) { return a.x < b.x || (a.x == b.x && a.y < b.y); });
  Shape hull;
  const auto addChain = [&hull](auto first, auto last) {
    const std::size_t start = hull.size();
    for (; first != last; ++first) {
      while (hull.size() >= start + 2 && cross(hull[hull.size() - 2], hull.back(), *first) <= 0.0) {
        hull.pop_back();
      }
      hull.push_back(*first);
    }
    hull.pop_back();  // the first of the other chain
  };
  if (points.size() < 2) return points;
  addChain(points.begin(), points.end());
  addChain(points.rbegin(), points.rend());
  return hull;
}

double squaredDistanceToSide(const Point& p, const Point& a, const Point& b) {
  const Point side = b - a;
  const double length = squaredLength(side);
  const Point to = p - a;
  const double share =
      length > 0.0 ? std::clamp((to.x * side.x + to.y * side.y) / length, 0.0, 1.0) : 0.0;
  return squaredDistance(p, a + share * side);
}

bool isNear(const Shape& hull, const Point& p, double margin) {
  bool inside = hull.size() >= 3;
  for (std::size_t i = 0; i < hull.size(); ++i) {
    const Point& a = hull[i];
    const Point& b = hull[(i + 1) % hull.size()];
    if (squaredDistanceToSide(p, a, b) <= margin * margin) return true;
    inside = inside && cross(a, b, p) >= 0.0;
  }
  return inside;
}

// The mean canvas over the pixel of another level.
float greyAt(const Point& canvas, int factor, const std::vector<float>& mean, const Level& level) {
  const Point corner = level.toLevel(canvas) - 0.5 * Point{factor - 1.0, factor - 1.0};
  float sum = 0.0F;
  for (int j = 0; j < factor; ++j) {
    for (int i = 0; i < factor; ++i) {
      const int x = std::clamp(static_cast<int>(std::lround(corner.x)) + i, 0, level.width - 1);
      const int y = std::clamp(static_cast<int>(std::lround(corner.y)) + j, 0, level.height - 1);
      sum += mean[static_cast<std::size_t>(y) * static_cast<std::size_t>(level.width) +
                  static_cast<std::size_t>(x)];
    }
  }
  return sum / static_cast<float>(factor * factor);
}

}  // namespace

double Calibration::at(double score) const {
  if (nodes.empty()) return 0.0;
  if (!(score > nodes.front().first)) return nodes.front().second;
  for (std::size_t i = 1; i < nodes.size(); ++i) {
    const auto& [low, low_share] = nodes[i - 1];
    const auto& [high, high_share] = nodes[i];
    if (score <= high) return low_share + (high_share - low_share) * (score - low) / (high - low);
  }
  return nodes.back().second;
}

std::vector<bool> maskOf(const Level& level, const Shape& mean_shape) {
  const Shape hull = hullOf(mean_shape);
  const double margin = std::max(kMargin, kSmallestReach - sizeOf(mean_shape));
  std::vector<bool> mask;
  mask.reserve(level.size());
  for (int y = 0; y < level.height; ++y) {
    for (int x = 0; x < level.width; ++x) {
      const Point canvas = level.toCanvas({static_cast<double>(x), static_cast<double>(y)});
      mask.push_back(isNear(hull, canvas, margin));
    }
  }
  return mask;
}

void completeRegions(FollowingModel& model) {
  for (int l = 0; l < kLevels; ++l) {
    const Level& level = model.levels[l];
    const std::vector<bool> mask = maskOf(level, model.shape.mean());
    const auto shown = std::count(mask.begin(), mask.end(), true);
    const int every = static_cast<int>(std::sqrt(static_cast<double>(shown) / kRegionPixels)) + 1;
    model.regions[l] = {};
    for (int y = 0; y < level.height; y += every) {
      for (int x = 0; x < level.width; x += every) {
        const int place = y * level.width + x;
        if (!mask[static_cast<std::size_t>(place)]) continue;
        const Point canvas = level.toCanvas({static_cast<double>(x), static_cast<double>(y)});
        model.regions[l].places.push_back(place);
        model.regions[l].grey.push_back(
            greyAt(canvas, level.factor, model.mean, model.levels[kFine]));
      }
    }
  }
}

}  // namespace remora
