#include "color/hue_saturation.h"

#include <gtest/gtest.h>

#include <array>

#include "color/adjust_hsl.h"
#include "support/images.h"

namespace zel::test {
namespace {

using Colour = std::array<int, 3>;

template <class T, class Adjust, class... Settings>
Colour Through(Adjust adjust, Colour c, const Settings&... settings) {
  T pixel[3] = {static_cast<T>(c[0]), static_cast<T>(c[1]), static_cast<T>(c[2])};
  adjust(pixel, pixel, settings...);
  return {pixel[0], pixel[1], pixel[2]};
}

Colour Adjusted(Colour c, int32_t hue, int32_t saturation) {
  return Through<uint8_t>(AdjustHueSaturationPixel, c, hue, saturation);
}

Colour Adjusted16(Colour c, int32_t hue, int32_t saturation) {
  return Through<uint16_t>(AdjustHueSaturationPixel16, c, hue, saturation);
}

TEST(HueSaturation, WorksInHexconeHsl) {
  // Thirds of a turn permute pure colours, half turns give complements; any number of turns does not matter.
  EXPECT_EQ(Adjusted({255, 0, 0}, 120, 0), (Colour{0, 255, 0}));
  EXPECT_EQ(Adjusted({255, 0, 0}, -120, 0), (Colour{0, 0, 255}));
  EXPECT_EQ(Adjusted({255, 0, 0}, 60, 0), (Colour{255, 255, 0}));
  EXPECT_EQ(Adjusted({200, 40, 90}, 180, 10), Adjusted({200, 40, 90}, -180, 10));
  EXPECT_EQ(Adjusted({200, 40, 90}, 25, 10), Adjusted({200, 40, 90}, 25 - 360 * 5000, 10));
  EXPECT_EQ(Adjusted({200, 40, 90}, INT32_MIN, INT32_MAX), Adjusted({200, 40, 90}, INT32_MIN + 360 * 7, 100));
  // Lightness (200 + 40 + 1) / 2, where dark ends at 128: (100 + S) x L / 100.
  EXPECT_EQ(Adjusted({200, 40, 90}, 0, -100), (Colour{120, 120, 120}));
  EXPECT_EQ(Adjusted({200, 40, 90}, 0, 0), (Colour{199, 41, 88}));     // saturation 66, highest 199, hue -18 + 360
  EXPECT_EQ(Adjusted({200, 100, 100}, 0, 50), (Colour{224, 76, 76}));  // light: saturation 47 x 1.5 = 70
  for (int v = 0; v < 256; ++v) {
    for (int saturation : {-100, 0, 100}) EXPECT_EQ(Adjusted({v, v, v}, 77, saturation), (Colour{v, v, v}));
  }
  EXPECT_EQ(HueToChannel(10, 200, -300), HueToChannel(10, 200, 60));
  EXPECT_EQ(HueToChannel(-40, 300, 0), 0);
  EXPECT_EQ(HueToChannel(-40, 300, 100), 255);
  EXPECT_EQ(HueToChannel(0, 100, 239), 1);
}

TEST(HueSaturation, DirectSixteenBitFormIsRightForDarkColoursOnly) {
  EXPECT_EQ(Adjusted16({100, 20, 20}, 120, 0), (Colour{20, 100, 20}));
  EXPECT_EQ(Adjusted16({30000, 30000, 30000}, 120, 0), (Colour{30000, 30000, 30000}));
  EXPECT_EQ(Adjusted16({32768, 32768, 32768}, 0, 0), (Colour{0, 0, 0}));
  // L = 300, S = 33: the highest channel is 300 + (-45 * 33 + 50) / 100 = 286, the lowest 314.
  EXPECT_EQ(Adjusted16({400, 200, 200}, 0, 0), (Colour{286, 314, 314}));
  // L = 40000 wraps: the highest 40000 + (-3974500 + 50) / 100 = 256, the lowest 79744 - 65536 = 14208.
  EXPECT_EQ(Adjusted16({65535, 14465, 14465}, 0, 100), (Colour{256, 14208, 14208}));
  EXPECT_EQ(HueToChannel16(-5, -5, 100), 0);

  // The rows of a rectangle start at sample `left`, inside the image.
  const TestImage source({20, 4, 3, 16, false, 0});
  TestImage out(source);
  const ZelRect rect{7, 1, 20, 3};
  ASSERT_TRUE(ApplyHueSaturation(source.desc(), out.desc(), &rect, 90, 0, false));
  for (int s = 0; s < 60; ++s) {
    if (s < 7 || s >= 7 + 39) {
      EXPECT_EQ(out.Get(0, 1, s), source.Get(0, 1, s)) << s;
    }
  }
  const Colour first = Adjusted16({source.Get(0, 2, 7), source.Get(0, 2, 8), source.Get(0, 2, 9)}, 90, 0);
  EXPECT_EQ((Colour{out.Get(0, 2, 7), out.Get(0, 2, 8), out.Get(0, 2, 9)}), first);
  EXPECT_TRUE(out.GuardsIntact());
}

TEST(HueSaturation, LatticeHoldsTheDirectResult) {
  TestImage nodes({37, 23, 3, 8, true, 3});
  for (size_t i = 0; i < nodes.Bytes(); ++i) nodes.desc()->data[i] -= nodes.desc()->data[i] % 17;
  EXPECT_EQ(After(ApplyHueSaturation, nodes, nullptr, 33, -20, false),
            After(ApplyHueSaturation, nodes, nullptr, 33, -20, true));
}

TEST(HueSaturation, SettingsAreLimited) {
  const TestImage source({});
  EXPECT_EQ(After(ZelBasicToolFunc_HueSaturation, source, 500, -300, nullptr),
            After(ZelBasicToolFunc_HueSaturation, source, 180, -100, nullptr));
}

}  // namespace
}  // namespace zel::test
