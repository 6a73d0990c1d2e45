// Kernels read and write exactly what their formulas name: every array ends where the memory ends.
#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "filter/gaussian_blur.h"
#include "retouch/wavelet.h"
#include "support/kernel_sweep.h"

namespace zel::test {
namespace {

// Arrays for one run, each before a page that cannot be touched.
class Edges {
 public:
  Edges() {
    memory_ = static_cast<uint8_t*>(
        mmap(nullptr, kArrays * kRoom, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0));
    if (memory_ == MAP_FAILED) std::abort();
    for (size_t i = 0; i < kArrays; ++i) mprotect(memory_ + (i + 1) * kRoom - kPage, kPage, PROT_NONE);
  }
  Edges(const Edges&) = delete;
  Edges& operator=(const Edges&) = delete;
  ~Edges() { munmap(memory_, kArrays * kRoom); }

  void Reset() { taken_ = 0; }
  // `count` elements and the end of memory.
  template <class T>
  T* Get(size_t count) {
    if (taken_ == kArrays) std::abort();
    return reinterpret_cast<T*>(memory_ + ++taken_ * kRoom - kPage) - count;
  }

 private:
  static constexpr size_t kPage = 4096, kRoom = size_t{1} << 18, kArrays = 200;
  uint8_t* memory_;
  size_t taken_ = 0;
};

template <class T>
std::vector<const T*> Rows(Edges& at, size_t rows, size_t count) {
  std::vector<const T*> pointers;
  while (pointers.size() < rows) pointers.push_back(at.Get<T>(count));
  return pointers;
}

void Samples(const Kernels& kernels, Edges& at, size_t n) {
  const auto bytes = [&at](size_t count) { return at.Get<uint8_t>(count); };
  const auto words = [&at](size_t count) { return at.Get<uint16_t>(count); };
  const uint8_t* const tables[3] = {bytes(256), bytes(256), bytes(256)};
  const uint16_t* const wide[3] = {words(65536), words(65536), words(65536)};
  kernels.lut.MapBytes(bytes(n), bytes(n), n, tables[0]);
  kernels.lut.MapWords(words(n), words(n), n, wide[0]);
  kernels.lut.MapBytes3(bytes(3 * n), bytes(3 * n), n, tables);
  kernels.lut.MapWords3(words(3 * n), words(3 * n), n, wide);
  for (size_t channels : {1, 2, 3, 4, 15}) kernels.blend.SpreadMask(bytes(n), bytes(channels * n), n, channels);
  for (const auto blend : {kernels.blend.MixBytes, kernels.blend.ScreenBytes, kernels.blend.MultiplyBytes}) {
    blend(bytes(n), bytes(n), bytes(n), bytes(n), n);
  }
  kernels.blend.PullBytes(bytes(n), bytes(n), bytes(n), n, 64);
  const int32_t cross[9] = {0, -256, 0, -256, 2048, -256, 0, -256, 0}, any[9] = {1, 2, 3, 4, 5, 6, 7, 8, 9};
  for (const int32_t* weights : {cross, any}) {
    kernels.convolve.Convolve3x3(Rows<uint8_t>(at, 3, n + 6).data(), 3, weights, bytes(n), n);
  }
  kernels.detail.LumaBytes(bytes(3 * n), bytes(n), n, true);
  kernels.detail.RingMask(Rows<uint8_t>(at, 7, n + 6).data(), bytes(n), n);
  kernels.unsharp.PushBytes(bytes(n), bytes(n), bytes(n), n, 128, 3);
  kernels.unsharp.PushWords(words(n), words(n), words(n), n, 128, 3);
  for (size_t step : {3, 4}) {
    kernels.weight.WeighPixels(bytes(step * n), bytes(n), n, step, bytes(8 * 4096));
  }
  for (const bool blueFirst : {false, true}) {
    kernels.lattice.MapNodes(bytes(3 * n), bytes(3 * n), n, bytes(3 * 4096), blueFirst);
    kernels.lattice.MapCells(bytes(3 * n), bytes(3 * n), n, bytes(16 * kLatticeCells), blueFirst);
    kernels.hue.WeighHuesOfBytes(bytes(3 * n), bytes(n), n, bytes(kHuePlaces), blueFirst);
    kernels.hue.WeighHuesOfWords(words(3 * n), bytes(n), n, bytes(kHuePlaces), blueFirst);
  }
  kernels.lattice.DivideBy257(words(n), bytes(n), n);
  kernels.lattice.MultiplyBy257(bytes(n), words(n), n);
  kernels.hue.SaturationsOfBytes(bytes(3 * n), bytes(n), n);
}

template <class T, class Sum, class SumAlong>
void Blur(const Sum& sum, const SumAlong& sumAlong, Edges& at, size_t n) {
  for (const double sigma : {0.5, 3.0, 1e6}) {
    BlurWeights weights;
    ASSERT_TRUE(MakeBlurWeights(sigma, &weights));
    const size_t taps = 2 * static_cast<size_t>(weights.reach) + 1;
    at.Reset();
    sum(Rows<T>(at, taps + 1, n + 3).data(), 3, weights, at.Get<T>(n), at.Get<T>(n), n);
    for (const size_t step : {1, 3}) sumAlong(at.Get<T>(n + (taps - 1) * step), step, weights, at.Get<T>(n), n);
  }
}

void Wavelets(const WaveletKernels& kernels, Edges& at, size_t n) {
  const auto doubles = [&at](size_t count) { return at.Get<double>(count); };
  for (size_t step : {1, 2, 3, 4}) {
    const size_t bytes = n > 0 ? (2 * n - 1) * step + 1 : 0;
    kernels.SplitBytes(at.Get<uint8_t>(bytes), step, doubles(n), doubles(n), n);
    kernels.JoinBytes(doubles(n), doubles(n), at.Get<uint8_t>(bytes), step, n);
  }
  kernels.SplitDoubles(doubles(2 * n), doubles(n), doubles(n), n);
  kernels.JoinDoubles(doubles(n), doubles(n), doubles(2 * n), n);
  kernels.ScaleDoubles(doubles(n), 1.5, doubles(n), n);
  kernels.LiftOnce(doubles(n), doubles(n), doubles(n), 1.5, n);
  kernels.LiftRows(doubles(n), doubles(n), doubles(n), doubles(n), doubles(n), doubles(n), kForwardSteps, n);
  // Two more pairs behind the last.
  kernels.LiftThenScale(doubles(n + 2), doubles(n + 2), kForwardSteps, kForwardScales, doubles(n), doubles(n), n);
  kernels.ScaleThenLift(doubles(n + 2), doubles(n + 2), kInverseSteps, kInverseScales, doubles(n + 2), doubles(n + 2),
                        n);
  kernels.RoundDetails(doubles(n), 0.5, at.Get<int16_t>(n), n);
  kernels.ExpandDetails(at.Get<int16_t>(n), at.Get<uint8_t>(256), 0.5, doubles(n), n);
}

TEST(Kernels, TouchNothingBehindTheirArrays) {
  Edges at;
  for (const Kernels* const* level = BuiltKernelLevels(); *level != nullptr; ++level) {
    SCOPED_TRACE((*level)->level);
    for (size_t n = 0; n <= kMostCount; ++n) {
      at.Reset();
      Samples(**level, at, n);
      at.Reset();
      Wavelets((*level)->wavelet, at, n);
      const BlurKernels& blur = (*level)->blur;
      Blur<uint8_t>(blur.SumBytes, blur.SumBytesAlong, at, n);
      Blur<uint16_t>(blur.SumWords, blur.SumWordsAlong, at, n);
    }
  }
}

}  // namespace
}  // namespace zel::test
