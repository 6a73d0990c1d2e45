#include "retouch/detail_curve.h"

#include <gtest/gtest.h>

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
  // Points that meet move apart: the third from 1 to 2 with height 1, the fourth from 2 to 3 with height 2.
  EXPECT_EQ(Entry(2, 100, 2, 1), 1);
  EXPECT_EQ(Entry(2, 100, 2, 2), 1);
  EXPECT_EQ(Entry(2, 100, 2, 3), 2);
  // A knee at 0, or no strength, keeps the identity.
  for (int k = 0; k < 256; ++k) EXPECT_EQ(Entry(3, 100, 1, k) + Entry(1, 100, 2, k) + Entry(80, 0, 1, k), 3 * k);
}

}  // namespace
}  // namespace zel::test
