#include "tone/color_temperature.h"

#include <gtest/gtest.h>

#include <climits>

#include "support/images.h"

namespace zel::test {
namespace {

TEST(ColorTemperature, TableIsLinearBetweenItsRows) {
  EXPECT_EQ(ChromaticityX(6000), 0.3217);
  EXPECT_EQ(ChromaticityY(9500), 0.2656);
  EXPECT_DOUBLE_EQ(ChromaticityX(4550), (0.3621 + 0.3585) / 2);
  EXPECT_DOUBLE_EQ(ChromaticityY(1250), 0.4346 + (0.4133 - 0.4346) / 4);
  EXPECT_EQ(ChromaticityX(INT_MIN), 0.6526);
  EXPECT_EQ(ChromaticityY(INT_MAX), 0.2548);
}

struct Pixel {
  int red, green, blue;
  bool operator==(const Pixel& o) const { return red == o.red && green == o.green && blue == o.blue; }
};

Pixel Shifted(int grey, int32_t temperature) {
  TestImage image({1, 1, 3, 8, false});
  image.FillColour(grey, grey, grey);
  EXPECT_EQ(ZelBasicToolFunc_ColorTemperature(image.desc(), image.desc(), temperature, nullptr), ZEL_OK);
  return {image.Colour(0, 0, 0), image.Colour(0, 0, 1), image.Colour(0, 0, 2)};
}

TEST(ColorTemperature, WarmsAndCools) {
  EXPECT_EQ(Shifted(128, 100), (Pixel{104, 130, 179}));
  EXPECT_EQ(Shifted(255, 100), (Pixel{207, 255, 255}));
  EXPECT_EQ(Shifted(128, -100), (Pixel{156, 123, 89}));
  EXPECT_EQ(Shifted(255, -100), (Pixel{255, 246, 178}));
  // Beyond the ends of the table nothing more happens; negative gains give black.
  EXPECT_EQ(Shifted(128, INT_MAX), Shifted(128, 634));
  EXPECT_EQ(Shifted(128, INT_MIN), Shifted(128, -400));
  EXPECT_EQ(Shifted(128, INT_MIN).blue, 0);
}

TEST(ColorTemperature, LevelsAreHalvedTemperatures) {
  const TestImage source({20, 11, 3});
  for (int level : {0, 12, 100, INT_MAX, INT_MIN}) {
    const int64_t t = 2 * static_cast<int64_t>(level) - 100;
    const int32_t temperature = t > 1000 ? 1000 : t < -1000 ? -1000 : static_cast<int32_t>(t);
    EXPECT_EQ(After(ZelTavoraFunc_ColorTemperature, source, 7, level, nullptr, 7),
              After(ZelBasicToolFunc_ColorTemperature, source, temperature, nullptr));
  }
}

}  // namespace
}  // namespace zel::test
