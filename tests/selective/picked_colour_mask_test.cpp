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

TEST(PickedColourMask, ReferenceIsTheMeanAndTolerancesAreBounded) {
  // Four pixels are averaged in the corner: 127, 68, 17 with hue 27, near the others' 12; the pixel itself has 49.
  TestImage source({7, 7, 3, 8, true}), mask({7, 7, 1, 8, false});
  source.FillColour(102, 34, 17);
  source.SetColour(0, 0, 204, 170, 17);
  ASSERT_TRUE(BuildPickedColourMask(source.desc(), mask.desc(), nullptr, {0, 0}, 240, 10));
  EXPECT_EQ(mask.Get(5, 5, 0), 240);
  ASSERT_TRUE(BuildPickedColourMask(source.desc(), mask.desc(), nullptr, {3, 3}, 240, INT32_MAX));
  EXPECT_EQ(mask.Get(0, 0, 0), 240);
  TestImage least(mask);
  ASSERT_TRUE(BuildPickedColourMask(source.desc(), mask.desc(), nullptr, {3, 3}, 240, 10));
  ASSERT_TRUE(BuildPickedColourMask(source.desc(), least.desc(), nullptr, {3, 3}, 240, INT32_MIN));
  EXPECT_TRUE(least.SameBytes(mask));
}

TEST(PickedColourMask, ClearsPassesOverAndRefuses) {
  const ZelRect rect{1, 1, 3, 3};
  const TestImage source({9, 8, 3, 8, true, 3}), deep({9, 8, 3, 16, true}), small({8, 8, 3});
  TestImage mask({9, 8, 1, 8, false}), words({9, 8, 1, 16, false});
  const TestImage before(mask), wordsBefore(words);
  EXPECT_TRUE(BuildPickedColourMaskFixed(deep.desc(), words.desc(), nullptr, {4, 4}, 192));
  EXPECT_EQ(words, wordsBefore);
  EXPECT_FALSE(BuildPickedColourMaskFixed(deep.desc(), mask.desc(), nullptr, {4, 4}, 192)) << "depths differ";
  for (const ZelPoint point : {ZelPoint{-1, -1}, {9, 0}, {0, 8}, {INT32_MAX, INT32_MAX}, {INT32_MIN, 0}}) {
    EXPECT_FALSE(BuildPickedColourMaskFixed(source.desc(), mask.desc(), nullptr, point, 192));
  }
  EXPECT_FALSE(BuildPickedColourMask(small.desc(), mask.desc(), nullptr, {1, 1}, 192, 20));
  EXPECT_EQ(mask, before);
  // A weight of 0 clears everything, the rectangle notwithstanding.
  ASSERT_TRUE(BuildPickedColourMask(source.desc(), mask.desc(), &rect, {4, 4}, 0, 20));
  for (size_t i = 0; i < mask.Bytes(); ++i) ASSERT_EQ(mask.desc()->data[i], 0);
}

}  // namespace
}  // namespace zel::test
