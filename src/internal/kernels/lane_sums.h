// Weighted sums side by side. A sum must round to float after each addition, so its order is fixed
// and its speed is the latency of its own chain; several chains in the lanes of a vector register
// share that latency without touching each other's bits.
//
// `Lanes` is what a set of instructions offers: the types Doubles and Floats with equally many
// elements; load, store, widen and narrow; transpose; quotient, the division by kGreyLevels, which
// is right for infinity only where kQuotientIsGeneral.
#pragma once

#include "internal/kernels/kernels.h"

namespace remora::internal {

template <class Lanes>
class LaneSums {
  using Doubles = typename Lanes::Doubles;
  using Floats = typename Lanes::Floats;
  static constexpr int kWidth = sizeof(Doubles) / sizeof(double);
  static constexpr int kParts = kUnitLanes / kWidth;

 public:
  static void sumSteps(int units, const float* greys, std::size_t pitch, const double* packed,
                       std::size_t steps, float* sums) {
    using Sums = void (*)(const float*, std::size_t, const double*, std::size_t, float*);
    constexpr Sums kSums[kMostUnits] = {sumUnits<1>, sumUnits<2>};
    kSums[units - 1](greys, pitch, packed, steps, sums);
  }

  // Left to the compiler's vectoriser.
  static void mapOffsets(const double* map, int row_stride, const int* offs, std::size_t size,
                         int* places) {
    const double xx = map[0], xy = map[1], yx = map[2], yy = map[3];
    for (std::size_t k = 0; k < size; ++k) {
      const double dx = offs[2 * k];
      const double dy = offs[2 * k + 1];
      const int x = static_cast<int>(xx * dx + xy * dy);
      const int y = static_cast<int>(yx * dx + yy * dy);
      places[k] = x + y * row_stride;
    }
  }

 private:
  static constexpr int kAhead = 2048;  // doubles

  template <bool kGeneral>
  static Doubles sampleOf(Doubles grey) {
    if constexpr (kGeneral) return grey / kGreyLevels;
    return Lanes::quotient(grey);
  }

  // A sum that became infinite or NaN is formed again, with a division that is right for infinite
  // grey levels, too.
  template <int kUnits>
  static void sumUnits(const float* greys, std::size_t pitch, const double* packed,
                       std::size_t steps, float* sums) {
    float before[kUnits * kUnitLanes];
    for (int i = 0; i < kUnits * kUnitLanes; ++i) before[i] = sums[i];
    sumWith<kUnits, false>(greys, pitch, packed, steps, sums);
    if (Lanes::kQuotientIsGeneral || areFinite<kUnits>(sums)) return;
    for (int i = 0; i < kUnits * kUnitLanes; ++i) sums[i] = before[i];
    sumWith<kUnits, true>(greys, pitch, packed, steps, sums);
  }

  template <int kUnits>
  static bool areFinite(const float* sums) {
    float not_finite = 0.0F;
    for (int i = 0; i < kUnits * kUnitLanes; ++i) not_finite += sums[i] - sums[i];
    return not_finite == 0.0F;
  }

  // The weights of large shapes come from the outer caches, and hardware prefetching stops at each
  // page. Beyond the last step, a prefetch has no effect.
  template <int kUnits>
  static void prefetchStep(const double* packed) {
    constexpr int kLine = 8;
    for (int i = 0; i < 2 * kUnits; ++i) __builtin_prefetch(packed + kLine * i);
  }

  template <int kUnits, bool kGeneral>
  static void sumWith(const float* greys, std::size_t pitch, const double* packed,
                      std::size_t steps, float* sums) {
    constexpr int kRegisters = kUnits * kParts;
    Floats sum[kRegisters];
    for (int r = 0; r < kRegisters; ++r) sum[r] = Lanes::load(sums + r * kWidth);
    for (std::size_t k = 0; k < steps; k += kStepTile) {
      alignas(64) float tile[kUnits][kStepTile][kUnitLanes];
      for (int u = 0; u < kUnits; ++u) {
        Lanes::transpose(greys + static_cast<std::size_t>(u * kUnitLanes) * pitch + k, pitch,
                         tile[u]);
      }
      for (int step = 0; step < kStepTile; ++step) {
        prefetchStep<kUnits>(packed + kAhead);
        for (int r = 0; r < kRegisters; ++r) {
          const int unit = r / kParts;
          const int lane = r % kParts * kWidth;
          const double* const weights = packed + 2 * kUnitLanes * unit + lane;
          const Doubles sample =
              sampleOf<kGeneral>(Lanes::widen(Lanes::load(&tile[unit][step][lane])));
          const Doubles term = Lanes::load(weights) * sample - Lanes::load(weights + kUnitLanes);
          sum[r] = Lanes::narrow(Lanes::widen(sum[r]) + term);
        }
        packed += 2 * kUnitLanes * kUnits;
      }
    }
    for (int r = 0; r < kRegisters; ++r) Lanes::store(sums + r * kWidth, sum[r]);
  }
};

}  // namespace remora::internal
