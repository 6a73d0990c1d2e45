// Kernels at every level against the plain scalar ones.
#ifndef ZEL_TESTS_SUPPORT_KERNEL_SWEEP_H_
#define ZEL_TESTS_SUPPORT_KERNEL_SWEEP_H_

#include <gtest/gtest.h>

#include "simd/kernels.h"

namespace zel::test {

// Two of the widest vectors and a tail.
constexpr size_t kMostCount = 140;

// `run(kernels, count, shift)` gives all that kernels write for one count and alignment, and a little more that they
// must leave alone, as a vector.
template <class Run>
void ExpectEveryLevelEqual(const Run& run) {
  for (size_t count = 0; count <= kMostCount; ++count) {
    for (size_t shift = 0; shift < 4; ++shift) {
      const auto expected = run(scalar::kKernels, count, shift);
      for (const Kernels* const* level = BuiltKernelLevels(); *level != nullptr; ++level) {
        const auto actual = run(**level, count, shift);
        ASSERT_EQ(actual.size(), expected.size());
        for (size_t i = 0; i < expected.size(); ++i) {
          ASSERT_EQ(actual[i], expected[i])
              << (*level)->level << ", " << i << ", count " << count << ", shift " << shift;
        }
      }
    }
  }
}

}  // namespace zel::test

#endif  // ZEL_TESTS_SUPPORT_KERNEL_SWEEP_H_
