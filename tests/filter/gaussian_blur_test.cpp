#include "filter/gaussian_blur.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "support/images.h"

namespace zel::test {
namespace {

using Weights = std::vector<int32_t>;

Weights Kernel(double sigma) {
  Weights weights(kMaxKernelLength);
  weights.resize(static_cast<size_t>(MakeGaussianKernel(weights.data(), sigma)));
  return weights;
}

// The tap pairs and the centre of the rescaled kernel, mirrored to its full length.
Weights Rescaled(double sigma, int* shift) {
  BlurWeights blur;
  EXPECT_TRUE(MakeBlurWeights(sigma, &blur));
  *shift = blur.shift;
  Weights weights(static_cast<size_t>(2 * blur.reach + 1));
  for (int k = 0; k <= 2 * blur.reach; ++k) weights[k] = blur.taps[k <= blur.reach ? k : 2 * blur.reach - k];
  return weights;
}

TEST(GaussianBlur, KernelsAreCutAndScaled) {
  EXPECT_EQ(Kernel(0.5), (Weights{109, 805, 109}));
  EXPECT_EQ(Kernel(1.0), (Weights{5, 55, 248, 409, 248, 55, 5}));
  const double sigmas[] = {0.1, 0.2, 0.3, 1.5, 2, 3, 5, 10, 20};
  const int reaches[] = {0, 0, 1, 4, 6, 8, 13, 23, 38};
  for (int i = 0; i < 9; ++i) EXPECT_EQ(GaussianKernelLength(sigmas[i]), 2 * reaches[i] + 1) << sigmas[i];
  for (double none : {0.0, 0.05, -1.0, -1e300, std::nan(""), -std::numeric_limits<double>::infinity()}) {
    EXPECT_EQ(Kernel(none), Weights{1});
  }
  for (double huge : {1e4, 1e200, std::numeric_limits<double>::infinity()}) EXPECT_EQ(Kernel(huge), Weights(121, 8));

  int shift = 0;
  EXPECT_EQ(Rescaled(0.5, &shift), (Weights{109, 806, 109}));
  EXPECT_EQ(shift, 10);
  EXPECT_EQ(Rescaled(1.0, &shift), (Weights{10, 110, 496, 817, 496, 110, 10}));
  EXPECT_EQ(shift, 11);
}

// Each sample by its own double sum, edges repeated.
int Reference(const TestImage& source, int x, int y, int k, const Weights& weights, int shift) {
  const Shape& shape = source.shape();
  const int reach = static_cast<int>(weights.size()) / 2, most = shape.bits == 8 ? 255 : 65535;
  const auto clamp = [](int v, int size) { return std::min(std::max(v, 0), size - 1); };
  int64_t outer = 0;
  for (int j = -reach; j <= reach; ++j) {
    int64_t inner = 0;
    for (int i = -reach; i <= reach; ++i) {
      inner += weights[i + reach] * source.Get(clamp(x + i, shape.width), clamp(y + j, shape.height), k);
    }
    outer += weights[j + reach] * std::min<int64_t>(inner >> shift, most);
  }
  return static_cast<int>(std::min<int64_t>(outer >> shift, most));
}

TEST(GaussianBlur, EqualsADirectSumOverEveryPixel) {
  const Shape shapes[] = {{37, 23, 3, 8, true, 4}, {37, 23, 3, 16, true, 0}, {70, 41, 1, 8, false, 3},
                          {70, 41, 1, 16, false},  {1, 50, 3, 8, true},      {300, 2, 3, 16, true}};
  const ZelRect rects[] = {{0, 0, 400, 400}, {3, 20, 30, 2}, {0, 1, 1, 2}};
  for (const Shape& shape : shapes) {
    for (double sigma : {0.5, 1.0, 3.0, 10.0, 1e9}) {
      int shift = 0;
      const Weights weights = Rescaled(sigma, &shift);
      for (const ZelRect& rect : rects) {
        SCOPED_TRACE(NameOf(shape) + " sigma " + std::to_string(sigma));
        const TestImage source(shape);
        TestImage result(source);
        ASSERT_EQ(ZelBasicToolFunc_GaussianBlur(result.desc(), result.desc(), static_cast<float>(sigma), &rect),
                  ZEL_OK);
        const Region region = ClampedRegion(&rect, {0, 0, shape.width, shape.height});
        for (int y = region.top; y < region.bottom; ++y) {
          for (int x = region.left + y % 3; x < region.right; x += 3) {
            for (int k = 0; k < shape.channels; ++k) {
              ASSERT_EQ(result.Get(x, y, k), Reference(source, x, y, k, weights, shift)) << x << ", " << y << ", " << k;
            }
          }
        }
      }
    }
  }
}

// Neither a weight nor the reach may depend on the last bit of a math library's exponential.
TEST(GaussianKernel, NoDecisionLiesNearItsBoundary) {
  double least = 1.0;
  for (int step = 10; step <= 6000; ++step) {
    const double sigma = static_cast<float>(step * 0.01);
    double g[61], total = 0.0;
    for (int d = 0; d <= 60; ++d) {
      const double e = d * d / (2.0 * sigma * sigma);
      g[d] = e < 230.0 ? (0.39894228 / sigma) / std::exp(e) : 0.0;
      total += d == 0 ? g[0] : 2.0 * g[d];
    }
    const Weights kernel = Kernel(sigma);
    const int reach = static_cast<int>(kernel.size()) / 2;
    double tail = total + g[0];
    for (int d = 0; d <= reach; ++d) {
      const double weight = g[d] * 1024.0 / total + 0.5;
      tail -= 2.0 * g[d];
      least = std::min({least, std::fabs(weight - std::nearbyint(weight)), std::fabs(tail / total - 0.005)});
      ASSERT_EQ(kernel[reach + d], static_cast<int>(weight)) << sigma << " at " << d;
      const bool isLast = tail / total < 0.005 || weight < 4.0 || d == 60;
      ASSERT_EQ(isLast, d == reach) << sigma << " at " << d;
    }
  }
  EXPECT_GT(least, 1e-9);
}

}  // namespace
}  // namespace zel::test
