#include "retouch/detail_curve.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace zel::test {
namespace {

int Entry(int32_t maximum, int32_t strength, int32_t mode, int k) {
  uint8_t curve[kDetailEntries];
  BuildDetailCurve(maximum, strength, mode, curve);
  return curve[k];
}

TEST(DetailCurve, HasItsKneeWhereTheDetailsEnd) {
  // Modes 1, 2 and 4 have their knees at 20, 40 and 60 of 80.
  EXPECT_EQ(Entry(80, 50, 1, 20), 15);
  EXPECT_EQ(Entry(80, 100, 2, 40), 20);
  EXPECT_EQ(Entry(80, 100, 3, 40), 20);
  EXPECT_EQ(Entry(80, 101, 4, 60), 30);
  EXPECT_EQ(Entry(80, 200, 2, 40), 10);
  EXPECT_EQ(Entry(80, 300, 2, 40), 0);
  EXPECT_EQ(Entry(80, INT32_MAX, 2, 40), 0);
  // The fixed points: half and three quarters for mode 1, three quarters and all for mode 2.
  EXPECT_EQ(Entry(80, 100, 1, 40), 40);
  EXPECT_EQ(Entry(80, 100, 1, 60), 60);
  EXPECT_EQ(Entry(80, 100, 2, 60), 60);
  EXPECT_EQ(Entry(80, 100, 2, 80), 80);
  EXPECT_EQ(Entry(255, 100, 2, 254), 254);
  EXPECT_EQ(Entry(80, 100, 4, 70), 70);  // seven eighths for mode 4
  // Points that meet move apart: the third from 1 to 2 with height 1, the fourth from 2 to 3 with height 2.
  EXPECT_EQ(Entry(2, 100, 2, 1), 1);
  EXPECT_EQ(Entry(2, 100, 2, 2), 1);
  EXPECT_EQ(Entry(2, 100, 2, 3), 2);
  // A knee at 0, or no strength, keeps the identity.
  for (int k = 0; k < 256; ++k) EXPECT_EQ(Entry(3, 100, 1, k) + Entry(1, 100, 2, k) + Entry(80, 0, 1, k), 3 * k);
}

// The shortcut of counting must find what a whole histogram finds.
TEST(DetailCurve, MaximumIsThatOfTheWholeHistogram) {
  std::mt19937 random(3);
  for (const double spread : {0.0, 0.2, 3.0, 40.0, 500.0}) {
    for (const size_t area : {1, 2, 5, 2047, 2048, 4096, 50000}) {
      std::vector<int16_t> details(area);
      for (int16_t& v : details) {
        const double value = (static_cast<double>(random()) / 2147483648.0 - 1.0) * spread;
        v = static_cast<int16_t>(std::min(std::max(value, -256.0), 256.0));
      }
      DetailCounts counts(area);
      for (size_t i = 0; i < area; i += 333) {
        const size_t count = std::min<size_t>(333, area - i);
        int32_t most = 0;
        for (size_t k = i; k < i + count; ++k) most = std::max<int32_t>(most, std::abs(details[k]));
        counts.Add(&details[i], count, most);
      }
      const size_t cut = area < 2048 ? 1 : area / 2048;
      size_t histogram[256] = {};
      for (const int16_t v : details) ++histogram[std::min<int32_t>(std::abs(v), 255)];
      int most = 255;
      for (size_t total = histogram[255]; total <= cut && most > 0;) total += histogram[--most];
      EXPECT_EQ(counts.RobustMaximum(), most) << "spread " << spread << ", area " << area;
    }
  }
}

}  // namespace
}  // namespace zel::test
