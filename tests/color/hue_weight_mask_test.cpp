#include "color/hue_weight_mask.h"

#include <gtest/gtest.h>

#include <algorithm>
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
  const TestImage source({}), grey({37, 23, 1}), mask({37, 23, 1}), narrow({36, 23, 1}), four({37, 23, 4});
  for (const auto& [image, weights] : {std::pair{&source, &narrow}, {&source, &four}, {&grey, &mask}}) {
    EXPECT_FALSE(BuildHueWeightMask(image->desc(), weights->desc(), nullptr, 255));
  }
}

template <class T>
void AddAllOrders(std::vector<T>* samples, int a, int b, int c) {
  int colour[3] = {a, b, c};
  std::sort(colour, colour + 3);
  do {
    for (int v : colour) samples->push_back(static_cast<T>(v));
  } while (std::next_permutation(colour, colour + 3));
}

TEST(HueKernels, FindTheIntegerHueAtEveryLevel) {
  // Two tables tell every hue by its low and its high byte.
  constexpr int kGrey = 360;
  uint8_t low[kHuePlaces] = {}, high[kHuePlaces] = {};
  const auto put = [&](int place, int hue) {
    low[place] = static_cast<uint8_t>(hue);
    high[place] = static_cast<uint8_t>(hue >> 8);
  };
  for (int colour = 0; colour < 3; ++colour) {
    put(128 * colour + kGreyPlace, kGrey);
    for (int degrees = -60; degrees <= 60; ++degrees) {
      put(128 * colour + 60 + degrees, (120 * colour + degrees + 360) % 360);
    }
  }
  // All colours with a sample of 0 have every difference over every chroma; near-greys; and quotients one step below a
  // whole number, the closest that a rounding could reach.
  std::vector<uint8_t> bytes;
  std::vector<uint16_t> words;
  for (int i = 0; i < 65536; ++i) AddAllOrders(&bytes, i >> 8, i & 255, 0);
  for (int i = 0; i < 25000; ++i) AddAllOrders(&bytes, i / 100, i / 100 + i % 5, i / 100 + i % 100 / 20);
  for (int delta = 1; delta < 65536; delta += 1 + delta / 300) {
    for (int64_t degrees = 1; degrees <= 60; ++degrees) {
      const int difference = static_cast<int>((degrees * delta - 1) / 60), base = (65535 - delta) / (delta % 3 + 1);
      AddAllOrders(&words, base, base + difference, base + delta);
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
        ASSERT_EQ(highs[p] << 8 | lows[p], expected.saturation == 0 ? kGrey : expected.hue)
            << c[0] << ", " << c[1] << ", " << c[2];
      }
    }
  };
  const auto checkLengths = [&](const auto& samples, auto kernel) {
    const auto* const some = &samples[3 * 40000];
    std::vector<uint8_t> all(140), part(141);
    kernel(some, all.data(), 140, low, false);
    for (size_t pixels = 0; pixels <= 140; ++pixels) {
      part[pixels] = 77;
      kernel(some, part.data(), pixels, low, false);
      ASSERT_TRUE(std::equal(part.begin(), part.begin() + static_cast<ptrdiff_t>(pixels), all.begin()));
      ASSERT_EQ(part[pixels], 77);
    }
  };
  for (size_t level = 0; level < KernelLevel::Count(); ++level) {
    const KernelLevel active(level);
    const HueKernels& kernels = ActiveKernels().hue;
    check(bytes, kernels.WeighHuesOfBytes, PixelHueSat);
    check(words, kernels.WeighHuesOfWords, PixelHueSat16);
    checkLengths(bytes, kernels.WeighHuesOfBytes);
    checkLengths(words, kernels.WeighHuesOfWords);
  }
}

}  // namespace
}  // namespace zel::test
