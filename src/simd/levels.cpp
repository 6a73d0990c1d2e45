#include "simd/kernels.h"

namespace zel {

namespace {

#ifdef ZEL_HAS_WIDE_X86
bool HasAvx512() {
  return __builtin_cpu_supports("avx512f") && __builtin_cpu_supports("avx512bw") &&
         __builtin_cpu_supports("avx512dq") && __builtin_cpu_supports("avx512vl") &&
         __builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512vnni");
}
#endif

}  // namespace

const Kernels* const* BuiltKernelLevels() {
#ifdef ZEL_HAS_WIDE_X86
  static const Kernels* const all[] = {&base::kKernels, &sse41::kKernels, &avx2::kKernels, &avx512::kKernels, nullptr};
  static const Kernels* const upToAvx2[] = {&base::kKernels, &sse41::kKernels, &avx2::kKernels, nullptr};
  static const Kernels* const upToSse41[] = {&base::kKernels, &sse41::kKernels, nullptr};
  if (__builtin_cpu_supports("avx2")) return HasAvx512() ? all : upToAvx2;
  if (__builtin_cpu_supports("sse4.1")) return upToSse41;
#endif
  static const Kernels* const baseOnly[] = {&base::kKernels, nullptr};
  return baseOnly;
}

}  // namespace zel
