#include <cstdio>
#include <map>
#include <memory>
#include <utility>
#include <vector>

#include "straight.h"

// Files as the formats read: one call of fprintf or fscanf a number.

namespace remora::bench {
namespace {

struct Closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Closer>;

void savePredictor(const lin_predC& predictor, std::FILE* out) {
  std::fprintf(out, "%d %d %d\n", predictor.nExample, predictor.nSuppPix, predictor.range);
  for (int k = 0; k < 2 * predictor.nSuppPix; ++k) std::fprintf(out, "%d ", predictor.supPix[k]);
  std::fprintf(out, "\n");
  for (int k = 0; k < predictor.nSuppPix; ++k) std::fprintf(out, "%f ", predictor.supPixInt[k]);
  std::fprintf(out, "\n%d %d\n", static_cast<int>(predictor.H_vv.rows),
               static_cast<int>(predictor.H_vv.cols));
  for (unsigned long row = 0; row < predictor.H_vv.rows; ++row) {
    for (unsigned long col = 0; col < predictor.H_vv.cols; ++col) {
      std::fprintf(out, "%f ", predictor.H_vv.data[col * predictor.H_vv.rows + row]);
    }
    std::fprintf(out, "\n");
  }
  std::fprintf(out, "%f %f\n", predictor.state[0], predictor.state[1]);
}

int readInt(std::FILE* in) {
  int value = 0;
  return std::fscanf(in, "%d", &value) == 1 ? value : 0;
}

double readReal(std::FILE* in) {
  double value = 0.0;
  return std::fscanf(in, "%lf", &value) == 1 ? value : 0.0;
}

void readPredictor(std::FILE* in) {
  const int examples = readInt(in);
  const int pixels = readInt(in);
  lin_predC predictor(pixels, examples);
  predictor.range = readInt(in);
  for (int k = 0; k < 2 * pixels; ++k) predictor.supPix[k] = readInt(in);
  for (int k = 0; k < pixels; ++k) predictor.supPixInt[k] = readReal(in);
  const int rows = readInt(in);
  const int cols = readInt(in);
  gan_mat_free(&predictor.H_vv);
  gan_mat_form_gen(&predictor.H_vv, static_cast<unsigned long>(rows),
                   static_cast<unsigned long>(cols), nullptr, 0);
  for (int row = 0; row < rows; ++row) {
    for (int col = 0; col < cols; ++col) predictor.H_vv.data[col * rows + row] = readReal(in);
  }
  predictor.state[0] = readReal(in);
  predictor.state[1] = readReal(in);
}

// One part of a flat LP file: what is left of it after equal offsets are merged.
int loadPart(std::FILE* in, bool check) {
  readInt(in);
  const int size = readInt(in);
  readReal(in);
  readReal(in);
  std::vector<int> offs;
  for (int k = 0; k < 2 * size; ++k) offs.push_back(readInt(in));
  std::vector<double> intensities, weights;
  for (int k = 0; k < size; ++k) intensities.push_back(readReal(in));
  for (int k = 0; k < size; ++k) weights.push_back(readReal(in));
  readReal(in);

  std::map<std::pair<int, int>, std::pair<double, double>> cells;
  for (int k = 0; k < size; ++k) {
    auto& cell = cells[{offs[2 * k + 1], offs[2 * k]}];
    cell.first += weights[k];
    cell.second += weights[k] * intensities[k];
  }
  std::vector<int> merged;
  for (const auto& [offset, sums] : cells) {
    if (sums.first != 0.0) merged.insert(merged.end(), {offset.second, offset.first});
  }
  for (int k = 0; check && k < size; ++k) {  // every offset read must be in the merged list
    std::size_t found = 0;
    while (found < merged.size() &&
           (merged[found] != offs[2 * k] || merged[found + 1] != offs[2 * k + 1])) {
      found += 2;
    }
    if (found == merged.size()) std::printf("New support pixel %d is not in original set\n", k);
  }
  return static_cast<int>(merged.size() / 2);
}

}  // namespace

void straightSave(const ShapeLPTracker& tracker, const std::string& name) {
  const File out(std::fopen(name.c_str(), "w"));
  std::fprintf(out.get(), "%d\n", tracker.num_fps);
  for (int i = 0; i < tracker.num_fps; ++i) {
    const LP_Bunch& bunch = *tracker.fp_lp_bunch[i];
    std::fprintf(out.get(), "%d\n%f %f\n", bunch.num_lps, bunch.mean_pos[0], bunch.mean_pos[1]);
    for (const double value : bunch.state) std::fprintf(out.get(), "%f ", value);
    std::fprintf(out.get(), "\n");
    for (const lin_predC& predictor : bunch.predictors) savePredictor(predictor, out.get());
  }
}

int straightRead(const std::string& name) {
  const File in(std::fopen(name.c_str(), "r"));
  int predictors = 0;
  const int points = readInt(in.get());
  for (int i = 0; i < points; ++i) {
    const int count = readInt(in.get());
    for (int k = 0; k < 2 + 2 * count; ++k) readReal(in.get());
    for (int k = 0; k < count; ++k, ++predictors) readPredictor(in.get());
  }
  return predictors;
}

int straightLoad(const std::string& name) {
  const File in(std::fopen(name.c_str(), "r"));
  int left = 0;
  const int points = readInt(in.get());
  for (int i = 0; i < points; ++i) {
    left += loadPart(in.get(), true);
    left += loadPart(in.get(), false);
  }
  return left;
}

}  // namespace remora::bench
