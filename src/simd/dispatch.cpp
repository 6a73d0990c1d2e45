#include <atomic>

#include "simd/kernels.h"

namespace zel {

namespace {

std::atomic<const Kernels*> activeKernels{nullptr};

const Kernels* BestKernels() {
#ifdef ZEL_HAS_AVX2
  if (__builtin_cpu_supports("avx2")) return &avx2::kKernels;
#endif
  return &base::kKernels;
}

}  // namespace

const Kernels& ActiveKernels() {
  // Two threads that come first may both choose; they choose the same.
  const Kernels* kernels = activeKernels.load(std::memory_order_acquire);
  if (kernels == nullptr) {
    kernels = BestKernels();
    activeKernels.store(kernels, std::memory_order_release);
  }
  return *kernels;
}

void SetActiveKernels(const Kernels* kernels) {
  activeKernels.store(kernels, std::memory_order_release);
}

const Kernels* const* BuiltKernelLevels() {
  static const Kernels* const withoutAvx2[] = {&base::kKernels, nullptr};
#ifdef ZEL_HAS_AVX2
  static const Kernels* const withAvx2[] = {&base::kKernels, &avx2::kKernels, nullptr};
  if (__builtin_cpu_supports("avx2")) return withAvx2;
#endif
  return withoutAvx2;
}

}  // namespace zel
