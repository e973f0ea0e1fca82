#include "fast_lp.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>
#include <utility>
#include <vector>

#include "internal/arrays.h"
#include "internal/centred_image.h"
#include "internal/chains.h"
#include "internal/messages.h"
#include "internal/offset_box.h"
#include "internal/pixel.h"
#include "internal/shape_plan.h"
#include "internal/text_io.h"

using remora::internal::boxOf;
using remora::internal::ByteView;
using remora::internal::CentredImage;
using remora::internal::Chain;
using remora::internal::MappedImage;
using remora::internal::OffsetBox;
using remora::internal::openToRead;
using remora::internal::PixelView;
using remora::internal::release;
using remora::internal::say;
using remora::internal::ShapePlan;
using remora::internal::Stream;
using remora::internal::TextReader;
using remora::internal::toArray;
using remora::internal::toSize;
namespace text = remora::internal::text;

// The members of one coordinate.
struct FastLP::Part {
  int& num_sp;
  int& num_lps;
  int*& offs;
  double*& terms;  // template intensities until offsets are merged
  double*& weights;
  double& bias;
  double& radius;
  OffsetBox& box;
};

FastLP::Part FastLP::XPart() {
  return {num_sp_x, num_lps_x, sp_offs_x, sp_int_x, sp_weights_x, sp_bias_x, x_rad, x_box_};
}

FastLP::Part FastLP::YPart() {
  return {num_sp_y, num_lps_y, sp_offs_y, sp_int_y, sp_weights_y, sp_bias_y, y_rad, y_box_};
}

// ---------------------------------------------------------------------------------------------
// Reading one point

namespace {

constexpr char kFileKind[] = "flat lp file";

double radiusOf(const std::vector<int>& offsets) {
  double radius = 0.0;
  for (const int offset : offsets) {
    radius = std::max(radius, std::abs(static_cast<double>(offset)));
  }
  return radius;
}

}  // namespace

FastLP::FastLP(std::FILE* file) : FastLP() {
  TextReader in(file, kFileKind);
  Read(in);
  in.report();
}

FastLP::FastLP(TextReader& in) : FastLP() { Read(in); }

FastLP::~FastLP() { Clear(); }

void FastLP::Clear() {
  release(sp_offs_x);
  release(sp_int_x);
  release(sp_weights_x);
  release(sp_offs_y);
  release(sp_int_y);
  release(sp_weights_y);
  num_sp_x = num_lps_x = num_sp_y = num_lps_y = 0;
  sp_bias_x = sp_bias_y = x_rad = y_rad = 0.0;
  cur_pos[0] = cur_pos[1] = 0.0;
  x_box_ = y_box_ = {};
}

void FastLP::Read(TextReader& in) {
  ReadFromFile(in);
  CompactX();
  CompactY();
}

void FastLP::ReadFromFile(TextReader& in) {
  ReadXTracker(in);
  ReadYTracker(in);
  if (!in.ok()) Clear();
}

void FastLP::ReadXTracker(TextReader& in) { ReadPart(in, "x part", XPart()); }

void FastLP::ReadYTracker(TextReader& in) { ReadPart(in, "y part", YPart()); }

// Leaves everything as it is when the part is malformed.
void FastLP::ReadPart(TextReader& in, const char* which, const Part& part) {
  const TextReader::Within within(in, which, -1);
  const int num_lps = in.count("predictor count");
  const int num_sp = in.count("support pixel count");
  const auto size = static_cast<std::size_t>(num_sp);
  const std::vector<double> position = in.reals(2, "position");
  const std::vector<int> offs = in.integers(2 * size, "offset");
  auto new_offs = toArray(offs);
  auto new_intensities = toArray(in.reals(size, "intensity"));
  auto new_weights = toArray(in.reals(size, "weight"));
  const double bias = in.real("bias");
  if (!in.ok()) return;

  std::copy(position.begin(), position.end(), cur_pos);
  part.num_lps = num_lps;
  part.num_sp = num_sp;
  part.offs = new_offs.release();
  part.terms = new_intensities.release();
  part.weights = new_weights.release();
  part.bias = bias;
  part.radius = radiusOf(offs);
}

