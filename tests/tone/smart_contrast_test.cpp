#include "tone/smart_contrast.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cstring>

#include "support/images.h"

namespace zel::test {
namespace {

// First entry that is not black and first that is white, for a picture whose channels lie between the given values.
std::array<int, 2> Points(int dark, int light, int32_t level) {
  TestImage image({20, 10, 3});
  image.FillColour(dark + 3, dark + 2, dark);
  for (int x = 0; x < 10; ++x) image.SetColour(x, 3, light - 5, light, light - 1);
  uint8_t table[3 * 256];
  EXPECT_TRUE(SmartContrastLut(image.desc(), nullptr, level, Curves<uint8_t>{table, 3}));
  EXPECT_EQ(std::memcmp(table, table + 512, 256), 0);
  int black = 0, white = 255;
  while (black < 255 && table[black + 1] == 0) ++black;
  while (white > 0 && table[white - 1] == 255) --white;
  return {black, white};
}

TEST(SmartContrast, LevelsModerateTheMeasuredPoints) {
  using P = std::array<int, 2>;
  EXPECT_EQ(Points(20, 230, 0), (P{0, 255}));
  EXPECT_EQ(Points(20, 230, 50), (P{10, 243}));
  EXPECT_EQ(Points(20, 230, 100), (P{20, 230}));
  EXPECT_EQ(Points(20, 230, 150), (P{42, 211}));
  EXPECT_EQ(Points(20, 230, 200), (P{64, 192}));
  EXPECT_EQ(Points(20, 230, 300), (P{95, 160}));
  EXPECT_EQ(Points(20, 230, 400), (P{127, 128}));
  EXPECT_EQ(Points(20, 230, INT_MAX), (P{127, 128}));
  // A flat picture is stretched to the middle at most.
  EXPECT_EQ(Points(100, 110, 100), (P{100, 128}));
  EXPECT_EQ(Points(150, 160, 100), (P{127, 160}));
}

TEST(SmartContrast, StrengthsChooseTheLevel) {
  const std::array<int, 2> expected[] = {{49, 98}, {50, 100}, {75, 162}, {89, 197}, {90, 200}, {100, 300}, {-5, -10}};
  for (const auto& [strength, level] : expected) EXPECT_EQ(SmartContrastLevel(strength), level);
}

}  // namespace
}  // namespace zel::test
