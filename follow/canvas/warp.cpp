#include "follow/canvas/warp.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace remora {
namespace {

constexpr int kFraction = 32;               // bits behind the point of a coordinate
constexpr double kFixedOne = 4294967296.0;  // 2 to the power of that
constexpr int kWeightBits = 8;              // of it, that weigh pixels
constexpr int kMostSamples = 8;             // a pixel, in each direction
constexpr double kFarthest = 1e6;           // pixels; farther places are outside all the same
constexpr double kLongestStep = 16384.0;    // pixels; a row of steps still fits a whole number

// What is no number counts as far away.
std::int64_t toFixed(double value, double limit) {
  const double limited = value > -limit ? std::min(value, limit) : -limit;
  return static_cast<std::int64_t>(limited * kFixedOne);
}

unsigned weightOf(std::int64_t fixed) {
  return static_cast<unsigned>(fixed >> (kFraction - kWeightBits)) & ((1U << kWeightBits) - 1U);
}

unsigned mixed(unsigned a, unsigned b, unsigned c, unsigned d, unsigned wx, unsigned wy) {
  constexpr unsigned kOne = 1U << kWeightBits;
  return (a * (kOne - wx) + b * wx) * (kOne - wy) + (c * (kOne - wx) + d * wx) * wy;
}

unsigned insideAt(const GreyView& p, std::int64_t x, std::int64_t y) {
  const unsigned char* const at = p.data + (y >> kFraction) * p.stride + (x >> kFraction);
  const unsigned char* const below = at + p.stride;
  return mixed(at[0], at[1], below[0], below[1], weightOf(x), weightOf(y));
}

unsigned clampedAt(const GreyView& p, std::int64_t x, std::int64_t y) {
  const auto column = [&p](std::int64_t at) {
    return std::clamp<std::int64_t>(at, 0, p.width - 1);
  };
  const auto row = [&p](std::int64_t at) {
    return p.data + std::clamp<std::int64_t>(at, 0, p.height - 1) * p.stride;
  };
  const std::int64_t left = column(x >> kFraction);
  const std::int64_t right = column((x >> kFraction) + 1);
  const unsigned char* const upper = row(y >> kFraction);
  const unsigned char* const lower = row((y >> kFraction) + 1);
  return mixed(upper[left], upper[right], lower[left], lower[right], weightOf(x), weightOf(y));
}

// The steps of one canvas row.
struct Row {
  std::int64_t x, y, step_x, step_y;
  std::int64_t xAt(std::int64_t i) const { return x + i * step_x; }
  std::int64_t yAt(std::int64_t i) const { return y + i * step_y; }
};

// The first and one past the last index below `count` for which low <= start + i * step < high.
struct Range {
  std::int64_t first, last;
};
Range within(std::int64_t start, std::int64_t step, std::int64_t high, int count) {
  if (step == 0) return start >= 0 && start < high ? Range{0, count} : Range{0, 0};
  const auto ceilDiv = [](std::int64_t a, std::int64_t b) {  // b > 0
    return a >= 0 ? (a + b - 1) / b : -(-a / b);
  };
  Range range{};
  if (step > 0) {
    range = {ceilDiv(-start, step), ceilDiv(high - start, step)};
  } else {
    range = {ceilDiv(start - high + 1, -step), ceilDiv(start + 1, -step)};
  }
  return {std::clamp<std::int64_t>(range.first, 0, count),
          std::clamp<std::int64_t>(range.last, 0, count)};
}

Range insideRange(const GreyView& p, const Row& row, int count) {
  const Range x = within(row.x, row.step_x, std::int64_t{p.width - 1} << kFraction, count);
  const Range y = within(row.y, row.step_y, std::int64_t{p.height - 1} << kFraction, count);
  const std::int64_t first = std::max(x.first, y.first);
  return {first, std::max(first, std::min(x.last, y.last))};
}

template <class Put>
void sampleRow(const GreyView& p, const Row& row, int count, const Put& put) {
  const Range inside = insideRange(p, row, count);
  for (std::int64_t i = 0; i < inside.first; ++i) put(i, clampedAt(p, row.xAt(i), row.yAt(i)));
  for (std::int64_t i = inside.first; i < inside.last; ++i) {
    put(i, insideAt(p, row.xAt(i), row.yAt(i)));
  }
  for (std::int64_t i = inside.last; i < count; ++i) put(i, clampedAt(p, row.xAt(i), row.yAt(i)));
}

int samplesPerPixel(const Affine& map) {
  const double longest =
      std::sqrt(std::max(map.xx * map.xx + map.yx * map.yx, map.xy * map.xy + map.yy * map.yy));
  constexpr double kTolerated = 1.4;  // pixels of the picture between two samples
  if (!(longest > kTolerated)) return 1;
  return static_cast<int>(std::min<double>(std::ceil(longest / kTolerated), kMostSamples));
}

}  // namespace