// ---------------------------------------------------------------------------------------------
// Merging support pixels that share an offset

namespace {

// The offsets of a part are merged in a grid of up to this many cells. They are sorted instead
// where the grid would cost more memory and time than the file.
constexpr double kSmallGrid = 1024.0;
constexpr double kCellsPerSupportPixel = 8.0;
constexpr double kLargestGrid = 1 << 24;

struct Offset {
  int dx, dy;
};

bool operator==(Offset a, Offset b) { return a.dx == b.dx && a.dy == b.dy; }

bool rowFirst(Offset a, Offset b) { return a.dy != b.dy ? a.dy < b.dy : a.dx < b.dx; }

Offset offsetAt(const int* offs, int k) {
  const int* const offset = offs + 2 * toSize(k);
  return {offset[0], offset[1]};
}

// What is left of a part after merging: offsets by row, then column, with non-zero weight sums.
struct Merged {
  std::vector<int> offs;
  std::vector<double> terms;
  std::vector<double> weights;

  void add(Offset offset, double term, double weight) {
    if (!(std::abs(weight) > 0.0)) return;  // cancelled, or not a number
    offs.insert(offs.end(), {offset.dx, offset.dy});
    terms.push_back(term);
    weights.push_back(weight);
  }
};

// The same result as from the grid, for offsets so far apart that the grid would be mostly empty.
Merged mergeScattered(int num_sp, const int* offs, const double* intensities,
                      const double* weights) {
  std::vector<int> order(static_cast<std::size_t>(num_sp));
  std::iota(order.begin(), order.end(), 0);
  std::stable_sort(order.begin(), order.end(),
                   [offs](int a, int b) { return rowFirst(offsetAt(offs, a), offsetAt(offs, b)); });
  Merged merged;
  for (auto first = order.begin(); first != order.end();) {
    const Offset offset = offsetAt(offs, *first);
    double weight = 0.0;
    double term = 0.0;
    for (; first != order.end() && offsetAt(offs, *first) == offset; ++first) {
      weight += weights[*first];
      term += weights[*first] * intensities[*first];
    }
    merged.add(offset, term, weight);
  }
  return merged;
}

bool contains(const int* offs, int num_sp, Offset wanted) {
  int first = 0;
  int last = num_sp;
  while (first < last) {
    const int middle = first + (last - first) / 2;
    if (rowFirst(offsetAt(offs, middle), wanted)) {
      first = middle + 1;
    } else {
      last = middle;
    }
  }
  return first < num_sp && offsetAt(offs, first) == wanted;
}

void reportVanished(const int* read_offs, int read_sp, const int* offs, int num_sp) {
  for (int k = 0; k < read_sp; ++k) {
    if (!contains(offs, num_sp, offsetAt(read_offs, k))) say(text::kVanishedOffset, k);
  }
}

}  // namespace

// requires: num_sp > 0 and a box of offsets with at most kLargestGrid cells
double* FastLP::MakeSPArr(int* sp_offs, int num_sp, double* sp_weights, double* sp_int, int* min_x,
                          int* min_y, int* w, int* h, double** int_arr) {
  const OffsetBox box = boxOf(sp_offs, toSize(num_sp));
  *min_x = box.min_x;
  *min_y = box.min_y;
  *w = box.max_x - box.min_x + 1;
  *h = box.max_y - box.min_y + 1;
  const auto cells = static_cast<std::size_t>(*w) * static_cast<std::size_t>(*h);
  auto weight_sums = std::make_unique<double[]>(cells);
  auto term_sums = std::make_unique<double[]>(cells);
  for (int k = 0; k < num_sp; ++k) {
    const Offset offset = offsetAt(sp_offs, k);
    const std::size_t cell =
        toSize(offset.dy - box.min_y) * toSize(*w) + toSize(offset.dx - box.min_x);
    weight_sums[cell] += sp_weights[k];
    term_sums[cell] += sp_weights[k] * sp_int[k];
  }
  *int_arr = term_sums.release();
  return weight_sums.release();
}

