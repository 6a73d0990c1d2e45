// Programs that link this have an ActiveKernels of their own, so the one in the static library stays out.
#include "driver/kernel_choice.h"

#include <atomic>

namespace zel {

namespace {

std::atomic<const Kernels*> chosen{nullptr};

}  // namespace

const Kernels& ActiveKernels() {
  const Kernels* kernels = chosen;
  for (const Kernels* const* level = BuiltKernelLevels(); chosen == nullptr && *level != nullptr; ++level) {
    kernels = *level;
  }
  return *kernels;
}

namespace test {

void UseKernels(const Kernels* kernels) {
  chosen = kernels;
}

}  // namespace test

}  // namespace zel
