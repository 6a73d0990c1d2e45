#include "tone/highlight_shadow.h"

#include <gtest/gtest.h>

#include <climits>

#include "support/images.h"
#include "tone/levels.h"

namespace zel::test {
namespace {

// What a single sample becomes when all channels have the same points.
int Mapped(int value, int bits, int32_t highlight, int32_t shadow, int32_t max = 255) {
  TestImage image({1, 1, 1, bits, false});
  image.Set(0, 0, 0, value);
  const int32_t white[3] = {highlight, highlight, highlight}, black[3] = {shadow, shadow, shadow};
  EXPECT_TRUE(HighlightShadow(image.desc(), image.desc(), nullptr, white, black, max));
  return image.Get(0, 0, 0);
}

TEST(HighlightShadow, StretchesBetweenItsPoints) {
  for (int i = 0; i < 256; ++i) EXPECT_EQ(Mapped(i, 8, 255, 0), i);
  EXPECT_EQ(Mapped(50, 8, 200, 50), 0);
  EXPECT_EQ(Mapped(125, 8, 200, 50), 128);
  EXPECT_EQ(Mapped(200, 8, 200, 50), 255);
  // Points that meet make a step below the highlight.
  EXPECT_EQ(Mapped(79, 8, 80, 80), 0);
  EXPECT_EQ(Mapped(80, 8, 80, 80), 255);
  EXPECT_EQ(Mapped(254, 8, 300, 0), 254);
  // Half of the scale at 16 bits is 32767.
  EXPECT_EQ(Mapped(32767, 16, 50, 0, 100), 65535);
  EXPECT_EQ(Mapped(32766, 16, 50, 0, 100), 65533);
  EXPECT_EQ(Mapped(1000, 16, INT_MAX, INT_MIN, 1), 1000);
}

TEST(HighlightShadow, ChannelsAreNamedByColour) {
  const TestImage image({2, 1, 3, 8, true}, 120, 120, 120);
  const int32_t highlight[3] = {200, 255, 255}, shadow[3] = {0, 0, 0};
  const TestImage after = After(ZelBasicToolFunc_HighlightShadow, image, highlight, shadow, nullptr);
  EXPECT_TRUE(after.Colour(0, 0, 0) == 153 && after.Colour(0, 0, 1) == 120 && after.Colour(0, 0, 2) == 120);
}

TEST(Levels, CrossedPointsAreOrdered) {
  const auto step = [](int32_t white, int32_t black) {
    uint8_t table[256];
    EXPECT_TRUE(MakeLevelsLut(Curves<uint8_t>{table, 1}, &white, &black));
    int first = 0;
    while (first < 255 && table[first] == 0) ++first;
    return first;
  };
  EXPECT_EQ(step(50, 50), 50);
  EXPECT_EQ(step(0, 0), 1);
  EXPECT_EQ(step(0, 255), 1);  // the identity
  EXPECT_EQ(step(50, INT_MAX), 50);
  EXPECT_EQ(step(INT_MIN, INT_MAX), 0);
}

}  // namespace
}  // namespace zel::test
