#include "filter/sharpen.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace zel {

namespace {

constexpr int32_t kMaxFoldedDivisor = 256;
// Weights of this total keep sums of bytes inside 32 bits.
constexpr int64_t kMaxNarrowTotal = INT32_MAX / 255;

// The row kernel's formula for any weights and divisors.
void ConvolveWide(const uint8_t* const rows[3], size_t step, const int64_t weights[9], int32_t divisor, uint8_t* out,
                  size_t count) {
  for (size_t i = 0; i < count; ++i) {
    int64_t sum = 0;
    for (size_t k = 0; k < 9; ++k) sum += weights[k] * rows[k / 3][i + k % 3 * step];
    sum = divisor != 0 ? sum / divisor : sum >> 10;
    out[i] = static_cast<uint8_t>(std::min<int64_t>(std::max<int64_t>(sum, 0), 255));
  }
}

// The rectangle in any order, grown by one and cut to the image.
Region TouchedRegion(const ZelRect* rect, int32_t width, int32_t height) {
  if (rect == nullptr) return {0, 0, width, height};
  const auto from = [](int64_t a, int64_t b, int32_t size) {
    return static_cast<int32_t>(std::min<int64_t>(std::max<int64_t>(std::min(a, b) - 1, 0), size));
  };
  const auto to = [](int64_t a, int64_t b, int32_t size) {
    return static_cast<int32_t>(std::max<int64_t>(std::min<int64_t>(std::max(a, b) + 1, size), 0));
  };
  return {from(rect->left, rect->right, width), from(rect->top, rect->bottom, height),
          to(rect->left, rect->right, width), to(rect->top, rect->bottom, height)};
}

}  // namespace

bool ConvolvedRows::Start(const View<const uint8_t>& source, const Region& region, const int32_t kernel[9],
                          int32_t divisor) {
  source_ = source;
  convolve_ = ActiveKernels().convolve.Convolve3x3;
  region_ = region;
  y_ = region_.top;
  divisor_ = divisor > kMaxFoldedDivisor ? divisor : 0;
  int64_t total = 0;
  for (int32_t k = 0; k < 9; ++k) {
    weights_[k] = divisor_ != 0 ? int64_t{kernel[k]} : int64_t{kernel[k]} * 1024 / divisor;
    total += std::abs(weights_[k]);
    narrowWeights_[k] = static_cast<int32_t>(weights_[k]);
  }
  narrow_ = divisor_ == 0 && total <= kMaxNarrowTotal;

  lineBytes_ = static_cast<size_t>(region_.Width() + 2) * source.channels;
  if (!lines_.Allocate(3 * lineBytes_)) return false;
  for (int32_t y = std::max(y_ - 1, 0); y <= y_; ++y) Load(y);
  return true;
}

void ConvolvedRows::Load(int32_t y) {
  const size_t channels = source_.channels, inner = region_.Width() * channels;
  uint8_t* const line = Line(y);
  const uint8_t* const first = source_.At(region_.left, y);
  const uint8_t* const last = first + inner - channels;
  std::memcpy(line + channels, first, inner);
  std::memcpy(line, region_.left > 0 ? first - channels : first, channels);
  std::memcpy(line + channels + inner, region_.right < source_.width ? last + channels : last, channels);
}

void ConvolvedRows::Next(uint8_t* out) {
  const bool isLast = y_ == source_.height - 1;
  if (!isLast) Load(y_ + 1);
  const uint8_t* const rows[3] = {Line(std::max(y_ - 1, 0)), Line(y_), Line(isLast ? y_ : y_ + 1)};
  const size_t channels = source_.channels, count = region_.Width() * channels;
  if (narrow_) {
    convolve_(rows, channels, narrowWeights_, out, count);
  } else {
    ConvolveWide(rows, channels, weights_, divisor_, out, count);
  }
  ++y_;
}

bool Convolve3x3(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, const int32_t kernel[9],
                 int32_t divisor) {
  if (!IsUsable(source) || !IsUsable(destination) || !SameImageGeometry(*source, *destination)) return false;
  if (BitsOf(source->format) != 8 || divisor < 1) return false;
  const View<const uint8_t> in = ViewOf<const uint8_t>(*source);
  const View<uint8_t> out = ViewOf<uint8_t>(*destination);
  if (in.channels != 1 && in.channels != 3) return false;
  const Region region = TouchedRegion(rect, in.width, in.height);
  if (region.IsEmpty()) return true;
  ConvolvedRows rows;
  if (!rows.Start(in, region, kernel, divisor)) return false;
  for (int32_t y = region.top; y < region.bottom; ++y) rows.Next(out.At(region.left, y));
  return true;
}

void MakeSharpenKernel(int32_t amount, int32_t kernel[9]) {
  const int32_t a = std::min(std::max(amount, -1000000000), 1000000000);
  const int32_t side = -(a / 2);
  const int32_t weights[9] = {0, side, 0, side, 100 + 2 * a, side, 0, side, 0};
  std::copy(weights, weights + 9, kernel);
}

bool Sharpen(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, int32_t amount) {
  int32_t kernel[9];
  MakeSharpenKernel(amount, kernel);
  return Convolve3x3(source, destination, rect, kernel, kSharpenDivisor);
}

}  // namespace zel
