#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

#include "filter/gaussian_blur.h"
#include "support/kernel_sweep.h"

namespace zel::test {
namespace {

// A kernel of every build that the vector code tells apart.
constexpr double kSigmas[] = {0.3, 0.6, 1.0, 1.03, 1.3, 1.7, 2.0, 2.05, 2.34, 2.4, 3.0, 3.3, 5.0, 7.0, 10.0, 1e6};

// Everything the filter kernels write for one count and alignment, and a little more that they must leave alone. Black
// and white are frequent, so that sums come to their limits.
class FilterRun {
 public:
  FilterRun(const Kernels& kernels, size_t count, size_t shift)
      : kernels_(kernels), count_(count), shift_(shift), samples_(kRows * kRowSamples) {
    std::mt19937 random(static_cast<uint32_t>(count * 8 + shift));
    for (uint16_t& s : samples_) s = static_cast<uint16_t>(random() % 4 == 0 ? random() % 2 * 65535 : random());
    for (double sigma : kSigmas) Blur(sigma);
    Neighbourhoods();
    for (const auto& [gain, threshold] : {std::pair{128, 0}, {-77, 3}, {kMaxByteGain, 20}, {0, 0}, {500, 255}}) {
      kernels_.unsharp.PushBytes(Bytes(0), Bytes(1), Out<uint8_t>(), count_, gain, threshold);
      kernels_.unsharp.PushWords(Words(0), Words(1), Out<uint16_t>(), count_, gain * 256, threshold * 257);
    }
  }

  const std::vector<std::vector<uint16_t>>& Results() const { return results_; }

 private:
  static constexpr size_t kRowSamples = 256, kRows = 2 * kMaxBlurReach + 2;

  const uint16_t* Words(size_t row) const { return samples_.data() + row * kRowSamples + shift_; }
  const uint8_t* Bytes(size_t row) const {
    return reinterpret_cast<const uint8_t*>(samples_.data()) + row * 128 + shift_;
  }

  template <class T>
  T* Out() {
    results_.emplace_back(kRowSamples, uint16_t{0x5A5A});
    return reinterpret_cast<T*>(results_.back().data()) + shift_;
  }

  void Blur(double sigma) {
    BlurWeights weights;
    ASSERT_TRUE(MakeBlurWeights(sigma, &weights));
    const uint8_t* bytes[kRows];
    const uint16_t* words[kRows];
    for (size_t k = 0; k < kRows; ++k) bytes[k] = Bytes(k), words[k] = Words(k);
    const BlurKernels& blur = kernels_.blur;
    // Once for two rows, once for one; the row behind the last counts only for the second.
    auto* const first = Out<uint8_t>();
    blur.SumBytes(bytes, 3, weights, first, Out<uint8_t>(), count_);
    blur.SumBytes(bytes, 3, weights, Out<uint8_t>(), nullptr, count_);
    auto* const firstWords = Out<uint16_t>();
    blur.SumWords(words, 3, weights, firstWords, Out<uint16_t>(), count_);
    for (const size_t step : {1, 3}) {
      blur.SumBytesAlong(bytes[0], step, weights, Out<uint8_t>(), count_);
      blur.SumWordsAlong(words[0], step, weights, Out<uint16_t>(), count_);
    }
  }

  void Neighbourhoods() {
    const uint8_t* const rows3[] = {Bytes(0), Bytes(1), Bytes(2)};
    for (const auto& [arm, centre] : {std::pair{-256, 2048},
                                      {-32768, 32767},
                                      {-40000, 161000},
                                      {1020, -3000},
                                      {-8192, 32768},
                                      {-9000, 66000},
                                      {5000, -32769},
                                      {32768, 9},
                                      {-32769, 9}}) {
      const int32_t cross[9] = {0, arm, 0, arm, centre, arm, 0, arm, 0};
      kernels_.convolve.Convolve3x3(rows3, 3, cross, Out<uint8_t>(), count_);
    }
    const int32_t any[9] = {100, -200, 300, 400, 55, 66, -77, 88, 99};
    kernels_.convolve.Convolve3x3(rows3, 1, any, Out<uint8_t>(), count_);
    const uint8_t* rows7[7];
    for (size_t k = 0; k < 7; ++k) rows7[k] = Bytes(k);
    kernels_.detail.RingMask(rows7, Out<uint8_t>(), count_);
    for (const bool blueFirst : {false, true}) {
      kernels_.detail.LumaBytes(Bytes(0), Out<uint8_t>(), count_, blueFirst);
    }
  }