void FastLP::CompactMe(int num_sp, int* sp_offs, double* sp_int, double* sp_weights,
                       int* new_num_sp, int** new_offs, double** new_sp_int, double** new_sp_w) {
  const OffsetBox box = boxOf(sp_offs, toSize(num_sp));
  const double cells = (1.0 + box.max_x - static_cast<double>(box.min_x)) *
                       (1.0 + box.max_y - static_cast<double>(box.min_y));
  Merged merged;
  if (cells > std::min(kLargestGrid, kSmallGrid + kCellsPerSupportPixel * num_sp)) {
    merged = mergeScattered(num_sp, sp_offs, sp_int, sp_weights);
  } else if (num_sp > 0) {
    int min_x, min_y, w, h;
    double* int_arr;
    const std::unique_ptr<double[]> weight_sums(
        MakeSPArr(sp_offs, num_sp, sp_weights, sp_int, &min_x, &min_y, &w, &h, &int_arr));
    const std::unique_ptr<double[]> term_sums(int_arr);
    std::size_t cell = 0;
    for (int y = 0; y < h; ++y) {
      for (int x = 0; x < w; ++x, ++cell) {
        merged.add({x + min_x, y + min_y}, term_sums[cell], weight_sums[cell]);
      }
    }
  }
  auto offs = toArray(merged.offs);
  auto terms = toArray(merged.terms);
  auto weights = toArray(merged.weights);
  *new_num_sp = static_cast<int>(merged.weights.size());
  *new_offs = offs.release();
  *new_sp_int = terms.release();
  *new_sp_w = weights.release();
}

void FastLP::CompactX() {
  const int read_sp = num_sp_x;
  const std::unique_ptr<int[]> read_offs = CompactPart(XPart());
  reportVanished(read_offs.get(), read_sp, sp_offs_x, num_sp_x);
}

void FastLP::CompactY() { CompactPart(YPart()); }

// Installs the merged arrays and returns the offsets as they were.
std::unique_ptr<int[]> FastLP::CompactPart(const Part& part) {
  const int read_sp = part.num_sp;
  std::unique_ptr<int[]> read_offs(std::exchange(part.offs, nullptr));
  const std::unique_ptr<double[]> read_int(std::exchange(part.terms, nullptr));
  const std::unique_ptr<double[]> read_weights(std::exchange(part.weights, nullptr));
  CompactMe(read_sp, read_offs.get(), read_int.get(), read_weights.get(), &part.num_sp, &part.offs,
            &part.terms, &part.weights);
  part.box = boxOf(part.offs, toSize(part.num_sp));
  return read_offs;
}

// ---------------------------------------------------------------------------------------------
// One prediction step

namespace {

// The predicted displacement of one coordinate: the mean output of a part's predictors.
double displacement(float sum, double bias, int num_lps) {
  if (num_lps <= 0) return 0.0;
  const float biased = static_cast<float>(static_cast<double>(sum) + bias);
  return static_cast<double>(static_cast<float>(static_cast<double>(biased) * (1.0 / num_lps)));
}

}  // namespace

Chain FastLP::ChainOf(const Part& part) {
  return {part.offs, part.weights, part.terms, part.num_lps > 0 ? part.num_sp : 0, part.box};
}

// Both coordinates are predicted around the position held at the start.
template <class Image>
double* FastLP::Step(const Image& image) {
  float sums[2];
  sumPair(ChainOf(XPart()), image, ChainOf(YPart()), image, sums);
  return Move(sums);
}

double* FastLP::Move(const float* sums) {
  cur_pos[0] -= displacement(sums[0], sp_bias_x, num_lps_x);
  cur_pos[1] -= displacement(sums[1], sp_bias_y, num_lps_y);
  return cur_pos;
}

double* FastLP::Predict(CImg<float>& img) {
  return Step(CentredImage<PixelView>(PixelView(img), cur_pos));
}

double* FastLP::CompactPredict(CImg<float>& img) { return Predict(img); }

double* FastLP::Predict(CImg<float>& img, double* H) {
  return Step(MappedImage(PixelView(img), cur_pos, H));
}

double* FastLP::Predict(unsigned char* img, int line_size, int img_w, int img_h) {
  const ByteView view(img, line_size, img_w, img_h);
  return Step(CentredImage<ByteView>(view, cur_pos));
}

void FastLP::SetPos(double x, double y) {
  cur_pos[0] = x;
  cur_pos[1] = y;
}

