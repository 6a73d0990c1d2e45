#include "selective/picked_colour_mask.h"

#include <gtest/gtest.h>

#include "color/rgb_to_hsl.h"
#include "core/image.h"
#include "support/images.h"

namespace zel::test {
namespace {

// Grid colours side by side: the mask takes their weights without interpolation.
TestImage GridColours(bool blueFirst) {
  TestImage image({17, 16 * 16, 3, 8, blueFirst, 2});
  for (int y = 0; y < 256; ++y) {
    for (int x = 0; x < 16; ++x) image.SetColour(x, y, x * 17, y % 16 * 17, y / 16 * 17);
    image.SetColour(16, y, 204, 119, 85);
  }
  return image;
}

// The weight of a hue and a saturation, each the distance through a band of full weight and a slope.
int Expected(int hue, int saturation, const HueSat& picked, int maximum, int hueFull, int hueRamp, int full, int ramp) {
  int turn = std::abs(hue - picked.hue);
  turn = std::min(turn, 360 - turn);
  const int away = std::abs(saturation - picked.saturation);
  const auto weight = [maximum](int distance, int band, int slope, bool falling) {
    const int beyond = distance - band;
    if (beyond <= 0) return maximum;
    if (beyond > slope) return 0;
    return falling ? maximum - beyond * maximum / slope : (slope - beyond) * maximum / slope;
  };
  const int h = (hue - picked.hue + 540) % 360 - 180;
  return weight(turn, hueFull, hueRamp, h > 0) * weight(away, full, ramp, saturation > picked.saturation) / maximum;
}

TEST(PickedColourMask, WeighsGridColoursByHueAndSaturation) {
  const HueSat picked = PixelHueSat(204, 119, 85);
  for (const bool blueFirst : {false, true}) {
    const TestImage source = GridColours(blueFirst);
    // The clicked pixel lies at the edge: with its left neighbours painted, all that are averaged are alike.
    TestImage painted(source);
    for (int y = 0; y < 3; ++y) painted.SetColour(15, y, 204, 119, 85);
    for (const int maximum : {192, 255, 300}) {
      const int w = std::min(maximum, 255);
      TestImage fixed({17, 256, 1, 8, false}), scaled({17, 256, 3, 8, false});
      ASSERT_TRUE(BuildPickedColourMaskFixed(painted.desc(), fixed.desc(), nullptr, {16, 1}, maximum));
      ASSERT_TRUE(BuildPickedColourMask(painted.desc(), scaled.desc(), nullptr, {16, 1}, maximum, 15));
      for (int y = 3; y < 256; ++y) {
        for (int x = 0; x < 16; ++x) {
          const HueSat c = PixelHueSat(x * 17, y % 16 * 17, y / 16 * 17);
          ASSERT_EQ(fixed.Get(x, y, 0), Expected(c.hue, c.saturation, picked, w, 30, 15, 20, 10)) << x << " " << y;
          for (int k = 0; k < 3; ++k) {
            ASSERT_EQ(scaled.Get(x, y, k), Expected(c.hue, c.saturation, picked, w, 30, 15, 15, 15)) << x << " " << y;
          }
        }
      }
    }
  }
}

TEST(PickedColourMask, ReferenceIsTheMeanOfThePixelsInside) {
  // One brighter pixel in the corner: 4 pixels are averaged there, 9 in the middle.
  TestImage source({7, 7, 3, 8, true}), mask({7, 7, 1, 8, false});
  source.FillColour(100, 60, 20);
  source.SetColour(0, 0, 140, 100, 60);
  ASSERT_TRUE(BuildPickedColourMaskFixed(source.desc(), mask.desc(), nullptr, {0, 0}, 255));
  // Mean 110, 70, 30: hue 30, saturation 57. The others have hue 30 and saturation 66, inside the full band.
  EXPECT_GT(mask.Get(5, 5, 0), 0);
  // Wide tolerances take everything, narrow ones act like 10; none overflows.
  for (const int32_t tolerance : {INT32_MIN, 0, 10}) {
    TestImage narrow({7, 7, 1, 8, false}), ten({7, 7, 1, 8, false});
    ASSERT_TRUE(BuildPickedColourMask(source.desc(), narrow.desc(), nullptr, {3, 3}, 255, tolerance));
    ASSERT_TRUE(BuildPickedColourMask(source.desc(), ten.desc(), nullptr, {3, 3}, 255, 10));
    EXPECT_TRUE(narrow.SameBytes(ten));
  }
  ASSERT_TRUE(BuildPickedColourMask(source.desc(), mask.desc(), nullptr, {3, 3}, 255, INT32_MAX));
  EXPECT_EQ(mask.Get(6, 6, 0), 255);
}

TEST(PickedColourMask, ZeroMaximumClearsAllAndSixteenBitsTouchNothing) {
  const ZelRect rect{1, 1, 3, 3};
  const TestImage source({9, 8, 3, 8, true, 3}), deep({9, 8, 3, 16, true});
  TestImage mask({9, 8, 1, 8, false, 4});
  ASSERT_TRUE(BuildPickedColourMask(source.desc(), mask.desc(), &rect, {4, 4}, 0, 20));
  for (size_t i = 0; i < mask.Bytes(); ++i) ASSERT_EQ(mask.desc()->data[i], 0);

  TestImage words({9, 8, 1, 16, false}), before(words);
  EXPECT_TRUE(BuildPickedColourMaskFixed(deep.desc(), words.desc(), nullptr, {4, 4}, 192));
  EXPECT_TRUE(words.SameBytes(before));
  TestImage bytes({9, 8, 1, 8, false}), untouched(bytes);
  EXPECT_FALSE(BuildPickedColourMaskFixed(deep.desc(), bytes.desc(), nullptr, {4, 4}, 192)) << "depths differ";
  EXPECT_TRUE(BuildPickedColourMaskRaw(deep.desc()->data, GeometryOf(*deep.desc()), bytes.desc()->data,
                                       GeometryOf(*bytes.desc()), nullptr, {4, 4}, 192, kFixedPickTolerance));
  EXPECT_TRUE(bytes.SameBytes(untouched));
}

TEST(PickedColourMask, RefusesWhatItCannotRead) {
  const TestImage source({9, 8, 3, 8, true}), grey({9, 8, 1, 8, false});
  TestImage mask({9, 8, 1, 8, false}), small({8, 8, 1, 8, false}), before(mask);
  for (const ZelPoint point : {ZelPoint{-1, -1}, {9, 0}, {0, 8}, {-1, 3}, {INT32_MAX, INT32_MAX}, {INT32_MIN, 0}}) {
    EXPECT_FALSE(BuildPickedColourMaskFixed(source.desc(), mask.desc(), nullptr, point, 192));
  }
  EXPECT_FALSE(BuildPickedColourMask(nullptr, mask.desc(), nullptr, {1, 1}, 192, 20));
  EXPECT_FALSE(BuildPickedColourMask(source.desc(), nullptr, nullptr, {1, 1}, 192, 20));
  EXPECT_FALSE(BuildPickedColourMask(source.desc(), small.desc(), nullptr, {1, 1}, 192, 20));
  EXPECT_FALSE(BuildPickedColourMask(grey.desc(), mask.desc(), nullptr, {1, 1}, 192, 20));
  EXPECT_TRUE(mask.SameBytes(before));
}

}  // namespace
}  // namespace zel::test
