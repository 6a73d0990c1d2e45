#include "tone/contrast_brightness.h"

#include <gtest/gtest.h>

#include "support/images.h"

namespace zel::test {
namespace {

TEST(ContrastBrightness, CurvesTurnAboutMidGrey) {
  const auto entry = [](int32_t contrast, int32_t brightness, int i) {
    uint8_t block[256];
    MakeContrastBrightnessLut(block, 1, 8, &contrast, &brightness);
    return static_cast<int>(block[i]);
  };
  for (int i = 0; i < 256; ++i) EXPECT_EQ(entry(0, 0, i), i);
  // Nearly a threshold at full contrast.
  const int steep[] = {0, 42, 99, 156, 213, 255};
  for (int i = 0; i < 6; ++i) EXPECT_EQ(entry(100, 0, 125 + i), steep[i]);
  EXPECT_EQ(entry(0, 100, 0), 255);
}

}  // namespace
}  // namespace zel::test
