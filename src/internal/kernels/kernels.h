// The loops that cost time. Most are written once, as templates over the width of a vector
// register, and compiled for each instruction set that the library knows. Every set gives the same
// bits.
#pragma once

#include <cstddef>
#include <cstdint>

#include "internal/grey_levels.h"
#include "internal/kernels/rounding.h"

namespace remora::internal {

// Weighted sums run side by side, a lane each: 8 lanes make a unit, 1 or 2 units a group.
constexpr int kUnitLanes = 8;
constexpr int kMostUnits = 2;
constexpr int kMostLanes = kUnitLanes * kMostUnits;
constexpr int kStepTile = 8;  // steps that are processed together

constexpr int kPixelBytes = 3;  // of an 8-bit image

// A row's length, rounded up to whole units.
constexpr std::size_t wholeUnits(std::size_t size) {
  return (size + kUnitLanes - 1) / kUnitLanes * kUnitLanes;
}

// Up to 32 pixels of a row, the first one wanted: bit i of `wanted` stands for the pixel at dx + i.
struct Window {
  std::int32_t dx, dy;
  std::uint32_t wanted;
};

// The loops as one instruction set runs them.
struct Kernels {
  const char* name;

  // Pixels that a window may span; 0 where pixels are best taken one by one.
  int window_span;

  // Appends the wanted pixels of each window around pixel `centre` to `taken`, reading no others.
  // Up to window_span entries behind the last one are overwritten.
  void (*takePixels)(const Window* first, const Window* last, const float* pixels,
                     std::ptrdiff_t centre, std::ptrdiff_t row_stride, float* taken);

  // The same for the first bytes of pixels of kPixelBytes, `centre` and `row_stride` counted in
  // bytes. The bytes of all window_span pixels of a window are read.
  void (*takeBytes)(const Window* first, const Window* last, const unsigned char* bytes,
                    std::ptrdiff_t centre, std::ptrdiff_t row_stride, float* taken);

  // sums[i] grows by packed weight * (grey / 255) - packed term, step after step, for the lanes of
  // `units` units: all in double, but the sum rounded to float after each addition. `greys` holds
  // one row per lane, `pitch` apart; `packed` per step and unit 8 weights, then 8 terms; `steps` is
  // a multiple of kStepTile.
  void (*sumSteps)(int units, const float* greys, std::size_t pitch, const double* packed,
                   std::size_t steps, float* sums);

  // places[k] = index, from the centre's, of the pixel that offset k (dx, dy) is mapped to by the
  // 2 x 2 matrix `map`, truncated to whole pixels. requires: places that an int holds
  void (*mapOffsets)(const double* map, int row_stride, const int* offs, std::size_t size,
                     int* places);

  // Training examples are rows of `pitch` doubles, a multiple of kUnitLanes.

  // formed = greys / 255 - templ, row by row.
  void (*formRows)(const float* greys, const double* templ, std::size_t rows, std::size_t pitch,
                   double* formed);

  // gram += product of each row, rounded to float, with itself; `rounded` is scratch for the rows.
  // gram is pitch x pitch; its elements from the diagonal on are set, others may be.
  void (*addGram)(const double* rows, std::size_t count, std::size_t pitch, double* rounded,
                  double* gram);

  // moment[r * pitch + k] += targets[2 * row + r] * rows[row * pitch + k], for r = 0, 1.
  void (*addMoment)(const double* rows, const double* targets, std::size_t count, std::size_t pitch,
                    double* moment);

  // *total += |rows[row] * coefficients - targets[2 * row]|, row by row.
  void (*addErrors)(const double* rows, const double* coefficients, const double* targets,
                    std::size_t count, std::size_t pitch, double* total);
};

extern const Kernels kPlainKernels;
extern const Kernels kAvx2Kernels;    // where REMORA_X86_KERNELS is defined
extern const Kernels kAvx512Kernels;  // the same

// The instruction sets that this machine runs, plain C++ first, the widest last.
struct KernelChoices {
  const Kernels* sets[3];
  int count;
};
const KernelChoices& kernelChoices();

// The chosen set: the widest, from the first use on.
const Kernels& kernels();

// For tests and measurements: makes another set the chosen one for what is made from now on.
void useKernels(const Kernels& chosen);

}  // namespace remora::internal