  const Kernels& kernels_;
  const size_t count_, shift_;
  std::vector<uint16_t> samples_;
  std::vector<std::vector<uint16_t>> results_;
};

TEST(FilterKernels, EveryLevelGivesTheSameSamples) {
  ExpectEveryLevelEqual(
      [](const Kernels& kernels, size_t count, size_t shift) { return FilterRun(kernels, count, shift).Results(); });
}

TEST(FilterKernels, EveryLevelSumsLongRowsAlike) {
  constexpr size_t kCount = 2000;
  std::vector<uint8_t> in(kCount + 6 * kMaxBlurReach);
  std::mt19937 random(7);
  for (uint8_t& s : in) s = static_cast<uint8_t>(random() % 4 == 0 ? random() % 2 * 255 : random());
  for (const double sigma : kSigmas) {
    BlurWeights weights;
    ASSERT_TRUE(MakeBlurWeights(sigma, &weights));
    std::vector<uint8_t> wanted(kCount), got(kCount);
    scalar::kKernels.blur.SumBytesAlong(in.data(), 3, weights, wanted.data(), kCount);
    for (const Kernels* const* level = BuiltKernelLevels(); *level != nullptr; ++level) {
      (*level)->blur.SumBytesAlong(in.data(), 3, weights, got.data(), kCount);
      EXPECT_EQ(wanted, got) << (*level)->level << " " << sigma;
    }
  }
}

// However the taps of a kernel are split, their parts must fit the vector code's products and sums.
TEST(FilterKernels, SplitWeightsStayInTheirIntervals) {
  for (int i = 20; i <= 6000; ++i) {
    BlurWeights w;
    if (!MakeBlurWeights(i * 0.01, &w)) continue;
    const int fineBits = w.shift - 7;
    for (int row = 0; row < 2; ++row) {
      int total = 0, fineSum = 0, m = 0;
      for (int r = 0; r < w.runs; ++r) {
        if (w.run[r].fold) fineSum = (1 << fineBits) - 1;
        for (; m < w.run[r].end; ++m) {
          const BlurWeights::Pair& pair = w.pair[row][m];
          for (int side = 0; side < 2; ++side) {
            const int k = 2 * m - row + side, mirrored = std::min(k, 2 * w.reach - k);
            const int tap = mirrored < 0 ? 0 : w.taps[mirrored];
            ASSERT_EQ((pair.coarse[side] << fineBits) + pair.fine[side], tap);
            ASSERT_TRUE(pair.coarse[side] <= 127 && pair.fine[side] <= 127);
            total += tap;
          }
          ASSERT_LE(pair.fine[0] + pair.fine[1], 128);
          ASSERT_LE(pair.coarse[0] + pair.coarse[1], 128);
          ASSERT_TRUE(w.run[r].coarse || pair.coarse[0] + pair.coarse[1] == 0);
          ASSERT_TRUE(w.edge < 0 || (!w.run[r].fold && w.run[r].coarse == (m >= w.edge && m <= w.reach - w.edge)));
          fineSum += 255 * (pair.fine[0] + pair.fine[1]);
          ASSERT_LE(fineSum, 65535);
        }
      }
      ASSERT_EQ(m, w.reach + 1);
      ASSERT_LE((total * 255) >> fineBits, 65535);
    }
    const BlurWeights::Mirrored& mirrored = w.mirrored;
    int fineSum = 255 * mirrored.tap[w.reach].fine, k = 0;
    for (int r = 0; r < mirrored.runs; ++r) {
      if (mirrored.run[r].fold) fineSum = (1 << fineBits) - 1;
      int fineOdd = 0, coarseOdd = 0;
      for (; k < mirrored.run[r].end; ++k) {
        const int coarse = mirrored.tap[k].coarse, fine = mirrored.tap[k].fine;
        ASSERT_EQ((coarse << fineBits) + fine, w.taps[k]);
        ASSERT_EQ(coarse != 0, mirrored.run[r].coarse);
        ASSERT_TRUE(mirrored.split < 0 || (!mirrored.run[r].fold && (coarse == 0 || k >= w.reach - mirrored.split)));
        fineSum += 510 * fine;
        ASSERT_LE(fineSum, 65535);
        if (coarse == 0) continue;
        fineOdd += fine, coarseOdd += coarse;
        ASSERT_TRUE(coarse <= 127 && fine <= 127 && coarseOdd <= 255 && fineOdd <= 255);
      }
    }
    ASSERT_EQ(k, w.reach);

    const auto word = [&](int tap) {
      const int mirror = std::min(tap, 2 * w.reach - tap);
      return (mirror < 0 ? 0 : w.taps[mirror]) << (kWordPairShift - w.shift);
    };
    for (int m = 0; m <= w.reach; ++m) {
      for (int j = 0; j < 4; ++j) {
        ASSERT_EQ(static_cast<int>(w.wordPair[j / 2][m] >> 16 * (j % 2) & 65535), word(2 * m - j / 2 + j % 2));
      }
    }
    for (int tap = 0; tap < w.reach; ++tap) {
      const int side = static_cast<int>(w.sidePair[tap / 2] >> 16 * (tap % 2) & 65535);
      ASSERT_TRUE(side == 2 * word(tap) && side <= 32767);
    }
  }
}

}  // namespace
}  // namespace zel::test
