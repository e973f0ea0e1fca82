// Steps of a tracker that the input describes, over images that it describes, with each set of
// kernels, held against plain loops.
#include <algorithm>
#include <charconv>
#include <climits>
#include <functional>

#include "../reference.h"
#include "cimg/CImg.h"
#include "described.h"
#include "fast_lp.h"
#include "fuzz.h"
#include "internal/kernels/kernels.h"

namespace {

using fuzz::Bytes;
using fuzz::Random;

struct Point {
  int base[2];  // what its offsets lie around
  reference::Part parts[2];
  reference::Offsets merged[2];
};

reference::Part describedPart(Bytes& in, const int* base) {
  reference::Part part;
  part.lps = in.below(4);
  const int size = in.below(256);
  part.entries.resize(static_cast<std::size_t>(size < 240 ? size % 40 : 20 * (size - 239)));
  const int spread = 1 + in.below(24);
  const int special = in.below(4);  // every so many weights are any number
  part.bias = in.real();
  Random random(in);
  for (reference::Entry& entry : part.entries) {
    entry.dx = base[0] + random.whole(-spread, spread);
    entry.dy = base[1] + random.whole(-spread, spread);
    entry.intensity = random.real(0, 1);
    entry.weight = random.real(-3, 3);
    if (special != 0 && random.whole(0, 5 * special) == 0 && !in.atEnd()) entry.weight = in.real();
  }
  return part;
}

std::vector<Point> describedPoints(Bytes& in) {
  constexpr int kBases[] = {0, 0, 0, 3, 1000000000, -1000000000, INT_MAX - 24, INT_MIN + 24};
  std::vector<Point> points(1 + static_cast<std::size_t>(in.below(12)));
  for (Point& point : points) {
    for (int& base : point.base) base = kBases[in.below(8)];
    for (int axis = 0; axis < 2; ++axis) {
      point.parts[axis] = describedPart(in, point.base);
      point.merged[axis] = reference::mergedOf(point.parts[axis]);
    }
  }
  return points;
}

// The shortest text that is read back as the same number.
template <class Number>
std::string number(Number value) {
  char digits[32];
  char* const end = std::to_chars(digits, digits + sizeof digits - 1, value).ptr;
  *end = ' ';
  return {digits, end + 1};
}

std::string fileOf(const std::vector<Point>& points) {
  std::string text = std::to_string(points.size()) + '\n';
  for (const Point& point : points) {
    for (const reference::Part& part : point.parts) {
      text += std::to_string(part.lps) + ' ' + std::to_string(part.entries.size()) + " 0 0\n";
      for (const auto& e : part.entries) text += number(e.dx) + number(e.dy);
      for (const auto& e : part.entries) text += number(e.intensity);
      for (const auto& e : part.entries) text += number(e.weight);
      text += number(part.bias) + '\n';
    }
  }
  return text;
}

// An image as pixels and as bytes, in memory of no more than their size.
struct Images {
  explicit Images(Bytes& in)
      : width(in.below(2) == 0 ? in.below(64) : in.below(3)),
        height(in.below(2) == 0 ? in.below(64) : in.below(3)),
        line(3 * width + (height > 1 ? in.below(100) : in.raw<int>() & (INT_MAX >> 1))) {
    const bool empty = width == 0 || height == 0;
    if (!empty) {
      pixels.assign(static_cast<unsigned>(width), static_cast<unsigned>(height), 1U,
                    1U + in.raw<std::uint8_t>() % 3U);
    }
    bytes.resize(empty ? 0 : static_cast<std::size_t>((height - 1) * line + 3 * width));
    bytes.shrink_to_fit();
    const int special = in.below(4);
    Random random(in);
    for (float& pixel : pixels) {
      pixel = static_cast<float>(random.real(0, 255));
      const bool any = special == 1 || (special == 2 && random.whole(0, 40) == 0);
      if (any && !in.atEnd()) pixel = static_cast<float>(in.real());
    }
    for (unsigned char& byte : bytes) byte = static_cast<unsigned char>(random.whole(0, 255));
  }

