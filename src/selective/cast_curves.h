// Curves that turn one colour into another: the tool of every cast correction.
#ifndef ZEL_SELECTIVE_CAST_CURVES_H_
#define ZEL_SELECTIVE_CAST_CURVES_H_

#include "core/channel_lut.h"
#include "selective/cast_estimate.h"

namespace zel {

// Where a colour is measured: in a region that is not empty, and there, if there is a mask (one byte a pixel of the
// image, rows next to each other), in the pixels that it marks with 255.
struct CastArea {
  Region region;
  const uint8_t* mask = nullptr;
};

// The pixels of a rectangle, its corners in any order. One beside the image measures the nearest column or row, and so
// does an empty one.
CastArea MarkedArea(const ZelRect* rect, int32_t width, int32_t height);

// The colour moved towards its own grey by `strength` per cent; 0 keeps it, values outside 0..100 extrapolate. The
// product wraps at 32 bits.
Rgb GreyTarget(const Rgb& source, int32_t strength);

// Mean of the area, red from sample 2, green from sample 1, blue from sample 0, whatever the order of the image. An
// empty mask gives black. With three curves, the mean that the image would have after ApplyChannelLut with them. Three
// channels; false, with black, for other images.
bool MeanColourInMask(const View<const uint8_t>& image, const CastArea& area, const Curves<uint8_t>* curves, Rgb* mean);

// Straight lines through the origin, cut at 255: entry i is i * gain / 255.
void BuildGainLut(Curves<uint8_t> curves, const int64_t gains[3]);

// One smooth curve per channel through black, (source, target) and white. Source and target count on the scale
// 0..`scale` and by the low eight bits of their 8-bit value. A source at black or white gives the identity. 1 or 3
// tables. False, with nothing written, without a block.
template <class T>
bool BuildThreePointCurves(Curves<T> curves, const Rgb& source, const Rgb& target, int32_t scale);

// Fills three 8-bit tables that move the source colour, as measured in the area of these pixels, to the target colour.
// A move too large for a smooth curve is made by a gain first, after which the area is measured again and the curve
// does the rest. The identity when there is nothing to move: equal colours, red below 2, green or blue 0, or an image
// of other than three channels. False, with nothing written, without a block.
bool BuildCastCurves(const View<const uint8_t>& image, const CastArea& area, const Rgb& source, const Rgb& target,
                     Curves<uint8_t> curves);

}  // namespace zel

#endif  // ZEL_SELECTIVE_CAST_CURVES_H_
