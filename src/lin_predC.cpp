#include "lin_predC.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "internal/arrays.h"
#include "internal/examples.h"
#include "internal/messages.h"
#include "internal/offset_box.h"
#include "internal/pixel.h"
#include "internal/random.h"
#include "internal/ridge.h"
#include "internal/text_io.h"

using remora::internal::Draws;
using remora::internal::drawWholeOffset;
using remora::internal::ExampleSampler;
using remora::internal::PixelView;
using remora::internal::release;
using remora::internal::sampled;
using remora::internal::say;
using remora::internal::TextReader;
using remora::internal::TextWriter;
using remora::internal::toSize;
using remora::internal::truncated;
namespace text = remora::internal::text;

namespace {

constexpr int kDefaultSupportPixels = 300;
constexpr int kDefaultExamples = 400;
constexpr int kMostDraws = 1000000;        // for one support pixel: a range may be far too wide
constexpr std::size_t kRowsAtATime = 32;   // of stored differences: they stay in the L1 cache
constexpr double kLargestResidual = 99.0;  // pixels; a matrix must err less
constexpr double kNoNumber = std::numeric_limits<double>::quiet_NaN();

// The samples of a support pixel pattern around a reference point.
class Pattern {
 public:
  template <class Coordinate>
  Pattern(const CImg<float>& image, const Coordinate* reference, const int* offsets)
      : view_(image),
        x_(truncated(static_cast<double>(reference[0]))),
        y_(truncated(static_cast<double>(reference[1]))),
        offsets_(offsets) {}

  double sample(int k) const { return sample(k, 0, 0); }

  double sample(int k, std::int64_t tx, std::int64_t ty) const {
    const int* const offset = offsets_ + 2 * toSize(k);
    return sampled(view_.nearestGrey(x_ + offset[0] + tx, y_ + offset[1] + ty));
  }

 private:
  PixelView view_;
  std::int64_t x_;
  std::int64_t y_;
  const int* offsets_;
};

void form(Gan_Matrix& matrix, std::size_t rows, std::size_t cols) {
  if (gan_mat_form_gen(&matrix, rows, cols, nullptr, 0) == nullptr) throw std::bad_alloc();
}

bool inRange(double value, int size) { return value >= 0.0 && value < size; }

// False when no draw falls inside the image.
bool drawSupportPixel(Draws& draws, int range, int width, int height, const double* position,
                      int* offset) {
  for (int draw = 0; draw < kMostDraws; ++draw) {
    const double dx = drawWholeOffset(draws, range);
    const double dy = drawWholeOffset(draws, range);
    if (inRange(position[0] + dx, width) && inRange(position[1] + dy, height)) {
      offset[0] = static_cast<int>(dx);
      offset[1] = static_cast<int>(dy);
      return true;
    }
  }
  return false;
}

// requires: `displacements` points to one direction of the first of `count`
bool areNumbers(const double* displacements, std::size_t count) {
  using remora::internal::kTargets;
  for (std::size_t e = 0; e < count; ++e) {
    if (std::isnan(displacements[kTargets * e])) return false;
  }
  return true;
}

// Limits displacements of a pattern to where all of it lies inside the image.
class Border {
 public:
  Border(const CImg<float>& image, const float* reference, const int* offsets, int size)
      : size_{image.width(), image.height()},
        reference_{static_cast<double>(reference[0]), static_cast<double>(reference[1])},
        offsets_(offsets),
        count_(toSize(size)),
        box_(remora::internal::boxOf(offsets, count_)) {}

  // A support pixel outside the image resets both components, whichever coordinate was outside; the
  // support pixels after it are tested against the new, in general fractional, displacement.
  void limit(double* displacement) const {
    // Rounding is monotone: where the corners of the pattern's box are inside, all of it is.
    const int near[] = {box_.min_x, box_.min_y};
    const int far[] = {box_.max_x, box_.max_y};
    if (contains(near, displacement) && contains(far, displacement)) return;
    for (std::size_t k = 0; k < count_; ++k) {
      const int* const offset = offsets_ + 2 * k;
      if (!contains(offset, displacement)) reset(offset, displacement);
    }
  }

