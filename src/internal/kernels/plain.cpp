// Plain C++: vectors of two doubles, which every compiler maps to what the processor has.
#include <cstring>

#include "internal/kernels/lane_rows.h"
#include "internal/kernels/lane_sums.h"

namespace remora::internal {
namespace {

struct Plain {
  typedef double Doubles __attribute__((vector_size(16)));
  typedef float Floats __attribute__((vector_size(8)));
  static constexpr std::size_t kTileRows = 4, kTileVectors = 2;

  static Floats load(const float* from) { return loaded<Floats>(from); }
  static Doubles load(const double* from) { return loaded<Doubles>(from); }
  static void store(float* to, Floats values) { std::memcpy(to, &values, sizeof values); }
  static void store(double* to, Doubles values) { std::memcpy(to, &values, sizeof values); }
  static Doubles all(double value) { return Doubles{value, value}; }
  static Doubles addExactProduct(Doubles sum, Doubles a, Doubles b) { return sum + a * b; }
  static Doubles widen(Floats values) { return __builtin_convertvector(values, Doubles); }
  static Floats narrow(Doubles values) { return __builtin_convertvector(values, Floats); }

  static constexpr bool kQuotientIsGeneral = true;
  static Doubles quotient(Doubles grey) { return grey / kGreyLevels; }

  static void transpose(const float* from, std::size_t pitch, float (*to)[kUnitLanes]) {
    for (int step = 0; step < kStepTile; ++step) {
      for (int lane = 0; lane < kUnitLanes; ++lane) {
        to[step][lane] =
            from[static_cast<std::size_t>(lane) * pitch + static_cast<std::size_t>(step)];
      }
    }
  }

 private:
  template <class Values>
  static Values loaded(const void* from) {
    Values values;
    std::memcpy(&values, from, sizeof values);
    return values;
  }
};

}  // namespace

const Kernels kPlainKernels = {"plain",
                               0,
                               nullptr,
                               nullptr,
                               LaneSums<Plain>::sumSteps,
                               LaneSums<Plain>::mapOffsets,
                               LaneRows<Plain>::formRows,
                               LaneRows<Plain>::addGram,
                               LaneRows<Plain>::addMoment,
                               LaneRows<Plain>::addErrors};

}  // namespace remora::internal
