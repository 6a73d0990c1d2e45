#include "core/blend.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "support/images.h"
#include "support/kernel_sweep.h"

namespace zel::test {
namespace {

const Shape kOnePixel = {1, 1, 1, 8, false, 0};

int Blended(int effect, int base, int weight, int mode) {
  TestImage e(kOnePixel), b(kOnePixel), out(kOnePixel), mask(kOnePixel);
  e.Fill(effect);
  b.Fill(base);
  out.Fill(77);
  mask.Fill(weight);
  EXPECT_TRUE(MaskBlend(e.desc(), b.desc(), out.desc(), mask.desc(), mode, nullptr));
  return out.Get(0, 0, 0);
}

TEST(MaskBlend, MixDividesBy256EvenWhereTheMaskIsEmpty) {
  EXPECT_EQ(Blended(0, 255, 0, kMix), 254);
  EXPECT_EQ(Blended(0, 1, 0, kMix), 0);
  EXPECT_EQ(Blended(255, 0, 255, kMix), 254);
  EXPECT_EQ(Blended(0, 255, 0, kScreen), 255);
  EXPECT_EQ(Blended(0, 1, 0, kMultiply), 1);
  EXPECT_EQ(Blended(128, 128, 192, kScreen), 175);
  EXPECT_EQ(Blended(9, 8, 7, 3), 77) << "an unknown mode writes nothing";
}

TEST(MaskBlend, KeepsTheImageLawsWithStridesOfItsOwn) {
  for (int mode : {kMix, kScreen, kMultiply}) {
    Laws laws;
    laws.reorders = false;
    laws.orderMatters = true;  // the effect is drawn by colour, the base given by position
    ExpectImageLaws(
        [mode](const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect) {
          const TestImage effect(
              {source->width, source->height, ChannelsOf(source->format), 8, IsBlueFirst(source->format), 11}, 3);
          const TestImage mask({source->width, source->height, 1, 8, false, 4}, 5);
          return MaskBlend(effect.desc(), source, destination, mask.desc(), mode, rect) ? ZEL_OK : ZEL_REFUSED;
        },
        {{300, 9, 1, 8, false, 0}, {290, 9, 3, 8, true, 5}, {37, 23, 4, 8, true, 0}}, laws);
  }
}

TEST(MaskBlend, RefusesWhatDoesNotFit) {
  TestImage image({8, 8, 3, 8, true, 0}), other({8, 8, 3, 8, false, 0}), words({8, 8, 3, 16, true, 0});
  TestImage mask({8, 8, 1, 8, false, 0}), shortMask({8, 7, 1, 8, false, 0});
  const TestImage before(image);
  ImageDesc flagged = *mask.desc();
  flagged.format = 0x00100811u;
  const auto refuses = [&](const TestImage& effect, const TestImage& base, const ImageDesc* with) {
    return !MaskBlend(effect.desc(), base.desc(), image.desc(), with, kMix, nullptr);
  };
  EXPECT_TRUE(refuses(image, image, &flagged) && refuses(image, image, shortMask.desc()) &&
              refuses(image, image, nullptr) && refuses(image, other, mask.desc()) &&
              refuses(words, words, mask.desc()));
  EXPECT_TRUE(image.SameBytes(before));
}

// Every kernel against its formula written down plainly, for all values at every level.
TEST(BlendKernels, AgreeWithTheirFormulas) {
  std::vector<uint8_t> effect(256 * 256), base(256 * 256), mask(256 * 256), out(256 * 256);
  for (int i = 0; i < 65536; ++i) {
    effect[i] = static_cast<uint8_t>(i);
    base[i] = static_cast<uint8_t>(i >> 8);
  }
  for (int m : {0, 1, 2, 127, 128, 191, 192, 254, 255}) {
    std::fill(mask.begin(), mask.end(), static_cast<uint8_t>(m));
    for (size_t level = 0; level < KernelLevel::Count(); ++level) {
      const KernelLevel active(level);
      const BlendKernels& kernels = ActiveKernels().blend;
      const auto expectAll = [&](const char* what, auto formula) {
        for (int i = 0; i < 65536; ++i) {
          ASSERT_EQ(out[i], formula(effect[i], base[i])) << what << " at level " << level << ", mask " << m;
        }
      };
      kernels.MixBytes(effect.data(), base.data(), mask.data(), out.data(), out.size());
      expectAll("mix", [m](int e, int b) { return ((255 - m) * b + m * e) >> 8; });
      kernels.ScreenBytes(effect.data(), base.data(), mask.data(), out.data(), out.size());
      expectAll("screen", [m](int e, int b) {
        return m == 0 ? b : ((255 - m) * b + m * (255 - (255 - e) * (255 - b) / 255)) >> 8;
      });
      kernels.MultiplyBytes(effect.data(), base.data(), mask.data(), out.data(), out.size());
      expectAll("multiply", [m](int e, int b) { return m == 0 ? b : ((255 - m) * b + m * (e * b / 255)) >> 8; });
      for (int w : {-32767, -63, 0, 63, 127, 190, 32767}) {
        kernels.PullBytes(effect.data(), base.data(), out.data(), out.size(), w);
        expectAll("pull", [w](int e, int b) { return std::min(std::max((e * w + b * (127 - w)) >> 7, 0), 255); });
      }
    }
  }
}

TEST(BlendKernels, WriteExactlyTheirCount) {
  const TestImage picture({256, 8, 1, 8, false, 0});
  ExpectEveryLevelEqual([&](const Kernels& all, size_t count, size_t shift) {
    std::vector<uint8_t> written(4 * kMostCount + 20, 0x5A);
    const uint8_t* const in = picture.desc()->data;
    uint8_t* const out = written.data() + shift;
    const BlendKernels& kernels = all.blend;
    kernels.MixBytes(in + shift, in + 300, in + 600 + 2 * shift, out, count);
    kernels.ScreenBytes(in + 1 + shift, out, in + 700, out, count);
    kernels.MultiplyBytes(in + 2 + shift, out, in + 800, out, count);
    kernels.PullBytes(in + 5 + shift, out, out, count, 190);
    kernels.SpreadMask(in + shift, out + count, count, 3);
    return written;
  });
}

TEST(StrengthBlend, DividesBy128WithWeightsOf127) {
  TestImage effect({6, 4, 3, 8, true, 2}), base({6, 4, 3, 8, true, 0}), out({6, 4, 3, 8, true, 0});
  const auto blended = [&](int e, int b, int mode, int strength) {
    effect.Fill(e);
    base.Fill(b);
    EXPECT_TRUE(StrengthBlend(effect.desc(), base.desc(), out.desc(), mode, strength, nullptr));
    return out.Get(5, 3, 2);
  };
  EXPECT_EQ(blended(255, 255, kMix, 37), 253);
  EXPECT_EQ(blended(10, 200, kMix, 0), 127 * 200 >> 7);
  EXPECT_EQ(blended(10, 200, kMix, 100), 127 * 10 >> 7);
  EXPECT_EQ(blended(100, 40, kMix, 50), (64 * 40 + 63 * 100) >> 7);
  EXPECT_EQ(blended(200, 100, kMix, 150), 247);  // beyond the effect: (190 * 200 - 63 * 100) / 128
  EXPECT_EQ(blended(255, 0, kMix, 150), 255);
  EXPECT_EQ(blended(0, 255, kMix, INT32_MAX), 0);
  EXPECT_EQ(blended(128, 128, kScreen, 100), (255 - (127 * 127 >> 8)) * 127 >> 7);
  EXPECT_EQ(blended(1, 0, kScreen, 100), 1) << "254 * 255 >> 8 is 253, not 254";
  EXPECT_EQ(blended(128, 128, kMultiply, 100), 127 * 64 >> 7);
  EXPECT_EQ(blended(255, 0, kScreen, 150), (190 * 255 >> 7) & 0xFF) << "screen keeps the low eight bits";
  const TestImage before(out);
  EXPECT_TRUE(StrengthBlend(effect.desc(), base.desc(), out.desc(), 9, 50, nullptr));
  EXPECT_TRUE(out.SameBytes(before));
}

}  // namespace
}  // namespace zel::test
