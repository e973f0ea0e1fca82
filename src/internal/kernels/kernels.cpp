#include "internal/kernels/kernels.h"

namespace remora::internal {

namespace {

KernelChoices findChoices() {
  KernelChoices choices = {{&kPlainKernels}, 1};
#ifdef REMORA_X86_KERNELS
  __builtin_cpu_init();
  if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("fma")) return choices;
  choices.sets[choices.count++] = &kAvx2Kernels;
  if (__builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
      __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl")) {
    choices.sets[choices.count++] = &kAvx512Kernels;
  }
#endif
  return choices;
}

const Kernels*& chosen() {
  static const Kernels* current = kernelChoices().sets[kernelChoices().count - 1];
  return current;
}

}  // namespace

const KernelChoices& kernelChoices() {
  static const KernelChoices choices = findChoices();
  return choices;
}

const Kernels& kernels() { return *chosen(); }

void useKernels(const Kernels& other) { chosen() = &other; }

}  // namespace remora::internal