 private:
  double place(int axis, const int* offset, const double* displacement) const {
    return reference_[axis] + offset[axis] + std::trunc(displacement[axis]);
  }
  bool contains(const int* offset, const double* displacement) const {
    return inRange(place(0, offset, displacement), size_[0]) &&
           inRange(place(1, offset, displacement), size_[1]);
  }
  void reset(const int* offset, double* displacement) const {
    for (int axis = 0; axis < 2; ++axis) {
      const bool before = place(axis, offset, displacement) < 0.0;
      displacement[axis] = before ? -reference_[axis] - offset[axis]
                                  : size_[axis] - reference_[axis] - offset[axis] - 1.0;
    }
  }

  int size_[2];
  double reference_[2];
  const int* offsets_;
  std::size_t count_;
  remora::internal::OffsetBox box_;
};

}  // namespace

// ---------------------------------------------------------------------------------------------
// Construction

// requires: an object without arrays, counts that are not negative
void lin_predC::Allocate(int support_pixels, int examples) {
  const std::size_t size = toSize(support_pixels);
  auto offsets = std::make_unique<int[]>(2 * size);
  auto templ = std::make_unique<double[]>(size);
  auto now = std::make_unique<double[]>(size);
  auto learn = std::make_unique<double[]>(size);
  auto spare = std::make_unique<double[]>(size + 1);
  nSuppPix = support_pixels;
  nExample = examples;
  supPix = offsets.release();
  supPixInt = templ.release();
  nowSupPixInt = now.release();
  supPixInt_Learn = learn.release();
  j = spare.release();
}

void lin_predC::Clear() {
  release(supPix);
  release(supPixInt);
  release(nowSupPixInt);
  release(supPixInt_Learn);
  release(j);
  release(t);
  release(l);
  gan_mat_free(&H_vv);
}

lin_predC::lin_predC(int nSP, int nE) : lin_predC(Blank()) {
  Allocate(std::max(nSP, 0), std::max(nE, 0));
  form(H_vv, 1, 1);
}

lin_predC::lin_predC() : lin_predC(kDefaultSupportPixels, kDefaultExamples) {
  t = new double[2 * toSize(nExample)]();
  l = new double[toSize(nSuppPix) * toSize(nExample)]();
}

lin_predC::lin_predC(const lin_predC& a) : lin_predC(a.nSuppPix, a.nExample) {
  if (a.t != nullptr) {
    t = new double[2 * toSize(nExample)];
    std::copy_n(a.t, 2 * toSize(nExample), t);
  }
  std::copy_n(a.supPix, 2 * toSize(nSuppPix), supPix);
  std::copy_n(a.supPixInt, toSize(nSuppPix), supPixInt);
  if (gan_mat_copy_q(&a.H_vv, &H_vv) == nullptr) throw std::bad_alloc();
  range = a.range;
  residual_error = a.residual_error;
  state[0] = a.state[0];
  state[1] = a.state[1];
}

lin_predC& lin_predC::operator=(const lin_predC& a) {
  lin_predC copy(a);
  Swap(copy);
  return *this;
}

lin_predC::lin_predC(lin_predC&& a) noexcept : lin_predC(Blank()) { Swap(a); }

void lin_predC::Swap(lin_predC& other) noexcept {
  std::swap(nExample, other.nExample);
  std::swap(nSuppPix, other.nSuppPix);
  std::swap(range, other.range);
  std::swap(residual_error, other.residual_error);
  std::swap(d_int, other.d_int);
  std::swap(supPix, other.supPix);
  std::swap(supPixInt, other.supPixInt);
  std::swap(nowSupPixInt, other.nowSupPixInt);
  std::swap(t, other.t);
  std::swap(l, other.l);
  std::swap(j, other.j);
  std::swap(H_vv, other.H_vv);
  std::swap(state, other.state);
  std::swap(supPixInt_Learn, other.supPixInt_Learn);
  std::swap(added_ex, other.added_ex);
  std::swap(pred_template_err, other.pred_template_err);
  std::swap(first_ex_, other.first_ex_);
}

lin_predC::~lin_predC() { Clear(); }

