#include "selective/region_hue_mask.h"

#include <gtest/gtest.h>

#include "support/images.h"

namespace zel::test {
namespace {

// A row of 360 pixels, one for each degree, full saturation; the 360 degrees of the ring in steps of 1/60.
TestImage HueRing(int bits, bool blueFirst) {
  TestImage ring({360, 1, 3, bits, blueFirst});
  const int last = bits == 8 ? 240 : 60000, step = last / 60;
  for (int h = 0; h < 360; ++h) {
    const int part = h % 60, up = part * step, down = last - part * step;
    const int colours[6][3] = {{last, up, 0},   {down, last, 0}, {0, last, up},
                               {0, down, last}, {up, 0, last},   {last, 0, down}};
    const int* c = colours[h / 60];
    ring.SetColour(h, 0, c[0], c[1], c[2]);
  }
  return ring;
}

TEST(RegionHueMask, IsATrapezoidAroundTheTypicalHueInEveryLayout) {
  for (const int bits : {8, 16}) {
    for (const bool blueFirst : {false, true}) {
      const TestImage ring = HueRing(bits, blueFirst);
      for (const Shape& shape :
           {Shape{360, 1, 1, 8, false}, {360, 1, 3, 8, false, 2}, {360, 1, 1, 16, false}, {360, 1, 3, 16, true}}) {
        for (const ColourRegion region : {kSkin, kFoliage, kSky}) {
          const int centre = region == kSkin ? 10 : region == kFoliage ? 105 : 240;
          const int w = shape.bits == 16 ? 40000 : 200, t = 21;
          TestImage mask(shape);
          ASSERT_TRUE(BuildRegionHueMask(ring.desc(), mask.desc(), nullptr, region, t, w));
          for (int h = 0; h < 360; ++h) {
            const int away = (h - centre + 540) % 360 - 180;
            const int parts = std::max(0, std::min(t, t + t / 2 - std::abs(away)));
            for (int k = 0; k < shape.channels; ++k) ASSERT_EQ(mask.Get(h, 0, k), w * parts / t) << h << " " << centre;
          }
        }
      }
    }
  }
}

TEST(RegionHueMask, WorkedNumbersGreysAndLimits) {
  const TestImage ring = HueRing(8, true);
  TestImage mask({360, 1, 1, 8, false});
  const auto weight = [&](ColourRegion region, int32_t tolerance, int32_t maximum, int hue) {
    EXPECT_TRUE(BuildRegionHueMask(ring.desc(), mask.desc(), nullptr, region, tolerance, maximum));
    return mask.Get(hue, 0, 0);
  };
  EXPECT_EQ(weight(kSkin, 20, 192, 355), 15 * 192 / 20);
  EXPECT_EQ(weight(kSkin, 20, 192, 21), 19 * 192 / 20);
  EXPECT_EQ(weight(kSky, INT32_MIN, 256, 240), 255);
  EXPECT_EQ(weight(kSky, 60, -5, 240), 0);
  // Wound round the circle millions of times, the foot of the falling slope comes last.
  EXPECT_EQ(weight(kSky, INT32_MAX, 255, 240), 0);

  TestImage grey({9, 9, 3, 8, true}, 90, 90, 90), weights({9, 9, 1, 8, false});
  grey.SetColour(4, 4, 255, 254, 254);  // saturation 100, though nearly white
  grey.SetColour(5, 4, 128, 127, 127);  // saturation below one per cent
  const ZelRect rect{7, 7, 1, 1};
  weights.Fill(77);
  ASSERT_TRUE(BuildRegionHueMask(grey.desc(), weights.desc(), &rect, kSkin, 20, 192));
  EXPECT_TRUE(weights.Get(4, 4, 0) == 192 && weights.Get(5, 4, 0) == 0 && weights.Get(6, 6, 0) == 0);
  EXPECT_TRUE(weights.Get(7, 6, 0) == 77 && weights.Get(0, 1, 0) == 77);
  EXPECT_FALSE(BuildRegionHueMask(weights.desc(), weights.desc(), nullptr, kSkin, 20, 192));
  EXPECT_FALSE(BuildRegionHueMask(grey.desc(), weights.desc(), nullptr, static_cast<ColourRegion>(3), 20, 192));
}

}  // namespace
}  // namespace zel::test