  int width, height, line;
  CImg<float> pixels;
  std::vector<unsigned char> bytes;
};

// Mostly so that the point's offsets lie in or near the image.
void describedPosition(Bytes& in, const Images& images, const int* base, double* position) {
  const int sizes[] = {images.width, images.height};
  for (int axis = 0; axis < 2; ++axis) {
    if (in.below(8) == 0) {
      position[axis] = in.real();
    } else {
      const double share = in.below(256) / 256.0;
      position[axis] = share * (sizes[axis] + 20) - 10 - base[axis];
    }
  }
}

class Steps {
 public:
  // `other` is a tracker of as many points; it holds where a step starts.
  Steps(const std::vector<Point>& points, Images& images, const char* file, FastShapeTracker& other)
      : points_(points), images_(images), tracker_(file), other_(other) {
    fuzz::require(count() == points.size(), "a tracker is read from a valid file");
  }

  void run(Bytes in) {
    for (int steps = 0; steps < 8 && !in.atEnd(); ++steps) {
      for (std::size_t i = 0; i < count(); ++i) {
        describedPosition(in, images_, points_[i].base, tracker_.all_pos[i]);
        std::copy_n(tracker_.all_pos[i], 2, other_.all_pos[i]);
      }
      step(in);
    }
  }

 private:
  std::size_t count() const { return static_cast<std::size_t>(tracker_.num_points); }

  void step(Bytes& in) {
    unsigned char* const bytes = images_.bytes.empty() ? nullptr : images_.bytes.data();
    CImg<float>& pixels = images_.pixels;
    const int kind = in.below(7);
    double h[] = {1, 0, 7, 0, 1};
    for (double& element : h) element = kind >= 5 && in.below(2) != 0 ? in.real() : element;
    const auto eachPoint = [&](const std::function<void(FastLP&)>& predict) {
      expect(kind == 4, h, [&] {
        for (std::size_t i = 0; i < count(); ++i) predict(*tracker_.all_flp[i]);
      });
    };
    switch (kind) {
      case 0:
        return expect(false, h, [&] { tracker_.Predict(pixels); });
      case 1:
        return expect(false, h, [&] {
          if (in.below(2) == 0) {
            tracker_.AddOffset(7.5, NAN);
            tracker_.Predict(pixels, &other_);
          } else {
            tracker_.Predict(pixels, &tracker_);
          }
        });
      case 2:
        return expect(
            true, h, [&] { tracker_.Predict(bytes, images_.line, images_.width, images_.height); });
      case 3:
        return eachPoint([&](FastLP& point) { point.Predict(pixels); });
      case 4:
        return eachPoint([&](FastLP& point) {
          point.Predict(bytes, images_.line, images_.width, images_.height);
        });
      default:
        return eachPoint([&](FastLP& point) { point.Predict(pixels, h); });
    }
  }

  // Every point goes where the plain loop takes it from its place in `other_`.
  void expect(bool over_bytes, const double* h, const std::function<void()>& predict) {
    predict();
    const auto grey = [&](long long x, long long y) {
      return over_bytes ? static_cast<float>(
                              images_.bytes[static_cast<std::size_t>(3 * x + y * images_.line)])
                        : images_.pixels.data()[x + y * images_.width];
    };
    for (std::size_t i = 0; i < count(); ++i) {
      const double* const at = other_.all_pos[i];
      const auto sample = [&](int dx, int dy) {
        return reference::sampled(grey, images_.width, images_.height, at, h, dx, dy);
      };
      for (int axis = 0; axis < 2; ++axis) {
        const double expected =
            reference::stepped(points_[i].parts[axis], points_[i].merged[axis], at[axis], sample);
        fuzz::require(fuzz::same(tracker_.all_pos[i][axis], expected),
                      "a step is the plain loop's");
      }
    }
  }

  const std::vector<Point>& points_;
  Images& images_;
  FastShapeTracker tracker_;
  FastShapeTracker& other_;
};

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace remora::internal;
  static const fuzz::File file;
  Bytes in(data, size);
  Images images(in);
  const std::vector<Point> points = describedPoints(in);
  const char* const name = file.holding(fileOf(points));
  const Kernels& widest = kernels();
  fuzz::Lines([&] {
    FastShapeTracker other(name);
    for (int set = 0; set < kernelChoices().count; ++set) {
      useKernels(*kernelChoices().sets[set]);
      Steps(points, images, name, other).run(in);
    }
  });
  useKernels(widest);
  return 0;
}
