// Trackers that are read from a bunch file, held against the numbers in it.
#pragma once

#include <string>

#include "fuzz.h"
#include "shape_lp_track.h"

namespace fuzz {

// Two points, of two predictors and of one.
constexpr char kBunchFile[] =
    "2 2 50 40 47.3 43.9 51 40 5 1 3 1 -1 0.5 2 2 0.25 1 -0.75 2 7 8 6 1 3 -3 3 0.125 2 2 0 3 1.5 "
    "-4 9 9.5 1 5 6 7 8 9 0 1 1 1 0 7 8";

inline void expectPredictor(Numbers& in, const lin_predC& predictor) {
  const int sizes[] = {predictor.nExample, predictor.nSuppPix, predictor.range};
  in.expect(sizes, 3);
  const auto pixels = static_cast<std::size_t>(predictor.nSuppPix);
  in.expect(predictor.supPix, 2 * pixels);
  in.expect(predictor.supPixInt, pixels);
  const Gan_Matrix& matrix = predictor.H_vv;
  const unsigned long size[] = {matrix.rows, matrix.cols};
  in.expect(size, 2);
  for (unsigned long row = 0; row < matrix.rows; ++row) {
    for (unsigned long col = 0; col < matrix.cols; ++col) {
      in.expect(matrix.data + (col * matrix.rows + row), 1);
    }
  }
  in.expect(predictor.state, 2);
}

inline void expectBunch(Numbers& in, const LP_Bunch& bunch) {
  const auto count = static_cast<std::size_t>(bunch.num_lps);
  in.expect(&bunch.num_lps, 1);
  in.expect(bunch.mean_pos, 2);
  in.expect(bunch.state.data(), 2 * count);
  require(bunch.predictors.size() == count && bunch.lp_weights.size() == 2 * count &&
              bunch.lp_x_inds.size() == count && bunch.lp_y_inds.size() == count,
          "lists have an entry for each predictor");
  for (std::size_t k = 0; k < 2 * count; ++k) {
    const auto offset = static_cast<float>(bunch.state[k] - bunch.mean_pos[k % 2]);
    require(same(bunch.lp_pos_offs[k], offset), "predictors have the offset of their place");
  }
  for (const lin_predC& predictor : bunch.predictors) expectPredictor(in, predictor);
}

// A tracker that was read from these numbers, or refused.
inline void expectTracker(Numbers in, const ShapeLPTracker& tracker, bool malformed) {
  if (malformed) {
    require(tracker.num_fps == 0, "a malformed bunch file gives no points");
    return;
  }
  in.expect(&tracker.num_fps, 1);
  for (int i = 0; i < tracker.num_fps; ++i) {
    require(tracker.ret_fps_pos[i] == tracker.fp_lp_bunch[i]->mean_pos,
            "positions are the bunches'");
    expectBunch(in, *tracker.fp_lp_bunch[i]);
  }
}

inline std::string saved(ShapeLPTracker& tracker) {
  const File file;
  tracker.SaveToFile(file.name().c_str());
  return file.text();
}

// What is saved is read again, and saved as the same bytes.
inline void expectRoundTrip(ShapeLPTracker& tracker) {
  const File file;
  const std::string text = saved(tracker);
  expectTracker(Numbers(text, true), tracker, false);
  Lines([&] {
    ShapeLPTracker again(file.holding(text), nullptr);
    require(again.num_fps == tracker.num_fps && saved(again) == text, "a saved tracker comes back");
  });
}

inline bool allOnes(const std::vector<double>& weights) {
  return std::count(weights.begin(), weights.end(), 1.0) == static_cast<long>(weights.size());
}

// The numbers of a weights file have become the weights, or all weights are 1.
inline void expectWeights(std::string_view text, const ShapeLPTracker& tracker, bool read) {
  Numbers in(text);
  if (read) in.whole();
  for (int i = 0; i < tracker.num_fps; ++i) {
    const std::vector<double>& weights = tracker.fp_lp_bunch[i]->lp_weights;
    if (!read) {
      require(allOnes(weights), "without a weights file, all weights are 1");
      continue;
    }
    in.whole();
    in.whole();
    in.expect(weights.data(), weights.size());
  }
}

}  // namespace fuzz
