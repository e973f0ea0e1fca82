// Fitness-proportional selection: errors become fitness, fitness becomes a cumulative scale, and a
// roulette picks from it (Goldberg, Genetic Algorithms in Search, Optimization and Machine
// Learning, 1989).
#pragma once

namespace remora::internal {

// values[i] = 1 / values[i]^2; an error of 0 becomes infinite fitness.
void invertErrors(double* values, int size);

// cumulative[i] = (values[0] + ... + values[i]) / total.
void accumulateNormalised(const double* values, int size, double* cumulative);

// Slot 0 names index 0 without a draw. Every further slot draws from rand() and names the first
// index whose cumulative value reaches the draw; where none does (values that are not numbers,
// rounding), the slot names itself. `selected` has room for `size` indices.
void spinRoulette(const double* cumulative, int size, int* selected);

}  // namespace remora::internal
