#include <atomic>

#include "simd/kernels.h"

namespace zel {

// Nothing else stands in this file, so that a program of tests can bring an ActiveKernels of its own.
const Kernels& ActiveKernels() {
  static std::atomic<const Kernels*> chosen{nullptr};
  // Two threads that come first may both choose; they choose the same.
  const Kernels* kernels = chosen.load(std::memory_order_acquire);
  if (kernels == nullptr) {
    for (const Kernels* const* level = BuiltKernelLevels(); *level != nullptr; ++level) kernels = *level;
    chosen.store(kernels, std::memory_order_release);
  }
  return *kernels;
}

}  // namespace zel
