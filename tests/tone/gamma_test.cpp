#include "tone/gamma.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "support/images.h"

namespace zel::test {
namespace {

const float kMixed[3] = {0.6f, 1.0f, 2.2f};

TEST(Gamma, CurvesBendBetweenFixedEnds) {
  static uint16_t words[65536];
  const float tested[] = {0.0f, 0.01f, 0.5f, 1.0f, 2.0f, 10.0f, 1e-40f, std::numeric_limits<float>::infinity()};
  for (float gamma : tested) {
    uint8_t bytes[256];
    ASSERT_TRUE(MakeGammaLut(Curves<uint8_t>{bytes, 1}, &gamma));
    ASSERT_TRUE(MakeGammaLut(Curves<uint16_t>{words, 1}, &gamma));
    EXPECT_TRUE(bytes[0] == 0 && bytes[255] == 255 && words[0] == 0 && words[65535] == 65535) << gamma;
    EXPECT_TRUE(gamma != 2.0f || bytes[64] == 128);
    for (int i = 0; gamma == 1.0f && i < 65536; ++i) EXPECT_TRUE(words[i] == i && bytes[i / 257] == i / 257);
  }
}

TEST(Gamma, SettingsOutOfRangeBecomeUsable) {
  for (int bits : {8, 16}) {
    const TestImage source({37, 23, 3, bits});
    const auto corrected = [&](float gamma) {
      const float three[3] = {gamma, gamma, gamma};
      return After(ZelBasicToolFunc_Gamma, source, three, nullptr);
    };
    for (float gamma : {0.0f, -3.0f, -std::numeric_limits<float>::infinity(), std::nanf("")}) {
      EXPECT_EQ(corrected(gamma), source) << gamma;
    }
    EXPECT_EQ(corrected(25.0f), corrected(10.0f));
  }
}

// 16-bit regions smaller than a table are computed sample by sample, larger ones through a table.
TEST(Gamma, SmallRegionsEqualLargeOnes) {
  const float equal[3] = {1.7f, 1.7f, 1.7f};
  for (const float* gamma : {kMixed, equal}) {
    const TestImage source({260, 253, 3, 16, true});
    TestImage tiled(source.shape(), 2);
    for (int y = 0; y < 253; y += 100) {
      const ZelRect strip{0, y, 260, y + 100};
      ASSERT_EQ(ZelBasicToolFunc_Gamma(source.desc(), tiled.desc(), gamma, &strip), ZEL_OK);
    }
    EXPECT_EQ(After(ZelBasicToolFunc_Gamma, source, gamma, nullptr), tiled);
  }
}

// How far the formula's values stay from a rounding boundary. The table must hold what they are cut to.
template <class T>
double Margin(int slider, double reciprocal) {
  static T table[Curves<T>::kEntries];
  const float gamma = static_cast<float>(slider) / 100.0f;
  EXPECT_TRUE(MakeGammaLut(Curves<T>{table, 1}, &gamma));
  double least = 1.0;
  int wrong = 0;
  for (int i = 1; i < kLast<T>; ++i) {
    const double v = std::exp(std::log(i * reciprocal) / static_cast<double>(gamma)) * kLast<T> + 0.5;
    least = std::min(least, std::fabs(v - std::nearbyint(v)));
    wrong += table[i] != static_cast<T>(v);
  }
  EXPECT_EQ(wrong, 0) << slider;
  return least;
}

// A table must not depend on the last bit of exp and log. That bit moves a value by less than 2e-11 at 16 bits (3e-14
// at 8), so every value has to stay further from the next rounding boundary. Gamma 1.87 comes nearest, 3.6e-10, at
// entry 5190; the curves tested here keep 1e-9.
TEST(Gamma, NoTableHangsOnAMathLibrary) {
  for (int slider = 1; slider <= 1000; ++slider)
    EXPECT_GE(Margin<uint8_t>(slider, 0.00392156862745098), 1e-9) << slider;
  for (int slider = 10; slider <= 1000; slider += 30) {
    EXPECT_GE(Margin<uint16_t>(slider, 1.5259021896696422e-5), 1e-9) << slider;
  }
  EXPECT_GE(Margin<uint16_t>(187, 1.5259021896696422e-5), 1e-10);
}

}  // namespace
}  // namespace zel::test
