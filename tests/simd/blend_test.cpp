#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "simd/kernels.h"

namespace zel::test {
namespace {

using Bytes = std::vector<uint8_t>;

Bytes Noise(size_t count, uint32_t seed) {
  std::mt19937 random(seed);
  Bytes bytes(count);
  // Ends of the range come often: that is where masks and products turn.
  for (uint8_t& b : bytes) b = static_cast<uint8_t>(random() % 4 == 0 ? (random() % 2) * 255 : random() % 256);
  return bytes;
}

using Blend = void (*)(const uint8_t*, const uint8_t*, const uint8_t*, uint8_t*, size_t);

TEST(BlendKernels, EveryLevelEqualsTheFormulaForAllBytes) {
  // For each mask value all pairs of effect and base, in rows that leave a tail.
  Bytes effect(65536), base(65536), mask(65536), out(65536);
  for (size_t i = 0; i < 65536; ++i) {
    effect[i] = static_cast<uint8_t>(i);
    base[i] = static_cast<uint8_t>(i >> 8);
  }
  for (const Kernels* const* level = BuiltKernelLevels(); *level != nullptr; ++level) {
    const BlendKernels& k = (*level)->blend;
    for (int m = 0; m < 256; ++m) {
      std::fill(mask.begin(), mask.end(), static_cast<uint8_t>(m));
      for (int mode = 0; mode < 3; ++mode) {
        const Blend blend = mode == 0 ? k.MixBytes : mode == 1 ? k.ScreenBytes : k.MultiplyBytes;
        blend(effect.data(), base.data(), mask.data(), out.data(), 65536);
        for (int i = 0; i < 65536; ++i) {
          const int e = i & 255, b = i >> 8;
          const int combined = mode == 0 ? e : mode == 1 ? 255 - (255 - e) * (255 - b) / 255 : e * b / 255;
          const int want = mode != 0 && m == 0 ? b : ((255 - m) * b + m * combined) >> 8;
          ASSERT_EQ(out[i], want) << (*level)->level << " mode " << mode << " m " << m << " e " << e << " b " << b;
        }
      }
    }
  }
}

TEST(BlendKernels, EveryLengthAndAlignmentWritesExactlyItsRow) {
  const Bytes effect = Noise(200, 1), base = Noise(200, 2), mask = Noise(200, 3);
  for (const Kernels* const* level = BuiltKernelLevels(); *level != nullptr; ++level) {
    const BlendKernels &k = (*level)->blend, &plain = scalar::kKernels.blend;
    for (size_t count = 0; count <= 70; ++count) {
      for (size_t at : {0, 1, 7, 13}) {
        const Blend blends[][2] = {
            {k.MixBytes, plain.MixBytes}, {k.ScreenBytes, plain.ScreenBytes}, {k.MultiplyBytes, plain.MultiplyBytes}};
        for (const auto& pair : blends) {
          Bytes out(300, 0x5A), want(300, 0x5A);
          pair[0](effect.data() + at, base.data() + 2, mask.data() + at / 2, out.data() + at, count);
          pair[1](effect.data() + at, base.data() + 2, mask.data() + at / 2, want.data() + at, count);
          ASSERT_EQ(out, want) << (*level)->level << " " << count << " at " << at;
        }
        for (size_t channels : {1, 3, 4}) {
          Bytes out(300, 0x5A), want(300, 0x5A);
          k.SpreadMask(mask.data() + at, out.data() + at, count, channels);
          for (size_t i = 0; i < count * channels; ++i) want[at + i] = mask[at + i / channels];
          ASSERT_EQ(out, want) << (*level)->level << " " << count << " x " << channels;
        }
      }
    }
  }
}

}  // namespace
}  // namespace zel::test
