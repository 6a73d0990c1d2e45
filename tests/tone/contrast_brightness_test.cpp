#include "tone/contrast_brightness.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/images.h"

namespace zel::test {
namespace {

TEST(ContrastBrightness, CurvesTurnAboutMidGrey) {
  const auto entry = [](int32_t contrast, int32_t brightness, int i) {
    uint8_t block[256];
    MakeContrastBrightnessLut(Curves<uint8_t>{block, 1}, &contrast, &brightness);
    return static_cast<int>(block[i]);
  };
  for (int i = 0; i < 256; ++i) EXPECT_EQ(entry(0, 0, i), i);
  // Nearly a threshold at full contrast.
  const int steep[] = {0, 42, 99, 156, 213, 255};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(entry(100, 0, 125 + i), steep[i]);
  EXPECT_EQ(entry(0, 100, 0), 255);
}

// How far the formula's values stay from a rounding boundary. The table must hold what they are cut to.
template <class T>
double Margin(int32_t contrast, int32_t brightness, double perCent) {
  static T table[Curves<T>::kEntries];
  MakeContrastBrightnessLut(Curves<T>{table, 1}, &contrast, &brightness);
  const double slope = std::tan((0.44 * contrast + 45.0) * 0.01745327777777778);
  const double base = (slope + 1.0) * brightness * perCent + (1.0 - slope) * kLast<T> / 2.0;
  double least = 1.0;
  int wrong = 0;
  for (int i = 0; i <= kLast<T>; ++i) {
    const double v = i * slope + base + 0.5;
    if (v > 0.0 && v < kLast<T>) least = std::min(least, std::fabs(v - std::nearbyint(v)));
    wrong += table[i] != static_cast<T>(std::min(std::max(v, 0.0), double{kLast<T>}));
  }
  EXPECT_EQ(wrong, 0) << contrast << " and " << brightness;
  return least;
}

// No entry may depend on the last bit of a math library's tangent.
TEST(ContrastBrightness, NoEntryLiesNearARoundingBoundary) {
  double least = 1.0;
  for (int contrast = -100; contrast <= 100; ++contrast) {
    for (int b = -100; b <= 100; ++b) least = std::min(least, Margin<uint8_t>(contrast, b, 1.275));
    for (int b = -100; b <= 100; b += 50) least = std::min(least, Margin<uint16_t>(contrast, b, 327.675));
  }
  EXPECT_GT(least, 1e-9);
}

}  // namespace
}  // namespace zel::test
