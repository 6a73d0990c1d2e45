// Curves that turn one colour into another: the tool of every cast correction.
#ifndef ZEL_SELECTIVE_CAST_CURVES_H_
#define ZEL_SELECTIVE_CAST_CURVES_H_

#include "core/image.h"
#include "selective/cast_estimate.h"

namespace zel {

// Where a colour is measured: the pixels that a mask marks with 255 (one byte a pixel, rows next to each other), or,
// without a mask, a rectangle.
struct CastArea {
  const uint8_t* mask = nullptr;
  const ZelRect* rect = nullptr;
};

// The colour moved towards its own grey by `strength` per cent; 0 keeps it, values outside 0..100 extrapolate. The
// product wraps at 32 bits.
CastColour GreyTarget(const CastColour& source, int32_t strength);

// Mean of the area, red from sample 2, green from sample 1, blue from sample 0, whatever the order of the image. The
// rectangle's corners come in any order; one beside the image measures the nearest column or row, and so does an empty
// one. An empty mask gives black. With a block of three 8-bit tables, the mean that the image would have after
// ApplyChannelLut with it. 8 bits, three channels; false, with black, for other images.
bool MeanColourInMask(const uint8_t* pixels, const Geometry& geometry, const CastArea& area, const uint8_t* block,
                      CastColour* mean);

// Straight lines through the origin, cut at 255: entry i is i * gain / 255.
void BuildGainLut(uint8_t* block, const int64_t gains[3]);

// One smooth curve per channel through black, (source, target) and white. Source and target count on the scale
// 0..`scale` and by the low eight bits of their 8-bit value. A source at black or white gives the identity. `tables` is
// 1 or 3, `bits` 8 or 16. False, with nothing written, without a block.
bool BuildThreePointCurves(void* block, int32_t tables, int32_t bits, const CastColour& source,
                           const CastColour& target, int32_t scale);

// Fills three 8-bit tables that move the source colour, as measured in the area of these pixels, to the target colour.
// A move too large for a smooth curve is made by a gain first, after which the area is measured again and the curve
// does the rest. The identity when there is nothing to move: equal colours, red below 2, green or blue 0, or an image
// of other than three channels. False, with nothing written, without pixels or block or unless 8 bits.
bool BuildCastCurves(const uint8_t* pixels, const Geometry& geometry, const CastArea& area, const CastColour& source,
                     const CastColour& target, uint8_t* block);

}  // namespace zel

#endif  // ZEL_SELECTIVE_CAST_CURVES_H_
