#include "color/hue_weight_mask.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "color/rgb_to_hsl.h"
#include "simd/kernels.h"
#include "support/images.h"

namespace zel::test {
namespace {

int ExpectedWeight(int hue, int saturation, int w) {
  if (saturation == 0 || (hue > 44 && hue < 335)) return 0;
  return hue <= 20 ? w : hue <= 44 ? w * (45 - hue) / 25 : w * (hue - 335) / 25;
}

TEST(HueWeightMask, WeighsReddishHues) {
  const ZelRect rect{30, 20, 3, 2};
  for (int bits : {8, 16}) {
    for (int maskBits : {8, 16}) {
      for (int maskChannels : {1, 3}) {
        const TestImage source({37, 23, 3, bits, bits == 8, 4});
        TestImage mask({37, 23, maskChannels, maskBits, false, 3});
        const TestImage before(mask);
        const int ceiling = maskBits == 8 ? 300 : 40000, w = maskBits == 8 ? 255 : 40000;
        ASSERT_TRUE(BuildHueWeightMask(source.desc(), mask.desc(), &rect, ceiling));
        for (int y = 0; y < 23; ++y) {
          for (int x = 0; x < 37; ++x) {
            const int r = source.Colour(x, y, 0), g = source.Colour(x, y, 1), b = source.Colour(x, y, 2);
            const HueSat pixel = bits == 8 ? PixelHueSat(r, g, b) : PixelHueSat16(r, g, b);
            const bool inside = x >= 3 && x < 30 && y >= 2 && y < 20;
            for (int k = 0; k < maskChannels; ++k) {
              const int expected = inside ? ExpectedWeight(pixel.hue, pixel.saturation, w) : before.Get(x, y, k);
              ASSERT_EQ(mask.Get(x, y, k), expected) << x << ", " << y;
            }
          }
        }
        EXPECT_TRUE(mask.GuardsIntact());
      }
    }
  }
}

TEST(HueWeightMask, RefusesWhatDoesNotFit) {
  const TestImage source({}), grey({37, 23, 1});
  TestImage mask({37, 23, 1}), narrow({36, 23, 1}), four({37, 23, 4});
  EXPECT_FALSE(BuildHueWeightMask(nullptr, mask.desc(), nullptr, 255));
  EXPECT_FALSE(BuildHueWeightMask(source.desc(), nullptr, nullptr, 255));
  EXPECT_FALSE(BuildHueWeightMask(grey.desc(), mask.desc(), nullptr, 255));
  EXPECT_FALSE(BuildHueWeightMask(source.desc(), narrow.desc(), nullptr, 255));
  EXPECT_FALSE(BuildHueWeightMask(source.desc(), four.desc(), nullptr, 255));
}

// A table in which every hue is told from its neighbours by the low or the high byte.
TEST(HueKernels, FindTheIntegerHueAtEveryLevel) {
  uint8_t low[kHueWeights] = {}, high[kHueWeights] = {};
  for (int h = 0; h <= kGreyHue; ++h) {
    low[h] = static_cast<uint8_t>(h);
    high[h] = static_cast<uint8_t>(h >> 8);
  }
  // All colours with one sample 0 reach every difference over every chroma; the rest is drawn, with near-greys.
  std::vector<uint8_t> bytes;
  std::vector<uint16_t> words;
  const auto add = [&](int r, int g, int b, bool wide) {
    for (int v : {r, g, b}) wide ? words.push_back(static_cast<uint16_t>(v)) : bytes.push_back(static_cast<uint8_t>(v));
  };
  for (int high8 = 0; high8 < 256; ++high8) {
    for (int middle = 0; middle <= high8; ++middle) {
      const int c[3] = {high8, middle, 0};
      for (int first = 0; first < 3; ++first) {
        add(c[first], c[(first + 1) % 3], c[(first + 2) % 3], false);
        add(c[(first + 2) % 3], c[(first + 1) % 3], c[first], false);
      }
    }
  }
  std::mt19937 random(7);
  for (int i = 0; i < 200000; ++i) {
    const uint32_t near = random() % 4 == 0 ? 3 : 256, base = random() % (257 - near);
    add(static_cast<int>(base + random() % near), static_cast<int>(base + random() % near),
        static_cast<int>(base + random() % near), false);
  }
  // Quotients one step below a whole number: the closest that a rounding could reach.
  for (int delta = 1; delta < 65536; delta += 1 + delta / 300) {
    for (int degrees = 1; degrees <= 60; ++degrees) {
      const int difference = static_cast<int>((static_cast<int64_t>(degrees) * delta - 1) / 60);
      const int base = static_cast<int>(random() % static_cast<uint32_t>(65536 - delta));
      const int c[3] = {base + delta, base + difference, base};
      const uint32_t first = random() % 3;
      add(c[first], c[(first + 1) % 3], c[(first + 2) % 3], true);
      add(c[(first + 2) % 3], c[(first + 1) % 3], c[first], true);
    }
  }
  const auto check = [&](const auto& samples, auto kernel, auto hueSat) {
    for (bool blueFirst : {false, true}) {
      const size_t pixels = samples.size() / 3;
      std::vector<uint8_t> lows(pixels), highs(pixels);
      kernel(samples.data(), lows.data(), pixels, low, blueFirst);
      kernel(samples.data(), highs.data(), pixels, high, blueFirst);
      for (size_t p = 0; p < pixels; ++p) {
        const auto* c = &samples[3 * p];
        const HueSat expected = hueSat(c[blueFirst ? 2 : 0], c[1], c[blueFirst ? 0 : 2]);
        ASSERT_EQ(highs[p] << 8 | lows[p], expected.saturation == 0 ? kGreyHue : expected.hue)
            << c[0] << ", " << c[1] << ", " << c[2];
      }
    }
  };
  for (size_t level = 0; level < KernelLevel::Count(); ++level) {
    const KernelLevel active(level);
    const HueKernels& kernels = ActiveKernels().hue;
    check(bytes, kernels.WeighHuesOfBytes, PixelHueSat);
    check(words, kernels.WeighHuesOfWords, PixelHueSat16);
    for (size_t pixels = 0; pixels <= 70; ++pixels) {
      std::vector<uint8_t> in(bytes.end() - 3 * pixels, bytes.end()), out(pixels + 1, 77);
      std::vector<uint16_t> wide(words.end() - 3 * pixels, words.end());
      kernels.WeighHuesOfBytes(in.data(), out.data(), pixels, low, true);
      for (size_t p = 0; p < pixels; ++p) {
        const HueSat c = PixelHueSat(in[3 * p + 2], in[3 * p + 1], in[3 * p]);
        ASSERT_EQ(out[p], low[c.saturation == 0 ? kGreyHue : c.hue]);
      }
      kernels.WeighHuesOfWords(wide.data(), out.data(), pixels, high, false);
      ASSERT_EQ(out[pixels], 77);
    }
  }
}

}  // namespace
}  // namespace zel::test
