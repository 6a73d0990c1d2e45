#include "selective/color_cast.h"

#include "core/reduce.h"
#include "core/scratch.h"

namespace zel {

namespace {

// The curves for a sampled copy. False when memory ran out or the family is unknown.
bool CurvesOf(const View<const uint8_t>& image, int32_t family, int32_t filter, int32_t strength,
              Curves<uint8_t> curves) {
  Scratch<uint8_t> mask;
  if (!mask.AllocateZeroed(static_cast<size_t>(image.width) * static_cast<size_t>(image.height))) return false;
  Rgb cast;
  if (!EstimateCastColour(image, family, filter, &cast, mask.data())) return false;
  return BuildCastCurves(image, {image.Whole(), mask.data()}, cast, GreyTarget(cast, strength), curves);
}

}  // namespace

bool CorrectCast(const ImageDesc* source, int32_t family, int32_t filter, int32_t strength, uint8_t* block) {
  if (source == nullptr || source->data == nullptr || block == nullptr) return false;
  const Curves<uint8_t> curves{block, 3};
  FillIdentity(curves);
  if (!IsUsable(source) || BitsOf(source->format) != 8 || ChannelsOf(source->format) != 3) return false;
  const View<const uint8_t> image = ViewOf<const uint8_t>(*source);
  SampledCopy<uint8_t> copy;
  return PointSample(image, image.Whole(), kMeasuredExtent, &copy) &&
         CurvesOf(copy.view, family, filter, strength, curves);
}

bool RemoveCast(const ImageDesc* source, const ImageDesc* destination, int32_t strength, const ZelRect* rect) {
  uint8_t block[ZEL_LUT1D_BYTES];
  FillIdentity(Curves<uint8_t>{block, 3});
  CorrectCast(source, 0, kKeepAll, strength, block);
  return ApplyChannelLut(source, destination, rect, Curves<uint8_t>{block, 3});
}

bool RemoveCastOfColour(const ImageDesc* source, const ImageDesc* destination, int32_t colour, int32_t strength) {
  // Colours come in the order of the hue wheel, families in the order of their table.
  constexpr int32_t kFamilyOfColour[] = {0, 1, 6, 2, 4, 3, 5};
  uint8_t block[ZEL_LUT1D_BYTES];
  return colour >= 0 && colour <= 6 && CorrectCast(source, kFamilyOfColour[colour], kKeepAll, strength, block) &&
         ApplyChannelLut(source, destination, nullptr, Curves<uint8_t>{block, 3});
}

bool ApplyCastCorrection(const View<const uint8_t>& source, const View<uint8_t>& destination, const CastArea& area,
                         const Rgb& from, const Rgb& to) {
  const bool changes = from.red >= 2 && source.channels == 3;
  uint8_t block[ZEL_LUT1D_BYTES];
  const Curves<uint8_t> curves{block, 3};
  if (changes && !BuildCastCurves(source, area, from, to, curves)) return false;
  // The curves write every pixel, so only row ends are left for the copy.
  if (!changes || source.stride > source.width * source.channels) CopySamples(source, destination);
  return !changes || ApplyChannelLutRaw(source, destination, source.Whole(), curves);
}

bool CorrectMarkedCast(const ImageDesc* source, const ImageDesc* destination, int32_t strength, const ZelRect* rect) {
  return WithByteViews(source, destination, [&](const View<const uint8_t>& in, const View<uint8_t>& out) {
    const CastArea area = MarkedArea(rect, in.width, in.height);
    Rgb cast{0, 0, 0};  // what is not three channels is copied, unmeasured
    if (in.channels == 3 && !MeanColourInMask(in, area, nullptr, &cast)) return false;
    return ApplyCastCorrection(in, out, area, cast, GreyTarget(cast, strength));
  });
}

}  // namespace zel
