#include <atomic>

#include "simd/kernels.h"

namespace zel {

namespace {

std::atomic<const Kernels*> activeKernels{nullptr};

#ifdef ZEL_HAS_WIDE_X86
bool HasAvx512() {
  return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
         __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl") &&
         __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512vnni");
}
#endif

}  // namespace

const Kernels& ActiveKernels() {
  // Two threads that come first may both choose; they choose the same.
  const Kernels* kernels = activeKernels.load(std::memory_order_acquire);
  if (kernels == nullptr) {
    for (const Kernels* const* level = BuiltKernelLevels(); *level != nullptr; ++level) kernels = *level;
    activeKernels.store(kernels, std::memory_order_release);
  }
  return *kernels;
}

void SetActiveKernels(const Kernels* kernels) {
  activeKernels.store(kernels, std::memory_order_release);
}

const Kernels* const* BuiltKernelLevels() {
  static const Kernels* const baseOnly[] = {&base::kKernels, nullptr};
#ifdef ZEL_HAS_WIDE_X86
  static const Kernels* const upToAvx2[] = {&base::kKernels, &avx2::kKernels, nullptr};
  static const Kernels* const upToAvx512[] = {&base::kKernels, &avx2::kKernels, &avx512::kKernels, nullptr};
  if (__builtin_cpu_supports("avx2")) return HasAvx512() ? upToAvx512 : upToAvx2;
#endif
  return baseOnly;
}

}  // namespace zel
