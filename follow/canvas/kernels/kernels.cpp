#include "follow/canvas/kernels/kernels.h"

namespace remora {
namespace {

SamplingChoices findChoices() {
  SamplingChoices choices = {{&kPlainSampling}, 1};
#ifdef REMORA_X86_KERNELS
  __builtin_cpu_init();
  if (__builtin_cpu_supports("avx2")) choices.sets[choices.count++] = &kAvx2Sampling;
#endif
  return choices;
}

const SamplingKernels*& chosen() {
  static const SamplingKernels* current = samplingChoices().sets[samplingChoices().count - 1];
  return current;
}

}  // namespace

const SamplingChoices& samplingChoices() {
  static const SamplingChoices choices = findChoices();
  return choices;
}

const SamplingKernels& samplingKernels() { return *chosen(); }

void useSampling(const SamplingKernels& other) { chosen() = &other; }

}  // namespace remora
