#include "retouch/wavelet.h"

namespace zel {

namespace {

constexpr double kAlpha = 1.586134342, kBeta = 0.05298011854, kGamma = 0.8829110762, kDelta = 0.4435068522;

// The low-pass value right of detail i and the detail left of low-pass value i, mirrored at the ends.
size_t After(size_t i, size_t half) {
  return i + 1 < half ? i + 1 : i;
}
size_t Before(size_t i) {
  return i > 0 ? i - 1 : 0;
}

}  // namespace

void LiftForward97(const double* in, double* out, size_t count) {
  const size_t half = count / 2;
  double* const s = out;
  double* const d = out + half;
  for (size_t i = 0; i < half; ++i) {
    s[i] = in[2 * i];
    d[i] = in[2 * i + 1];
  }
  for (size_t i = 0; i < half; ++i) d[i] = d[i] - kAlpha * (s[i] + s[After(i, half)]);
  for (size_t i = 0; i < half; ++i) s[i] = s[i] - kBeta * (d[Before(i)] + d[i]);
  for (size_t i = 0; i < half; ++i) d[i] = d[i] + kGamma * (s[i] + s[After(i, half)]);
  for (size_t i = 0; i < half; ++i) s[i] = s[i] + kDelta * (d[Before(i)] + d[i]);
  for (size_t i = 0; i < half; ++i) {
    s[i] = s[i] * 1.149604398;
    d[i] = d[i] * 0.869864452;
  }
}

void LiftInverse97(const double* in, double* out, size_t count) {
  const size_t half = count / 2;
  for (size_t i = 0; i < half; ++i) {
    out[2 * i] = in[i] * 0.869864452275695;
    out[2 * i + 1] = in[half + i] * 1.1496043983643558;
  }
  const auto s = [&](size_t i) -> double& { return out[2 * i]; };
  const auto d = [&](size_t i) -> double& { return out[2 * i + 1]; };
  for (size_t i = 0; i < half; ++i) s(i) = s(i) - kDelta * (d(Before(i)) + d(i));
  for (size_t i = 0; i < half; ++i) d(i) = d(i) - kGamma * (s(i) + s(After(i, half)));
  for (size_t i = 0; i < half; ++i) s(i) = s(i) + kBeta * (d(Before(i)) + d(i));
  for (size_t i = 0; i < half; ++i) d(i) = d(i) + kAlpha * (s(i) + s(After(i, half)));
}

}  // namespace zel
