#include "shape_lp_track.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <optional>
#include <utility>

#include "internal/arrays.h"
#include "internal/bunch_records.h"
#include "internal/frame.h"
#include "internal/messages.h"
#include "internal/pixel.h"
#include "internal/ridge.h"
#include "internal/selection.h"
#include "internal/shape_store.h"
#include "internal/text_io.h"

using remora::internal::openToRead;
using remora::internal::openToWrite;
using remora::internal::release;
using remora::internal::say;
using remora::internal::shown;
using remora::internal::Stream;
using remora::internal::TextReader;
using remora::internal::TextWriter;
using remora::internal::toSize;
namespace text = remora::internal::text;

namespace {

constexpr int kExamplesPerImage = 85;
constexpr float kJitterShare = 10.0F;  // re-placement moves by up to a tenth of the radius

constexpr char kBunchFile[] = "bunch file";
constexpr char kPointCount[] = "feature point count";
constexpr char kPoint[] = "feature point";

Stream openReported(const char* name) {
  Stream file = openToRead(name);
  if (!file) say(text::kCannotRead, shown(name));
  return file;
}

template <class T>
bool anyNull(T* const* array, int size) {
  return array == nullptr || std::find(array, array + size, nullptr) != array + size;
}

// Why these inputs cannot be trained on, or null.
const char* missingInput(CImg<float>** imgs, int num_imgs, int num_fps, float*** fp_pos,
                         const float* fp_r, const int* num_lps) {
  if (num_imgs < 1 || anyNull(imgs, num_imgs)) return "images are missing";
  if (num_fps < 0) return "the number of feature points is negative";
  if (num_fps == 0) return nullptr;
  if (anyNull(fp_pos, num_imgs)) return "positions are missing";
  const bool points_missing = std::any_of(
      fp_pos, fp_pos + num_imgs, [num_fps](float** shape) { return anyNull(shape, num_fps); });
  if (points_missing) return "positions are missing";
  if (fp_r == nullptr || num_lps == nullptr) return "radii or counts are missing";
  return nullptr;
}

bool allFinite(const float* values, int size) {
  return std::all_of(values, values + size, [](float value) { return std::isfinite(value); });
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Training

ShapeLPTracker::ShapeLPTracker(CImg<float>** preloaded_imgs, int num_imgs, float img_scale,
                               int num_points, float*** fp_pos, float fp_r, int num_lps,
                               char img_type, char* hack_flags, int sel_dim, int num_iter)
    : ShapeLPTracker() {
  const bool complete =
      missingInput(preloaded_imgs, num_imgs, num_points, fp_pos, &fp_r, &num_lps) == nullptr;
  std::vector<float> radii(complete ? toSize(num_points) : 0, fp_r);
  std::vector<int> counts(radii.size(), num_lps);
  InitMultiImgs(preloaded_imgs, num_imgs, num_points, fp_pos, radii.data(), counts.data(),
                img_scale, img_type, hack_flags, sel_dim, num_iter);
}

ShapeLPTracker::ShapeLPTracker(CImg<float>** preloaded_imgs, int num_imgs, float img_scale,
                               int num_points, float*** fp_pos, float* fp_r, int* num_lps,
                               char img_type, char* hack_flags, int sel_dim, int num_iter)
    : ShapeLPTracker() {
  InitMultiImgs(preloaded_imgs, num_imgs, num_points, fp_pos, fp_r, num_lps, img_scale, img_type,
                hack_flags, sel_dim, num_iter);
}

void ShapeLPTracker::InitMultiImgs(CImg<float>** preloaded_imgs, int num_imgs, int num_points,
                                   float*** fp_pos, float* fp_r, int* num_lps, float img_scale,
                                   char /*img_type*/, char* hack_flags, int dim_ind, int iter_num) {
  Clear();
  const char* reason = missingInput(preloaded_imgs, num_imgs, num_points, fp_pos, fp_r, num_lps);
  if (reason == nullptr && !allFinite(fp_r, num_points)) reason = "a radius is not a number";
  if (reason != nullptr) {
    say(text::kNothingToTrain, reason);
    return;
  }
  const CImg<float>& first = *preloaded_imgs[0];
  std::vector<std::unique_ptr<LP_Bunch>> bunches;
  for (int i = 0; i < num_points; ++i) {
    const float* const point = fp_pos[0][i];
    const char flag = hack_flags == nullptr ? char{0} : hack_flags[i];
    bunches.push_back(std::make_unique<LP_Bunch>(first.width(), first.height(), num_imgs,
                                                 kExamplesPerImage, img_scale, num_lps[i], point[0],
                                                 point[1], fp_r[i], flag));
  }
  Adopt(std::move(bunches));
  say(text::kCreatedBunches, num_fps);
  for (int i = 0; i < num_fps; ++i) {
    for (int g = 0; g < iter_num; ++g) {
      TrainGeneration(*fp_lp_bunch[i], preloaded_imgs, num_imgs, fp_pos, i, fp_r[i], dim_ind,
                      g == iter_num - 1);
    }
  }
}

void ShapeLPTracker::TrainGeneration(LP_Bunch& bunch, CImg<float>** imgs, int num_imgs,
                                     float*** fp_pos, int point, float radius, int dim_ind,
                                     bool last) {
  bunch.ZeroLP_BunchSPVals();
  bunch.ResetTrainData();
  const double weight = 1.0 / num_imgs;
  for (int j = 0; j < num_imgs; ++j) bunch.AddLP_Bunch_SPVals(*imgs[j], fp_pos[j][point], weight);
  std::fflush(stdout);
  say(text::kLearning, point);
  for (int j = 0; j < num_imgs; ++j) bunch.DrawOneImgTrainData(*imgs[j], fp_pos[j][point]);
  say(text::kTraining, point);
  const std::unique_ptr<double[]> fitness(
      bunch.TrainFromImgs(imgs, num_imgs, fp_pos, point, dim_ind));
  if (last || bunch.num_lps == 0) return;

  std::vector<double> cumulative(toSize(bunch.num_lps));
  GetInverseErr(fitness.get(), bunch.num_lps);
  GetNormalisedCumul(fitness.get(), bunch.num_lps, cumulative.data());
  const std::unique_ptr<int[]> selected(SelectFromFitness(cumulative.data(), bunch.num_lps));
  bunch.ReplaceLPPos(selected.get(), radius / kJitterShare);
}

void ShapeLPTracker::GetInverseErr(double* f, int N) { remora::internal::invertErrors(f, N); }

void ShapeLPTracker::GetNormalisedCumul(double* f, int N, double* output) {
  remora::internal::accumulateNormalised(f, N, output);
}

int* ShapeLPTracker::SelectFromFitness(double* fitness_cumul, int N) {
  int* const selected = new int[toSize(std::max(N, 0))];
  remora::internal::spinRoulette(fitness_cumul, N, selected);
  return selected;
}

// ---------------------------------------------------------------------------------------------
// Bunches held

void ShapeLPTracker::Adopt(std::vector<std::unique_ptr<LP_Bunch>> bunches) {
  auto array = std::make_unique<LP_Bunch*[]>(bunches.size());
  auto positions = std::make_unique<double*[]>(bunches.size());
  for (std::size_t i = 0; i < bunches.size(); ++i) {
    array[i] = bunches[i].release();
    positions[i] = array[i]->mean_pos;
  }
  num_fps = static_cast<int>(bunches.size());
  fp_lp_bunch = array.release();
  ret_fps_pos = positions.release();
}

void ShapeLPTracker::Clear() {
  for (int i = 0; i < num_fps; ++i) delete fp_lp_bunch[i];
  release(fp_lp_bunch);
  release(ret_fps_pos);
  num_fps = 0;
}

ShapeLPTracker::~ShapeLPTracker() { Clear(); }

bool ShapeLPTracker::HasPoint(int fp_ind) const {
  if (fp_ind >= 0 && fp_ind < num_fps) return true;
  say(text::kNoSuchPoint, fp_ind, num_fps);
  return false;
}

// ---------------------------------------------------------------------------------------------
// Training images

namespace {

bool isAtListEnd(const ImgFnames& names) {
  const bool listed =
      names.all_fnames != nullptr && names.m_cur_frame >= 0 && names.m_cur_frame < names.num_fnames;
  return names.m_base_fname == nullptr && !listed;
}

}  // namespace

CImg<float>** ShapeLPTracker::LoadAllImgs(ImgFnames* img_fn, int num_imgs) {
  constexpr int kMostFailures = 100;  // in a row
  const auto count = toSize(std::max(num_imgs, 0));
  std::vector<std::unique_ptr<CImg<float>>> images;
  img_fn->ResetToStart();
  say(text::kNumberOfImages, num_imgs);
  int failures = 0;
  while (images.size() < count && failures < kMostFailures) {
    if (isAtListEnd(*img_fn)) break;
    const std::unique_ptr<char[]> name(img_fn->GetNextFname());
    say(text::kPreloading, name.get());
    try {
      auto image = std::make_unique<CImg<float>>();
      remora::internal::loadFrame(name.get(), *image);
      remora::internal::blur(*image);
      remora::internal::resizeBy(*image, remora::internal::sizeArgument(1.0F));
      images.push_back(std::move(image));
      failures = 0;
    } catch (const CImgIOException& error) {
      say(text::kImageError, error.what());
      std::fflush(stdout);
      ++failures;
    }
  }
  if (images.size() < count) {
    if (failures > 0) say("\n");  // the image library's message has no line end
    say(text::kGaveUpLoading, static_cast<int>(images.size()), num_imgs);
  }
  auto array = std::make_unique<CImg<float>*[]>(count);
  for (std::size_t i = 0; i < images.size(); ++i) array[i] = images[i].release();
  return array.release();
}

void ShapeLPTracker::AddTrainImgsToLPBunch(ImgFnames* img_fn, int num_imgs, float*** fp_pos,
                                           float img_scale, CImg<float>* img, CImg<float>* img2,
                                           int fp_ind, double weight) {
  if (!HasPoint(fp_ind)) return;
  LP_Bunch& bunch = *fp_lp_bunch[fp_ind];
  const int size = remora::internal::sizeArgument(img_scale);
  const auto load = [size](CImg<float>& image, const char* name) {
    remora::internal::loadFrame(name, image);
    remora::internal::resizeBy(image, size);
  };
  img_fn->ResetToStart();
  std::unique_ptr<char[]> previous(img_fn->GetNextFname());
  say(text::kFirstName, previous.get());
  load(*img, previous.get());
  load(*img2, previous.get());
  float* const first = fp_pos[0][fp_ind];
  if (weight < 1.0) {
    bunch.AddLP_Bunch_SPVals(*img, first, weight);
  } else {
    bunch.InitLP_Bunch_SPVals(*img, first);
  }
  bunch.AddOneImgTrainData(*img, first, *img2, first);
  for (int i = 1; i < num_imgs; ++i) {
    say(text::kGathering, i + 1, num_imgs);
    std::unique_ptr<char[]> current(img_fn->GetNextFname());
    load(*img, previous.get());
    load(*img2, current.get());
    bunch.AddOneImgTrainData(*img, fp_pos[i][fp_ind], *img2, fp_pos[i][fp_ind]);
    previous = std::move(current);
  }
}

// ---------------------------------------------------------------------------------------------
// Files

ShapeLPTracker::ShapeLPTracker(const char* fname, const char* weight_fname) : ShapeLPTracker() {
  ReadFromFile(fname, weight_fname);
}

ShapeLPTracker::ShapeLPTracker(const char* const* all_fnames, int num_fnames) : ShapeLPTracker() {
  ReadFromMultiFiles(all_fnames, num_fnames);
}

void ShapeLPTracker::SaveToFile(const char* fname) {
  Stream file = openToWrite(fname);
  if (!file) {
    say(text::kCannotWrite, shown(fname));
    return;
  }
  TextWriter(file.get()).integer(num_fps).text("\n");
  for (int i = 0; i < num_fps; ++i) fp_lp_bunch[i]->SaveToFile(file.get());
  closeWritten(std::move(file), fname);
}

void ShapeLPTracker::ReadFromFile(const char* fname, const char* weight_fname) {
  const Stream file = openReported(fname);
  if (!file) return;
  TextReader in(file.get(), kBunchFile, fname);
  const int announced = in.count(kPointCount);

  const Stream weight_file = weight_fname == nullptr ? nullptr : openReported(weight_fname);
  std::optional<TextReader> weights;
  if (weight_file && in.ok()) {
    weights.emplace(weight_file.get(), "weights file", weight_fname);
    const int weight_points = weights->count(kPointCount);
    if (weights->ok() && weight_points != announced) {
      say(text::kWeightsCount, weight_points, announced);
    }
  }
  std::vector<std::unique_ptr<LP_Bunch>> bunches;
  ReadBunches(in, announced, announced, bunches);
  if (!in.report()) return;
  Adopt(std::move(bunches));
  if (weights) ReadWeights(*weights);
}

// All counts are read first. Then the files are opened again, one at a time, because there may be
// more of them than a process may hold open. Pipes stay open: they cannot be read again.
void ShapeLPTracker::ReadFromMultiFiles(const char* const* all_fnames, int num_fnames) {
  std::vector<Stream> kept;  // null where a file is opened again
  std::vector<int> counts;
  int total = 0;
  for (int i = 0; i < num_fnames; ++i) {
    Stream file = openReported(all_fnames == nullptr ? nullptr : all_fnames[i]);
    if (!file) return;
    TextReader in(file.get(), kBunchFile, all_fnames[i]);
    counts.push_back(in.count(kPointCount));
    if (!in.report()) return;
    total = static_cast<int>(std::min<std::int64_t>(std::int64_t{total} + counts.back(), INT_MAX));
    say(text::kWillRead, counts.back(), all_fnames[i]);
    kept.push_back(remora::internal::canBeReadAgain(file.get()) ? nullptr : std::move(file));
  }
  std::vector<std::unique_ptr<LP_Bunch>> bunches;
  for (std::size_t i = 0; i < kept.size(); ++i) {
    const bool again = kept[i] == nullptr;
    const Stream file = again ? openReported(all_fnames[i]) : std::move(kept[i]);
    if (!file) return;
    TextReader in(file.get(), kBunchFile, all_fnames[i]);
    if (again) in.count(kPointCount);
    ReadBunches(in, counts[i], total, bunches);
    if (!in.report()) return;
  }
  Adopt(std::move(bunches));
}

// Appends `count` bunches, or fewer when the reader finds a fault.
void ShapeLPTracker::ReadBunches(TextReader& in, int count, int total,
                                 std::vector<std::unique_ptr<LP_Bunch>>& bunches) {
  for (int i = 0; i < count && in.ok(); ++i) {
    const TextReader::Within within(in, kPoint, i);
    say(text::kReadingBunch, static_cast<int>(bunches.size()), total);
    std::unique_ptr<LP_Bunch> bunch(new LP_Bunch());
    bunch->ReadFromFile(in);
    bunches.push_back(std::move(bunch));
  }
}

// All records are read before any is applied.
void ShapeLPTracker::ReadWeights(TextReader& in) {
  std::vector<std::vector<double>> weights;
  for (int i = 0; i < num_fps; ++i) {
    const TextReader::Within within(in, kPoint, i);
    weights.push_back(remora::internal::readWeights(in, fp_lp_bunch[i]->lp_weights.size()));
  }
  if (!in.report()) return;
  for (int i = 0; i < num_fps; ++i) fp_lp_bunch[i]->lp_weights.swap(weights[toSize(i)]);
}

void ShapeLPTracker::ReadSelLP(const char* fname) {
  const Stream file = openReported(fname);
  if (!file) return;
  TextReader in(file.get(), "LP flags file", fname);
  const int announced = in.count(kPointCount);
  if (in.ok() && announced != num_fps) {
    say(text::kFlagsPoints, num_fps, announced);
    return;
  }
  std::vector<remora::internal::Flags> flags;
  for (int i = 0; i < num_fps; ++i) {
    const TextReader::Within within(in, kPoint, i);
    flags.push_back(remora::internal::readFlags(in));
  }
  if (!in.report()) return;
  for (int i = 0; i < num_fps; ++i) fp_lp_bunch[i]->ApplyFlags(flags[toSize(i)]);
}

void ShapeLPTracker::SetFPPosWithShapeSeq(const char* fname, float scale, int frame_num) {
  const Stream file = openToRead(fname);
  if (!file) return;
  const auto sequence = remora::internal::readShapeSequence(file.get(), fname, scale);
  const int num_shapes = static_cast<int>(sequence.shapes.size());
  if (num_shapes == 0) {
    if (sequence.complete) say(text::kShapeUnusable, fname, num_fps, "it has no shapes");
    return;
  }
  const int chosen = std::clamp(frame_num, 0, num_shapes - 1);
  float* const* const shape = sequence.shapes[toSize(chosen)].get();
  if (remora::internal::countPoints(shape) < num_fps) {
    say(text::kShapeUnusable, fname, num_fps, "the shape has fewer points");
    return;
  }
  for (int i = 0; i < num_fps; ++i) fp_lp_bunch[i]->SetPos(shape[i][0], shape[i][1]);
}

// ---------------------------------------------------------------------------------------------
// Flat LP file

namespace {

// A predictor's column of weights for one coordinate; zeros when it never learned.
class MatrixRow {
 public:
  MatrixRow(const lin_predC& predictor, int row)
      : matrix_(predictor.H_vv),
        row_(toSize(row)),
        learned_(matrix_.rows == remora::internal::kTargets &&
                 matrix_.cols == toSize(predictor.nSuppPix) + 1) {}

  double at(int col) const {
    return learned_ ? matrix_.data[toSize(col) * matrix_.rows + row_] : 0.0;
  }

 private:
  const Gan_Matrix& matrix_;
  std::size_t row_;
  bool learned_;
};

int sum(int a, int b) { return remora::internal::wholeInt(static_cast<double>(a) + b); }

void writeOffsets(TextWriter& out, const lin_predC& predictor, const float* place) {
  const int x = remora::internal::wholeInt(static_cast<double>(place[0]));
  const int y = remora::internal::wholeInt(static_cast<double>(place[1]));
  for (int k = 0; k < predictor.nSuppPix; ++k) {
    const int* const offset = predictor.supPix + 2 * k;
    out.integer(sum(offset[0], x)).text(" ").integer(sum(offset[1], y)).text("\n");
  }
}

}  // namespace

void ShapeLPTracker::SaveFlatHeader(std::FILE* file, int feat_ind) {
  if (!HasPoint(feat_ind)) return;
  const LP_Bunch& bunch = *fp_lp_bunch[feat_ind];
  int total_sup_pix = 0;
  for (const lin_predC& predictor : bunch.predictors) total_sup_pix += predictor.nSuppPix;
  const double* const position =
      bunch.predictors.empty() ? bunch.mean_pos : bunch.predictors.front().state;
  TextWriter out(file);
  out.integer(bunch.num_lps).text("\n").integer(total_sup_pix).text("\n");
  out.real(position[0]).text(" ").real(position[1]).text("\n");
}

void ShapeLPTracker::SaveFlat(std::FILE* file, int feat_ind, int coord_ind) {
  if (!HasPoint(feat_ind)) return;
  if (coord_ind != 0 && coord_ind != 1) {
    say(text::kNoSuchCoordinate, coord_ind);
    return;
  }
  const LP_Bunch& bunch = *fp_lp_bunch[feat_ind];
  const auto& predictors = bunch.predictors;
  TextWriter out(file);
  for (std::size_t i = 0; i < predictors.size(); ++i) {
    writeOffsets(out, predictors[i], bunch.lp_pos_offs + 2 * i);
  }
  for (const lin_predC& predictor : predictors) {
    for (int k = 0; k < predictor.nSuppPix; ++k) out.real(predictor.supPixInt[k]).text(" ");
  }
  out.text("\n");
  double bias_sum = 0.0;
  for (const lin_predC& predictor : predictors) {
    const MatrixRow row(predictor, coord_ind);
    for (int k = 0; k < predictor.nSuppPix; ++k) out.real(row.at(k)).text(" ");
    bias_sum += row.at(predictor.nSuppPix);
  }
  out.text("\n").real(bias_sum).text("\n");
}
