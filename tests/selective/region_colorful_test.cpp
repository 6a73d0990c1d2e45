#include "selective/region_colorful.h"

#include <gtest/gtest.h>

#include "color/hue_saturation.h"
#include "color/rgb_to_hsl.h"
#include "core/blend.h"
#include "core/image.h"
#include "filter/gaussian_blur.h"
#include "selective/picked_colour_mask.h"
#include "simd/kernels.h"
#include "support/images.h"
#include "tone/gamma.h"

namespace zel::test {
namespace {

// The steps one after the other on whole images.
TestImage Expected(const TestImage& source, TestImage mask, int threshold, int amount, const ZelRect* rect) {
  TestImage result(source.shape(), 2);
  uint32_t histogram[101] = {};
  for (int y = 0; y < source.shape().height; ++y) {
    for (int x = 0; x < source.shape().width; ++x) {
      int m = mask.Get(x, y, 0);
      if (m < threshold) continue;
      const int s = PixelSat(source.Colour(x, y, 0), source.Colour(x, y, 1), source.Colour(x, y, 2));
      if (s > 75) mask.Set(x, y, 0, m = (100 - s) * m * 4 / 100);
      if (m >= threshold) ++histogram[s];
    }
  }
  const int32_t increase = static_cast<int32_t>(SaturationIncrease(histogram, amount));
  const float gamma = static_cast<float>(1.0 + increase * static_cast<double>(0.001f));
  const float gammas[3] = {gamma, gamma, gamma};
  EXPECT_TRUE(ApplyHueSaturation(source.desc(), result.desc(), rect, 0, increase, true) &&
              GammaCorrect(result.desc(), result.desc(), rect, gammas) &&
              GaussianBlur(result.desc(), result.desc(), rect, 0.5) &&
              MaskBlend(result.desc(), source.desc(), result.desc(), mask.desc(), kMix, rect));
  return result;
}

TEST(RegionColourful, EqualsItsStepsDoneOneByOne) {
  const ZelRect part{9, 5, 290, 40};
  const TestImage source({301, 47, 3, 8, true, 2});
  struct {
    ColourRegion region;
    int amount, base;
  } const cases[] = {{kFoliage, 40, 50}, {kSky, 100, 60}, {kSkin, 87, 20}, {kSkin, -30, 20}};
  for (const auto& c : cases) {
    const int tolerance = c.amount > 85 ? (c.amount - 85) / 3 : 0;
    const int threshold = c.amount < 85 ? 96 : 96 + (85 - c.amount) * 48 / 15;
    for (const ZelRect* rect : {static_cast<const ZelRect*>(nullptr), &part}) {
      TestImage mask({301, 47, 1, 8, false});
      ASSERT_TRUE(BuildRegionHueMask(source.desc(), mask.desc(), nullptr, c.region, c.base + tolerance, 192));
      EXPECT_EQ(After(RegionColourfulEnhance, source, c.region, c.amount, rect),
                Expected(source, mask, threshold, c.amount, rect));
      ASSERT_TRUE(BuildPickedColourMask(source.desc(), mask.desc(), nullptr, {44, 31}, 192, 20 + tolerance));
      EXPECT_EQ(After(SeededColourfulEnhance, source, ZelPoint{44, 31}, c.amount, rect),
                Expected(source, mask, threshold, c.amount, rect));
    }
  }
}

TEST(RegionColourful, SoftensTowardsWhatTheDestinationHolds) {
  const TestImage source({8, 8, 3, 8, true}, 70, 150, 70);
  const ZelRect part{2, 2, 6, 6};
  TestImage result(source.shape(), 0, 0, 0);
  ASSERT_EQ(ZelBasicToolFunc_FoliageColorful(source.desc(), result.desc(), nullptr, 100, &part, 0), ZEL_OK);
  const int greens[] = {0, 155, 169, 169, 155, 0};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(result.Colour(1 + i, 2, 1), greens[i]) << i;
}

TEST(RegionColourful, AddsMoreToADullArea) {
  const auto increase = [](std::initializer_list<std::pair<int, uint32_t>> bins, int32_t amount) {
    uint32_t histogram[101] = {};
    for (const auto& bin : bins) histogram[bin.first] = bin.second;
    return SaturationIncrease(histogram, amount);
  };
  EXPECT_EQ(increase({{20, 50}}, 50), 400);
  EXPECT_EQ(increase({{20, 50}}, 100), 425);
  EXPECT_EQ(increase({{60, 50}}, 50), 75) << "66 is raised to 75";
  EXPECT_EQ(increase({{30, 989}, {50, 10}}, 50), 100) << "9 of 999 suffice";
  EXPECT_EQ(increase({{30, 4000}, {50, 10}}, 50), 233) << "10 of 4010 do not";
  EXPECT_EQ(increase({{30, 9901}, {50, 99}}, 50), 233) << "nor do 99 of 10000";
  EXPECT_EQ(increase({}, 50), 0);
  EXPECT_EQ(increase({}, 100), 25) << "the fixed part comes without an area";
  EXPECT_EQ(increase({{100, 7}}, 50), 0);
  EXPECT_EQ(increase({{1, 7}}, INT32_MIN), int64_t{9900} * INT32_MIN / 50);
}

TEST(RegionColourful, PointsOnOffAndAbsent) {
  TestImage source({20, 20, 3, 8, true}, 90, 140, 80);
  source.SetColour(3, 3, 90, 90, 90);
  const ZelPoint grey{3, 3}, leaf{10, 10}, outside{20, 3}, none{-1, -1};
  const auto run = [&](const ZelPoint* point, int32_t amount) {
    return After(ZelBasicToolFunc_FoliageColorful, source, point, amount, nullptr, 0);
  };
  const TestImage greener = run(&leaf, 80);
  EXPECT_GT(greener.Colour(15, 15, 1) - greener.Colour(15, 15, 2), 60 + 10);
  const TestImage plain = After(RegionColourfulEnhance, source, kFoliage, 80, nullptr);
  for (const ZelPoint* point : {&none, static_cast<const ZelPoint*>(nullptr)}) {
    EXPECT_EQ(run(point, 80), plain);
    EXPECT_EQ(run(point, 0), source);
  }
  for (const ZelPoint* point : {&grey, &outside}) EXPECT_EQ(run(point, 80), source);
}

TEST(HueKernels, SaturationsEqualSinglePixels) {
  std::vector<uint8_t> row(3 * 256), out(256);
  for (int fixed = 0; fixed < 256; ++fixed) {
    for (int second = 0; second < 256; ++second) {
      for (size_t p = 0; p < 256; ++p) {
        row[3 * p + second % 3] = static_cast<uint8_t>(p);
        row[3 * p + (second + 1) % 3] = static_cast<uint8_t>(second);
        row[3 * p + (second + 2) % 3] = static_cast<uint8_t>(std::min<int>(second, static_cast<int>(p)) * fixed / 255);
      }
      for (const Kernels* const* level = BuiltKernelLevels(); *level != nullptr; ++level) {
        const size_t pixels = 256 - second % 9;
        (*level)->hue.SaturationsOfBytes(row.data(), out.data(), pixels);
        for (size_t p = 0; p < pixels; ++p) ASSERT_EQ(out[p], PixelSat(row[3 * p], row[3 * p + 1], row[3 * p + 2]));
      }
    }
  }
}

}  // namespace
}  // namespace zel::test