// ---------------------------------------------------------------------------------------------
// Support pixels and template

void lin_predC::InitSupPixPos(int img_w, int img_h, double* ip_X, int ip_range) {
  range = ip_range;
  if (!inRange(ip_X[0], img_w) || !inRange(ip_X[1], img_h)) {
    say(text::kPatternOutside, ip_X[0], ip_X[1], img_w, img_h);
    std::fill_n(supPix, 2 * toSize(nSuppPix), 0);
    return;
  }
  Draws draws;
  for (int k = 0; k < nSuppPix; ++k) {
    if (drawSupportPixel(draws, range, img_w, img_h, ip_X, supPix + 2 * toSize(k))) continue;
    say(text::kPatternTooWide, kMostDraws, range, img_w, img_h);
    std::fill(supPix + 2 * toSize(k), supPix + 2 * toSize(nSuppPix), 0);
    return;
  }
}

void lin_predC::InitSupPixVals(CImg<float>& img, float* refP) {
  const Pattern pattern(img, refP, supPix);
  for (int k = 0; k < nSuppPix; ++k) supPixInt[k] = pattern.sample(k);
}

void lin_predC::ZeroSupPixVals() { std::fill_n(supPixInt, toSize(nSuppPix), 0.0); }

void lin_predC::AddSupPixVals(CImg<float>& img, float* refP, float weight) {
  const Pattern pattern(img, refP, supPix);
  for (int k = 0; k < nSuppPix; ++k) {
    supPixInt[k] += pattern.sample(k) * static_cast<double>(weight);
  }
}

double lin_predC::CalcPredErr(CImg<float>& ip_image, double* pos) {
  const Pattern pattern(ip_image, pos, supPix);
  double total = 0.0;
  for (int k = 0; k < nSuppPix; ++k) total += std::abs(pattern.sample(k) - supPixInt[k]);
  pred_template_err = nSuppPix > 0 ? total / nSuppPix : 0.0;
  return pred_template_err;
}

// ---------------------------------------------------------------------------------------------
// Learning

void lin_predC::AddLearnInfo(CImg<float>& sup_pix_img, float* sp_img_refP, CImg<float>& img,
                             float* img_refP, int num_ex_to_add) {
  SampleLearnTemplate(sup_pix_img, sp_img_refP);
  if (!MakeRoom(true)) return;
  const std::size_t features = toSize(nSuppPix);
  // Allocated first: no example is counted when this throws.
  ExampleSampler sampler(supPix, supPixInt, features);
  std::vector<double> rows(kRowsAtATime * sampler.pitch());

  std::size_t first = toSize(added_ex);
  if (DrawExamples(img, img_refP, num_ex_to_add) == 0) return;
  while (first < toSize(added_ex)) {
    const std::size_t count = std::min(kRowsAtATime, toSize(added_ex) - first);
    sampler.sample(PixelView(img), img_refP, t + 2 * first, count, rows.data());
    for (std::size_t row = 0; row < count; ++row, ++first) {
      std::copy_n(rows.data() + row * sampler.pitch(), features, l + first * features);
    }
  }
  KeepLastSample(img, img_refP);
}

void lin_predC::SampleLearnTemplate(const CImg<float>& img, const float* refP) {
  const Pattern pattern(img, refP, supPix);
  for (int k = 0; k < nSuppPix; ++k) supPixInt_Learn[k] = pattern.sample(k);
}

// Slots that were counted before their arrays were made hold no examples. The arrays are not
// initialised: their size may come from a file, and only what examples fill costs memory.
bool lin_predC::MakeRoom(bool for_differences) {
  if (t == nullptr || (for_differences && l == nullptr)) first_ex_ = added_ex;
  if (for_differences && l == nullptr) {
    l = new (std::nothrow) double[toSize(nSuppPix) * toSize(nExample)];
  }
  if (t == nullptr) t = new (std::nothrow) double[2 * toSize(nExample)];
  if (t != nullptr && (l != nullptr || !for_differences)) return true;
  say(text::kNoMemory, nExample);
  release(l);
  release(t);
  return false;
}

