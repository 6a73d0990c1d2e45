#include "retouch/aged_photo.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "color/linear_light.h"
#include "retouch/age_estimate.h"
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

// What age does to the light (0 to 1) of a channel. A dye loses density, a veil adds light, contrast is lost, paper
// yellows.
double Faded(int recipe, int k, double light, double amount) {
  const double veil[3] = {0.15, 0.13, 0.09}, paper[3] = {0.03, 0.09, 0.28};
  switch (recipe) {
    case 0:
    case 1:
      return std::pow(light, 1.0 - (k == recipe ? 0.5 : 0.08) * amount);
    case 2:
      return light + (veil[k] - 0.15 * light) * amount;
    case 3:
      return std::pow(light, 1.0 - 0.4 * amount) * std::pow(10.0, -0.08 * amount);
    default:
      return light * std::pow(10.0, -paper[k] * amount);
  }
}
constexpr int kRecipes = 5, kPaper = 4;

TestImage Aged(const TestImage& image, double amount, int recipe = 2) {
  TestImage aged(image);
  for (int y = 0; y < 90; ++y) {
    for (int x = 0; x < 120; ++x) {
      int c[3];
      for (int k = 0; k < 3; ++k) {
        const double light = LightOfLevel(image.Colour(x, y, k) / 255.0);
        c[k] = static_cast<int>(LevelOfLight(Faded(recipe, k, light, amount)) * 255.0 + 0.5);
      }
      aged.SetColour(x, y, c[0], c[1], c[2]);
    }
  }
  return aged;
}

TestImage Recovered(const TestImage& image, int32_t strength, int32_t mode = 0) {
  return After(ZelTavoraFunc_AgedPhotoRecovered, image, mode, strength, nullptr);
}

double Difference(const TestImage& a, const TestImage& b) {
  double sum = 0.0;
  for (size_t i = 0; i < a.Bytes(); ++i) sum += std::abs(a.desc()->data[i] - b.desc()->data[i]);
  return sum / static_cast<double>(a.Bytes());
}

TEST(AgedPhoto, ComesBack) {
  double aged = 0.0, recovered = 0.0;
  for (int recipe = 0; recipe < kRecipes; ++recipe) {
    const TestImage before = Drawn(false);
    for (double amount : {0.5, 1.0}) {
      const TestImage faded = Aged(before, amount, recipe);
      const double seen = Difference(faded, before), after = Difference(Recovered(faded, 50), before);
      EXPECT_LT(after, seen * 1.25) << recipe << " by " << amount;
      aged += seen;
      recovered += after;
    }
  }
  EXPECT_LT(recovered, 0.8 * aged);
}

TEST(AgedPhoto, TellsWhichDyeFaded) {
  // Pillars of several colours, each lit from one side.
  const int colours[8][3] = {{250, 250, 250}, {200, 190, 180}, {150, 150, 155}, {190, 140, 100},
                             {90, 130, 70},   {110, 140, 190}, {170, 80, 70},   {120, 118, 115}};
  TestImage image({120, 90, 3, 8, true});
  for (int y = 0; y < 90; ++y) {
    for (int x = 0; x < 120; ++x) {
      const double shade = std::pow(0.85, x % 15) * (y < 5 ? 0.002 : 1.0);
      int c[3];
      for (int k = 0; k < 3; ++k) {
        c[k] = static_cast<int>(255.0 * LevelOfLight(shade * LightOfLevel(colours[x / 15][k] / 255.0)) + 0.5);
      }
      image.SetColour(x, y, c[0], c[1], c[2]);
    }
  }
  for (int faded = 0; faded < 2; ++faded) {
    Age age;
    ASSERT_TRUE(EstimateAge(Aged(image, 1.0, faded).view<const uint8_t>(), &age));
    // Half of the density is left; what the lifted black does not bear out is not taken back.
    for (int k = 0; k < 3; ++k)
      EXPECT_NEAR(age.power[k], k == faded ? 1.75 : 1.0, k == faded ? 0.3 : 0.15) << faded << k;
  }
}

// Paper is yellow where the picture is white; an orange flower is yellow by itself.
TEST(AgedPhoto, TellsPaperFromFlower) {
  const TestImage before = Drawn(false), yellowed = Aged(before, 1.0, kPaper);
  EXPECT_LT(Difference(Recovered(yellowed, 50), before), 0.6 * Difference(yellowed, before));
  TestImage flower({120, 90, 3, 8, true});
  for (int x = 0; x < 120; ++x) {
    for (int y = 0; y < 90; ++y) {
      const int petal = x % 20 * 4, leaf = y % 9 * 9 + x % 7;
      const bool front = x > 30 && x < 90 && y > 20 && y < 70;
      flower.SetColour(x, y, front ? 250 - petal : leaf / 4, front ? 180 - petal : leaf,
                       front ? 120 - petal : leaf + 2);
      if (y == 0) flower.SetColour(x, y, 60, 140, 170);
    }
  }
  EXPECT_EQ(Recovered(flower, 100), flower);
}

TEST(AgedPhoto, LeavesWhatIsNotFaded) {
  for (int32_t strength : {50, 100}) EXPECT_EQ(Recovered(Drawn(false), strength), Drawn(false));
  for (int level : {0, 1, 128, 254, 255}) {
    const TestImage flat({120, 90, 3, 8, true}, level, level, level);
    EXPECT_EQ(Recovered(flat, 100), flat) << level;
  }
  // A red wall stays red, faded or not.
  TestImage wall({120, 90, 3, 8, true});
  for (int x = 0; x < 120; ++x) {
    for (int y = 0; y < 90; ++y) wall.SetColour(x, y, 150 + x * 2 / 3, 20 + x / 4, 15 + y / 3);
  }
  for (const TestImage& red : {wall, Aged(wall, 0.6)}) {
    const TestImage after = Recovered(red, 100);
    for (int x = 0; x < 120; x += 7) {
      const int was = red.Colour(x, 40, 0) - red.Colour(x, 40, 1);
      EXPECT_GE(after.Colour(x, 40, 0) - after.Colour(x, 40, 1), was * 3 / 4) << x;
    }
  }
}

TEST(AgedPhoto, CurvesAscendAndClipAtMostOnePercent) {
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
  for (int recipe = 0; recipe < kRecipes; ++recipe) {
    const TestImage aged = Aged(Drawn(false), 1.0, recipe), whole = Recovered(aged, 100);
    for (int k = 0; k < 3; ++k) {
      int curve[256] = {}, last = 0;
      for (int i = 0; i < 120 * 90; ++i) curve[aged.Get(i % 120, i / 120, k)] = whole.Get(i % 120, i / 120, k);
      for (int level = 0; level < 256; ++level) {
        if (curve[level] == 0) continue;
        EXPECT_GE(curve[level], last) << recipe << " at " << level;
        last = curve[level];
      }
    }
  }
}

TEST(AgedPhoto, StrengthsAndModes) {
  const TestImage faded = Aged(Drawn(false), 1.0);
  double before = 0.0;
  for (int32_t strength = 10; strength <= 100; strength += 10) {
    const double change = Difference(Recovered(faded, strength), faded);
    EXPECT_GT(change, before) << strength;
    before = change;
  }
  EXPECT_EQ(Recovered(faded, 40, 1), Recovered(faded, 30));
  EXPECT_EQ(Recovered(faded, 40, 2), Recovered(faded, 40));
  EXPECT_EQ(Recovered(faded, 0), faded);
}

}  // namespace
}  // namespace zel::test
