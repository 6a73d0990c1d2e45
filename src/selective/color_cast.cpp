#include "selective/color_cast.h"

#include "core/channel_lut.h"
#include "core/reduce.h"
#include "core/scratch.h"

namespace zel {

namespace {

constexpr int32_t kMeasuredExtent = 300;

// The curves for the sampled copy. False when memory ran out or the family is unknown.
bool CurvesOf(const SampledCopy& copy, int32_t family, int32_t filter, int32_t strength, uint8_t* block) {
  const Geometry& geometry = copy.geometry;
  Scratch<uint8_t> mask;
  if (!mask.AllocateZeroed(static_cast<size_t>(geometry.width) * geometry.height)) return false;
  CastColour cast;
  if (!EstimateCastColour(copy.pixels.data(), geometry, family, filter, &cast, mask.data())) return false;
  return BuildCastCurves(copy.pixels.data(), geometry, {mask.data(), nullptr}, cast, GreyTarget(cast, strength), block);
}

}  // namespace

bool CorrectCast(const ImageDesc* source, int32_t family, int32_t filter, int32_t strength, uint8_t* block) {
  if (source == nullptr || source->data == nullptr || block == nullptr) return false;
  MakeIdentityLut(block, 3, 8);
  const Geometry geometry = GeometryOf(*source);
  if (geometry.channels != 3 || geometry.bits != 8) return false;
  SampledCopy copy;
  return PointSample(source->data, geometry, nullptr, kMeasuredExtent, &copy) &&
         CurvesOf(copy, family, filter, strength, block);
}

bool RemoveCast(const ImageDesc* source, const ImageDesc* destination, int32_t strength, const ZelRect* rect) {
  uint8_t block[ZEL_LUT1D_BYTES];
  MakeIdentityLut(block, 3, 8);
  CorrectCast(source, 0, kKeepAll, strength, block);
  return ApplyChannelLut(source, destination, rect, block, 3, 8);
}

bool RemoveCastOfColour(const ImageDesc* source, const ImageDesc* destination, int32_t colour, int32_t strength) {
  // Colours come in the order of the hue wheel, families in the order of their table.
  constexpr int32_t kFamilyOfColour[] = {0, 1, 6, 2, 4, 3, 5};
  uint8_t block[ZEL_LUT1D_BYTES];
  return colour >= 0 && colour <= 6 && CorrectCast(source, kFamilyOfColour[colour], kKeepAll, strength, block) &&
         ApplyChannelLut(source, destination, nullptr, block, 3, 8);
}

bool ApplyCastCorrection(const uint8_t* source, uint8_t* destination, const Geometry& geometry, const CastArea& area,
                         const CastColour& from, const CastColour& to) {
  if (source == nullptr || destination == nullptr || !geometry.DescribesMemory() || geometry.bits != 8) return false;
  const bool changes = from.red >= 2 && geometry.channels == 3;
  uint8_t block[ZEL_LUT1D_BYTES];
  if (changes && !BuildCastCurves(source, geometry, area, from, to, block)) return false;
  // The curves write every pixel, so only row ends are left for the copy.
  if (!changes || geometry.stride > geometry.width * geometry.channels) CopySamples(source, destination, geometry);
  return !changes || ApplyChannelLutRaw(source, destination, geometry, nullptr, block, 3, 8);
}

bool CorrectMarkedCast(const ImageDesc* source, const ImageDesc* destination, int32_t strength, const ZelRect* rect) {
  if (!SameImageLayout(source, destination)) return false;
  const Geometry geometry = GeometryOf(*source);
  const CastArea area{nullptr, rect};
  CastColour cast{0, 0, 0};  // what is not three channels is copied, unmeasured
  if (geometry.channels == 3 && !MeanColourInMask(source->data, geometry, area, nullptr, &cast)) return false;
  return ApplyCastCorrection(source->data, destination->data, geometry, area, cast, GreyTarget(cast, strength));
}

}  // namespace zel
