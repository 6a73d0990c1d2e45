// Runs the library with the kernels of a chosen level.
#ifndef ZEL_TESTS_DRIVER_KERNEL_CHOICE_H_
#define ZEL_TESTS_DRIVER_KERNEL_CHOICE_H_

#include "simd/kernels.h"

namespace zel::test {

// From now on; null restores the automatic choice.
void UseKernels(const Kernels* kernels);

}  // namespace zel::test

#endif  // ZEL_TESTS_DRIVER_KERNEL_CHOICE_H_
