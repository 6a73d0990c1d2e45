#include "color/hue_saturation_ranges.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

#include "color/adjust_hsl.h"
#include "color/hue_saturation.h"
#include "support/images.h"

namespace zel::test {
namespace {

using Colour = std::array<int, 3>;

Colour Ranged(Colour c, const RangeSettings& settings) {
  uint8_t pixel[3] = {static_cast<uint8_t>(c[0]), static_cast<uint8_t>(c[1]), static_cast<uint8_t>(c[2])};
  AdjustRangesPixel(pixel, pixel, settings);
  return {pixel[0], pixel[1], pixel[2]};
}

Colour Shifted(Colour c, int32_t hue) {
  uint8_t pixel[3] = {static_cast<uint8_t>(c[0]), static_cast<uint8_t>(c[1]), static_cast<uint8_t>(c[2])};
  AdjustHueSaturationPixel(pixel, pixel, hue, 0);
  return {pixel[0], pixel[1], pixel[2]};
}

TEST(HueSaturationRanges, NeighboursBlend) {
  RangeSettings settings;
  settings.hue[1] = 60;
  EXPECT_EQ(Ranged({255, 0, 0}, settings), (Colour{255, 255, 0}));
  EXPECT_EQ(Ranged({255, 128, 0}, settings), (Colour{255, 255, 0}));  // hue 30 gets half of 60
  EXPECT_EQ(Ranged({255, 0, 128}, settings), (Colour{255, 0, 0}));    // hue 330 as well
  EXPECT_EQ(Ranged({0, 0, 255}, settings), (Colour{0, 0, 255}));
  settings.saturation[1] = -100;
  settings.lightness[1] = 50;
  EXPECT_EQ(Ranged({90, 90, 90}, settings), (Colour{90, 90, 90}));
  EXPECT_EQ(Ranged({255, 0, 0}, settings), (Colour{192, 192, 192}));  // grey 128, then 127 x 50 / 100 more
  settings = {};
  settings.lightness[0] = -100;
  EXPECT_EQ(Ranged({90, 90, 90}, settings), (Colour{0, 0, 0}));
  for (int32_t i = 0; i < 7; ++i) settings.hue[i] = settings.saturation[i] = settings.lightness[i] = INT32_MAX;
  EXPECT_EQ(Ranged({255, 0, 0}, settings), (Colour{255, 255, 255}));

  // Every hue gets the plateau's value or the two truncated products.
  settings = {};
  const int32_t values[7] = {0, 17, -60, 35, 1, -44, 59};
  std::copy(values, values + 7, settings.hue);
  for (int hue = 0; hue < 360; ++hue) {
    int32_t pure[3];
    SynthesiseHsl({hue, 100, 128, 255}, pure);
    const Colour colour{pure[0], pure[1], pure[2]};
    const int measured = AnalyseHsl(pure[0], pure[1], pure[2]).hue, offset = (measured + 15) % 60;
    const int a = (measured + 15) % 360 / 60 + 1, b = a % 6 + 1, t = offset - 30;
    const int shift = offset < 30 ? values[a] : values[b] * t / 30 + values[a] * (30 - t) / 30;
    EXPECT_EQ(Ranged(colour, settings), Shifted(colour, shift)) << hue;
  }
}

TEST(HueSaturationRanges, LatticeHoldsTheDirectResult) {
  TestImage nodes({37, 23, 3, 8, true, 3});
  for (size_t i = 0; i < nodes.Bytes(); ++i) nodes.desc()->data[i] -= nodes.desc()->data[i] % 17;
  RangeSettings settings;
  settings.hue[2] = 40;
  settings.saturation[5] = 60;
  settings.lightness[3] = -50;
  EXPECT_EQ(After(ApplyHueSaturationRanges, nodes, nullptr, settings, false),
            After(ApplyHueSaturationRanges, nodes, nullptr, settings, true));
  const TestImage deep({20, 4, 3, 16});
  EXPECT_FALSE(ApplyHueSaturationRanges(deep.desc(), deep.desc(), nullptr, settings, false));
}

TEST(HueSaturationRanges, SettingsAreLimited) {
  const TestImage source({});
  const int32_t hues[7] = {-400, 100, INT32_MAX, INT32_MIN, 61, -61, 0}, inside[7] = {-180, 60, 60, -60, 60, -60, 0};
  const int32_t wild[7] = {250, INT32_MIN, 101, 0, -101, 7, INT32_MAX}, limited[7] = {100, -100, 100, 0, -100, 7, 100};
  EXPECT_EQ(After(ZelBasicToolFunc_HueSaturationPro, source, hues, wild, nullptr),
            After(ZelBasicToolFunc_HueSaturationPro, source, inside, limited, nullptr));
}

}  // namespace
}  // namespace zel::test
