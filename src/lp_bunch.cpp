#include <algorithm>
#include <array>
#include <climits>
#include <cstdint>
#include <memory>
#include <utility>

#include "internal/arrays.h"
#include "internal/bunch_records.h"
#include "internal/messages.h"
#include "internal/pixel.h"
#include "internal/placement.h"
#include "internal/random.h"
#include "internal/text_io.h"
#include "shape_lp_track.h"

using remora::internal::Flags;
using remora::internal::say;
using remora::internal::TextReader;
using remora::internal::TextWriter;
using remora::internal::toSize;
namespace text = remora::internal::text;

namespace {

constexpr int kSupportPixels = 30;  // per predictor

// The position of a predictor: that of its feature point plus its own offset.
struct PredictorPos {
  PredictorPos(const float* offset, const float* point)
      : position{{offset[0] + point[0], offset[1] + point[1]}} {}
  operator float*() { return position.data(); }
  std::array<float, 2> position;
};

int product(int a, int b) {
  const std::int64_t exact = std::int64_t{std::max(a, 0)} * std::max(b, 0);
  return static_cast<int>(std::min<std::int64_t>(exact, INT_MAX));
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Construction

LP_Bunch::LP_Bunch(int img_w, int img_h, int num_imgs, int num_ex_per_img, float /*img_scale*/,
                   int num_predictors, float x, float y, float r, char hack_flag)
    : LP_Bunch() {
  using remora::internal::Place;
  num_ex_per_train_img = num_ex_per_img;
  SizeLists(std::max(num_predictors, 0));
  predictors.reserve(toSize(num_lps));

  const int support_radius = remora::internal::wholeInt(static_cast<double>(r) * 0.5);
  remora::internal::Placement placement(img_w, img_h, x, y, r, hack_flag);
  double sum[2] = {0.0, 0.0};
  for (int i = 0; i < num_lps; ++i) {
    const Place place = placement.next(i);
    double position[2] = {place.x, place.y};
    predictors.emplace_back(kSupportPixels, product(num_ex_per_img, num_imgs));
    predictors.back().InitSupPixPos(img_w, img_h, position, support_radius);
    predictors.back().setState(position);
    const double point[2] = {static_cast<double>(x), static_cast<double>(y)};
    for (int axis = 0; axis < 2; ++axis) {
      const int at = 2 * i + axis;
      state[toSize(at)] = position[axis];
      lp_pos_offs[at] = static_cast<float>(position[axis] - point[axis]);
      sum[axis] += position[axis];
    }
  }
  mean_pos[0] = num_lps > 0 ? sum[0] / num_lps : static_cast<double>(x);
  mean_pos[1] = num_lps > 0 ? sum[1] / num_lps : static_cast<double>(y);
}

LP_Bunch::~LP_Bunch() { remora::internal::release(lp_pos_offs); }

void LP_Bunch::SizeLists(int count) {
  const std::size_t size = toSize(count);
  state.assign(2 * size, 0.0);
  all_mean_to.assign(2 * size, 0.0);
  lp_weights.assign(2 * size, 0.0);
  lp_err.assign(size, 0.0);
  lp_err_weight.assign(size, 0.0);
  lp_x_inds.assign(size, 1);
  lp_y_inds.assign(size, 1);
  lp_pos_offs = new float[2 * size]();
  num_lps = count;
  InitLPWeights();
}

void LP_Bunch::InitLPWeights() { std::fill(lp_weights.begin(), lp_weights.end(), 1.0); }

// ---------------------------------------------------------------------------------------------
// Training

void LP_Bunch::ZeroLP_BunchSPVals() {
  for (lin_predC& predictor : predictors) predictor.ZeroSupPixVals();
}

void LP_Bunch::InitLP_Bunch_SPVals(CImg<float>& img, float* fp_pos) {
  for (int i = 0; i < num_lps; ++i) {
    predictors[toSize(i)].InitSupPixVals(img, PredictorPos(lp_pos_offs + 2 * i, fp_pos));
  }
}

void LP_Bunch::AddLP_Bunch_SPVals(CImg<float>& img, float* fp_pos, double weight) {
  for (int i = 0; i < num_lps; ++i) {
    predictors[toSize(i)].AddSupPixVals(img, PredictorPos(lp_pos_offs + 2 * i, fp_pos),
                                        static_cast<float>(weight));
  }
}

void LP_Bunch::ResetTrainData() {
  for (lin_predC& predictor : predictors) predictor.ResetNumAddedEx();
}

void LP_Bunch::AddOneImgTrainData(CImg<float>& sp_img, float* sp_fp_pos, CImg<float>& cur_img,
                                  float* cur_fp_pos) {
  for (int i = 0; i < num_lps; ++i) {
    const float* const offset = lp_pos_offs + 2 * i;
    predictors[toSize(i)].AddLearnInfo(sp_img, PredictorPos(offset, sp_fp_pos), cur_img,
                                       PredictorPos(offset, cur_fp_pos), num_ex_per_train_img);
  }
}

double* LP_Bunch::TrainFromMultiImgs(int sel_dim) {
  return Learn(
      [sel_dim](int, lin_predC& predictor) { return predictor.LearnFromMultiImgsData(sel_dim); });
}

template <class LearnOne>
double* LP_Bunch::Learn(const LearnOne& learnOne) {
  auto errs = std::make_unique<double[]>(toSize(num_lps));
  for (int i = 0; i < num_lps; ++i) errs[toSize(i)] = learnOne(i, predictors[toSize(i)]);
  if (num_lps > 0) {
    double max_err = errs[0];
    double min_err = errs[0];
    for (int i = 1; i < num_lps; ++i) {
      if (errs[toSize(i)] > max_err) max_err = errs[toSize(i)];
      if (errs[toSize(i)] < min_err) min_err = errs[toSize(i)];
    }
    say(text::kErrorRange, max_err, min_err);
  }
  return errs.release();
}

// All draws of a generation come before the first sample, as they do not depend on the images'
// content. A predictor then learns from its differences while they are in the cache. The images
// must stay until TrainFromImgs.
void LP_Bunch::DrawOneImgTrainData(const CImg<float>& img, const float* fp_pos) {
  for (int i = 0; i < num_lps; ++i) {
    predictors[toSize(i)].AddDisplacements(img, PredictorPos(lp_pos_offs + 2 * i, fp_pos),
                                           num_ex_per_train_img);
  }
}

// As TrainFromMultiImgs after AddOneImgTrainData of all images.
double* LP_Bunch::TrainFromImgs(CImg<float>** imgs, int num_imgs, float*** fp_pos, int point,
                                int sel_dim) {
  std::vector<std::array<float, 2>> places(toSize(num_imgs));
  std::vector<double> rows;
  return Learn([&](int i, lin_predC& predictor) {
    const float* const offset = lp_pos_offs + 2 * i;
    for (int j = 0; j < num_imgs; ++j) {
      places[toSize(j)] = PredictorPos(offset, fp_pos[j][point]).position;
    }
    const int last = num_imgs - 1;  // with the position in the image before it, if there is one
    predictor.SampleLearnTemplate(*imgs[last],
                                  PredictorPos(offset, fp_pos[std::max(last - 1, 0)][point]));
    return predictor.LearnFromImgs(imgs, places, num_ex_per_train_img, sel_dim, rows);
  });
}

void LP_Bunch::ReplaceLPPos(int* new_inds, float offs_rad) {
  // All new offsets derive from those before the call. The sum is formed in extended precision.
  const std::vector<float> old_offs(lp_pos_offs, lp_pos_offs + 2 * num_lps);
  for (int i = 0; i < num_lps; ++i) {
    const int chosen = new_inds[i] >= 0 && new_inds[i] < num_lps ? new_inds[i] : i;
    for (int axis = 0; axis < 2; ++axis) {
      const long double draw = remora::internal::drawHalfOpenUnit();
      const long double jitter = 2.0L * (draw - 0.5L) * static_cast<long double>(offs_rad);
      const auto old = static_cast<long double>(old_offs[toSize(2 * chosen + axis)]);
      lp_pos_offs[2 * i + axis] = static_cast<float>(old + jitter);
    }
  }
  for (std::size_t k = 0; k < state.size(); ++k) {
    state[k] = mean_pos[k % 2] + static_cast<double>(lp_pos_offs[k]);
  }
}

void LP_Bunch::SetPos(float new_x, float new_y) {
  mean_pos[0] = static_cast<double>(new_x);
  mean_pos[1] = static_cast<double>(new_y);
  for (std::size_t k = 0; k < state.size(); ++k) {
    state[k] = static_cast<double>(lp_pos_offs[k]) + mean_pos[k % 2];
  }
}

// ---------------------------------------------------------------------------------------------
// Records

void LP_Bunch::SaveToFile(std::FILE* file) {
  {
    TextWriter out(file);
    out.integer(num_lps).text("\n");
    out.real(mean_pos[0]).text(" ").real(mean_pos[1]).text("\n");
    out.realLine(state.data(), state.size());
  }
  for (lin_predC& predictor : predictors) predictor.SaveToFile(file);
}

LP_Bunch::LP_Bunch(std::FILE* file, std::FILE* weight_file) : LP_Bunch() {
  TextReader in(file, "bunch record");
  ReadFromFile(in);
  if (!in.report() || weight_file == nullptr) return;
  TextReader weights(weight_file, "weights record");
  ReadWeights(weights);
  weights.report();
}

// requires: an empty bunch; it stays so when the record is malformed
void LP_Bunch::ReadFromFile(TextReader& in) {
  const int count = in.count("predictor count");
  const std::vector<double> position = in.reals(2, "bunch position");
  if (!in.ok()) return;
  say(text::kMeanPosition, position[0]);
  std::vector<double> places = in.reals(2 * toSize(count), "predictor position");
  std::vector<lin_predC> read;
  for (int i = 0; i < count && in.ok(); ++i) {
    const TextReader::Within within(in, "predictor", i);
    read.push_back(lin_predC(in));
  }
  if (!in.ok()) return;

  SizeLists(count);
  std::copy(position.begin(), position.end(), mean_pos);
  state = std::move(places);
  predictors = std::move(read);
  for (std::size_t k = 0; k < state.size(); ++k) {
    lp_pos_offs[k] = static_cast<float>(state[k] - mean_pos[k % 2]);
  }
}

std::vector<double> remora::internal::readWeights(TextReader& in, std::size_t size) {
  in.count("predictor count");  // neither is compared with the bunch's
  in.integer("dimension");
  return in.reals(size, "weight");
}

void LP_Bunch::ReadWeights(TextReader& in) {
  std::vector<double> weights = remora::internal::readWeights(in, lp_weights.size());
  if (in.ok()) lp_weights = std::move(weights);
}

Flags remora::internal::readFlags(TextReader& in) {
  Flags flags;
  const auto count = toSize(in.count("predictor count"));
  flags.x = in.integers(count, "x flag");
  flags.y = in.integers(count, "y flag");
  for (const auto& [list, item] : {std::pair(&flags.x, "x flag"), std::pair(&flags.y, "y flag")}) {
    const auto lowest = std::find(list->begin(), list->end(), INT_MIN);
    if (!in.ok() || lowest == list->end()) continue;
    in.fail(item, lowest - list->begin(), "there is no number below it");
  }
  return flags;
}

void LP_Bunch::ReadLP_Flags(std::FILE* file) {
  TextReader in(file, "LP flags record");
  const Flags flags = remora::internal::readFlags(in);
  if (in.report()) ApplyFlags(flags);
}

void LP_Bunch::ApplyFlags(const Flags& flags) {
  const std::size_t count = flags.x.size();
  if (count != toSize(num_lps)) say(text::kFlagsCount, num_lps, static_cast<int>(count));
  for (std::size_t i = 0; i < std::min(count, lp_x_inds.size()); ++i) {
    lp_x_inds[i] = flags.x[i] - 1;
    lp_y_inds[i] = flags.y[i] - 1;
  }
}