void FastLP::AddOffset(double offs_x, double offs_y) {
  cur_pos[0] += offs_x;
  cur_pos[1] += offs_y;
}

// ---------------------------------------------------------------------------------------------
// The shape

FastShapeTracker::FastShapeTracker(const char* fname) {
  const Stream file = openToRead(fname);
  if (!file) {
    say(text::kFlatUnreadable, remora::internal::shown(fname));
    return;
  }
  TextReader in(file.get(), kFileKind, fname);
  const int announced = in.count("feature point count");
  std::vector<std::unique_ptr<FastLP>> points;
  for (int i = 0; i < announced && in.ok(); ++i) {
    const TextReader::Within within(in, "feature point", i);
    std::unique_ptr<FastLP> point(new FastLP(in));
    points.push_back(std::move(point));
  }
  if (!in.report()) return;

  std::vector<Chain> chains;
  chains.reserve(2 * points.size());
  planned_.reserve(points.size());
  for (const auto& point : points) {
    chains.push_back(FastLP::ChainOf(point->XPart()));
    chains.push_back(FastLP::ChainOf(point->YPart()));
    planned_.push_back(point.get());
    point->planned_ = true;
  }
  plan_ = std::make_unique<ShapePlan>(std::move(chains));
  auto predictors = std::make_unique<FastLP*[]>(points.size());
  auto positions = std::make_unique<double*[]>(points.size());
  for (std::size_t i = 0; i < points.size(); ++i) {
    predictors[i] = points[i].release();
    positions[i] = predictors[i]->cur_pos;
  }
  num_points = announced;
  all_flp = predictors.release();
  all_pos = positions.release();
}

FastShapeTracker::~FastShapeTracker() {
  for (int i = 0; i < num_points; ++i) delete all_flp[i];
  release(all_flp);
  release(all_pos);
}

// Every point is predicted on its own, so that all sums may be formed before the first one moves.
template <class View>
double** FastShapeTracker::Step(const View& view) {
  if (!PlanHolds()) {
    for (int i = 0; i < num_points; ++i) {
      all_flp[i]->Step(CentredImage(view, all_flp[i]->cur_pos));
    }
    return all_pos;
  }
  const float* sums = plan_->sum(view, all_pos);
  for (int i = 0; i < num_points; ++i, sums += 2) all_flp[i]->Move(sums);
  return all_pos;
}

// False when the host has put other points in place of those that were read. One that was made at
// the address of a released point is not `planned_`.
bool FastShapeTracker::PlanHolds() const {
  if (plan_ == nullptr || toSize(num_points) != planned_.size()) return false;
  for (int i = 0; i < num_points; ++i) {
    const FastLP* const point = all_flp[i];
    if (point != planned_[toSize(i)] || !point->planned_ || all_pos[i] != point->cur_pos) {
      return false;
    }
  }
  return true;
}

double** FastShapeTracker::Predict(CImg<float>& img) { return Step(PixelView(img)); }

double** FastShapeTracker::Predict(CImg<float>& img, FastShapeTracker* init_pos_info) {
  const int given = init_pos_info == nullptr ? 0 : init_pos_info->num_points;
  if (given < num_points) {
    say(text::kTooFewStarts, given, num_points);
    return all_pos;
  }
  for (int i = 0; i < num_points; ++i) {
    const double* const start = init_pos_info->all_pos[i];
    all_flp[i]->SetPos(start[0], start[1]);
  }
  return Step(PixelView(img));
}

double** FastShapeTracker::Predict(unsigned char* img, int linesize, int img_w, int img_h) {
  return Step(ByteView(img, linesize, img_w, img_h));
}

void FastShapeTracker::AddOffset(double offs_x, double offs_y) {
  for (int i = 0; i < num_points; ++i) all_flp[i]->AddOffset(offs_x, offs_y);
}

double* FastShapeTracker::GetPos(int i) { return i >= 0 && i < num_points ? all_pos[i] : nullptr; }

void FastShapeTracker::SetPos(int i, double x, double y) {
  if (i < 0 || i >= num_points) {
    say(text::kNoSuchPoint, i, num_points);
    return;
  }
  all_flp[i]->SetPos(x, y);
}
