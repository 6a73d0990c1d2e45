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

// Measured points lie between 0 and 255; a block's scale is this many times larger.
int32_t ScaleOf(int32_t bits) {
  return bits == 8 ? 1 : 257;
}

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

bool Measure(const void* samples, const Geometry& geometry, const ZelRect* rect, float histogram[3 * kBins]) {
  return ComputeHistogram(samples, geometry, rect, histogram, true, {false, kLimit, kLimit}) != 0;
}

// Counts luminances as seen through the 8-bit tables; returns the number of pixels.
int32_t LuminanceHistogram(const uint8_t* samples, const Geometry& geometry, const Region& region, const uint8_t* block,
                           int32_t bins[kBins]) {
  const uint8_t *const red = block, *const green = block + kLutEntries8, *const blue = block + 2 * kLutEntries8;
  const int32_t redAt = geometry.blueFirst ? 2 : 0;
  const int32_t columnStep = std::max(1, region.Width() / kLimit);
  const int32_t rowStep = std::max(1, region.Height() / kLimit);
  int32_t count = 0;
  // Neighbours often have the same luminance. Counted apart, one need not wait for the other.
  int32_t apart[2][kBins] = {};
  for (int64_t y = region.top; y < region.bottom; y += rowStep) {
    const uint8_t* const row = samples + geometry.RowOffset(static_cast<int32_t>(y));
    for (int64_t x = region.left; x < region.right; x += columnStep, ++count) {
      const uint8_t* const p = row + x * geometry.channels;
      ++apart[count % 2][geometry.channels == 1
                             ? red[p[0]]
                             : (38 * red[p[redAt]] + 75 * green[p[1]] + 15 * blue[p[2 - redAt]]) >> 7];
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

size_t BlockBytes(int32_t tables, int32_t bits) {
  return tables * (bits == 8 ? kLutEntries8 : 2 * kLutEntries16);
}

// EqualizeToneCurve with the histogram that Measure() finds.
bool EqualizeMeasured(const float histogram[3 * kBins], const void* samples, const Geometry& geometry,
                      const ZelRect* rect, double exponent, int32_t strength, int32_t core, void* block, int32_t tables,
                      int32_t bits) {
  if (block == nullptr || tables != geometry.channels || bits != geometry.bits) return false;
  if (core < kToneLight || core > kToneDark || strength < 0 || strength > 100) return false;
  int32_t high[3], low[3];
  if (!HistogramPercentiles(histogram, true, 0, geometry.channels, high, low, 0.99, 0.01)) return false;
  const Range range =
      LevelsRange(*std::max_element(high, high + geometry.channels), *std::min_element(low, low + geometry.channels));
  const int32_t white = range.white * ScaleOf(bits), black = range.black * ScaleOf(bits);
  const int32_t whites[3] = {white, white, white}, blacks[3] = {black, black, black};
  if (!MakeLevelsLut(block, tables, bits, whites, blacks)) return false;
  if (bits == 16) return true;

  uint8_t* const curves = static_cast<uint8_t*>(block);
  uint8_t map[kLutEntries8];
  if (!range.narrow) {
    int32_t bins[kBins];
    const Region region = ClampedRegion(rect, geometry.width, geometry.height);
    const int32_t count = LuminanceHistogram(static_cast<const uint8_t*>(samples), geometry, region, curves, bins);
    if (count == 0) return false;
    FillEqualizerOf(core, SpreadGroups(bins, count, exponent), map);
    ComposeChannelLut(block, tables, 8, map, 1, 8);
  }
  for (int32_t i = 0; i < 256; ++i) map[i] = static_cast<uint8_t>(Power(i, 0.8));
  ComposeChannelLut(block, tables, 8, map, 1, 8);
  const int32_t w = strength * 128 / 100;
  for (int32_t i = 0; i < tables * 256; ++i) {
    curves[i] = static_cast<uint8_t>((curves[i] * w + (i & 0xFF) * (128 - w)) >> 7);
  }
  return true;
}

// The curve of kToneLight: the picture is darkened first and equalised then. Changes the samples.
bool LightCurve(void* samples, const Geometry& geometry, double exponent, int32_t strength, void* block, int32_t tables,
                int32_t bits) {
  const float gamma[3] = {0.75f, 0.75f, 0.75f};
  const Scratch<uint8_t> second(BlockBytes(tables, bits));
  return second && GammaCorrectRaw(samples, samples, geometry, nullptr, gamma) &&
         MakeGammaLut(block, tables, bits, gamma) &&
         EqualizeToneCurve(samples, geometry, nullptr, exponent, strength, kToneLight, second.data(), tables, bits) &&
         ComposeChannelLut(block, tables, bits, second.data(), tables, bits);
}

// The curve of kToneDark: equalised by half, then the shadows of each channel stretched down to black. Changes the
// samples.
bool DarkCurve(float histogram[3 * kBins], void* samples, const Geometry& geometry, double exponent, int32_t strength,
               void* block, int32_t tables, int32_t bits) {
  if (!EqualizeMeasured(histogram, samples, geometry, nullptr, exponent, strength / 2, kToneDark, block, tables,
                        bits) ||
      !ApplyChannelLutRaw(samples, samples, geometry, nullptr, block, tables, bits)) {
    return false;
  }
  int32_t black[3];
  if (!Measure(samples, geometry, nullptr, histogram)) return false;
  if (!HistogramPercentiles(histogram, true, 0, geometry.channels, nullptr, black, 0.99, 0.01)) return false;
  const int32_t white = 255 * ScaleOf(bits);
  const int32_t whites[3] = {white, white, white};
  for (int32_t k = 0; k < tables; ++k) black[k] *= ScaleOf(bits);
  const Scratch<uint8_t> second(BlockBytes(tables, bits));
  return second && MakeLevelsLut(second.data(), tables, bits, whites, black) &&
         ComposeChannelLut(block, tables, bits, second.data(), tables, bits);
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

bool CurveOf(int32_t core, SampledCopy* copy, double exponent, int32_t strength, void* block, int32_t tables,
             int32_t bits) {
  uint8_t* const samples = copy->pixels.data();
  const Geometry& geometry = copy->geometry;
  float histogram[3 * kBins];
  // LightCurve measures what it has darkened.
  if (core != kToneLight && !Measure(samples, geometry, nullptr, histogram)) return false;
  if (core == kToneChosen) core = ExposureOf(histogram, geometry.channels);
  switch (core) {
    case kToneLight:
      return LightCurve(samples, geometry, exponent, strength, block, tables, bits);
    case kToneNormal:
    case kToneMiddle:
      return EqualizeMeasured(histogram, samples, geometry, nullptr, exponent, strength, core, block, tables, bits);
    case kToneDark:
      return DarkCurve(histogram, samples, geometry, exponent, strength, block, tables, bits);
    default:
      return false;
  }
}

}  // namespace

bool AutoToneCurve(const ImageDesc* source, const ZelRect* rect, double exponent, int32_t strength, int32_t core,
                   void* block, int32_t tables, int32_t bits) {
  if (block == nullptr || tables < 1 || tables > 3 || (bits != 8 && bits != 16)) return false;
  MakeIdentityLut(block, tables, bits);
  SampledCopy copy;
  if (!IsUsable(source) || !PointSample(source->data, GeometryOf(*source), rect, kLimit, &copy)) return false;
  if (CurveOf(core, &copy, exponent, strength, block, tables, bits)) return true;
  MakeIdentityLut(block, tables, bits);
  return false;
}

int32_t ClassifyExposure(const void* samples, const Geometry& geometry) {
  float histogram[3 * kBins];
  return Measure(samples, geometry, nullptr, histogram) ? ExposureOf(histogram, geometry.channels) : -1;
}

bool EqualizeToneCurve(const void* samples, const Geometry& geometry, const ZelRect* rect, double exponent,
                       int32_t strength, int32_t core, void* block, int32_t tables, int32_t bits) {
  float histogram[3 * kBins];
  return samples != nullptr && Measure(samples, geometry, rect, histogram) &&
         EqualizeMeasured(histogram, samples, geometry, rect, exponent, strength, core, block, tables, bits);
}

}  // namespace zel
