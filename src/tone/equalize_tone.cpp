#include "tone/equalize_tone.h"

#include <algorithm>
#include <cmath>

#include "core/channel_lut.h"
#include "core/reduce.h"
#include "tone/gamma.h"
#include "tone/histogram.h"
#include "tone/levels.h"

namespace zel {

namespace {

constexpr int32_t kLimit = 500;  // columns and rows that are looked at
constexpr int32_t kGroups = 64;  // of four neighbouring luminances

// c[0] to c[64]: where each group begins in the equalised range.
struct ControlPoints {
  int32_t c[kGroups + 1];
};

struct Range {
  int32_t white, black;
  bool narrow;  // too few tones to equalise
};

// The measured points, moved out the more the closer they lie together.
Range LevelsRange(int32_t white, int32_t black) {
  const int32_t extent = white - black;
  if (extent > 200) return {white, black, false};
  if (extent > 150) return {white / 4 + 192, 3 * black / 4, false};
  if (extent > 100) return {white / 3 + 170, 2 * black / 3, false};
  return {white / 2 + 128, black / 2, true};
}

template <class T>
bool Measure(const View<const T>& image, const Region& region, float histogram[3 * kBins]) {
  return ComputeHistogram(image, region, histogram, true, {false, kLimit, kLimit}) != 0;
}

// Counts luminances as seen through the 8-bit tables; returns the number of pixels.
int32_t LuminanceHistogram(const View<const uint8_t>& image, const Region& region, const Curves<uint8_t>& curves,
                           int32_t bins[kBins]) {
  const uint8_t *const red = curves.Of(0), *const green = curves.Of(1), *const blue = curves.Of(2);
  const int32_t redAt = image.PlaceOf(0);
  const int32_t columnStep = std::max(1, region.Width() / kLimit);
  const int32_t rowStep = std::max(1, region.Height() / kLimit);
  int32_t count = 0;
  // Neighbours often have the same luminance. Counted apart, one need not wait for the other.
  int32_t apart[2][kBins] = {};
  for (int64_t y = region.top; y < region.bottom; y += rowStep) {
    const uint8_t* const row = image.data + image.RowOffset(static_cast<int32_t>(y));
    for (int64_t x = region.left; x < region.right; x += columnStep, ++count) {
      const uint8_t* const p = row + x * image.channels;
      ++apart[count % 2]
             [image.channels == 1 ? red[p[0]] : (38 * red[p[redAt]] + 75 * green[p[1]] + 15 * blue[p[2 - redAt]]) >> 7];
    }
  }
  for (int32_t i = 0; i < kBins; ++i) bins[i] = apart[0][i] + apart[1][i];
  return count;
}

// i ^ exponent on the scale 0 to 255.
int32_t Power(int32_t i, double exponent) {
  return i == 0 ? 0 : static_cast<int32_t>(255.0 * std::exp(std::log(i / 255.0) * exponent) + 0.5);
}

// Every group gets a part of the range by the root of its share of pixels, so that crowded tones are spread, but not by
// as much as they are crowded.
ControlPoints SpreadGroups(const int32_t bins[kBins], int32_t count, double exponent) {
  double weights[kGroups];
  double sum = 0.0;
  for (int32_t g = 0; g < kGroups; ++g) {
    const int32_t pixels = bins[4 * g] + bins[4 * g + 1] + bins[4 * g + 2] + bins[4 * g + 3];
    const float share = static_cast<float>(static_cast<double>(pixels) / count);
    // The root is exact on every system; other exponents are as good as the math library.
    weights[g] = exponent == 0.5 ? std::sqrt(static_cast<double>(share)) : std::pow(share, exponent);
    sum += weights[g];
  }
  ControlPoints points;
  int32_t running = 0;
  points.c[0] = 0;
  for (int32_t g = 0; g < kGroups; ++g) {
    running = std::min(running + static_cast<int32_t>(256.0 * weights[g] / sum), 256);
    points.c[g + 1] = running & 0xFF;  // a full range is stored as 0; that is part of the curve
  }
  // Truncation leaves the last point short of the range.
  const float scale = static_cast<float>(255.0 / running);
  for (int32_t g = 0; g < kGroups; ++g) {
    points.c[g] = Power(static_cast<int32_t>(points.c[g] * static_cast<double>(scale) + 0.5), 0.8333333333333334);
  }
  points.c[kGroups] = 256;
  return points;
}

// Straight lines between control points: one long segment, fine segments of four entries, one long segment.
void FillEqualizer(const ControlPoints& points, int32_t firstFine, int32_t lastFine, uint8_t map[256]) {
  const auto segment = [&points, map](int32_t from, int32_t to) {
    const int32_t length = 4 * (to - from);
    for (int32_t j = 0; j < length; ++j) {
      map[4 * from + j] = static_cast<uint8_t>(points.c[from] + j * (points.c[to] - points.c[from]) / length);
    }
  };
  if (firstFine > 0) segment(0, firstFine);
  for (int32_t g = firstFine; g < lastFine; ++g) segment(g, g + 1);
  segment(lastFine, kGroups);
}

void FillEqualizerOf(int32_t core, const ControlPoints& points, uint8_t map[256]) {
  if (core == kToneLight) {
    FillEqualizer(points, 32, 56, map);
  } else if (core == kToneMiddle) {
    FillEqualizer(points, 16, 48, map);
  } else {
    FillEqualizer(points, 0, 32, map);
  }
}

// EqualizeToneCurve with the histogram that Measure() finds.
template <class T>
bool EqualizeMeasured(const float histogram[3 * kBins], const View<const T>& image, const Region& region,
                      double exponent, int32_t strength, int32_t core, Curves<T> curves) {
  if (curves.block == nullptr || curves.tables != image.channels) return false;
  if (core < kToneLight || core > kToneDark || strength < 0 || strength > 100) return false;
  int32_t high[3], low[3];
  if (!HistogramPercentiles(histogram, true, 0, image.channels, high, low, 0.99, 0.01)) return false;
  const Range range =
      LevelsRange(*std::max_element(high, high + image.channels), *std::min_element(low, low + image.channels));
  const int32_t white = range.white * kLevelStep<T>, black = range.black * kLevelStep<T>;
  const int32_t whites[3] = {white, white, white}, blacks[3] = {black, black, black};
  if (!MakeLevelsLut(curves, whites, blacks)) return false;
  if constexpr (sizeof(T) == 1) {
    uint8_t map[kLutEntries8];
    const Curves<uint8_t> second{map, 1};
    if (!range.narrow) {
      int32_t bins[kBins];
      const int32_t count = LuminanceHistogram(image, region, curves, bins);
      if (count == 0) return false;
      FillEqualizerOf(core, SpreadGroups(bins, count, exponent), map);
      ComposeChannelLut(curves, second);
    }
    for (int32_t i = 0; i < 256; ++i) map[i] = static_cast<uint8_t>(Power(i, 0.8));
    ComposeChannelLut(curves, second);
    const int32_t w = strength * 128 / 100;
    for (size_t i = 0; i < curves.Count(); ++i) {
      const int32_t identity = static_cast<int32_t>(i & 0xFF);
      curves.block[i] = static_cast<uint8_t>((curves.block[i] * w + identity * (128 - w)) >> 7);
    }
  }
  return true;
}

// The curve of kToneLight: the picture is darkened first and equalised then. Changes the samples.
template <class T>
bool LightCurve(const View<T>& image, double exponent, int32_t strength, Curves<T> curves) {
  const float gamma[3] = {0.75f, 0.75f, 0.75f};
  const Scratch<T> block(curves.Count());
  const Curves<T> second{block.data(), curves.tables};
  return block && GammaCorrectRaw(View<const T>(image), image, image.Whole(), gamma) && MakeGammaLut(curves, gamma) &&
         EqualizeToneCurve(View<const T>(image), image.Whole(), exponent, strength, kToneLight, second) &&
         ComposeChannelLut(curves, second);
}

// The curve of kToneDark: equalised by half, then the shadows of each channel stretched down to black. Changes the
// samples.
template <class T>
bool DarkCurve(float histogram[3 * kBins], const View<T>& image, double exponent, int32_t strength, Curves<T> curves) {
  const View<const T> seen(image);
  if (!EqualizeMeasured(histogram, seen, image.Whole(), exponent, strength / 2, kToneDark, curves) ||
      !ApplyChannelLutRaw(seen, image, image.Whole(), curves)) {
    return false;
  }
  int32_t black[3];
  if (!Measure(seen, image.Whole(), histogram)) return false;
  if (!HistogramPercentiles(histogram, true, 0, image.channels, nullptr, black, 0.99, 0.01)) return false;
  const int32_t whites[3] = {kLast<T>, kLast<T>, kLast<T>};
  for (int32_t k = 0; k < curves.tables; ++k) black[k] *= kLevelStep<T>;
  const Scratch<T> block(curves.Count());
  const Curves<T> second{block.data(), curves.tables};
  return block && MakeLevelsLut(second, whites, black) && ComposeChannelLut(curves, second);
}

// kToneLight, kToneNormal or kToneDark.
int32_t ExposureOf(const float histogram[3 * kBins], int32_t channels) {
  int32_t dark = 0, light = 0;
  for (int32_t k = 0; k < channels; ++k) {
    double shadows = 0.0;
    for (int32_t i = 0; i < 64; ++i) shadows += histogram[k * kBins + i];
    if (shadows > 0.5) {
      ++dark;
    } else if (shadows < 0.05) {
      ++light;
    }
  }
  return dark > channels / 2 ? kToneDark : light > channels / 2 ? kToneLight : kToneNormal;
}

template <class T>
bool CurveOf(int32_t core, const View<T>& image, double exponent, int32_t strength, Curves<T> curves) {
  const View<const T> seen(image);
  float histogram[3 * kBins];
  // LightCurve measures what it has darkened.
  if (core != kToneLight && !Measure(seen, image.Whole(), histogram)) return false;
  if (core == kToneChosen) core = ExposureOf(histogram, image.channels);
  switch (core) {
    case kToneLight:
      return LightCurve(image, exponent, strength, curves);
    case kToneNormal:
    case kToneMiddle:
      return EqualizeMeasured(histogram, seen, image.Whole(), exponent, strength, core, curves);
    case kToneDark:
      return DarkCurve(histogram, image, exponent, strength, curves);
    default:
      return false;
  }
}

}  // namespace

template <class B>
bool AutoToneCurve(const ImageDesc* source, const ZelRect* rect, double exponent, int32_t strength, int32_t core,
                   Curves<B> curves) {
  if (curves.block == nullptr || curves.tables < 1 || curves.tables > 3) return false;
  if (!IsUsable(source) || BitsOf(source->format) != 8 * static_cast<int32_t>(sizeof(B))) {
    FillIdentity(curves);
    return false;
  }
  const View<const B> image = ViewOf<const B>(*source);
  return AutoToneCurveRaw(image, ClampedRegion(rect, image.Whole()), exponent, strength, core, curves);
}

template <class T>
bool AutoToneCurveRaw(const View<const T>& image, const Region& region, double exponent, int32_t strength, int32_t core,
                      Curves<T> curves) {
  SampledCopy<T> copy;
  if (PointSample(image, region, kLimit, &copy) && CurveOf(core, copy.view, exponent, strength, curves)) return true;
  FillIdentity(curves);
  return false;
}

template <class T>
int32_t ClassifyExposure(const View<const T>& image) {
  float histogram[3 * kBins];
  return Measure(image, image.Whole(), histogram) ? ExposureOf(histogram, image.channels) : -1;
}

template <class T>
bool EqualizeToneCurve(const View<const T>& image, const Region& region, double exponent, int32_t strength,
                       int32_t core, Curves<T> curves) {
  float histogram[3 * kBins];
  return Measure(image, region, histogram) &&
         EqualizeMeasured(histogram, image, region, exponent, strength, core, curves);
}

template bool AutoToneCurve(const ImageDesc*, const ZelRect*, double, int32_t, int32_t, Curves<uint8_t>);
template bool AutoToneCurve(const ImageDesc*, const ZelRect*, double, int32_t, int32_t, Curves<uint16_t>);
template bool AutoToneCurveRaw(const View<const uint8_t>&, const Region&, double, int32_t, int32_t, Curves<uint8_t>);
template int32_t ClassifyExposure(const View<const uint8_t>&);
template int32_t ClassifyExposure(const View<const uint16_t>&);
template bool EqualizeToneCurve(const View<const uint8_t>&, const Region&, double, int32_t, int32_t, Curves<uint8_t>);
template bool EqualizeToneCurve(const View<const uint16_t>&, const Region&, double, int32_t, int32_t, Curves<uint16_t>);

}  // namespace zel
