#include "color/colorful.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <vector>

#include "color/color_lattice.h"
#include "color/hue_saturation.h"
#include "color/hue_weight_mask.h"
#include "color/lab.h"
#include "core/blend.h"
#include "core/scratch.h"
#include "support/images.h"

namespace zel::test {
namespace {

using Lattice = std::vector<uint8_t>;

Lattice Identity() {
  Lattice lattice(kLatticeSamples);
  FillIdentityLattice(lattice.data());
  return lattice;
}

Lattice EstimatedFor(const TestImage& image, const ZelRect* rect = nullptr) {
  Lattice lattice(kLatticeSamples);
  EXPECT_TRUE(
      WithView(image.desc(), [&](const auto& view) { return EstimateColorfulLattice(view, rect, lattice.data()); }));
  return lattice;
}

// The identity with its chroma raised, by the math library and node by node; `closest` receives the smallest distance
// of a sample from the value where its truncation would change.
Lattice Raised(double gain, double* closest = nullptr) {
  Lattice lattice = Identity();
  const auto curve = [](double t) {
    t = std::min(t, 1.0);
    return t > 0.008856 ? std::exp(std::log(t) * 0.33333334) : 7.787 * t + 0.13793103;
  };
  const auto inverse = [](double f, double cube, double line) {
    return f <= 0 ? (0 - 0.13793103) * line : f > 0.008856 ? f * f * f * cube : (f - 0.13793103) * line;
  };
  for (size_t i = 0; i < kLatticeSamples; i += 3) {
    const double r = lattice[i] / 255.0, g = lattice[i + 1] / 255.0, b = lattice[i + 2] / 255.0;
    const double x = curve((0.4124 * r + 0.3576 * g + 0.1805 * b) * 1.0524465);
    const double y = curve(0.2126 * r + 0.7152 * g + 0.0722 * b);
    const double z = curve((0.0193 * r + 0.1192 * g + 0.9505 * b) * 0.9187604);
    const float l = static_cast<float>(116 * y - 16);
    const float a0 = static_cast<float>(500 * (x - y)), b0 = static_cast<float>(200 * (y - z));
    const float a1 = static_cast<float>(a0 * gain), b1 = static_cast<float>(b0 * gain);
    const double fy = (l + 16.0) * 0.00862069, fx = fy + a1 * 0.002, fz = fy - b1 * 0.005;
    const double ix = inverse(fx, 0.9501671, 0.12201966), iy = inverse(fy, 1.0, 0.12841916);
    const double iz = inverse(fz, 1.088423, 0.13977437);
    const double out[3] = {3.241 * ix - 1.5374 * iy - 0.4986 * iz, -0.9692 * ix + 1.876 * iy + 0.0416 * iz,
                           0.0556 * ix - 0.204 * iy + 1.057 * iz};
    for (size_t k = 0; k < 3; ++k) {
      const double sum = out[k] * 255 + 0.5;
      lattice[i + k] = static_cast<uint8_t>(std::min(std::max(static_cast<int>(sum), 0), 255));
      // Nothing changes at 0 and below, nor from 255 up.
      if (closest != nullptr && sum > 0.5 && sum < 255.5) {
        *closest = std::min(*closest, std::abs(sum - std::round(sum)));
      }
    }
  }
  return lattice;
}

// One pixel whose chroma decides the gain.
TestImage Grey(int red, int green, int blue, int bits = 8) {
  const int level = bits == 8 ? 90 : 90 * 257;
  TestImage image({40, 30, 3, bits, true, 2}, level, level, level);
  image.SetColour(13, 7, red, green, blue);
  return image;
}

double Chroma(int red, int green, int blue) {
  const uint8_t pixel[3] = {static_cast<uint8_t>(red), static_cast<uint8_t>(green), static_cast<uint8_t>(blue)};
  float l, a, b;
  RgbToLabPlanes(PackedView(pixel, 1, 1, 3), {&l, &a, &b});
  return std::sqrt(static_cast<double>(a) * a + static_cast<double>(b) * b);
}

TEST(Lab, RootsAreThoseOfTheMathLibrary) {
  for (double t = 0.0088561; t <= 1.0; t += 1.7e-5) {
    const double expected = std::exp(std::log(t) * 0.33333334);
    ASSERT_NEAR(NearlyCubeRoot(t), expected, 1e-15) << t;
  }
  EXPECT_EQ(NearlyCubeRoot(1.0), 1.0);
}

// A pixel that is passed over without a root must not be the largest, however near it comes.
TEST(Lab, LargestChromaIsFoundAmongNearlyEqualOnes) {
  struct Colour {
    double chroma;
    uint8_t samples[3];
  };
  std::vector<Colour> colours;
  for (int i = 0; i < 4096; ++i) {
    const int r = i % 16 * 17, g = i / 16 % 16 * 17, b = i / 256 * 17;
    colours.push_back({Chroma(r, g, b), {static_cast<uint8_t>(r), static_cast<uint8_t>(g), static_cast<uint8_t>(b)}});
  }
  std::sort(colours.begin(), colours.end(), [](const Colour& a, const Colour& b) { return a.chroma < b.chroma; });
  for (size_t i = 1; i < colours.size(); ++i) {
    uint8_t pair[6];
    std::copy(colours[i - 1].samples, colours[i - 1].samples + 3, pair);
    std::copy(colours[i].samples, colours[i].samples + 3, pair + 3);
    const double found = LargestSquaredChroma(PackedView<const uint8_t>(pair, 2, 1, 3), 1e9);
    ASSERT_EQ(std::sqrt(found), colours[i].chroma) << i;
  }
}

TEST(Lab, LargestChromaIsThatOfAllPixels) {
  for (int bits : {8, 16}) {
    for (uint32_t seed = 1; seed <= 20; ++seed) {
      const TestImage image({64, 9, 3, bits, true, 0}, seed);
      std::vector<float> l(64 * 9), a(l), b(l);
      double largest = 0, found = 0;
      WithView(image.desc(), [&](const auto& view) {
        RgbToLabPlanes(view, {l.data(), a.data(), b.data()});
        found = LargestSquaredChroma(view, 1e9);
        return true;
      });
      for (size_t i = 0; i < l.size(); ++i) {
        largest = std::max(largest, static_cast<double>(a[i]) * a[i] + static_cast<double>(b[i]) * b[i]);
      }
      EXPECT_EQ(found, largest);
    }
  }
}

TEST(Colorful, NarrowPicturesAreMeasuredPixelByPixel) {
  // Sampled to 300 columns, a picture of 600 x 300 loses the coloured one; 301 rows are sampled.
  for (const auto& [width, height, all] :
       {std::tuple{600, 300, true}, {600, 301, false}, {300, 602, true}, {301, 602, false}}) {
    TestImage image({width, height, 3, 8, true}, 90, 90, 90);
    image.SetColour(1, 1, 255, 200, 0);
    EXPECT_EQ(EstimatedFor(image), Raised(all ? 100 / Chroma(255, 200, 0) : 1.4)) << width << " x " << height;
  }
}

TEST(Colorful, GainBringsTheLargestChromaToFull) {
  // The chroma computed for a grey is small but not 0; black's is.
  EXPECT_EQ(EstimatedFor(Grey(90, 90, 90)), Raised(1.4));
  TestImage black({});
  black.Fill(0);
  EXPECT_EQ(EstimatedFor(black), Raised(1.0));
  EXPECT_EQ(EstimatedFor(Grey(0, 255, 0)), Raised(1.0));  // chroma beyond 100
  const double chroma = Chroma(255, 200, 0);
  ASSERT_GT(chroma, 72);
  ASSERT_LT(chroma, 100);
  EXPECT_EQ(EstimatedFor(Grey(255, 200, 0)), Raised(100 / chroma));
  EXPECT_EQ(EstimatedFor(Grey(255 * 257, 200 * 257, 0, 16))[3], Raised(100 / chroma)[3]);
  const ZelRect without{14, 0, 40, 30}, outside{50, 0, 60, 9};
  EXPECT_EQ(EstimatedFor(Grey(255, 200, 0), &without), Raised(1.4));

  const TestImage image({});
  Lattice lattice(kLatticeSamples);
  EXPECT_FALSE(EstimateColorfulLattice(image.view<const uint8_t>(), &outside, lattice.data()));
  EXPECT_EQ(lattice, Identity());
}

// Every platform gives the same lattice because only additions, multiplications, divisions and a square root decide it.
// Here it agrees with the math library's exp and log, and no sample lies where a last bit could tip it.
TEST(Colorful, LatticesDoNotHangOnLastBits) {
  double closest = 1;
  for (int i = 0; i <= 400; i += 5) {
    Lattice lattice = Identity();
    RaiseLatticeChroma(lattice.data(), 1.0 + i / 1000.0);
    ASSERT_EQ(lattice, Raised(1.0 + i / 1000.0, &closest)) << i;
  }
  EXPECT_GT(closest, 1e-9);
}

TEST(Colorful, StrengthFadesAndSaturates) {
  const TestImage image = Grey(255, 200, 0);
  const Lattice estimated = EstimatedFor(image), identity = Identity();
  const auto lattice = [&](int mode, int strength) {
    Lattice result(kLatticeSamples, 1);
    EXPECT_EQ(ZelTavoraFunc_Colorful_Get3DLut(image.desc(), mode, strength, nullptr, result.data()), ZEL_OK);
    return result;
  };
  const auto faded = [&](int w) {
    Lattice result(kLatticeSamples);
    for (size_t i = 0; i < kLatticeSamples; ++i) {
      result[i] = static_cast<uint8_t>(std::min(std::max((estimated[i] * w + identity[i] * (127 - w)) >> 7, 0), 255));
    }
    return result;
  };
  const auto saturated = [&](Lattice first, int saturation) {
    Lattice second = identity;
    AdjustLatticeHueSaturation(second.data(), 0, saturation);
    ComposeColorLattices(first.data(), second.data());
    return first;
  };
  EXPECT_EQ(lattice(0, 0), identity);
  EXPECT_EQ(lattice(0, 25), faded(63));
  EXPECT_EQ(lattice(0, 50), estimated);
  EXPECT_EQ(lattice(7, 75), faded(190));
  EXPECT_EQ(lattice(0, 76), saturated(faded(190), 2));
  EXPECT_EQ(lattice(0, 100), saturated(faded(190), 50));
  EXPECT_EQ(lattice(1, 50), estimated);
  EXPECT_EQ(lattice(1, 51), saturated(estimated, 0));
  EXPECT_EQ(lattice(1, 100), saturated(estimated, 25));
  EXPECT_EQ(lattice(0, INT32_MAX), saturated(faded(190), 100));
  lattice(1, INT32_MIN);
}

TEST(Colorful, MaskedStyleMixesTheLatticeIntoReddishHues) {
  const TestImage source({300, 40, 3, 8, true, 0});
  const Lattice lattice = EstimatedFor(source);
  for (const auto& [strength, ceiling, saturation] :
       {std::tuple{30, 115, 0}, {60, 192, 10}, {75, 192, 25}, {76, 192, 27}, {90, 192, 55}}) {
    TestImage working(source), mask({300, 40, 1, 8, false, 0});
    mask.Fill(0);
    ASSERT_TRUE(BuildHueWeightMask(source.desc(), mask.desc(), nullptr, ceiling));
    if (saturation != 0) ApplyHueSaturation(source.desc(), working.desc(), nullptr, 0, saturation, true);
    const TestImage mapped = After(ApplyColorLatticeToImage, source, nullptr, lattice.data(), 8);
    ASSERT_TRUE(MaskBlend(mapped.desc(), working.desc(), working.desc(), mask.desc(), kMix, nullptr));
    EXPECT_EQ(After(ZelTavoraFunc_Colorful_Apply3DLut, source, 1, strength, nullptr, lattice.data()), working);
  }
}

TEST(Colorful, OneCallEqualsItsTwoHalves) {
  const TestImage source({330, 310, 3, 8, false, 5});
  const ZelRect rect{20, 300, 300, 10};
  for (int strength = 1; strength <= 100; strength += 9) {
    const int mode = strength % 2;
    Lattice lattice(kLatticeSamples);
    ZelTavoraFunc_Colorful_Get3DLut(source.desc(), mode, strength, nullptr, lattice.data());
    EXPECT_EQ(After(ZelTavoraFunc_Colorful, source, mode, strength, &rect),
              After(ZelTavoraFunc_Colorful_Apply3DLut, source, mode, strength, &rect, lattice.data()));
  }
}

}  // namespace
}  // namespace zel::test