// Returns how many it drew: there may be fewer slots.
int lin_predC::DrawExamples(const CImg<float>& img, const float* refP, int most) {
  const Border border(img, refP, supPix, nSuppPix);
  Draws draws;
  const int first = added_ex;
  for (; added_ex - first < most && added_ex < nExample; ++added_ex) {
    double* const displacement = t + 2 * toSize(added_ex);
    displacement[0] = drawWholeOffset(draws, range);
    displacement[1] = drawWholeOffset(draws, range);
    border.limit(displacement);
  }
  return added_ex - first;
}

// requires: at least one example, the last one drawn from this image
void lin_predC::KeepLastSample(const CImg<float>& img, const float* refP) {
  if (nSuppPix == 0) return;
  const double* const displacement = t + 2 * toSize(added_ex - 1);
  d_int = Pattern(img, refP, supPix)
              .sample(nSuppPix - 1, truncated(displacement[0]), truncated(displacement[1]));
}

double lin_predC::LearnFromMultiImgsData(int sel_dim) {
  using namespace remora::internal;
  const std::unique_ptr<double[]> displacements(std::exchange(t, nullptr));
  const std::unique_ptr<double[]> differences(std::exchange(l, nullptr));
  const bool stored = displacements && differences && added_ex > first_ex_;
  const std::size_t first = toSize(first_ex_);
  const std::size_t examples = stored ? toSize(std::min(added_ex, nExample)) - first : 0;
  const std::size_t features = toSize(nSuppPix);
  const std::size_t pitch = wholeUnits(features + 1);
  std::vector<double> rows(kRowsAtATime * pitch);
  return Learn(examples, sel_dim, [&](const auto& use) {
    for (std::size_t done = 0; done < examples; done += kRowsAtATime) {
      const std::size_t count = std::min(kRowsAtATime, examples - done);
      padRows(differences.get() + (first + done) * features, features, count, pitch, rows.data());
      use(rows.data(), displacements.get() + kTargets * (first + done), count);
    }
  });
}

void lin_predC::AddDisplacements(const CImg<float>& img, const float* refP, int most) {
  if (MakeRoom(false)) DrawExamples(img, refP, most);
}

// Learns from displacements that AddDisplacements drew image by image, all of them or none, as if
// their differences had been stored. `rows` is storage that the predictors of a bunch share.
double lin_predC::LearnFromImgs(CImg<float>** imgs, const std::vector<std::array<float, 2>>& refPs,
                                int num_ex_per_img, int sel_dim, std::vector<double>& rows) {
  using namespace remora::internal;
  const bool complete = t != nullptr && first_ex_ == 0 && added_ex == nExample;
  const std::size_t examples = complete ? toSize(nExample) : 0;
  if (examples > 0) KeepLastSample(*imgs[refPs.size() - 1], refPs.back().data());
  const std::unique_ptr<double[]> displacements(std::exchange(t, nullptr));
  ExampleSampler sampler(supPix, supPixInt, toSize(nSuppPix));
  const std::size_t pitch = sampler.pitch();
  rows.resize(examples * pitch);
  bool sampled_once = false;
  return Learn(examples, sel_dim, [&](const auto& use) {
    for (std::size_t image = 0, done = 0; image < refPs.size() && done < examples; ++image) {
      const std::size_t count = std::min(toSize(num_ex_per_img), examples - done);
      double* const block = rows.data() + done * pitch;
      const double* const targets = displacements.get() + kTargets * done;
      if (!sampled_once) {
        sampler.sample(PixelView(*imgs[image]), refPs[image].data(), targets, count, block);
      }
      use(block, targets, count);
      done += count;
    }
    sampled_once = true;
  });
}

