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

// No entry may depend on the last bit of a math library's tangent.
TEST(ContrastBrightness, NoEntryLiesNearARoundingBoundary) {
  double least = 1.0;
  const auto look = [&least](double slope, double base, int last) {
    for (int i = 0; i <= last; ++i) {
      const double v = i * slope + base + 0.5;
      if (v > 0.0 && v < last) least = std::min(least, std::fabs(v - std::nearbyint(v)));
    }
  };
  for (int contrast = -100; contrast <= 100; ++contrast) {
    const double t = std::tan((0.44 * contrast + 45.0) * 0.01745327777777778);
    for (int b = -100; b <= 100; ++b) look(t, (t + 1.0) * b * 1.275 + (1.0 - t) * 127.5, 255);
    for (int b = -100; b <= 100; b += 50) look(t, (t + 1.0) * b * 327.675 + (1.0 - t) * 32767.5, 65535);
  }
  EXPECT_GT(least, 1e-9);
}

}  // namespace
}  // namespace zel::test
