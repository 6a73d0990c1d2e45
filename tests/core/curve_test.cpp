#include "core/curve.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>

namespace zel::test {
namespace {

using Table = std::array<uint8_t, 256>;

template <size_t N>
Table Curve(const CurvePoint (&points)[N], bool success = true) {
  Table table;
  table.fill(99);
  EXPECT_EQ(BuildCurveLut(table.data(), points, static_cast<int32_t>(N)), success);
  return table;
}

TEST(Curve, OneOrTwoPointsAreStraight) {
  const Table constant = Curve({{40, 70}});
  EXPECT_EQ(std::count(constant.begin(), constant.end(), 70), 256);
  const Table line = Curve({{0, 0}, {255, 128}});
  for (int x = 0; x < 256; ++x) EXPECT_EQ(line[x], x * 128 / 255);
  // Beyond its points a line goes on and is cut; quotients truncate towards zero.
  const Table steep = Curve({{100, 10}, {110, 247}});
  EXPECT_EQ(steep[99], 0);
  EXPECT_EQ(steep[101], 33);
  EXPECT_EQ(steep[111], 255);
}

TEST(Curve, PassesThroughItsPoints) {
  const Table curve = Curve({{0, 0}, {128, 140}, {255, 255}});
  EXPECT_EQ(curve[0], 0);
  EXPECT_EQ(curve[128], 140);
  EXPECT_EQ(curve[255], 255);
  EXPECT_TRUE(std::is_sorted(curve.begin(), curve.end()));
  // The natural spline by hand: one inner knot with M = 6 * (115/127 - 140/128) / (2 * 255) = -0.0022146. At 64, half
  // way, 70 - 0.375 * M * 128^2 / 6 = 72.268; at 191, 199.285.
  EXPECT_EQ(curve[64], 72);
  EXPECT_EQ(curve[191], 199);
}

TEST(Curve, StaysInsideTheRangeAndEndsWhite) {
  // Between equal points the spline swings out over both ends of the range.
  const Table swinging = Curve({{0, 10}, {50, 255}, {100, 255}, {150, 0}, {200, 0}, {255, 10}});
  EXPECT_EQ(swinging[0], 10);
  for (int x = 50; x <= 100; ++x) EXPECT_EQ(swinging[x], 255);
  for (int x = 150; x <= 200; ++x) EXPECT_EQ(swinging[x], 0);
  EXPECT_EQ(swinging[255], 255);
  // Only low bytes count.
  EXPECT_EQ(Curve({{256, 512}, {384, 140}, {255, 255}}), Curve({{0, 0}, {128, 140}, {255, 255}}));
}

TEST(Curve, RefusesPointsThatDoNotAscend) {
  const Table identity = Curve({{0, 0}, {128, 10}, {128, 20}, {255, 255}}, false);
  for (int x = 0; x < 256; ++x) EXPECT_EQ(identity[x], x);
  EXPECT_EQ(Curve({{5, 0}, {5, 9}}, false), identity);
  Table untouched;
  untouched.fill(99);
  const CurvePoint point{0, 0};
  EXPECT_FALSE(BuildCurveLut(untouched.data(), &point, 0));
  EXPECT_FALSE(BuildCurveLut(untouched.data(), nullptr, 3));
  EXPECT_EQ(std::count(untouched.begin(), untouched.end(), 99), 256);
}

}  // namespace
}  // namespace zel::test
