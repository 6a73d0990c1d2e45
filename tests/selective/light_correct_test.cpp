#include "selective/light_correct.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "color/linear_light.h"
#include "selective/light_estimate.h"
#include "support/images.h"

namespace zel::test {
namespace {

using Rgb = std::array<double, 3>;

// A painted scene: areas of one colour each, shaded and grained, and a few small bright neutral things.
struct Area {
  Rgb colour;  // levels
  int left, top, right, bottom;
};
const std::vector<std::vector<Area>> kScenes = {
    // A meadow under a blue sky, with a white house.
    {{{110, 160, 230}, 0, 0, 160, 60}, {{70, 120, 40}, 0, 60, 160, 120}, {{240, 240, 238}, 60, 40, 90, 80}},
    // A red wall that fills the picture, a window frame.
    {{{190, 50, 40}, 0, 0, 160, 120}, {{235, 235, 235}, 20, 20, 60, 30}, {{60, 60, 62}, 20, 30, 60, 60}},
    // A wooden desk with paper and a lamp-yellow pencil.
    {{{170, 120, 70}, 0, 0, 160, 120}, {{245, 244, 240}, 30, 30, 80, 90}, {{250, 210, 60}, 100, 10, 106, 100}},
    // A face before a grey cloth.
    {{{120, 120, 122}, 0, 0, 160, 120}, {{225, 170, 140}, 50, 20, 110, 110}, {{230, 230, 232}, 60, 100, 100, 120}},
    // Dusk: a deep blue sky, lit windows, a white sign.
    {{{40, 60, 120}, 0, 0, 160, 120}, {{250, 220, 130}, 20, 80, 60, 90}, {{228, 230, 230}, 100, 90, 112, 96}},
};

const std::vector<Rgb> kTints = {{1.0, 0.86, 0.68}, {1.0, 0.70, 0.42}, {1.0, 0.45, 0.13},
                                 {0.67, 0.74, 1.0}, {0.68, 1.0, 0.68}, {1.0, 0.68, 0.94}};

TestImage Painted(const std::vector<Area>& areas, const Rgb& light, int bits = 8) {
  TestImage image({160, 120, 3, bits, true});
  uint32_t state = 1;
  for (const Area& area : areas) {
    for (int y = area.top; y < area.bottom; ++y) {
      for (int x = area.left; x < area.right; ++x) {
        state = state * 1664525u + 1013904223u;
        const double shade = 1.0 - 0.4 * (x - area.left) / (area.right - area.left) - 0.05 * (state >> 24) / 255.0;
        int sample[3];
        for (int k = 0; k < 3; ++k) {
          const double level = 255.0 * LevelOfLight(LightOfLevel(area.colour[k] / 255.0) * shade * light[k]);
          sample[k] = static_cast<int>(level + 0.5) * (bits == 8 ? 1 : 257);
        }
        image.SetColour(x, y, sample[0], sample[1], sample[2]);
      }
    }
  }
  return image;
}

std::vector<Rgb> LightOf(const TestImage& image) {
  std::vector<Rgb> pixels;
  for (int y = 0; y < image.shape().height; ++y) {
    for (int x = 0; x < image.shape().width; ++x) {
      Rgb light;
      for (int k = 0; k < 3; ++k) light[k] = LightOfLevel(image.Colour(x, y, k) / 255.0);
      pixels.push_back(light);
    }
  }
  return pixels;
}

Rgb PowerMean(const std::vector<Rgb>& pixels, double power) {
  Rgb sum{};
  for (const Rgb& p : pixels) {
    for (int k = 0; k < 3; ++k) sum[k] += std::pow(p[k], power);
  }
  for (double& s : sum) s = std::pow(s, 1.0 / power);
  return sum;
}

Rgb BrightestPercent(std::vector<Rgb> pixels) {
  std::sort(pixels.begin(), pixels.end(),
            [](const Rgb& a, const Rgb& b) { return a[0] + a[1] + a[2] > b[0] + b[1] + b[2]; });
  pixels.resize(pixels.size() / 100);
  return PowerMean(pixels, 1.0);
}

Rgb Ours(const TestImage& image) {
  LightColour light;
  EXPECT_TRUE(EstimateLight(image.view<const uint8_t>(), &light));
  return {light.red, light.green, light.blue};
}

double Angle(const Rgb& a, const Rgb& b) {
  const auto dot = [](const Rgb& u, const Rgb& v) { return u[0] * v[0] + u[1] * v[1] + u[2] * v[2]; };
  return std::acos(std::min(dot(a, b) / std::sqrt(dot(a, a) * dot(b, b)), 1.0)) * 180.0 / 3.14159265358979;
}

TEST(LightCorrect, FindsTheLightBetterThanSimpleMethods) {
  double tinted[4] = {}, untinted[4] = {};
  const auto measure = [](const std::vector<Area>& scene, const Rgb& light, double* errors) {
    const TestImage image = Painted(scene, light);
    const std::vector<Rgb> pixels = LightOf(image);
    const Rgb found[4] = {Ours(image), PowerMean(pixels, 1.0), PowerMean(pixels, 6.0), BrightestPercent(pixels)};
    for (int m = 0; m < 4; ++m) errors[m] += Angle(found[m], light);
  };
  for (const std::vector<Area>& scene : kScenes) {
    for (const Rgb& tint : kTints) measure(scene, tint, tinted);
    measure(scene, {1.0, 1.0, 1.0}, untinted);
  }
  for (int m = 1; m < 4; ++m) {
    EXPECT_LT(tinted[0], 0.8 * tinted[m]) << "method " << m;
    EXPECT_LT(untinted[0], 0.8 * untinted[m]) << "method " << m;
  }
  EXPECT_LT(tinted[0] / 30.0, 4.0) << "degrees";
}

TEST(LightCorrect, MakesTheBrightNeutralGrey) {
  // The house of the first scene, under strong warm light: its brightest corner becomes grey, half way at half
  // strength.
  const TestImage image = Painted(kScenes[0], kTints[1]);
  const TestImage half = After(ZelBasicToolFunc_LightCorrect, image, 50);
  const TestImage whole = After(ZelBasicToolFunc_LightCorrect, image, 100);
  const auto spread = [](const TestImage& at) { return at.Colour(61, 50, 0) - at.Colour(61, 50, 2); };
  EXPECT_GT(spread(image), 60);
  EXPECT_LE(std::abs(spread(whole)), 4);
  EXPECT_NEAR(spread(half), spread(image) / 2, 12);

  // Sixteen bits decide and move alike.
  const TestImage deepWhole = After(ZelBasicToolFunc_LightCorrect, Painted(kScenes[0], kTints[1], 16), 100);
  for (int x = 0; x < 160; ++x) {
    for (int k = 0; k < 3; ++k) ASSERT_NEAR(deepWhole.Colour(x, 70, k) / 257.0, whole.Colour(x, 70, k), 0.51);
  }
}

TEST(LightCorrect, HardlyBelievesWhatRanOver) {
  // A window that is white only because no channel goes further, in rooms under their own light.
  for (const int window : {252, 255}) {
    double sum = 0.0;
    for (const Rgb& tint : kTints) {
      TestImage image = Painted(kScenes[1], tint);
      for (int y = 0; y < 12; ++y) {
        for (int x = 0; x < 160; ++x) image.SetColour(x, y, window, window, window);
      }
      sum += Angle(Ours(image), tint);
    }
    EXPECT_LT(sum / static_cast<double>(kTints.size()), 4.0) << window;
  }
}

TEST(LightCorrect, LeavesLampsTheirColour) {
  // Lamps that shine on nothing, at night, are no white things under warm light.
  std::vector<Area> night = {{{34, 40, 60}, 0, 0, 160, 120}, {{22, 26, 34}, 0, 70, 160, 120}};
  for (int x = 10; x < 150; x += 20) night.push_back({{245, 190, 90}, x, 40 + x % 3 * 20, x + 8, 50 + x % 3 * 20});
  const Rgb white = {1.0, 1.0, 1.0};
  const double lamps = Angle({LightOfLevel(245 / 255.0), LightOfLevel(190 / 255.0), LightOfLevel(90 / 255.0)}, white);
  EXPECT_LT(Angle(Ours(Painted(night, white)), white), 0.4 * lamps);
}

TEST(LightCorrect, LeavesPicturesWithoutEvidenceAlone) {
  const int colours[][3] = {{200, 30, 30}, {30, 90, 20}, {250, 140, 10},  {20, 30, 120},
                            {7, 5, 3},     {0, 0, 0},    {255, 255, 255}, {128, 128, 128}};
  for (const auto& c : colours) {
    const TestImage wall({160, 120, 3, 8, true}, c[0], c[1], c[2]);
    EXPECT_EQ(After(ZelBasicToolFunc_LightCorrect, wall, 100), wall) << c[0] << " " << c[1] << " " << c[2];
  }
}

TEST(LinearLight, AgreesWithThePowerFunction) {
  for (int i = 0; i <= 1000; ++i) {
    const double v = i / 1000.0;
    const double light = v <= 0.04045 ? v / 12.92 : std::pow((v + 0.055) / 1.055, 2.4);
    EXPECT_NEAR(LightOfLevel(v), light, 1e-14);
    EXPECT_NEAR(LevelOfLight(light), v, 1e-13);
  }
  EXPECT_EQ(LightOfLevel(-1.0), 0.0);
  EXPECT_EQ(LevelOfLight(NAN), 0.0);
}

}  // namespace
}  // namespace zel::test
