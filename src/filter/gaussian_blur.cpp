#include "filter/gaussian_blur.h"

#include <algorithm>
#include <cmath>

#include "core/cache.h"
#include "filter/blurred_rows.h"
#include "simd/prepare.h"

namespace zel {

namespace {

// From here on the kernel is flat to the last digit, and its square is still far from overflow.
constexpr double kMostSigma = 1e6;

int32_t Rounded(double value) {
  return static_cast<int32_t>(value + 0.5);
}

}  // namespace

int32_t MakeGaussianKernel(int32_t* weights, double sigma) {
  weights[0] = 1;
  if (!(sigma >= 0.1)) return 1;
  sigma = std::min(sigma, kMostSigma);

  double g[kMaxBlurReach + 1];
  double total = 0.0;
  for (int32_t d = 0; d <= kMaxBlurReach; ++d) {
    const double e = d * d / (2.0 * sigma * sigma);
    g[d] = e < 230.0 ? (0.39894228 / sigma) / std::exp(e) : 0.0;
    if (d > 0) total += g[d];
  }
  total = g[0] + 2.0 * total;
  const auto weight = [&](int32_t d) { return Rounded(g[d] * 1024.0 / total); };

  // The first tap that no longer matters still belongs to the kernel.
  int32_t reach = 0;
  for (double tail = total + g[0]; reach < kMaxBlurReach; ++reach) {
    tail -= 2.0 * g[reach];
    if (tail / total < 0.005 || weight(reach) < 4) break;
  }
  for (int32_t i = 0; i <= 2 * reach; ++i) weights[i] = weight(std::abs(i - reach));
  return 2 * reach + 1;
}

int32_t GaussianKernelLength(double sigma) {
  int32_t weights[kMaxKernelLength];
  return MakeGaussianKernel(weights, sigma);
}

bool MakeBlurWeights(double sigma, BlurWeights* weights) {
  int32_t kernel[kMaxKernelLength];
  const int32_t length = MakeGaussianKernel(kernel, sigma);
  if (length <= 1) return false;
  int32_t sum = 0;
  for (int32_t i = 0; i < length; ++i) sum += kernel[i];
  weights->shift = 0;
  while (1 << weights->shift < sum) ++weights->shift;
  const double power = 1 << weights->shift;
  weights->reach = length / 2;
  for (int32_t k = 0; k <= weights->reach; ++k) weights->taps[k] = Rounded(kernel[k] * power / sum);
  SplitBlurWeights(weights);
  return true;
}

bool GaussianBlur(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, double sigma) {
  return WithViews(source, destination, [&](const auto& in, const auto& out) {
    return GaussianBlurRaw(in, out, ClampedRegion(rect, in.Whole()), sigma);
  });
}

template <class T>
bool GaussianBlurRaw(const Source<T>& source, const View<T>& destination, const Region& region, double sigma) {
  if (source.channels != 1 && source.channels != 3) return false;
  BlurWeights weights;
  if (!MakeBlurWeights(sigma, &weights)) {
    CopySamples(source, destination);
    return true;
  }
  if (region.IsEmpty()) return true;
  BlurredRows<T> rows;
  if (!rows.Start(source, region, weights)) return false;
  while (const int32_t ready = rows.NextBlock()) {
    for (size_t first = 0; first < rows.RowSamples(); first += kBlurTile) {
      const size_t count = std::min(kBlurTile, rows.RowSamples() - first);
      const auto out = [&](int32_t i) { return i < ready ? destination.data + rows.Offset(i) + first : nullptr; };
      for (int32_t i = 0; i < ready; i += 2) {
        for (int32_t ahead = i + 2; ahead < std::min(i + 4, ready); ++ahead) AskFor(out(ahead), count);
        rows.Sum(i, first, count, out(i), out(i + 1));
      }
    }
  }
  return true;
}

template bool GaussianBlurRaw(const Source<uint8_t>&, const View<uint8_t>&, const Region&, double);
template bool GaussianBlurRaw(const Source<uint16_t>&, const View<uint16_t>&, const Region&, double);

}  // namespace zel
