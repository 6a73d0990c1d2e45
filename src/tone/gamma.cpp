#include "tone/gamma.h"

#include <cmath>
#include <cstring>

#include "core/channel_lut.h"
#include "core/formula_map.h"

namespace zel {

namespace {

// The reciprocal is a printed constant rather than a quotient: the curves are defined with it.
double Power(int32_t i, double gamma, double reciprocal, int32_t last) {
  return std::exp(std::log(i * reciprocal) / gamma) * last + 0.5;
}

// Entry i of the curve. Inside the range the power lies between 0 and 1 whatever the gamma, 0 included.
template <class T>
T Entry(int32_t i, double gamma) {
  constexpr double kReciprocal = sizeof(T) == 1 ? 0.00392156862745098 : 1.5259021896696422e-5;
  return i == 0 || i == kLast<T> ? static_cast<T>(i) : static_cast<T>(Power(i, gamma, kReciprocal, kLast<T>));
}

float Sanitised(float gamma) {
  return gamma > 10.0f ? 10.0f : gamma > 0.0f ? gamma : 1.0f;
}

}  // namespace

template <class T>
bool MakeGammaLut(Curves<T> curves, const float* gamma) {
  if (curves.block == nullptr || gamma == nullptr || (curves.tables != 1 && curves.tables != 3)) return false;
  for (int32_t k = 0; k < curves.tables; ++k) {
    const double g = gamma[k] >= 0.0f ? gamma[k] : 1.0;
    for (int32_t i = 0; i <= kLast<T>; ++i) curves.Table(k)[i] = Entry<T>(i, g);
  }
  return true;
}

bool GammaCorrect(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, const float* gamma) {
  return WithViews(source, destination, [&](const auto& in, const auto& out) {
    return GammaCorrectRaw(in, out, ClampedRegion(rect, in.Whole()), gamma);
  });
}

template <class T>
bool GammaCorrectRaw(const Source<T>& source, const View<T>& destination, const Region& region, const float* gamma) {
  if (gamma == nullptr || (source.channels != 1 && source.channels != 3)) return false;
  const float g[3] = {Sanitised(gamma[0]), Sanitised(gamma[1]), Sanitised(gamma[2])};
  const int32_t count = source.channels == 1 || (g[0] == g[1] && g[0] == g[2]) ? 1 : 3;
  if constexpr (sizeof(T) == 1) {
    uint8_t block[3 * kLutEntries8];
    const Curves<uint8_t> curves{block, count};
    MakeGammaLut(curves, g);
    return ApplyChannelLutRaw(source, destination, region, curves);
  } else {
    const auto entry = [&g](int32_t k, int32_t i) { return Entry<T>(i, g[k]); };
    if (MapWordsByFormula(source, destination, region, count, entry)) return true;
    CopyBytes(source, destination, source.SampleCount());
    return false;
  }
}

template bool MakeGammaLut(Curves<uint8_t>, const float*);
template bool MakeGammaLut(Curves<uint16_t>, const float*);
template bool GammaCorrectRaw(const Source<uint8_t>&, const View<uint8_t>&, const Region&, const float*);
template bool GammaCorrectRaw(const Source<uint16_t>&, const View<uint16_t>&, const Region&, const float*);

}  // namespace zel
