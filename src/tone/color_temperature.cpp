#include "tone/color_temperature.h"

#include <algorithm>

#include "core/channel_lut.h"
#include "core/rounding.h"

namespace zel {

namespace {

constexpr int32_t kReferenceKelvin = 6000;

struct White {
  int32_t kelvin;
  double x, y;
};

// The y of 1000 K and of 9500 K break the smooth trend on purpose.
constexpr White kWhites[] = {
    {1000, 0.6526, 0.4346},  {2000, 0.5266, 0.4133},  {2500, 0.4769, 0.4137},  {3000, 0.4368, 0.4041},
    {4000, 0.3823, 0.3838},  {4100, 0.3779, 0.3812},  {4200, 0.3737, 0.3786},  {4300, 0.3697, 0.376},
    {4400, 0.3658, 0.3734},  {4500, 0.3621, 0.3709},  {4600, 0.3585, 0.3684},  {4700, 0.3551, 0.3659},
    {4800, 0.3519, 0.3634},  {4900, 0.3487, 0.361},   {5000, 0.3457, 0.3587},  {5100, 0.3429, 0.3564},
    {5200, 0.3401, 0.3541},  {5300, 0.3375, 0.3519},  {5400, 0.3349, 0.3497},  {5500, 0.3325, 0.3476},
    {5600, 0.3302, 0.3455},  {5700, 0.3279, 0.3435},  {5800, 0.3258, 0.3416},  {5900, 0.3237, 0.3397},
    {6000, 0.3217, 0.3378},  {6100, 0.3198, 0.336},   {6200, 0.3179, 0.3342},  {6300, 0.3161, 0.3325},
    {6400, 0.3144, 0.3308},  {6500, 0.3128, 0.3292},  {6600, 0.3112, 0.3276},  {6700, 0.3097, 0.326},
    {6800, 0.3082, 0.3245},  {6900, 0.3067, 0.3231},  {7000, 0.3054, 0.3216},  {7100, 0.304, 0.3202},
    {7200, 0.3027, 0.3189},  {7300, 0.3015, 0.3176},  {7400, 0.3003, 0.3163},  {7500, 0.2991, 0.315},
    {7600, 0.298, 0.3138},   {7700, 0.2969, 0.3126},  {7800, 0.2958, 0.3115},  {7900, 0.2948, 0.3103},
    {8000, 0.2938, 0.3092},  {8100, 0.2928, 0.3081},  {8200, 0.2919, 0.3071},  {8300, 0.291, 0.3061},
    {8400, 0.2901, 0.3051},  {8500, 0.2892, 0.3041},  {9000, 0.2853, 0.2996},  {9500, 0.2818, 0.2656},
    {10000, 0.2788, 0.292},  {10500, 0.2761, 0.2887}, {11000, 0.2737, 0.2858}, {12000, 0.2697, 0.2808},
    {13000, 0.2664, 0.2767}, {14000, 0.2637, 0.2732}, {15000, 0.2614, 0.2702}, {17000, 0.2578, 0.2655},
    {20000, 0.2539, 0.2603}, {25000, 0.2499, 0.2548}};
constexpr size_t kWhiteCount = sizeof kWhites / sizeof kWhites[0];

double Chromaticity(int32_t kelvin, double White::*coordinate) {
  if (kelvin <= kWhites[0].kelvin) return kWhites[0].*coordinate;
  if (kelvin >= kWhites[kWhiteCount - 1].kelvin) return kWhites[kWhiteCount - 1].*coordinate;
  size_t row = 1;
  while (kWhites[row].kelvin < kelvin) ++row;
  const White &before = kWhites[row - 1], &after = kWhites[row];
  if (after.kelvin == kelvin) return after.*coordinate;
  return before.*coordinate +
         (after.*coordinate - before.*coordinate) * (kelvin - before.kelvin) / (after.kelvin - before.kelvin);
}

uint8_t GainEntry(int32_t i, double gain) {
  if (i * gain < 0.0) return 0;
  const double v = ToSingle(i * gain);
  return v <= 254.5 ? static_cast<uint8_t>(v + 0.5) : 255;
}

}  // namespace

double ChromaticityX(int32_t kelvin) {
  return Chromaticity(kelvin, &White::x);
}
double ChromaticityY(int32_t kelvin) {
  return Chromaticity(kelvin, &White::y);
}

int32_t TemperatureOfLevel(int32_t level) {
  return Saturated(2 * static_cast<int64_t>(level) - 100);
}

bool ColorTemperature(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, int32_t temperature) {
  return WithViews(source, destination, [&](const auto& in, const auto& out) {
    return ColorTemperatureRaw(in, out, ClampedRegion(rect, in.Whole()), temperature);
  });
}

template <class T>
bool ColorTemperatureRaw(const Source<T>& source, const View<T>& destination, const Region& region,
                         int32_t temperature) {
  if (source.channels != 3) return false;
  if (temperature == 0) {
    CopySamples(source, destination);
    return true;
  }
  const int64_t target = kReferenceKelvin + static_cast<int64_t>(temperature) * (temperature < 0 ? 15 : 30);
  return WhiteBalanceShift(source, destination, region, kReferenceKelvin,
                           static_cast<int32_t>(std::min<int64_t>(std::max<int64_t>(target, 0), 25000)));
}

template <class T>
bool WhiteBalanceShift(const Source<T>& source, const View<T>& destination, const Region& region,
                       int32_t referenceKelvin, int32_t targetKelvin) {
  // All coordinates are single precision except the target's y.
  const double xr = ToSingle(ChromaticityX(referenceKelvin)), yr = ToSingle(ChromaticityY(referenceKelvin));
  const double xt = ToSingle(ChromaticityX(targetKelvin)), yt = ChromaticityY(targetKelvin);
  // How the white's X and Z at Y = 1 move, and what that is in linear sRGB.
  const double dX = ToSingle(xt / yt - xr / yr);
  const double dZ = (1.0 - xt - yt) / yt - (1.0 - xr - yr) / yr;
  const double gains[3] = {ToSingle(1.0 + 3.240479 * dX - 0.498535 * dZ), ToSingle(1.0 - 0.969256 * dX + 0.041556 * dZ),
                           ToSingle(1.0 + 0.055648 * dX + 1.057311 * dZ)};
  uint8_t block[3 * kLutEntries8];
  Curves<uint8_t> curves{block, 3};
  for (int32_t k = 0; k < 3; ++k) {
    for (int32_t i = 0; i < 256; ++i) curves.Table(k)[i] = GainEntry(i, gains[k]);
  }
  return ApplyChannelLutRaw(source, destination, region, curves);
}

template bool ColorTemperatureRaw(const Source<uint8_t>&, const View<uint8_t>&, const Region&, int32_t);
template bool ColorTemperatureRaw(const Source<uint16_t>&, const View<uint16_t>&, const Region&, int32_t);
template bool WhiteBalanceShift(const Source<uint8_t>&, const View<uint8_t>&, const Region&, int32_t, int32_t);
template bool WhiteBalanceShift(const Source<uint16_t>&, const View<uint16_t>&, const Region&, int32_t, int32_t);

}  // namespace zel
