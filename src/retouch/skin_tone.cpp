#include "retouch/skin_tone.h"

#include <algorithm>

#include "core/channel_lut.h"
#include "core/rounding.h"
#include "retouch/skin_mask.h"
#include "selective/mix_tile.h"

namespace zel {

namespace {

template <class T>
void FillGains(T* table, int32_t last, int32_t skin, int32_t target, int32_t strength) {
  const double gain = skin == 0 ? 0.0 : static_cast<double>(target) / skin;
  for (int32_t i = 0; i <= last; ++i) {
    int64_t entry = skin == 0 ? target : static_cast<int64_t>(std::min(i * gain + 0.5, static_cast<double>(last)));
    if (strength != 100 && (last != 255 || i != last)) {
      entry = std::min<int64_t>(std::max<int64_t>(((entry + i) * strength + 50) / 100, 0), last);
    }
    table[i] = static_cast<T>(entry);
  }
}

// The distance from white in single precision, as the sliders compare it; 0 for a saturated divisor.
double ComplementRatio(int32_t green, int32_t other) {
  return other == 255 ? 0.0 : ToSingle(static_cast<double>(255 - green) / (255 - other));
}

int32_t Complement(int32_t white, double ratio) {
  if (ratio == 0.0) return 0;
  return static_cast<int32_t>(std::min(std::max(white / ratio + 0.5, 0.0), 255.0));
}

Rgb ToScale(const Rgb& colour, int32_t bits, int32_t maximum) {
  const auto scaled = [=](int32_t v) -> int32_t {
    if (bits == 8) return maximum == 255 ? v : v / 257;
    return maximum == 65535 ? v : static_cast<uint16_t>(static_cast<uint32_t>(v) * 257u);
  };
  return {scaled(colour.red), scaled(colour.green), scaled(colour.blue)};
}

struct GainBytes {
  GainBytes(const Rgb& skin, const Rgb& target) {
    BuildSkinGainLut(red, 8, skin.red, target.red, 100);
    BuildSkinGainLut(green, 8, skin.green, target.green, 100);
    BuildSkinGainLut(blue, 8, skin.blue, target.blue, 100);
  }
  uint8_t red[kLutEntries8], green[kLutEntries8], blue[kLutEntries8];
};

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
  if (!IsUsable(image) || colour == nullptr) return false;
  const Geometry geometry = GeometryOf(*image);
  if (!IsInside({x, y}, geometry) || (geometry.channels != 1 && geometry.channels != 3)) return false;
  *colour = ColourAt(image->data, geometry, x, y);
  return true;
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
  if (!SameImageLayout(source, destination)) return false;
  const Geometry geometry = GeometryOf(*source);
  if (geometry.bits != 8) {
    // The blend stops at 8 bits, after a separate destination has got the corrected samples.
    if (source->data != destination->data) {
      SkinToneShift(source->data, destination->data, geometry, rect, skin, target, 255, 100);
    }
    return false;
  }
  SkinMask mask;
  if (!mask.Build(source->data, geometry, rect, point, 192, 3.0)) return false;

  const GainBytes gains(skin, target);
  const uint8_t* const bySample[3] = {geometry.blueFirst ? gains.blue : gains.red, gains.green,
                                      geometry.blueFirst ? gains.red : gains.blue};
  const LutKernels& kernels = ActiveKernels().lut;
  const Region region = GivenRegion(rect, geometry.width, geometry.height);
  constexpr int32_t kTile = kBlurTile / 3;
  for (int32_t y = region.top; y < region.bottom; ++y) {
    for (int32_t x = region.left; x < region.right; x += kTile) {
      const size_t pixels = std::min(kTile, region.right - x);
      const size_t offset = geometry.RowOffset(y) + static_cast<size_t>(x) * 3;
      MixTile(source->data + offset, destination->data + offset, mask.Row(x, y), pixels,
              [&](uint8_t* effect) { kernels.MapBytes3(source->data + offset, effect, pixels, bySample); });
    }
  }
  return true;
}

bool SkinToneShift(const void* source, void* output, const Geometry& geometry, const ZelRect* rect, const Rgb& skin,
                   const Rgb& target, int32_t maximum, int32_t strength) {
  if (source == nullptr || output == nullptr || geometry.channels != 3 || !geometry.DescribesMemory()) return false;
  const Rgb from = ToScale(skin, geometry.bits, maximum), to = ToScale(target, geometry.bits, maximum);
  const size_t tableBytes = geometry.bits == 8 ? kLutEntries8 : 2 * kLutEntries16;
  Scratch<uint8_t> block(3 * tableBytes);
  if (!block) return false;
  BuildSkinGainLut(block.data(), geometry.bits, from.red, to.red, strength);
  BuildSkinGainLut(block.data() + tableBytes, geometry.bits, from.green, to.green, strength);
  BuildSkinGainLut(block.data() + 2 * tableBytes, geometry.bits, from.blue, to.blue, strength);
  return ApplyChannelLutRaw(source, output, geometry, rect, block.data(), 3, geometry.bits);
}

void BuildSkinGainLut(void* table, int32_t bits, int32_t skin, int32_t target, int32_t strength) {
  if (bits == 8) {
    FillGains(static_cast<uint8_t*>(table), 255, skin, target, strength);
  } else {
    FillGains(static_cast<uint16_t*>(table), 65535, skin, target, strength);
  }
}

}  // namespace zel
