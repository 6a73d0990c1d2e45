#include "retouch/wavelet.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "support/images.h"

namespace zel::test {
namespace {

constexpr ptrdiff_t kRoom = 8;

// Even and odd samples of a signal with its mirror image around it.
struct Split {
  std::vector<double> low, high;

  template <class Value>
  Split(ptrdiff_t pairs, const Value& value) : low(pairs + 2 * kRoom), high(pairs + 2 * kRoom) {
    for (ptrdiff_t i = 0; i < pairs + 2 * kRoom; ++i) {
      low[i] = value(Mirrored(2 * (i - kRoom), 2 * pairs));
      high[i] = value(Mirrored(2 * (i - kRoom) + 1, 2 * pairs));
    }
  }
};

TEST(Wavelet, ReconstructsEverySignal) {
  for (size_t index = 0; index < KernelLevel::Count(); ++index) {
    const KernelLevel level(index);
    const WaveletKernels& kernels = ActiveKernels().wavelet;
    for (const ptrdiff_t pairs : {1, 2, 3, 4, 5, 17, 500}) {
      const auto sample = [](ptrdiff_t i) { return static_cast<double>(i * i * 7919 % 256); };
      Split in(pairs, sample), out(pairs, sample);
      std::vector<double> middle(2 * pairs);
      LiftForward97(kernels, &in.low[kRoom], &in.high[kRoom], &middle[0], &middle[pairs], pairs);
      const Split back(pairs, [&](ptrdiff_t i) { return middle[i % 2 * pairs + i / 2]; });
      LiftInverse97(kernels, &back.low[kRoom], &back.high[kRoom], &out.low[kRoom], &out.high[kRoom], pairs);
      for (ptrdiff_t i = 0; i < 2 * pairs; ++i) {
        ASSERT_NEAR((i % 2 != 0 ? out.high : out.low)[kRoom + i / 2], sample(i), 1e-9 * 255)
            << pairs << " pairs, " << i;
      }
    }
  }
}

TEST(Wavelet, ConstantsHaveNoDetail) {
  Split in(20, [](ptrdiff_t) { return 100.0; });
  double low[20], high[20];
  LiftForward97(ActiveKernels().wavelet, &in.low[kRoom], &in.high[kRoom], low, high, 20);
  for (int i = 0; i < 20; ++i) {
    EXPECT_NEAR(low[i], 141.4213562, 1e-5);
    EXPECT_NEAR(high[i], 0.0, 1e-5);
  }
}

TEST(Wavelet, ColumnsAreLiftedLikeRows) {
  for (const ptrdiff_t height : {8, 10, 34}) {
    const auto sample = [](ptrdiff_t i) { return static_cast<double>((i * 37 + i * i) % 256); };
    Split in(height / 2, sample);
    std::vector<double> expected(height), rows(ColumnLift::kRows * 3);
    const WaveletKernels& kernels = ActiveKernels().wavelet;
    LiftForward97(kernels, &in.low[kRoom], &in.high[kRoom], &expected[0], &expected[height / 2], height / 2);
    const ColumnLift lift(kernels, kForwardSteps, rows.data(), 3, height);
    for (ptrdiff_t y = 0; y < height + 4; y += 2) {
      for (ptrdiff_t row = y - 1; row <= y; ++row) {
        if (row >= 0 && row < height) std::fill_n(lift.Row(row), 3, sample(row));
      }
      lift.Take(y);
      if (y < 4) continue;
      const ptrdiff_t i = (y - 4) / 2;
      EXPECT_EQ(lift.Row(y - 4)[2] * kForwardScales[0], expected[i]);
      EXPECT_EQ(lift.Row(y - 3)[2] * kForwardScales[1], expected[height / 2 + i]);
    }
  }
}

}  // namespace
}  // namespace zel::test
