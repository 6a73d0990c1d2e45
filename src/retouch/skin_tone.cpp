#include "retouch/skin_tone.h"

#include <algorithm>

#include "core/channel_lut.h"
#include "core/rounding.h"
#include "selective/mask.h"

namespace zel {

namespace {

// The distance from white in single precision, as the sliders compare it; 0 for a saturated divisor.
double ComplementRatio(int32_t green, int32_t other) {
  return other == 255 ? 0.0 : ToSingle(static_cast<double>(255 - green) / (255 - other));
}

int32_t Complement(int32_t white, double ratio) {
  if (ratio == 0.0) return 0;
  return static_cast<int32_t>(std::min(std::max(white / ratio + 0.5, 0.0), 255.0));
}

template <class T>
Rgb ToScale(const Rgb& colour, int32_t maximum) {
  const auto scaled = [=](int32_t v) -> int32_t {
    if (sizeof(T) == 1) return maximum == 255 ? v : v / 257;
    return maximum == 65535 ? v : static_cast<uint16_t>(static_cast<uint32_t>(v) * 257u);
  };
  return {scaled(colour.red), scaled(colour.green), scaled(colour.blue)};
}

template <class T>
void FillGains(Curves<T> curves, const Rgb& skin, const Rgb& target, int32_t strength) {
  BuildSkinGainLut(curves.Table(0), skin.red, target.red, strength);
  BuildSkinGainLut(curves.Table(1), skin.green, target.green, strength);
  BuildSkinGainLut(curves.Table(2), skin.blue, target.blue, strength);
}

bool MixGains(const View<const uint8_t>& source, const View<uint8_t>& destination, const Region& region,
              const ZelPoint* point, const Rgb& skin, const Rgb& target) {
  Mask mask;
  if (!mask.BuildSkin(source, region, point, 192, 3.0)) return false;
  uint8_t block[3 * kLutEntries8];
  Curves<uint8_t> gains{block, 3};
  FillGains(gains, skin, target, 100);
  const uint8_t* const bySample[3] = {gains.Table(source.PlaceOf(0)), gains.Table(1), gains.Table(source.PlaceOf(2))};
  const LutKernels& kernels = ActiveKernels().lut;
  const RowBlend mix(kMix, 3);
  constexpr int32_t kTile = RowBlend::kTile;
  for (int32_t y = region.top; y < region.bottom; ++y) {
    for (int32_t x = region.left; x < region.right; x += kTile) {
      const size_t pixels = std::min(kTile, region.right - x);
      const uint8_t* const in = source.At(x, y);
      mix.Tile(in, mask.At(x, y), destination.At(x, y), pixels,
               [&](uint8_t* effect) { kernels.MapBytes3(in, effect, pixels, bySample); });
    }
  }
  return true;
}

}  // namespace

SkinPercentages PercentagesOf(const Rgb& skin) {
  const int32_t red = skin.red & 255, green = skin.green & 255, blue = skin.blue & 255;
  const double ratio1 = std::min(std::max(ComplementRatio(green, blue), 0.3), 3.0);
  const double ratio2 = std::min(std::max(ComplementRatio(green, red), 0.5), 50.0);
  SkinPercentages result;
  result.lightness = green * 100 / 255;
  result.blueBalance = 100 - static_cast<int32_t>((ratio1 - 0.3) * 37.03703703703704 + 0.5);
  result.redBalance = ratio2 > 10.0 ? 90 + static_cast<int32_t>((ratio2 - 10.0) * 0.25 + 0.5)
                                    : static_cast<int32_t>((ratio2 - 0.5) * 9.473684210526315 + 0.5);
  return result;
}

Rgb ComplementTarget(const SkinPercentages& percentages) {
  const int32_t green = static_cast<uint8_t>((100 - static_cast<int64_t>(percentages.lightness)) * 255 / 100);
  const double blueBalance = percentages.blueBalance, redBalance = percentages.redBalance;
  const double ratio1 = ToSingle((100.0 - blueBalance) * 0.027000000000000003 + 0.3);
  const double ratio2 =
      ToSingle(redBalance > 90.0 ? (redBalance - 90.0) * 4.0 + 10.0 : redBalance * 0.10555555555555556 + 0.5);
  return {255 - Complement(green, ratio2), 255 - green, 255 - Complement(green, ratio1)};
}

bool SamplePixel(const ImageDesc* image, int32_t x, int32_t y, Rgb* colour) {
  return colour != nullptr && WithView(image, [&](const auto& view) {
           if (!IsInside({x, y}, view) || (view.channels != 1 && view.channels != 3)) return false;
           *colour = ColourAt(view, x, y);
           return true;
         });
}

bool InitialPercentages(const ImageDesc* image, const ZelPoint* point, SkinPercentages* percentages) {
  Rgb skin = kTypicalSkin;
  if (point != nullptr && !SamplePixel(image, point->x, point->y, &skin)) return false;
  *percentages = PercentagesOf(skin);
  return true;
}

bool SkinTone(const ImageDesc* source, const ImageDesc* destination, const ZelPoint* point,
              const SkinPercentages& percentages, const ZelRect* rect) {
  Rgb skin = kTypicalSkin;
  if (point != nullptr && !SamplePixel(source, point->x, point->y, &skin)) return false;
  SkinToneCorrect(source, destination, rect, point, skin, ComplementTarget(percentages));
  return true;
}

bool SkinToneCorrect(const ImageDesc* source, const ImageDesc* destination, const ZelRect* rect, const ZelPoint* point,
                     const Rgb& skin, const Rgb& target) {
  return WithViews(source, destination, [&](const auto& in, const auto& out) {
    if constexpr (sizeof(*in.data) == 1) {
      return MixGains(in, out, GivenRegion(rect, in.Whole()), point, skin, target);
    } else {
      // The blend stops at 8 bits, after a separate destination has got the corrected samples.
      if (in.data != out.data) SkinToneShift(in, out, ClampedRegion(rect, in.Whole()), skin, target, 255, 100);
      return false;
    }
  });
}

template <class T>
bool SkinToneShift(const Source<T>& source, const View<T>& output, const Region& region, const Rgb& skin,
                   const Rgb& target, int32_t maximum, int32_t strength) {
  if (source.channels != 3) return false;
  const Scratch<T> block(3 * Curves<T>::kEntries);
  if (!block) return false;
  const Curves<T> curves{block.data(), 3};
  FillGains(curves, ToScale<T>(skin, maximum), ToScale<T>(target, maximum), strength);
  return ApplyChannelLutRaw(source, output, region, curves);
}

template <class T>
void BuildSkinGainLut(T* table, int32_t skin, int32_t target, int32_t strength) {
  const double gain = skin == 0 ? 0.0 : static_cast<double>(target) / skin;
  for (int32_t i = 0; i <= kLast<T>; ++i) {
    int64_t entry = skin == 0 ? target : static_cast<int64_t>(std::min(i * gain + 0.5, static_cast<double>(kLast<T>)));
    if (strength != 100 && (sizeof(T) == 2 || i != kLast<T>)) {
      entry = std::min<int64_t>(std::max<int64_t>(((entry + i) * strength + 50) / 100, 0), kLast<T>);
    }
    table[i] = static_cast<T>(entry);
  }
}

template bool SkinToneShift(const Source<uint8_t>&, const View<uint8_t>&, const Region&, const Rgb&, const Rgb&,
                            int32_t, int32_t);
template bool SkinToneShift(const Source<uint16_t>&, const View<uint16_t>&, const Region&, const Rgb&, const Rgb&,
                            int32_t, int32_t);
template void BuildSkinGainLut(uint8_t*, int32_t, int32_t, int32_t);
template void BuildSkinGainLut(uint16_t*, int32_t, int32_t, int32_t);

}  // namespace zel
