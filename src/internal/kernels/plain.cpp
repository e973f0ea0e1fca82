// Plain C++: vectors of two doubles, which every compiler maps to what the processor has.
#include <cstring>

#include "internal/kernels/lane_rows.h"
#include "internal/kernels/lane_sums.h"

namespace remora::internal {
namespace {

struct Plain {
  typedef double Doubles __attribute__((vector_size(16)));
  typedef float Floats __attribute__((vector_size(8)));

  static Floats load(const float* from) { return Floats{from[0], from[1]}; }
  static Doubles load(const double* from) { return Doubles{from[0], from[1]}; }
  static void store(float* to, Floats values) {
    to[0] = values[0];
    to[1] = values[1];
  }
  static void store(double* to, Doubles values) {
    to[0] = values[0];
    to[1] = values[1];
  }
  static Doubles all(double value) { return Doubles{value, value}; }
  static Doubles addExactProduct(Doubles sum, Doubles a, Doubles b) { return sum + a * b; }
  static Doubles widen(Floats values) { return __builtin_convertvector(values, Doubles); }
  static Floats narrow(Doubles values) { return __builtin_convertvector(values, Floats); }

  static Doubles finiteQuotient(Doubles grey) {
    constexpr double kReciprocal = 1.0 / 255.0;
    const Doubles quotient = grey * kReciprocal;
    return quotient - ((quotient * 256.0 - grey) - quotient) * kReciprocal;
  }

  static void transpose(const float* from, std::size_t pitch, float (*to)[kUnitLanes]) {
    for (int step = 0; step < kStepTile; ++step) {
      for (int lane = 0; lane < kUnitLanes; ++lane) {
        to[step][lane] = from[static_cast<std::size_t>(lane) * pitch + static_cast<std::size_t>(step)];
      }
    }
  }
};

}  // namespace

extern const Kernels kPlainKernels = {"plain", 0, nullptr, nullptr, LaneSums<Plain>::sumSteps, LaneSums<Plain>::mapOffsets, LaneRows<Plain>::formRows, LaneRows<Plain>::addGram, LaneRows<Plain>::addMoment, LaneRows<Plain>::addErrors};

}  // namespace remora::internal
