#include "tone/histogram.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>

#include "core/channel_lut.h"
#include "support/images.h"

namespace zel::test {
namespace {

int32_t Count(const TestImage& image, const ZelRect* rect, const Sampling& sampling, float* block) {
  const Region region = MeasuredRegion(rect, {0, 0, image.shape().width, image.shape().height});
  int32_t count = 0;
  WithView(image.desc(), [&](const auto& view) {
    count = ComputeHistogram(view, region, block, false, sampling);
    return true;
  });
  return count;
}

TEST(Histogram, CountsColoursInTheirBins) {
  float block[3 * kBins];
  for (bool blueFirst : {false, true}) {
    TestImage image({10, 4, 3, 16, blueFirst});
    image.FillColour(256, 257, 65535);
    EXPECT_EQ(Count(image, nullptr, {true}, block), 40);
    EXPECT_TRUE(block[0] == 40 && block[kBins + 1] == 40 && block[2 * kBins + 255] == 40);
  }
  EXPECT_EQ(Count(TestImage({10, 4, 4}), nullptr, {true}, block), 0);
  EXPECT_EQ(Count(TestImage({10, 4, 1}), nullptr, {true}, nullptr), 0);
}

TEST(Histogram, RectanglesIncludeTheirLastRowAndColumn) {
  const TestImage image({10, 6, 1});
  float block[kBins];
  const auto visited = [&](const ZelRect& rect) { return Count(image, &rect, {true}, block); };
  EXPECT_EQ(visited({2, 1, 4, 3}), 9);
  EXPECT_EQ(visited({4, 3, 2, 1}), 9);
  EXPECT_EQ(visited({5, 5, 5, 5}), 1);
  EXPECT_EQ(visited({-9, -9, 99, 99}), 60);
  EXPECT_EQ(visited({INT_MIN, INT_MIN, INT_MIN, INT_MAX}), 6);
}

TEST(Histogram, GridsStepByTheRoundedUpQuotient) {
  const TestImage image({101, 30, 1});
  float block[kBins];
  const auto visited = [&](int32_t columns, int32_t rows) {
    return Count(image, nullptr, {false, columns, rows}, block);
  };
  EXPECT_EQ(visited(100, 100), 51 * 30);
  EXPECT_EQ(visited(50, 10), 34 * 10);
  EXPECT_EQ(visited(1, 1), 101 * 30);
  EXPECT_EQ(visited(-7, INT_MAX), 101 * 30);
}

TEST(Histogram, LooksThroughCurvesAsIfTheyHadBeenApplied) {
  uint8_t curves[3 * 256];
  for (int i = 0; i < 768; ++i) curves[i] = static_cast<uint8_t>((i * 37) >> 2);
  const ZelRect rect{30, 18, 4, 3};
  for (const Shape& shape : CommonShapes()) {
    const TestImage image(shape);
    TestImage applied(image);
    ASSERT_TRUE(ApplyChannelLut(image.desc(), applied.desc(), &rect, Curves<uint8_t>{curves, 3}));
    const AppliedCurves through{{curves, 3}, ClampedRegion(&rect, {0, 0, shape.width, shape.height})};
    float expected[3 * kBins], seen[3 * kBins];
    EXPECT_EQ(Count(applied, &rect, {false, 20, 20}, expected), Count(image, &rect, {false, 20, 20, &through}, seen));
    EXPECT_EQ(std::memcmp(expected, seen, shape.channels * kBins * sizeof(float)), 0) << NameOf(shape);
  }
}

struct Ends {
  int32_t low, high;
  bool operator==(const Ends& o) const { return low == o.low && high == o.high; }
};

// Ends of a histogram with `a` pixels at value i and `b` at value j.
Ends EndsOf(int i, float a, int j, float b, double lowFraction = 0.01, double highFraction = 0.99) {
  float bins[kBins] = {};
  bins[i] += a;
  bins[j] += b;
  Ends ends;
  const bool empty = a + b == 0.0f;
  EXPECT_TRUE(HistogramPercentiles(bins, empty, static_cast<int32_t>(a + b), 1, &ends.high, &ends.low, highFraction,
                                   lowFraction));
  return ends;
}

TEST(Percentiles, AreAlwaysApart) {
  EXPECT_EQ(EndsOf(0, 50, 255, 50), (Ends{0, 255}));
  EXPECT_EQ(EndsOf(100, 50, 100, 50), (Ends{100, 101}));
  EXPECT_EQ(EndsOf(255, 50, 255, 50), (Ends{254, 255}));
  EXPECT_EQ(EndsOf(0, 0, 0, 0), (Ends{0, 255}));
  // A share of exactly the fraction is not enough.
  EXPECT_EQ(EndsOf(10, 1, 200, 3, 0.25), (Ends{200, 201}));
  EXPECT_EQ(EndsOf(10, 1, 200, 3, 0.24), (Ends{10, 200}));
}

TEST(Percentiles, FractionsOutOfRangeGetTheirDefaults) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  for (double bad : {-0.1, 1.0, 1.5, nan}) EXPECT_EQ(EndsOf(10, 2, 200, 98, bad), (Ends{10, 200})) << bad;
  for (double bad : {-0.1, 1.5, nan}) EXPECT_EQ(EndsOf(10, 98, 200, 2, 0.01, bad), (Ends{10, 200})) << bad;
  EXPECT_EQ(EndsOf(10, 3, 200, 1, 0.01, 1.0), (Ends{9, 10}));  // never exceeded, so the low index serves for both
  float bins[kBins] = {};
  EXPECT_FALSE(HistogramPercentiles(bins, false, 0, 1, nullptr, nullptr, 0.99, 0.01));
  EXPECT_FALSE(HistogramPercentiles(bins, true, 0, 2, nullptr, nullptr, 0.99, 0.01));
}

TEST(ChannelMeans, AreOnTheByteScale) {
  for (int bits : {8, 16}) {
    TestImage image({10, 4, 3, bits});
    const int unit = bits == 8 ? 1 : 257;
    image.FillColour(10 * unit, 20 * unit, 30 * unit);
    image.SetColour(0, 0, 50 * unit, 20 * unit, 30 * unit);
    float red, blue;
    ASSERT_TRUE(WithView(
        image.desc(), [&](const auto& view) { return ChannelMeans(view, view.Whole(), &red, nullptr, &blue, false); }));
    EXPECT_TRUE(red == 11.0f && blue == 30.0f);
  }
}

}  // namespace
}  // namespace zel::test
