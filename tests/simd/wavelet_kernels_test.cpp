#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "retouch/wavelet.h"
#include "support/kernel_sweep.h"

namespace zel::test {
namespace {

// Everything the wavelet kernels write for one count and alignment, in one array to compare.
std::vector<double> RunAll(const WaveletKernels& kernels, size_t count, size_t shift) {
  constexpr size_t kRoom = 8, kSize = kMostCount + 26, kRows = 12;
  std::mt19937 random(static_cast<uint32_t>(count * 8 + shift));
  std::vector<double> memory(kRows * kSize), results;
  for (double& v : memory) v = (static_cast<int>(random() % 100001) - 50000) / 131.0;
  std::vector<uint8_t> bytes(10 * kSize), written(10 * kSize, 7);
  std::vector<uint8_t> curve(256);
  for (size_t k = 1; k < 256; ++k) curve[k] = static_cast<uint8_t>(random());
  for (uint8_t& b : bytes) b = static_cast<uint8_t>(random());
  const auto row = [&](size_t i) { return memory.data() + i * kSize + kRoom + shift; };
  const auto keep = [&](size_t i) { results.insert(results.end(), row(i), row(i) + count); };

  std::vector<int16_t> rounded(count);
  // All magnitudes there are, or so small ones that vectors with and without one of 16 alternate.
  results.push_back(kernels.RoundDetails(row(0), shift == 0 ? 0.87 : 0.041, rounded.data(), count));
  results.insert(results.end(), rounded.begin(), rounded.end());
  for (int16_t& r : rounded) r = std::abs(r) == 256 && shift > 1 ? 255 : r;
  results.push_back(kernels.ExpandDetails(rounded.data(), curve.data(), 1.15, row(1), count));
  keep(1);
  for (const size_t step : {1, 2, 3, 4, 5}) {
    // Rows are as long as they must be, so that a read too far shows under the sanitizers.
    const std::vector<uint8_t> exact(bytes.begin(), bytes.begin() + (count > 0 ? (2 * count - 1) * step + 1 : 0));
    kernels.SplitBytes(exact.data(), step, row(1), row(2), count);
    keep(1), keep(2);
    kernels.JoinBytes(row(3), row(4), written.data() + shift, step, count);
    results.insert(results.end(), written.begin(), written.end());
  }
  kernels.JoinDoubles(row(3), row(4), row(5) - shift - kRoom, std::min(count, kSize / 2));
  kernels.SplitDoubles(row(5) - shift - kRoom, row(1), row(2), std::min(count, kSize / 2));
  keep(1), keep(2), keep(5);
  kernels.LiftRows(row(0), row(1), row(2), row(3), row(4), row(6), kForwardSteps, count);
  for (size_t i = 0; i < 7; ++i) keep(i);
  kernels.ScaleThenLift(row(7), row(8), kInverseSteps, kInverseScales, row(9), row(10), count);
  keep(9), keep(10);
  kernels.LiftThenScale(row(7), row(8), kForwardSteps, kForwardScales, row(9), row(10), count);
  keep(9), keep(10);
  return results;
}

TEST(WaveletKernels, EveryLevelGivesTheSameBits) {
  ExpectEveryLevelEqual([](const Kernels& kernels, size_t count, size_t shift) {
    std::vector<uint64_t> bits;
    for (const double value : RunAll(kernels.wavelet, count, shift)) {
      std::memcpy(&bits.emplace_back(), &value, sizeof value);
    }
    return bits;
  });
}

}  // namespace
}  // namespace zel::test