// `forEachBlock` is called up to twice: to form the normal equations and to measure the error. It
// hands each block of examples, as rows, displacements and their number, to the function it is
// given.
template <class ForEachBlock>
double lin_predC::Learn(std::size_t examples, int sel_dim, const ForEachBlock& forEachBlock) {
  using namespace remora::internal;
  if (added_ex < nExample) say(text::kTooFewExamples, added_ex, nExample);
  residual_error = std::numeric_limits<double>::infinity();
  RidgeMatrix matrix;
  if (examples > 0) {
    try {
      NormalEquations equations(toSize(nSuppPix) + 1);
      forEachBlock([&](const double* rows, const double* displacements, std::size_t count) {
        equations.add(rows, displacements, count);
      });
      matrix = equations.solve();
    } catch (const std::bad_alloc&) {
      matrix.clear();  // without memory the system cannot be solved
    }
  }
  const std::size_t target = sel_dim == 0 ? 0 : 1;
  if (!matrix.empty()) {
    MeanAbsoluteError error(matrix, target);
    forEachBlock([&](const double* rows, const double* displacements, std::size_t count) {
      error.add(rows, displacements, count);
    });
    residual_error = error.mean();
  } else {
    forEachBlock([&](const double*, const double* displacements, std::size_t count) {
      if (!areNumbers(displacements + target, count)) residual_error = kNoNumber;
    });
  }
  if (residual_error < kLargestResidual) {
    Gan_Matrix learned = {};
    form(learned, kTargets, toSize(nSuppPix) + 1);
    std::copy(matrix.begin(), matrix.end(), learned.data);
    gan_mat_free(&H_vv);
    H_vv = learned;
  } else {
    say(text::kResidualTooHigh);
  }
  return residual_error;
}

// Products of floats are exact in double.
double sse_inner(const float* a, const float* b, unsigned int n) {
  double sum = 0.0;
  for (unsigned int i = 0; i < n; ++i) sum += static_cast<double>(a[i]) * static_cast<double>(b[i]);
  return sum;
}

// ---------------------------------------------------------------------------------------------
// Record

void lin_predC::SaveToFile(std::FILE* file) {
  TextWriter out(file);
  out.integer(nExample).text(" ").integer(nSuppPix).text(" ").integer(range).text("\n");
  out.integerLine(supPix, 2 * toSize(nSuppPix));
  out.realLine(supPixInt, toSize(nSuppPix));
  out.integer(static_cast<int>(H_vv.rows)).text(" ");
  out.integer(static_cast<int>(H_vv.cols)).text("\n");
  for (unsigned long row = 0; row < H_vv.rows; ++row) {
    for (unsigned long col = 0; col < H_vv.cols; ++col) {
      out.real(H_vv.data[col * H_vv.rows + row]).text(" ");
    }
    out.text("\n");
  }
  out.real(state[0]).text(" ").real(state[1]).text("\n");
}

lin_predC::lin_predC(std::FILE* file) : lin_predC(0, 0) {
  TextReader in(file, "linear predictor record");
  ReadFromFile(in);
  in.report();
}

lin_predC::lin_predC(TextReader& in) : lin_predC(0, 0) { ReadFromFile(in); }

// requires: a predictor without support pixels; it stays so when the record is malformed
void lin_predC::ReadFromFile(TextReader& in) {
  const int examples = in.count("example count");
  const int support_pixels = in.count("support pixel count");
  const int read_range = in.integer("range");
  const auto offsets = in.integers(2 * toSize(support_pixels), "support pixel offset");
  const auto templ = in.reals(toSize(support_pixels), "template value");
  const std::size_t rows = toSize(in.count("matrix row count"));
  const std::size_t cols = toSize(in.count("matrix column count"));
  if (in.ok() && !(rows == 1 && cols == 1) &&
      !(rows == remora::internal::kTargets && cols == toSize(support_pixels) + 1)) {
    in.fail("matrix size", "neither 1 x 1 nor 2 x (support pixels + 1)");
  }
  const auto values = in.reals(rows * cols, "matrix value");
  const auto position = in.reals(2, "position");
  if (!in.ok()) return;

  Clear();
  Allocate(support_pixels, examples);
  form(H_vv, rows, cols);
  range = read_range;
  std::copy(offsets.begin(), offsets.end(), supPix);
  std::copy(templ.begin(), templ.end(), supPixInt);
  for (std::size_t k = 0; k < values.size(); ++k) {
    H_vv.data[k % cols * rows + k / cols] = values[k];
  }
  std::copy(position.begin(), position.end(), state);
}
