// The loop that takes most of the time of a frame: grey levels between the pixels of a picture,
// along a line. It is compiled for each set of instructions that the library knows; all arithmetic
// is that of whole numbers, so every set gives the same bits.
#pragma once

#include <cstddef>
#include <cstdint>

namespace remora {

constexpr int kPlaceBits = 20;             // behind the point of a coordinate
constexpr int kWeightBits = 8;             // of them, the uppermost, weigh pixels
constexpr int kLongestRun = 64;            // places
constexpr int kRunRoom = kLongestRun + 8;  // grey levels that may be overwritten
constexpr std::int32_t kLongestPace = 2 << kPlaceBits;

// Places at even distances, in steps of 2^-kPlaceBits pixels from a pixel of the picture.
struct Run {
  const unsigned char* pixel;   // the one that the first place lies in
  std::ptrdiff_t stride;        // bytes from a row to the next
  std::int32_t x, y;            // of the first place; not negative, below one pixel
  std::int32_t step_x, step_y;  // at most kLongestPace, either way
  int count;                    // 1 ... kLongestRun
};

struct SamplingKernels {
  const char* name;
  int beyond;  // bytes that are read to the right of the pixels which a place lies between

  // greys[i] = 2^(2 * kWeightBits) times the grey level at place i, linear between pixels. Those
  // behind the last one are overwritten.
  void (*sample)(const Run& run, std::int32_t* greys);
};

extern const SamplingKernels kPlainSampling;
extern const SamplingKernels kAvx2Sampling;  // where REMORA_X86_KERNELS is defined

// Those that this machine runs, plain C++ first, the widest last. Wider registers than those of
// AVX2 gain nothing here: places far apart lie in too many rows.
struct SamplingChoices {
  const SamplingKernels* sets[2];
  int count;
};
const SamplingChoices& samplingChoices();

// The chosen set: the widest.
const SamplingKernels& samplingKernels();

// For tests and measurements: makes another set the chosen one.
void useSampling(const SamplingKernels& chosen);

}  // namespace remora
