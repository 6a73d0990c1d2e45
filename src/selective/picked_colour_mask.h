// Masks of the pixels that resemble the colour around a clicked point.
#ifndef ZEL_SELECTIVE_PICKED_COLOUR_MASK_H_
#define ZEL_SELECTIVE_PICKED_COLOUR_MASK_H_

#include "core/view.h"

namespace zel {

// How far hue (degrees) and saturation (per cent) may be from the picked colour's.
struct PickTolerance {
  struct Band {
    int64_t full;  // up to this distance the weight is full
    int64_t ramp;  // over this much more it falls to nothing
  };
  Band hue, saturation;
};

// Full weight within 30 degrees and 20 per cent, falling over 15 degrees and 10 per cent.
constexpr PickTolerance kFixedPickTolerance{{30, 15}, {20, 10}};

// Full weight within 2T degrees and T per cent, falling over T degrees and T per cent, with T = max(10, tolerance).
PickTolerance ScaledPickTolerance(int32_t tolerance);

// Writes a weight from 0 to `maximum` (at most 255; negative counts as 0) into every channel of the mask's pixels
// inside the rectangle (reordered and cut): hue weight times saturation weight, taken from a 16 x 16 x 16 grid of
// colours and interpolated. The picked colour is the mean of the pixel at `point` and its neighbours inside the image.
// With maximum 0 the whole mask is cleared, rectangle or not.
//
// Source and mask agree in width and height; 8 bits, three or more channels in the source. A 16-bit source succeeds and
// leaves the mask untouched. False, with the mask untouched, for anything else, for a point outside the image, without
// memory, and for records of different depths.
// No export comes here, the tools build their masks from views: for programs that keep masks in records.
bool BuildPickedColourMask(const ImageDesc* source, const ImageDesc* mask, const ZelRect* rect, const ZelPoint& point,
                           int32_t maximum, int32_t tolerance);
bool BuildPickedColourMaskFixed(const ImageDesc* source, const ImageDesc* mask, const ZelRect* rect,
                                const ZelPoint& point, int32_t maximum);

// The same on samples; here the depths may differ.
template <class T, class M>
bool BuildPickedColourMaskRaw(const View<const T>& image, const View<M>& mask, const Region& region,
                              const ZelPoint& point, int32_t maximum, const PickTolerance& tolerance);

}  // namespace zel

#endif  // ZEL_SELECTIVE_PICKED_COLOUR_MASK_H_
