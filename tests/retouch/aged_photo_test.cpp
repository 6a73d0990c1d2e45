#include "retouch/aged_photo.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "support/images.h"

namespace zel::test {
namespace {

// Hills under a sky with a dark wood and a light house; `night` keeps the lights out of it.
TestImage Drawn(bool night) {
  TestImage image({120, 90, 3, 8, true});
  uint32_t state = 7;
  for (int y = 0; y < 90; ++y) {
    for (int x = 0; x < 120; ++x) {
      state = state * 1664525u + 1013904223u;
      const int grain = static_cast<int>(state >> 27);
      int c[3] = {60 + y, 90 + y, 40 + y / 2};                              // grass
      if (y < 40) c[0] = 120 + y, c[1] = 150 + y, c[2] = 220;               // sky
      if (x < 30 && y > 30) c[0] = 6, c[1] = 10, c[2] = 5;                  // wood
      if (x > 80 && x < 100 && y > 25 && y < 60) c[0] = c[1] = c[2] = 235;  // house
      for (int& v : c) v = (night ? v * 2 / 5 : v) + grain / 2;
      image.SetColour(x, y, std::min(c[0], 255), std::min(c[1], 255), std::min(c[2], 255));
    }
  }
  return image;
}

// Pressed into 60..200, blue lifted in the shadows and lowered in the lights, a warm veil.
TestImage Aged(const TestImage& image, double amount) {
  const double veil[3] = {255.0, 220.0, 160.0};
  TestImage aged(image);
  for (int y = 0; y < 90; ++y) {
    for (int x = 0; x < 120; ++x) {
      int c[3];
      for (int k = 0; k < 3; ++k) {
        const double level = image.Colour(x, y, k);
        double v = level + amount * (60.0 + level * 140.0 / 255.0 - level);
        if (k == 2) v += amount * (20.0 - level * 50.0 / 255.0);
        c[k] = static_cast<int>(v + 0.12 * amount * (veil[k] - v) + 0.5);
      }
      aged.SetColour(x, y, c[0], c[1], c[2]);
    }
  }
  return aged;
}

TestImage PlainStretch(const TestImage& image) {
  TestImage stretched(image);
  for (int k = 0; k < 3; ++k) {
    std::vector<int> levels;
    for (int i = 0; i < 120 * 90; ++i) levels.push_back(image.Get(i % 120, i / 120, k));
    std::sort(levels.begin(), levels.end());
    const int low = levels[levels.size() / 200], high = levels[levels.size() - 1 - levels.size() / 200];
    for (int i = 0; i < 120 * 90; ++i) {
      const int level = (image.Get(i % 120, i / 120, k) - low) * 255 / (high - low);
      stretched.Set(i % 120, i / 120, k, std::min(std::max(level, 0), 255));
    }
  }
  return stretched;
}

TestImage Recovered(const TestImage& image, int32_t strength, int32_t mode = 0) {
  return After(ZelTavoraFunc_AgedPhotoRecovered, image, mode, strength, nullptr);
}

double Difference(const TestImage& a, const TestImage& b) {
  double sum = 0.0;
  for (size_t i = 0; i < a.Bytes(); ++i) sum += std::abs(a.desc()->data[i] - b.desc()->data[i]);
  return sum / static_cast<double>(a.Bytes());
}

TEST(AgedPhoto, ComesBackByMoreThanHalf) {
  double aged = 0.0, recovered = 0.0, stretched = 0.0;
  for (bool night : {false, true}) {
    const TestImage before = Drawn(night);
    for (int third = 1; third <= 3; ++third) {
      const TestImage faded = Aged(before, third / 3.0);
      aged += Difference(faded, before);
      recovered += Difference(Recovered(faded, 50), before);
      stretched += Difference(PlainStretch(faded), before);
      EXPECT_LT(Difference(Recovered(faded, 25), before), Difference(faded, before));
    }
  }
  EXPECT_LT(recovered, aged / 2.0);
  EXPECT_LT(recovered, 0.8 * stretched);
}

TEST(AgedPhoto, LeavesWhatIsNotFaded) {
  // One or two levels are what the 127 weights take.
  for (int32_t strength : {50, 100}) EXPECT_LT(Difference(Recovered(Drawn(false), strength), Drawn(false)), 2.0);
  for (int level : {0, 1, 128, 254, 255}) {
    const TestImage flat({120, 90, 3, 8, true}, level, level, level);
    EXPECT_LT(Difference(Recovered(flat, 100), flat), 2.01) << level;
  }
  // A red wall stays red, faded or not.
  TestImage wall({120, 90, 3, 8, true});
  for (int x = 0; x < 120; ++x) {
    for (int y = 0; y < 90; ++y) wall.SetColour(x, y, 150 + x * 2 / 3, 20 + x / 4, 15 + y / 3);
  }
  for (const TestImage& red : {wall, Aged(wall, 0.6)}) {
    const TestImage after = Recovered(red, 100);
    for (int x = 0; x < 120; x += 7) {
      EXPECT_GE(after.Colour(x, 40, 0) - after.Colour(x, 40, 1), red.Colour(x, 40, 0) - red.Colour(x, 40, 1) - 2);
    }
  }
}

TEST(AgedPhoto, ClipsAtMostOnePercent) {
  const TestImage faded = Aged(Drawn(false), 1.0);
  const TestImage after = Recovered(faded, 100);
  for (int k = 0; k < 3; ++k) {
    int ends[2] = {};
    for (int i = 0; i < 120 * 90; ++i) {
      const int level = after.Get(i % 120, i / 120, k);
      if (level == 0 || level == 255) ++ends[level / 255];
    }
    EXPECT_LE(std::max(ends[0], ends[1]), 108);
  }
}

TEST(AgedPhoto, StrengthsAndModes) {
  const TestImage faded = Aged(Drawn(false), 1.0);
  EXPECT_EQ(Recovered(faded, 75), Recovered(faded, 100));
  EXPECT_EQ(Recovered(faded, 40, 1), Recovered(faded, 30));
  EXPECT_EQ(Recovered(faded, 40, 2), Recovered(faded, 40));
  EXPECT_EQ(Recovered(faded, 0), faded);
  EXPECT_NE(Recovered(faded, 50), Recovered(faded, 25));
}

}  // namespace
}  // namespace zel::test
