#include "internal/selection.h"

#include <algorithm>

#include "internal/random.h"

namespace remora::internal {

void invertErrors(double* values, int size) {
  for (int i = 0; i < size; ++i) values[i] = 1.0 / (values[i] * values[i]);
}

void accumulateNormalised(const double* values, int size, double* cumulative) {
  double sum = 0.0;
  for (int i = 0; i < size; ++i) cumulative[i] = sum += values[i];
  for (int i = 0; i < size; ++i) cumulative[i] /= sum;
}

void spinRoulette(const double* cumulative, int size, int* selected) {
  if (size > 0) selected[0] = 0;
  for (int slot = 1; slot < size; ++slot) {
    const double draw = drawClosedUnit();
    const double* const found =
        std::find_if(cumulative, cumulative + size, [draw](double value) { return value >= draw; });
    selected[slot] = found == cumulative + size ? slot : static_cast<int>(found - cumulative);
  }
}

}  // namespace remora::internal
