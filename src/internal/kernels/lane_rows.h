// Sums over the training examples of one predictor.
//
// An example is a row of `pitch` doubles: differences, a constant 1, zeros up to the pitch, which
// is a multiple of kUnitLanes. Lanes run along the row, so every element is summed in the order of
// the examples, whatever the width of a register.
#pragma once

#include "internal/kernels/kernels.h"

namespace remora::internal {

template <class Lanes>
class LaneRows {
  using Doubles = typename Lanes::Doubles;
  static constexpr std::size_t kWidth = sizeof(Doubles) / sizeof(double);
  static constexpr std::size_t kParts = kUnitLanes / kWidth;
  static constexpr std::size_t kWideMoment = 4 * kWidth;

  // A tile of the Gram matrix stays in registers: enough of them to hide the latency of an
  // addition.
  static constexpr std::size_t kTileRows = Lanes::kTileRows;
  static constexpr std::size_t kTileVectors = Lanes::kTileVectors;
  static constexpr std::size_t kTileCols = kTileVectors * kWidth;
  static_assert(kUnitLanes % kTileRows == 0 && kUnitLanes % kTileCols == 0, "tiles fill a row");

 public:
  static void formRows(const float* greys, const double* templ, std::size_t rows, std::size_t pitch,
                       double* formed) {
    Doubles not_finite = {};  // stays 0 unless a quotient is not finite
    for (std::size_t row = 0; row < rows; ++row) {
      for (std::size_t k = 0; k < pitch; k += kWidth) {
        const std::size_t at = row * pitch + k;
        const Doubles sample = Lanes::quotient(Lanes::widen(Lanes::load(greys + at)));
        if constexpr (!Lanes::kQuotientIsGeneral) not_finite += sample - sample;
        Lanes::store(formed + at, sample - Lanes::load(templ + k));
      }
    }
    if (isZero(not_finite)) return;
    for (std::size_t at = 0; at < rows * pitch; ++at) {
      formed[at] = static_cast<double>(greys[at]) / kGreyLevels - templ[at % pitch];
    }
  }

  static void addGram(const double* rows, std::size_t count, std::size_t pitch, double* rounded,
                      double* gram) {
    if (count == 0) return;  // there may be no rows to point into
    for (std::size_t at = 0; at < count * pitch; at += kWidth) {
      Lanes::store(rounded + at, Lanes::widen(Lanes::narrow(Lanes::load(rows + at))));
    }
    for (std::size_t i = 0; i < pitch; i += kTileRows) {
      for (std::size_t j = i / kTileCols * kTileCols; j < pitch; j += kTileCols) {
        addTile(rounded + i, rounded + j, count, pitch, gram + i * pitch + j);
      }
    }
  }

  static void addMoment(const double* rows, const double* targets, std::size_t count,
                        std::size_t pitch, double* moment) {
    if (count == 0) return;
    std::size_t k = 0;
    for (; k + kWideMoment <= pitch; k += kWideMoment) {
      addMomentOf<kWideMoment / kWidth>(rows + k, targets, count, pitch, moment + k);
    }
    for (; k < pitch; k += kWidth) addMomentOf<1>(rows + k, targets, count, pitch, moment + k);
  }

  static void addErrors(const double* rows, const double* coefficients, const double* targets,
                        std::size_t count, std::size_t pitch, double* total) {
    for (std::size_t row = 0; row < count; ++row) {
      Doubles products[kParts] = {};
      for (std::size_t k = 0; k < pitch; k += kUnitLanes) {
        for (std::size_t p = 0; p < kParts; ++p) {
          const std::size_t at = k + p * kWidth;
          products[p] += Lanes::load(rows + row * pitch + at) * Lanes::load(coefficients + at);
        }
      }
      double lanes[kUnitLanes];
      for (std::size_t p = 0; p < kParts; ++p) Lanes::store(lanes + p * kWidth, products[p]);
      // In halves, then quarters: the same with every width.
      const double prediction = ((lanes[0] + lanes[4]) + (lanes[2] + lanes[6])) +
                                ((lanes[1] + lanes[5]) + (lanes[3] + lanes[7]));
      *total += __builtin_fabs(prediction - targets[2 * row]);
    }
  }

 private:
  static bool isZero(Doubles values) {
    double sum = 0.0;
    for (std::size_t i = 0; i < kWidth; ++i) sum += values[i];
    return sum == 0.0;
  }

  // Products of two doubles are not exact and must be rounded before they are added.
  template <std::size_t kVectors>
  static void addMomentOf(const double* rows, const double* targets, std::size_t count,
                          std::size_t pitch, double* moment) {
    Doubles x[kVectors];
    Doubles y[kVectors];
    for (std::size_t v = 0; v < kVectors; ++v) {
      x[v] = Lanes::load(moment + v * kWidth);
      y[v] = Lanes::load(moment + pitch + v * kWidth);
    }
    for (std::size_t row = 0; row < count; ++row, rows += pitch, targets += 2) {
      const Doubles target_x = Lanes::all(targets[0]);
      const Doubles target_y = Lanes::all(targets[1]);
      for (std::size_t v = 0; v < kVectors; ++v) {
        const Doubles values = Lanes::load(rows + v * kWidth);
        x[v] += target_x * values;
        y[v] += target_y * values;
      }
    }
    for (std::size_t v = 0; v < kVectors; ++v) {
      Lanes::store(moment + v * kWidth, x[v]);
      Lanes::store(moment + pitch + v * kWidth, y[v]);
    }
  }

  // Products of floats are exact in double, so that a fused multiply-add rounds like an addition.
  static void addTile(const double* left, const double* right, std::size_t count, std::size_t pitch,
                      double* tile) {
    Doubles sums[kTileRows][kTileVectors];
    for (std::size_t i = 0; i < kTileRows; ++i) {
      for (std::size_t p = 0; p < kTileVectors; ++p)
        sums[i][p] = Lanes::load(tile + i * pitch + p * kWidth);
    }
    for (std::size_t row = 0; row < count; ++row, left += pitch, right += pitch) {
      Doubles values[kTileVectors];
      for (std::size_t p = 0; p < kTileVectors; ++p) values[p] = Lanes::load(right + p * kWidth);
      for (std::size_t i = 0; i < kTileRows; ++i) {
        const Doubles factor = Lanes::all(left[i]);
        for (std::size_t p = 0; p < kTileVectors; ++p) {
          sums[i][p] = Lanes::addExactProduct(sums[i][p], factor, values[p]);
        }
      }
    }
    for (std::size_t i = 0; i < kTileRows; ++i) {
      for (std::size_t p = 0; p < kTileVectors; ++p)
        Lanes::store(tile + i * pitch + p * kWidth, sums[i][p]);
    }
  }
};

}  // namespace remora::internal
