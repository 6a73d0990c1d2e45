#include "retouch/skin_clear.h"

#include <gtest/gtest.h>

#include "color/hue_weight_mask.h"
#include "core/blend.h"
#include "core/image.h"
#include "filter/gaussian_blur.h"
#include "selective/picked_colour_mask.h"
#include "support/images.h"
#include "tone/contrast_brightness.h"

namespace zel::test {
namespace {

TEST(SkinClear, KeepsTheImageLaws) {
  Laws laws;
  laws.reorders = false;
  for (const int32_t level : {1, 60}) {
    ExpectImageLaws(
        [level](const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect) {
          return ZelTavoraFunc_SkinClear(source, destination, 1, nullptr, level, rect);
        },
        {{37, 23, 3, 8, true}, {300, 40, 3, 8, false, 5}}, laws);
  }
}

// The steps one after the other, each on whole images.
void SmoothInto(const TestImage& source, TestImage* output, const ZelRect* rect, int32_t k) {
  const int32_t contrast[3] = {10, 10, 10}, brightness[3] = {0, 0, 0};
  TestImage lifted(source);
  ASSERT_TRUE(ContrastBrightness(source.desc(), lifted.desc(), nullptr, contrast, brightness));
  TestImage blurred(lifted);
  ASSERT_TRUE(GaussianBlur(lifted.desc(), blurred.desc(), rect, k * 0.1));
  ASSERT_TRUE(StrengthBlend(blurred.desc(), lifted.desc(), output->desc(), kMix, 50, rect));
}

TEST(SkinClear, EqualsItsStepsDoneOneByOne) {
  const ZelRect part{13, 9, 280, 41};
  const ZelPoint point{44, 31};
  const TestImage source({301, 53, 3, 8, true, 2});
  const Geometry geometry = GeometryOf(*source.desc());
  for (const int32_t k : {1, 6, 40, 120}) {
    for (const ZelRect* rect : {static_cast<const ZelRect*>(nullptr), &part}) {
      TestImage smooth(source), fused(source);
      SmoothInto(source, &smooth, rect, k);
      ASSERT_TRUE(SkinClearSmooth(source.desc()->data, fused.desc()->data, geometry, rect, k));
      ASSERT_TRUE(fused.SameBytes(smooth)) << k;

      for (const ZelPoint* seed : {static_cast<const ZelPoint*>(nullptr), &point}) {
        TestImage mask({301, 53, 1, 8, false}), expected(source), result(source);
        mask.Fill(0);
        if (seed == nullptr) {
          ASSERT_TRUE(BuildHueWeightMask(source.desc(), mask.desc(), rect, 255));
        } else {
          ASSERT_TRUE(BuildPickedColourMaskFixed(source.desc(), mask.desc(), rect, *seed, 255));
        }
        ASSERT_TRUE(GaussianBlur(mask.desc(), mask.desc(), rect, 1.5));
        ASSERT_TRUE(MaskBlend(smooth.desc(), source.desc(), expected.desc(), mask.desc(), kMix, rect));
        ASSERT_TRUE(SkinClearCorrect(source.desc(), result.desc(), rect, k, seed));
        ASSERT_TRUE(result.SameBytes(expected)) << k << (seed != nullptr ? " with a point" : "");
        EXPECT_FALSE(result.SameBytes(source));
      }
    }
  }
  // Softening alone, of one channel, in place.
  TestImage grey({301, 53, 1, 8, false, 2}), blurred(grey), expected(grey);
  ASSERT_TRUE(GaussianBlur(grey.desc(), blurred.desc(), &part, 1.2));
  ASSERT_TRUE(StrengthBlend(blurred.desc(), grey.desc(), expected.desc(), kMix, 50, &part));
  ASSERT_TRUE(SkinClearSoften(grey.desc()->data, grey.desc()->data, GeometryOf(*grey.desc()), &part, 12));
  EXPECT_TRUE(grey.SameBytes(expected));
}

TEST(SkinClear, LevelsBecomeWidthsAndSmallOnesCopy) {
  const TestImage source({40, 30, 3, 8, true});
  const auto run = [&](int32_t mode, int32_t level) {
    TestImage result({40, 30, 3, 8, true}, 2);
    EXPECT_EQ(ZelTavoraFunc_SkinClear(source.desc(), result.desc(), mode, nullptr, level, nullptr), ZEL_OK);
    return result;
  };
  const auto corrected = [&](int32_t k) {
    TestImage result({40, 30, 3, 8, true}, 2);
    EXPECT_TRUE(SkinClearCorrect(source.desc(), result.desc(), nullptr, k, nullptr));
    return result;
  };
  EXPECT_TRUE(run(1, 0).SameBytes(source));
  EXPECT_TRUE(run(2, 0).SameBytes(source));
  EXPECT_TRUE(run(2, 1).SameBytes(source));
  EXPECT_TRUE(run(1, 1).SameBytes(corrected(1)));
  EXPECT_TRUE(run(1, 100).SameBytes(corrected(120)));
  EXPECT_TRUE(run(2, 50).SameBytes(corrected(40)));
  EXPECT_TRUE(run(2, 51).SameBytes(corrected(41)));
  EXPECT_TRUE(run(2, 100).SameBytes(corrected(120)));
  EXPECT_FALSE(corrected(40).SameBytes(corrected(41)));
  run(1, INT32_MAX);
  run(2, INT32_MIN);
}

TEST(SkinClear, RefusalsCopyTheSource) {
  const ZelPoint outside{-3, 4};
  for (const Shape& shape : {Shape{9, 8, 3, 16, true}, {9, 8, 1, 8, false}, {9, 8, 3, 8, true}}) {
    const TestImage source(shape);
    TestImage result(shape, 2);
    EXPECT_EQ(ZelTavoraFunc_SkinClear(source.desc(), result.desc(), 1, &outside, 50, nullptr), ZEL_REFUSED);
    EXPECT_TRUE(result.SameBytes(source));
  }
  const TestImage source({9, 8, 3, 8, true});
  TestImage other({9, 7, 3, 8, true}, 2), before(other);
  EXPECT_EQ(ZelTavoraFunc_SkinClear(source.desc(), other.desc(), 1, nullptr, 50, nullptr), ZEL_REFUSED);
  EXPECT_EQ(ZelTavoraFunc_SkinClear(source.desc(), other.desc(), 0, nullptr, 50, nullptr), ZEL_NULL_ARGUMENT);
  EXPECT_EQ(ZelTavoraFunc_SkinClear(source.desc(), nullptr, 1, nullptr, 50, nullptr), ZEL_NULL_ARGUMENT);
  EXPECT_TRUE(other.SameBytes(before));
}

}  // namespace
}  // namespace zel::test