void warp(const GreyView& picture, const Affine& to_picture, int width, int height, float* out) {
  if (picture.width < 1 || picture.height < 1) {
    std::fill(out, out + static_cast<std::ptrdiff_t>(width) * height, 0.0F);
    return;
  }
  const int samples = samplesPerPixel(to_picture);
  const double unit = 1.0 / (65536.0 * samples * samples);
  const double spacing = 1.0 / samples;
  const double first = 0.5 * spacing - 0.5;
  for (int y = 0; y < height; ++y) {
    float* const line = out + static_cast<std::ptrdiff_t>(y) * width;
    const auto row = [&](int sx, int sy) {
      const Point start = to_picture({first + sx * spacing, y + first + sy * spacing});
      return Row{toFixed(start.x, kFarthest), toFixed(start.y, kFarthest),
                 toFixed(to_picture.xx, kLongestStep), toFixed(to_picture.yx, kLongestStep)};
    };
    if (samples == 1) {
      sampleRow(picture, row(0, 0), width, [line](std::int64_t i, unsigned value) {
        line[i] = static_cast<float>(static_cast<int>(value)) * (1.0F / 65536.0F);
      });
      continue;
    }
    std::fill(line, line + width, 0.0F);
    for (int s = 0; s < samples * samples; ++s) {
      sampleRow(picture, row(s % samples, s / samples), width,
                [line, unit](std::int64_t i, unsigned value) {
                  line[i] += static_cast<float>(static_cast<double>(value) * unit);
                });
    }
  }
}

void smooth(float* canvas, int width, int height, float* scratch) {
  constexpr float kOuter = 1.0F / 16.0F, kInner = 4.0F / 16.0F, kMiddle = 6.0F / 16.0F;
  const auto tap = [](float a, float b, float c, float d, float e) {
    return (a + e) * kOuter + (b + d) * kInner + c * kMiddle;
  };
  for (int y = 0; y < height; ++y) {
    const float* const in = canvas + static_cast<std::ptrdiff_t>(y) * width;
    float* const out = scratch + static_cast<std::ptrdiff_t>(y) * width;
    const auto at = [in, width](int x) { return in[std::clamp(x, 0, width - 1)]; };
    const auto edge = [&](int x) {
      out[x] = tap(at(x - 2), at(x - 1), at(x), at(x + 1), at(x + 2));
    };
    for (int x = 0; x < std::min(2, width); ++x) edge(x);
    for (int x = 2; x < width - 2; ++x)
      out[x] = tap(in[x - 2], in[x - 1], in[x], in[x + 1], in[x + 2]);
    for (int x = std::max(2, width - 2); x < width; ++x) edge(x);
  }
  for (int y = 0; y < height; ++y) {
    const auto row = [=](int at) {
      return scratch + static_cast<std::ptrdiff_t>(std::clamp(at, 0, height - 1)) * width;
    };
    const float *a = row(y - 2), *b = row(y - 1), *c = row(y), *d = row(y + 1), *e = row(y + 2);
    float* const out = canvas + static_cast<std::ptrdiff_t>(y) * width;
    for (int x = 0; x < width; ++x) out[x] = tap(a[x], b[x], c[x], d[x], e[x]);
  }
}

}  // namespace remora
